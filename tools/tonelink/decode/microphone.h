// A sound card, or what a desktop makes of one, to listen to.
#pragma once

#include <cassert>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

// One of its declarations lies outside the extern "C" that it has of its own. What it includes must
// not come into this one: it is above.
extern "C" {
#include <alsa/asoundlib.h>
}

namespace tonelink::tool {

/// Mono, 16 bits, 44100 Hz; ALSA converts what the card has.
class microphone {
public:
    /// Throws failure when the device cannot be opened.
    explicit microphone(const std::string &device);

    /// What has come meanwhile, after waiting for it for `milliseconds` at most; none when nothing
    /// has. Valid until the next call. Throws failure when the device is lost.
    std::span<const int16_t> read(int milliseconds);

    /// How many samples were lost since the last call, because they were not read in time or the
    /// device stood still; to within what a clock beside the device's tells.
    int64_t take_lost();

private:
    using clock = std::chrono::steady_clock;

    void resume(int error);

    struct close_pcm {
        void operator()(snd_pcm_t *pcm) const { snd_pcm_close(pcm); }
    };

    std::string device_;
    std::unique_ptr<snd_pcm_t, close_pcm> pcm_;
    std::vector<int16_t> samples_;
    clock::time_point last_read_ = clock::now();
    int64_t lost_ = 0;
};

} // namespace tonelink::tool
