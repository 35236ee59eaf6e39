// A sink that plays through ALSA: a sound card, or whatever the desktop routes a device name to.
// The pace is the device's own, and so is the rate, to which the sound is resampled here.

#include <exception>
#include <string>
#include <string_view>

#include "result.h"
#include "sink.h"
#include "sound/open_hint.h"
#include "sound/pcm_player.h"
#include "sound/rate_converter.h"

namespace tonelink::host {

namespace {

constexpr unsigned int kPeriods = 5; // 100 ms

failure cannot(const std::string &what, const std::string &device, const std::string &why)
{
    return {kDeviceNotOpened, "cannot " + what + " the ALSA device \"" + device + "\": " + why};
}

/// What can be done when a device does not open.
std::string advice_on(const sound::pcm_error &error)
{
    if (error.failed_step != std::string_view{"open"}) return "";
    const std::string hint = sound::open_hint(error.code);
    return (hint.empty() ? "" : "; " + hint) +
           "; TONELINK_AUDIO=wav:PATH or null needs no sound card";
}

sound::pcm_player open_player(const std::string &device, int rate)
try {
    return {device, 0, static_cast<unsigned int>(rate), kPeriods};
} catch (const sound::pcm_error &error) {
    throw cannot(error.failed_step, device, error.what() + advice_on(error));
}

class alsa_sink final : public sink {
public:
    alsa_sink(const std::string &device, int rate)
        : device_{device}, player_{open_player(device, rate)},
          converter_(rate, player_.device().rate())
    {
        const std::string &warning = player_.device().warning();
        if (!warning.empty()) report_warning(warning.c_str());
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
            if (snd_pcm_avail_update(player_.device().handle()) >= 0) write(converter_.finish());
        } catch (const std::exception &) {
            return; // a device that is lost has told so, or ends with nothing more to tell
        }
        player_.drain();
    }

private:
    /// Plays samples at the device's rate.
    void write(std::span<const std::int16_t> samples)
    try {
        while (!samples.empty()) samples = samples.subspan(player_.put(samples));
    } catch (const sound::pcm_error &error) {
        throw cannot(error.failed_step, device_, error.what());
    }

    std::string device_;
    sound::pcm_player player_;
    sound::rate_converter converter_;
};

} // namespace

std::unique_ptr<sink> open_alsa_sink(const std::string &device, int rate)
{
    return std::make_unique<alsa_sink>(device, rate);
}

} // namespace tonelink::host
