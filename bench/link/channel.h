// What happens to a burst on its way from a loudspeaker to a receiver, sample by sample and each
// time the same: every effect takes its randomness from a generator that the caller has seeded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace tonelink::bench {

using sound = std::vector<float>; // full scale is 32768
using generator = std::mt19937_64;

/// The band of the bursts: what noise is measured in.
inline constexpr double kBandHz = 20141 - 18072;

double power_of(std::span<const float> samples);

/// Adds white noise of which as much falls into the band of the bursts as `signal_power` less
/// `snr_db`.
void add_noise(sound &to, double signal_power, double snr_db, generator &random);

/// The sound as a receiver hears it whose clock is slow by `ppm`: that much longer.
sound with_clock_offset(const sound &from, double ppm);

/// The sound in a room: itself and, 2 ms later, diffuse echo whose energy lies `direct_db` below
/// and dies away by 60 dB in `seconds`.
sound in_room(const sound &from, double seconds, double direct_db, generator &random);

/// What an analogue-to-digital converter of 16 bits makes of it.
std::vector<int16_t> to_16_bits(std::span<const float> samples);

} // namespace tonelink::bench
