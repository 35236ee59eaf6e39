#include "decode/microphone.h"

#include <cerrno>
#include <utility>

#include "burst_shape.h"
#include "errors.h"
#include "sound/open_hint.h"

namespace tonelink::tool {
namespace {

constexpr unsigned int kPeriods = 10; // 200 ms

device_failure cannot_listen(const std::string &device, const std::string &why)
{
    return device_failure{"cannot listen to the ALSA device \"" + device + "\": " + why};
}

sound::pcm_device open_device(const std::string &device)
try {
    sound::pcm_device pcm{device, SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK, kAudioRate, kPeriods};
    const sound::alsa_message_filter filter;
    if (const int error = snd_pcm_start(pcm.handle()); error < 0)
        throw sound::pcm_error{"start", error};
    return pcm;
} catch (const sound::pcm_error &error) {
    const std::string hint = sound::open_hint(error.code);
    throw cannot_listen(device, std::string{error.what()} + "; " +
                                    (hint.empty() ? "--list-devices shows what there is" : hint));
}

} // namespace

microphone::microphone(const std::string &device)
    : device_{device}, pcm_{open_device(device)},
      frames_(pcm_.buffer_frames() * pcm_.channels()), channel_{pcm_.channels(), pcm_.rate()}
{
}

std::span<const int16_t> microphone::read(int milliseconds)
{
    const sound::alsa_message_filter filter;
    int error = snd_pcm_wait(pcm_.handle(), milliseconds);
    if (error == 0) return {};
    if (error > 0) {
        const auto count = snd_pcm_readi(pcm_.handle(), frames_.data(), pcm_.buffer_frames());
        if (count >= 0) {
            last_read_ = clock::now(); // the device is empty now, whatever it held
            return channel_.put(
                std::span{frames_}.first(static_cast<std::size_t>(count) * pcm_.channels()));
        }
        error = static_cast<int>(count);
    }
    if (error != -EAGAIN) resume(error);
    return {};
}

/// Goes on after an error of the device, if it can, with what has been lost by it counted.
void microphone::resume(int error)
{
    error = snd_pcm_recover(pcm_.handle(), error, 1);
    if (error >= 0) error = snd_pcm_start(pcm_.handle());
    if (error < 0) throw cannot_listen(device_, snd_strerror(error));
    const auto now = clock::now();
    const std::chrono::duration<double> seconds = now - std::exchange(last_read_, now);
    lost_ += static_cast<int64_t>(seconds.count() * rate());
}

int64_t microphone::take_lost() { return std::exchange(lost_, 0); }

} // namespace tonelink::tool
