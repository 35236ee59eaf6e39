// From 16 spectra to the soft values of 488 channel bits, one candidate at a time: the definition
// that the demodulator of many candidates side by side is held to.
#pragma once

#include <array>
#include <cstdint>

#include "modem/plain/channel_decoder.h"

namespace tonelink::plain {

inline constexpr std::size_t kCarriers = kSymbols * kSubcarriers;

/// A value for each carrier of a burst, symbol by symbol.
using carriers = std::array<cplx16, kCarriers>;

/// What the receiver holds to be a burst.
struct candidate {
    carriers bins;
    std::array<int16_t, kSymbols> exponents; // of each symbol's bins
};

/// Brings all bins to the largest exponent, which it returns: 0 to 6.
int32_t align_exponents(candidate &burst);

/// Turns each bin back by its scrambling phase.
void descramble(carriers &bins);

/// What pilots say about each carrier: at a pilot the pilot, between two pilots of one bin their
/// mean, in the first and the last symbol their only neighbour.
carriers spread_pilots(const carriers &bins);

/// The grid of pilots, smoothed across the bins of each symbol.
carriers estimate_channel(const carriers &grid);

/// How much each carrier points against the estimate, limited to 500000; that of pilots is of no
/// use.
std::array<int32_t, kCarriers> soft_carriers(const carriers &bins, const carriers &channel,
                                             int32_t exponent);

/// The soft values of the carriers of data, in the order in which they carry the channel bits.
soft_channel extract_data(const std::array<int32_t, kCarriers> &soft);

/// Undoes interleave().
soft_channel deinterleave(const soft_channel &spread);

/// The whole chain.
soft_channel demodulate(candidate burst);

} // namespace tonelink::plain
