// Why nothing is heard: the reason that the figures of a stream speak for.
#pragma once

#include "receiver/sound_levels.h"
#include "tonelink/receiver.h"

namespace tonelink {

/// The least power of a burst over its noise, in its band, with which nearly every message is read:
/// 95 of 100 in white noise.
inline constexpr float kReadableSnrDb = -1;

/// Clocks that are farther off, in parts per million, cost: at 400 a burst must be 12 dB louder.
inline constexpr float kDoubtfulClockPpm = 200;

/// The reason, of a stream or of a part of it.
tonelink_reason reason_of(const sound_figures &figures);

/// Where the sound ends: the frequency, in Hz, above which there is none, although there is below.
/// 0 where there is no such edge.
float band_edge_of(const sound_figures &figures);

/// A power as a level: a sine of full scale has 0 dB; -150 at least.
float level_of(double power);

} // namespace tonelink
