// The output filter, through which every burst of a handle goes: it takes away what speakers and
// ears would make of the burst below 17 kHz. One filter serves the process; its histories run on.
#pragma once

#include <cstdint>
#include <span>

/// The last three inputs, divided by the gain, and the last three outputs; oldest first.
extern float xv[3];
extern float yv[3];

namespace tonelink {

// Second-order Butterworth high-pass by the bilinear transform: corner at 17000 Hz of 44100 Hz,
// gain 1 at half the sample rate.
inline constexpr double kHighPassGain = 11.82886719;
inline constexpr double kOutputBeforeLast = -0.364264717;
inline constexpr double kLastOutput = -1.0261089211;

/// Filters samples in place.
void high_pass(std::span<int16_t> samples);

} // namespace tonelink
