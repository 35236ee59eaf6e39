// The stages that end a burst, and the list of all of them.
#pragma once

#include "modem/burst_format.h"
#include "modem/vector_stages.h"
#include "tonelink/modem.h"

namespace tonelink {

/// The largest magnitude, 0 to 32768.
int32_t peak_magnitude(std::span<const int16_t, kBurstSamples> burst);

/// Scales the burst so that its peak is full scale; silence stays silence.
void normalise_peak(burst_span burst, const vector_stages &stages = fastest_stages());

/// Makes the burst of `message`, 32 or 48 bits, one per byte.
void make_burst(std::span<const uint8_t> message, bool invert, BandShiftInfo &shifter,
                burst_span burst, const vector_stages &stages = fastest_stages());

} // namespace tonelink
