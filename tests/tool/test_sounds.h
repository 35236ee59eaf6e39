// Sounds with bursts in known places.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "plot/spectrogram.h"

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

/// Puts a sound into what takes it block by block.
template <class Taker> void put_in_blocks(const sound &samples, std::size_t block, Taker &taker)
{
    for (std::size_t at = 0; at < samples.size(); at += block)
        taker.put({samples.data() + at, std::min(block, samples.size() - at)});
}

/// The whole spectrogram of a sound.
inline tool::spectrogram analysed(const sound &samples, const tool::spectrogram_shape &shape,
                                  std::size_t block = 16384)
{
    tool::spectrogram levels{shape, 0};
    put_in_blocks(samples, block, levels);
    levels.finish();
    return levels;
}

} // namespace tonelink::test
