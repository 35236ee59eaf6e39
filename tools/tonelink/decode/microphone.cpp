#include "decode/microphone.h"

#include <cerrno>

#include "errors.h"

namespace tonelink::tool {
namespace {

constexpr unsigned int kRate = 44100;
constexpr unsigned int kLatencyUs = 200'000;
constexpr std::size_t kBlock = 2205; // 50 ms

void be_silent(const char *, int, const char *, int, const char *, va_list) {}

snd_pcm_t *open_device(const std::string &device)
{
    // ALSA explains failures on standard error, in lines of its own; not so on this thread.
    snd_lib_error_set_local(be_silent);
    snd_pcm_t *pcm = nullptr;
    int error = snd_pcm_open(&pcm, device.c_str(), SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK);
    if (error >= 0)
        error = snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16, SND_PCM_ACCESS_RW_INTERLEAVED, 1, kRate,
                                   1, kLatencyUs);
    if (error >= 0) error = snd_pcm_start(pcm);
    if (error >= 0) return pcm;
    if (pcm != nullptr) snd_pcm_close(pcm);
    throw failure{"cannot listen to the ALSA device \"" + device + "\": " + snd_strerror(error)};
}

} // namespace

microphone::microphone(const std::string &device)
    : device_{device}, pcm_{open_device(device)}, samples_(kBlock)
{
}

std::span<const int16_t> microphone::read(int milliseconds)
{
    int error = snd_pcm_wait(pcm_.get(), milliseconds);
    if (error == 0) return {};
    if (error > 0) {
        const auto count = snd_pcm_readi(pcm_.get(), samples_.data(), samples_.size());
        if (count >= 0) return std::span{samples_}.first(static_cast<std::size_t>(count));
        error = static_cast<int>(count);
    }
    if (error == -EAGAIN) return {};
    ++gaps_;
    error = snd_pcm_recover(pcm_.get(), error, 1);
    if (error >= 0) error = snd_pcm_start(pcm_.get());
    if (error >= 0) return {};
    throw failure{"cannot listen to the ALSA device \"" + device_ + "\": " + snd_strerror(error)};
}

} // namespace tonelink::tool
