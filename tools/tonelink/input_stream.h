// Bytes from a pipe or a device, taken as they come: whoever waits for them can be told to stop.
#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "file_descriptor.h"

namespace tonelink::tool {

class input_stream {
public:
    /// @param name  what messages call it
    /// @param stop  ends it as if no more came
    input_stream(file_descriptor input, std::string name, std::stop_token stop);

    /// Waits until so many bytes are held or no more will come; whether that is so now. Throws
    /// failure when they cannot be read.
    bool wait_for(std::size_t count, std::chrono::milliseconds at_most);
    /// The same, for however long it takes.
    void wait_for(std::size_t count);

    /// Whether no more will come than what is held.
    bool has_ended() const { return has_ended_; }

    /// What has come and was not dropped. Valid until the next call that is not const.
    std::span<char> held() { return held_; }

    /// Forgets the first bytes that are held.
    void drop(std::size_t count);

private:
    void take_what_is_there();

    file_descriptor input_;
    std::string name_;
    std::stop_token stop_;
    std::vector<char> held_;
    bool has_ended_ = false;
};

} // namespace tonelink::tool
