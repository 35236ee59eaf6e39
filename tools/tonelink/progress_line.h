// How far a command is that takes its time, on a terminal.
#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "live_line.h"

namespace tonelink::tool {

class progress_line {
public:
    /// @param work  what it does: "drawing"
    progress_line(std::string work, bool is_shown) : work_{std::move(work)}, is_shown_{is_shown} {}
    ~progress_line() { clear(); }
    progress_line(const progress_line &) = delete;
    progress_line &operator=(const progress_line &) = delete;

    void show(double share)
    {
        constexpr std::chrono::milliseconds kTick{200};
        const auto now = clock::now();
        if (!is_shown_ || now - shown_ < kTick) return;
        shown_ = now;
        live_.show_share(work_, share);
    }

    void clear() { live_.clear(); }

private:
    using clock = std::chrono::steady_clock;

    std::string work_;
    bool is_shown_;
    clock::time_point shown_ = clock::now();
    live_line live_{stderr};
};

} // namespace tonelink::tool
