// A sound at the rate of a burst's samples, whatever the file's: 16 bits, mono, 44100 Hz.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <samplerate.h>

#include "sound_file.h"

namespace tonelink::tool {

/// Samples that are there already go through unchanged; others are resampled with libsamplerate's
/// best converter, which leaves the band of the bursts as it is.
class resampled_sound {
public:
    /// Throws failure, like sound_reader, and where the sample rate is beyond the converter.
    explicit resampled_sound(const sound_source &source);

    /// Passes over samples at the file's own rate, before the first read().
    void skip(int64_t count) { sound_.skip(count); }

    /// The next samples, none at the end. Valid until the next call.
    std::span<const int16_t> read();

private:
    std::span<const float> resample();

    sound_reader sound_;
    std::unique_ptr<SRC_STATE, decltype(&src_delete)> resampler_; ///< null at 44100 Hz
    std::span<const float> pending_;                              ///< read, not yet resampled
    bool at_end_ = false;
    std::vector<float> resampled_;
    std::vector<int16_t> samples_;
};

} // namespace tonelink::tool
