// The noise that a recording has while nothing is played, by its mean spectrum.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "check/frame_spectrum.h"
#include "check/probe_search.h"

namespace tonelink::tool {

/// A part of a recording, in seconds.
struct time_range {
    double from, to;
};

/// The parts of a recording of so many seconds that have nothing of the probe in them; all of it
/// where there is no probe.
std::vector<time_range> quiet_parts(double seconds, const std::optional<probe_place> &place);

class quiet_noise {
public:
    /// @param quiet  where nothing is played; parts shorter than a frame count for nothing
    quiet_noise(std::span<const float> samples, double rate, std::span<const time_range> quiet);

    /// Of what lies between two frequencies, as frame_spectrum tells it.
    double power(double low_hz, double high_hz) const;

    /// What a tone's power contains of it, in frames of `seconds`.
    double tone_power(double hz, double seconds) const;

    /// Of the frames, the power between 300 Hz and 15 kHz that half of them have less of.
    double usual_low_power() const { return usual_low_power_; }

private:
    double bin_hz_;
    double frame_seconds_;
    std::vector<double> mean_; ///< power of each bin
    double usual_low_power_ = 0;
};

/// The middle of some values, or 0 where there are none.
double median(std::vector<double> values);

/// What people hear of, beside the band.
constexpr double kLowFromHz = 300, kLowToHz = 15'000;

} // namespace tonelink::tool
