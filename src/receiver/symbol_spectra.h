// What a burst's subcarriers hold, read out of the baseband for a start and a clock that are known
// about.
#pragma once

#include <array>
#include <cstddef>

#include "modem/burst_format.h"
#include "receiver/baseband.h"
#include "receiver/fourier_transform.h"

namespace tonelink {

/// Where a burst lies in time.
struct burst_place {
    double first_body = 0; ///< baseband sample with which the body of its first symbol begins
    double clock = 0;      ///< by which share the sender's clock runs faster

    /// Of its first sample, at 44100 Hz.
    double first_sample() const
    {
        return kInterpolation * first_body - static_cast<double>(kBurstDelay + kAudioGuardSamples);
    }
};

/// The place of a burst whose first sample is at `sample` at 44100 Hz.
inline burst_place place_at(double sample)
{
    return {(sample + static_cast<double>(kBurstDelay + kAudioGuardSamples)) / kInterpolation, 0};
}

/// A symbol's used subcarriers, descrambled: pilots are the channel, data the channel or its
/// negative.
using subcarrier_row = std::array<float_complex, kSubcarriers>;

class symbol_reader {
public:
    symbol_reader();

    /// Reads symbol `row`, 0 to 15, of a burst.
    void read(const baseband &sound, const burst_place &place, std::size_t row,
              subcarrier_row &subcarriers) const;

private:
    fourier_transform<kBodySamples> transform_;
    std::array<float_complex, 256> phases_; // of the scrambling
};

/// Whether column `i` of row `s` is a pilot.
constexpr bool holds_pilot(std::size_t s, std::size_t i)
{
    return is_pilot(s + 1, kFirstSubcarrier + i);
}

} // namespace tonelink
