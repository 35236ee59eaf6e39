// What comes through a pipe, kept in a file without a name for whoever must go back in it: up to a
// bound, as a pipe need not end and the disk does.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "file_descriptor.h"

namespace tonelink::tool {

class spool_file {
public:
    /// 1 GiB: three hours of two channels at 44100 Hz.
    static constexpr int64_t kMostBytes = int64_t{1} << 30;

    /// @param name  what messages call the pipe
    /// @param most  bytes that are kept
    explicit spool_file(std::string name, int64_t most = kMostBytes);

    /// Appends what came. Throws failure when it cannot be kept, or is too much.
    void put(std::span<const char> bytes);

    /// The same file, from its start. Throws failure when it cannot be kept.
    file_descriptor rewound();

private:
    struct close_file {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };

    std::string name_;
    int64_t left_;
    std::unique_ptr<std::FILE, close_file> file_;
};

} // namespace tonelink::tool
