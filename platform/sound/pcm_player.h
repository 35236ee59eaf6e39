// A sound device that plays: samples at the device's own rate, each on all of its channels.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "sound/pcm_device.h"

namespace tonelink::sound {

class pcm_player {
public:
    /// Opens the device as pcm_device does, and lets it begin with its first period, so that a
    /// sound shorter than its buffer is heard at once. Throws pcm_error.
    /// @param mode  SND_PCM_NONBLOCK or 0
    pcm_player(const std::string &name, int mode, unsigned int wanted_rate, unsigned int periods);

    const pcm_device &device() const { return pcm_; }

    /// Gives the device samples of one channel. Returns how many it has taken: without blocking,
    /// those that it has room for. Throws pcm_error when it is lost.
    std::size_t put(std::span<const std::int16_t> samples);

    /// Waits until what was put has been played.
    void drain();

private:
    pcm_device pcm_;
    std::vector<std::int16_t> frames_;
};

} // namespace tonelink::sound
