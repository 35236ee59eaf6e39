// The pace of a device that has no hardware: a buffer that empties at its sample rate, by the
// monotonic clock.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tonelink::host {

class pacer {
public:
    explicit pacer(int rate) : rate_{rate} {}

    /// Puts samples into the buffer and waits until it has room again.
    void take(std::size_t samples);

    /// Waits until the buffer is empty.
    void drain() const;

private:
    using clock = std::chrono::steady_clock;

    clock::time_point end() const;

    int rate_;
    clock::time_point start_{}; // of the present run without a gap
    std::int64_t samples_ = 0;  // in this run
};

} // namespace tonelink::host
