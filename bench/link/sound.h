// Sounds that are made up sample by sample, each time the same: whatever is random in them comes
// from a generator that the caller has seeded.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace tonelink::bench {

using sound = std::vector<float>; // full scale is 32768
using generator = std::mt19937_64;

/// The noise in the band of the bursts is by so much less than that from 0 to 22.05 kHz: 2069 Hz of
/// white noise.
inline constexpr double kNoiseInBandDb = -10.28;

/// What an analogue-to-digital converter of 16 bits makes of it.
std::vector<int16_t> to_16_bits(std::span<const float> samples);

} // namespace tonelink::bench
