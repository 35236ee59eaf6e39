#include "pacer.h"

#include <thread>

namespace tonelink::host {

namespace {

// What the buffer holds: long enough for a busy machine, short enough for a turned volume to be
// heard at once.
constexpr std::chrono::milliseconds kBuffer{40};

} // namespace

void pacer::take(std::size_t samples)
{
    const auto now = clock::now();
    if (now > end()) { // it has run empty
        start_ = now;
        samples_ = 0;
    }
    samples_ += static_cast<std::int64_t>(samples);
    std::this_thread::sleep_until(end() - kBuffer);
}

void pacer::drain() const { std::this_thread::sleep_until(end()); }

/// When the last sample will have been heard.
pacer::clock::time_point pacer::end() const
{
    // Whole seconds apart, so that the product stays within 64 bits however long it plays.
    const std::chrono::seconds whole{samples_ / rate_};
    const std::chrono::nanoseconds rest{samples_ % rate_ * 1'000'000'000 / rate_};
    return start_ + whole + rest;
}

} // namespace tonelink::host
