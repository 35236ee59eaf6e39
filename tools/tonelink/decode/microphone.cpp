#include "decode/microphone.h"

#include <cerrno>
#include <utility>

#include "burst_shape.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

constexpr unsigned int kLatencyUs = 200'000;

void ignore_message(const char *, int, const char *, int, const char *, va_list) {}

snd_pcm_t *open_device(const std::string &device)
{
    // ALSA explains failures on standard error, in lines of its own; not so on this thread.
    snd_lib_error_set_local(ignore_message);
    snd_pcm_t *pcm = nullptr;
    int error = snd_pcm_open(&pcm, device.c_str(), SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK);
    if (error >= 0)
        error = snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16, SND_PCM_ACCESS_RW_INTERLEAVED, 1,
                                   kAudioRate, 1, kLatencyUs);
    if (error >= 0) error = snd_pcm_start(pcm);
    if (error >= 0) return pcm;
    if (pcm != nullptr) snd_pcm_close(pcm);
    throw failure{"cannot listen to the ALSA device \"" + device + "\": " + snd_strerror(error)};
}

/// How many samples the device holds before it loses any.
std::size_t capacity_of(snd_pcm_t *pcm)
{
    snd_pcm_uframes_t buffer = 0, period = 0;
    snd_pcm_get_params(pcm, &buffer, &period);
    return buffer;
}

} // namespace

microphone::microphone(const std::string &device)
    : device_{device}, pcm_{open_device(device)}, samples_(capacity_of(pcm_.get()))
{
}

std::span<const int16_t> microphone::read(int milliseconds)
{
    int error = snd_pcm_wait(pcm_.get(), milliseconds);
    if (error == 0) return {};
    if (error > 0) {
        const auto count = snd_pcm_readi(pcm_.get(), samples_.data(), samples_.size());
        if (count >= 0) {
            last_read_ = clock::now(); // the device is empty now, whatever it held
            return std::span{samples_}.first(static_cast<std::size_t>(count));
        }
        error = static_cast<int>(count);
    }
    if (error != -EAGAIN) resume(error);
    return {};
}

/// Goes on after an error of the device, if it can, with what has been lost by it counted.
void microphone::resume(int error)
{
    error = snd_pcm_recover(pcm_.get(), error, 1);
    if (error >= 0) error = snd_pcm_start(pcm_.get());
    if (error < 0)
        throw failure{"cannot listen to the ALSA device \"" + device_ +
                      "\": " + snd_strerror(error)};
    const auto now = clock::now();
    const std::chrono::duration<double> seconds = now - std::exchange(last_read_, now);
    lost_ += static_cast<int64_t>(seconds.count() * kAudioRate);
}

int64_t microphone::take_lost() { return std::exchange(lost_, 0); }

} // namespace tonelink::tool
