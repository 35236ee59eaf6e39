#include "sound/pcm_player.h"

#include <cerrno>

namespace tonelink::sound {

namespace {

constexpr int kMostRecoveries = 8; // in a row, without a sample taken

void check(int result, const char *step)
{
    if (result < 0) throw pcm_error{step, result};
}

} // namespace

pcm_player::pcm_player(const std::string &name, int mode, unsigned int wanted_rate,
                       unsigned int periods)
    : pcm_{name, SND_PCM_STREAM_PLAYBACK, mode, wanted_rate, periods}
{
    const alsa_message_filter filter;
    snd_pcm_sw_params_t *params = nullptr;
    snd_pcm_sw_params_alloca(&params);
    check(snd_pcm_sw_params_current(pcm_.handle(), params), "set up");
    check(snd_pcm_sw_params_set_start_threshold(pcm_.handle(), params, pcm_.period_frames()),
          "set up");
    check(snd_pcm_sw_params(pcm_.handle(), params), "set up");
}

std::size_t pcm_player::put(std::span<const std::int16_t> samples)
{
    if (samples.empty()) return 0;
    const alsa_message_filter filter;
    frames_.clear();
    for (const std::int16_t sample : samples)
        frames_.insert(frames_.end(), pcm_.channels(), sample);
    for (int recoveries = 0;;) {
        const auto taken = snd_pcm_writei(pcm_.handle(), frames_.data(), samples.size());
        if (taken > 0) return static_cast<std::size_t>(taken);
        if (taken == -EAGAIN) return 0;
        // The buffer has run empty, as it does between writes, or the machine has slept.
        const int error = taken < 0 ? static_cast<int>(taken) : -EIO;
        check(++recoveries > kMostRecoveries ? error : snd_pcm_recover(pcm_.handle(), error, 1),
              "play to");
    }
}

void pcm_player::drain()
{
    const alsa_message_filter filter;
    snd_pcm_nonblock(pcm_.handle(), 0);
    snd_pcm_drain(pcm_.handle());
}

} // namespace tonelink::sound
