// From channel bits to the frame at the baseband rate: 16 multicarrier symbols, pilots and data on
// alternate bins, each bin turned by its own scrambling phase, each symbol extended cyclically.
#pragma once

#include "modem/burst_format.h"
#include "modem/vector_stages.h"

namespace tonelink {

/// Amplitudes of the used bins of one symbol, 2 to 62: +32767 for a pilot and a 1, -32767 for a 0.
using bin_amplitudes = std::array<int16_t, kSubcarriers>;

/// Places pilots and the symbol's share of the channel bits on its bins.
bin_amplitudes map_symbol(const channel_bits &bits, std::size_t symbol);

/// Turns each bin by its scrambling phase.
symbol_spectrum scramble(const bin_amplitudes &amplitudes, std::size_t symbol);

/// All 16 symbols, mapped, scrambled, transformed and extended, and the zeros behind them.
frame_samples modulate_symbols(const channel_bits &bits,
                               const vector_stages &stages = fastest_stages());

/// Lets the frame rise from zero and fall to it: its first and last 8 symbol samples.
void ramp_edges(frame_samples &frame);

} // namespace tonelink
