// A sink that plays through ALSA: a sound card, or whatever the desktop routes a device name to.
// The pace is the device's own.

#include <cassert>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

// One of its declarations lies outside the extern "C" that it has of its own. What it includes must
// not come into this one: it is above.
extern "C" {
#include <alsa/asoundlib.h>
}

#include "result.h"
#include "sink.h"

namespace tonelink::host {

namespace {

constexpr unsigned int kBufferMicroseconds = 100'000;
constexpr int kMostRecoveries = 8; // in a row, without a sample taken

/// While it lives, the ALSA library prints nothing on this thread: what fails goes to the log.
class alsa_message_filter {
public:
    alsa_message_filter() : before_{snd_lib_error_set_local(ignore)} {}
    alsa_message_filter(const alsa_message_filter &) = delete;
    alsa_message_filter &operator=(const alsa_message_filter &) = delete;
    ~alsa_message_filter() { snd_lib_error_set_local(before_); }

private:
    static void ignore(const char *, int, const char *, int, const char *, va_list) {}

    snd_local_error_handler_t before_;
};

class alsa_sink final : public sink {
public:
    alsa_sink(const std::string &device, int rate) : device_{device}
    {
        const alsa_message_filter filter;
        snd_pcm_t *pcm = nullptr;
        const int opened = snd_pcm_open(&pcm, device.c_str(), SND_PCM_STREAM_PLAYBACK, 0);
        check(opened, "open", "; TONELINK_AUDIO=wav:PATH or null needs no sound card");
        pcm_.reset(pcm);
        check(snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16_LE, SND_PCM_ACCESS_RW_INTERLEAVED, 1,
                                 static_cast<unsigned int>(rate), /*soft_resample=*/1,
                                 kBufferMicroseconds),
              "set up");
        start_with_first_period();
    }

    void play(std::span<const std::int16_t> samples) override
    {
        const alsa_message_filter filter;
        int recoveries = 0;
        while (!samples.empty()) {
            const auto taken = snd_pcm_writei(pcm_.get(), samples.data(), samples.size());
            if (taken > 0) {
                samples = samples.subspan(static_cast<std::size_t>(taken));
                recoveries = 0;
                continue;
            }
            // The buffer has run empty, as it does between writes, or the machine has slept.
            const int error = taken < 0 ? static_cast<int>(taken) : -EIO;
            check(++recoveries > kMostRecoveries ? error : snd_pcm_recover(pcm_.get(), error, 1),
                  "play to");
        }
    }

    void drain() noexcept override
    {
        const alsa_message_filter filter;
        snd_pcm_drain(pcm_.get());
    }

private:
    struct closer {
        void operator()(snd_pcm_t *pcm) const
        {
            const alsa_message_filter filter;
            snd_pcm_close(pcm);
        }
    };

    void check(int result, const char *what, const char *advice = "") const
    {
        if (result < 0)
            throw failure{kDeviceNotOpened, std::string{"cannot "} + what + " the ALSA device \"" +
                                                device_ + "\": " + snd_strerror(result) + advice};
    }

    // So that a sound shorter than the buffer is heard at once, and not when the next one fills it.
    void start_with_first_period()
    {
        snd_pcm_uframes_t buffer = 0, period = 0;
        check(snd_pcm_get_params(pcm_.get(), &buffer, &period), "set up");
        snd_pcm_sw_params_t *params = nullptr;
        snd_pcm_sw_params_alloca(&params);
        check(snd_pcm_sw_params_current(pcm_.get(), params), "set up");
        check(snd_pcm_sw_params_set_start_threshold(pcm_.get(), params, period), "set up");
        check(snd_pcm_sw_params(pcm_.get(), params), "set up");
    }

    std::string device_;
    std::unique_ptr<snd_pcm_t, closer> pcm_;
};

} // namespace

std::unique_ptr<sink> open_alsa_sink(const std::string &device, int rate)
{
    return std::make_unique<alsa_sink>(device, rate);
}

} // namespace tonelink::host
