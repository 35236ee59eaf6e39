// A PCM device of ALSA's, opened at a rate of its own: a sound card, or whatever the desktop routes
// a name to. Sample formats are ALSA's business, which converts them exactly. Rates are not, as
// most converters that ALSA and sound servers have cut the band of the bursts, and ALSA's rate
// plug-ins are bypassed: who uses a device resamples for it (rate_converter.h). Nor are channels.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "sound/alsa_library.h"

namespace tonelink::sound {

/// What could not be done with a device, "open" or "set up", and ALSA's reason.
struct pcm_error : std::runtime_error {
    pcm_error(const char *step, int result)
        : std::runtime_error{snd_strerror(result)}, failed_step{step}, code{result}
    {
    }
    const char *failed_step;
    int code; ///< ALSA's result, negative
};

class pcm_device {
public:
    /// Sets the device up for samples of 16 bits, interleaved, with periods of 20 ms where it
    /// leaves the choice, which are whole at every usual rate. Throws pcm_error.
    /// @param mode         SND_PCM_NONBLOCK or 0
    /// @param wanted_rate  samples a second of the sound; the device gets its lowest rate that is
    ///                     no lower, else its highest
    /// @param periods      how many of them its buffer holds
    pcm_device(const std::string &name, snd_pcm_stream_t direction, int mode,
               unsigned int wanted_rate, unsigned int periods);

    /// For the ALSA library's calls.
    snd_pcm_t *handle() const { return pcm_.get(); }

    /// Frames a second, exactly as the device tells.
    double rate() const { return rate_; }

    /// Playing: one, or the least that the device takes. Capturing: two, so that the louder can be
    /// heard, or what is nearest; one of a device that makes up any number.
    unsigned int channels() const { return channels_; }

    snd_pcm_uframes_t period_frames() const { return period_frames_; }
    snd_pcm_uframes_t buffer_frames() const { return buffer_frames_; }

    /// A line for the user when the device cannot do the sound justice; empty when all is well.
    const std::string &warning() const { return warning_; }

private:
    struct closer {
        void operator()(snd_pcm_t *pcm) const;
    };

    void set_up(snd_pcm_stream_t direction, unsigned int rate, unsigned int periods);

    std::unique_ptr<snd_pcm_t, closer> pcm_;
    double rate_ = 0;
    unsigned int channels_ = 0;
    snd_pcm_uframes_t period_frames_ = 0;
    snd_pcm_uframes_t buffer_frames_ = 0;
    std::string warning_;
};

} // namespace tonelink::sound
