// A sound card, or what a desktop makes of one, to listen to: at a rate of its own, on the one of
// its channels that hears best.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "decode/loudest_channel.h"
#include "sound/pcm_device.h"

namespace tonelink::tool {

class microphone {
public:
    /// Throws failure when the device cannot be opened.
    explicit microphone(const std::string &device);

    /// Samples a second.
    double rate() const { return pcm_.rate(); }

    /// A line for the user when the device cannot hear bursts well; empty when all is well.
    const std::string &warning() const { return pcm_.warning(); }

    /// What has come meanwhile, after waiting for it for `milliseconds` at most; none when nothing
    /// has. Valid until the next call. Throws failure when the device is lost.
    std::span<const int16_t> read(int milliseconds);

    /// How many samples were lost since the last call, because they were not read in time or the
    /// device stood still; to within what a clock beside the device's tells.
    int64_t take_lost();

private:
    using clock = std::chrono::steady_clock;

    void resume(int error);

    std::string device_;
    sound::pcm_device pcm_;
    std::vector<int16_t> frames_;
    loudest_channel<int16_t> channel_;
    clock::time_point last_read_ = clock::now();
    int64_t lost_ = 0;
};

} // namespace tonelink::tool
