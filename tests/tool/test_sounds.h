// Sounds with bursts in known places.
#pragma once

#include <cstdint>
#include <vector>

namespace tonelink::test {

using sound = std::vector<float>;

/// The burst of a 32-bit message with a peak of full scale.
sound burst_of(uint32_t message);

/// Adds `what` times `gain` from sample `at` on; `to` grows as needed.
void mix(sound &to, const sound &what, std::size_t at, float gain = 1);

/// Adds noise of which so much falls into the burst's band that a burst of gain 1 stands `snr_db`
/// above it.
void add_noise(sound &to, double snr_db, uint32_t seed);

/// The sound at `rate` in place of 44100 Hz.
sound resampled(const sound &from, double rate);

} // namespace tonelink::test
