// What a person or a program has chosen: a text set by the program, else one from the environment.
#pragma once

#include <mutex>
#include <optional>
#include <string>

namespace tonelink::host {

class setting {
public:
    /// @param variable  the environment variable behind it
    explicit setting(const char *variable) : variable_{variable} {}

    /// Sets the text; null: back to the environment.
    void set(const char *text);

    /// The text in force. An empty variable counts as not there.
    std::optional<std::string> get() const;

private:
    const char *variable_;
    mutable std::mutex mutex_;
    std::optional<std::string> text_;
};

} // namespace tonelink::host
