// What the band shifter's two forms share. The shifter itself is makeBandShift() in
// tonelink/modem.h; modem/reference/band_shift.h has its reference form, which shifts what the fast
// form cannot.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/burst_format.h"
#include "tonelink/modem.h"

namespace tonelink {

inline constexpr std::size_t kHilbertTaps = 129;
inline constexpr std::size_t kHilbertDelay = kHilbertTaps / 2; // 64 samples
inline constexpr int32_t kHalfPeriod = kSinePeriod / 2;        // half a turn of the oscillator

/// Whether the record has the storage that openBandShift() gives it.
inline bool is_open(const BandShiftInfo &info)
{
    return info.history.length == static_cast<int32_t>(kHilbertTaps) &&
           info.delay.length == static_cast<int32_t>(kHilbertDelay);
}

/// Begins a new stream with a shifter that openBandShift() has opened.
void restart_band_shift(BandShiftInfo &info);

struct vector_stages;

/// Does what makeBandShift() does, by the given vector stages.
void shift_band(std::span<int16_t> samples, BandShiftInfo &info, const vector_stages &stages);

} // namespace tonelink
