// A sink that plays through ALSA: a sound card, or whatever the desktop routes a device name to.
// The pace is the device's own, and so is the rate, to which the sound is resampled here.

#include <cerrno>
#include <exception>
#include <string>
#include <vector>

#include "result.h"
#include "sink.h"
#include "sound/pcm_device.h"
#include "sound/rate_converter.h"

namespace tonelink::host {

namespace {

constexpr unsigned int kPeriods = 5; // 100 ms
constexpr int kMostRecoveries = 8;   // in a row, without a sample taken

failure cannot(const std::string &what, const std::string &device, const std::string &why)
{
    return {kDeviceNotOpened, "cannot " + what + " the ALSA device \"" + device + "\": " + why};
}

sound::pcm_device open_device(const std::string &device, int rate)
try {
    return {device, SND_PCM_STREAM_PLAYBACK, 0, static_cast<unsigned int>(rate), kPeriods};
} catch (const sound::pcm_error &error) {
    const std::string step = error.failed_step;
    throw cannot(
        step, device,
        std::string{error.what()} +
            (step == "open" ? "; TONELINK_AUDIO=wav:PATH or null needs no sound card" : ""));
}

class alsa_sink final : public sink {
public:
    alsa_sink(const std::string &device, int rate)
        : device_{device}, pcm_{open_device(device, rate)}, converter_(rate, pcm_.rate())
    {
        if (!pcm_.warning().empty()) report_warning(pcm_.warning().c_str());
        start_with_first_period();
    }

    void play(std::span<const std::int16_t> samples) override
    {
        write(converter_.convert(samples));
    }

    void drain() noexcept override
    {
        const sound::alsa_message_filter filter;
        try {
            // Where the device has run empty, these few milliseconds would come too late.
            if (snd_pcm_avail_update(pcm_.handle()) >= 0) write(converter_.finish());
        } catch (const std::exception &) {
            return; // a device that is lost has told so, or ends with nothing more to tell
        }
        snd_pcm_drain(pcm_.handle());
    }

private:
    void check(int result, const char *what) const
    {
        if (result < 0) throw cannot(what, device_, snd_strerror(result));
    }

    // So that a sound shorter than the buffer is heard at once, and not when the next one fills it.
    void start_with_first_period()
    {
        const sound::alsa_message_filter filter;
        snd_pcm_sw_params_t *params = nullptr;
        snd_pcm_sw_params_alloca(&params);
        check(snd_pcm_sw_params_current(pcm_.handle(), params), "set up");
        check(snd_pcm_sw_params_set_start_threshold(pcm_.handle(), params, pcm_.period_frames()),
              "set up");
        check(snd_pcm_sw_params(pcm_.handle(), params), "set up");
    }

    /// Plays samples at the device's rate, each on all channels.
    void write(std::span<const std::int16_t> samples)
    {
        const sound::alsa_message_filter filter;
        const std::size_t channels = pcm_.channels();
        frames_.clear();
        for (const std::int16_t sample : samples) frames_.insert(frames_.end(), channels, sample);
        const std::int16_t *next = frames_.data();
        std::size_t left = samples.size();
        int recoveries = 0;
        while (left > 0) {
            const auto taken = snd_pcm_writei(pcm_.handle(), next, left);
            if (taken > 0) {
                next += static_cast<std::size_t>(taken) * channels;
                left -= static_cast<std::size_t>(taken);
                recoveries = 0;
                continue;
            }
            // The buffer has run empty, as it does between writes, or the machine has slept.
            const int error = taken < 0 ? static_cast<int>(taken) : -EIO;
            check(++recoveries > kMostRecoveries ? error : snd_pcm_recover(pcm_.handle(), error, 1),
                  "play to");
        }
    }

    std::string device_;
    sound::pcm_device pcm_;
    sound::rate_converter converter_;
    std::vector<std::int16_t> frames_;
};

} // namespace

std::unique_ptr<sink> open_alsa_sink(const std::string &device, int rate)
{
    return std::make_unique<alsa_sink>(device, rate);
}

} // namespace tonelink::host
