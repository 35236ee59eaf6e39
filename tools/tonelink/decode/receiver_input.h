// A sound as the receiver takes it: 16 bits, mono, 44100 Hz, whatever the file's format.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include <samplerate.h>

#include "sound_file.h"

namespace tonelink::tool {

/// Samples that are there already go through unchanged; others are resampled with libsamplerate's
/// best converter, which leaves the band of the bursts as it is.
class receiver_input {
public:
    /// Throws failure, like sound_reader, and where the sample rate leaves no room for the band of
    /// the bursts.
    explicit receiver_input(const sound_source &source, std::stop_token stop = {});

    /// Passes over samples at the file's own rate, before the first read().
    void skip(int64_t count) { sound_.skip(count); }

    // As sound_reader has it.
    bool is_stream() const { return sound_.is_stream(); }
    bool wait(std::chrono::milliseconds at_most) { return sound_.wait(at_most); }
    bool was_cut() const { return sound_.was_cut(); }
    std::string remark() const { return sound_.remark(); }

    /// The next samples, none at the end. Valid until the next call.
    std::span<const int16_t> read();

    /// How much of the sound has been read, 0 to 1; nothing where its length is not known.
    std::optional<double> progress() const;

    /// How much of the sound has been read, in seconds.
    double seconds() const;

private:
    std::span<const float> resample();

    sound_reader sound_;
    std::unique_ptr<SRC_STATE, decltype(&src_delete)> resampler_; ///< null at 44100 Hz
    std::span<const float> pending_;                              ///< read, not yet resampled
    bool at_end_ = false;
    int64_t samples_read_ = 0;
    std::vector<float> resampled_;
    std::vector<int16_t> samples_;
};

} // namespace tonelink::tool
