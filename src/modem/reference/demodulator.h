// From 16 spectra to the soft values of 488 channel bits, one candidate at a time: the definition
// that the demodulator of many candidates side by side is held to.
#pragma once

#include <array>
#include <cstdint>

#include "modem/reference/channel_decoder.h"

namespace tonelink::reference {

inline constexpr std::size_t kBurstSubcarriers = kSymbols * kSubcarriers;

/// A value for each subcarrier of a burst, symbol by symbol.
using subcarrier_values = std::array<cplx16, kBurstSubcarriers>;

/// What the receiver holds to be a burst.
struct candidate {
    subcarrier_values subcarriers;
    std::array<int16_t, kSymbols> exponents; // of each symbol's subcarriers
};

/// Brings all subcarriers to the largest exponent, which it returns: 0 to 6.
int32_t align_exponents(candidate &burst);

/// Turns each subcarrier back by its scrambling phase.
void descramble(subcarrier_values &subcarriers);

/// What pilots say about each subcarrier: at a pilot the pilot, between two pilots of one
/// subcarrier their mean, in the first and the last symbol their only neighbour.
subcarrier_values spread_pilots(const subcarrier_values &subcarriers);

/// The grid of pilots, smoothed across the subcarriers of each symbol.
subcarrier_values estimate_channel(const subcarrier_values &grid);

/// How much each subcarrier points against the estimate, limited to 500000; that of pilots is of no
/// use.
std::array<int32_t, kBurstSubcarriers> soft_subcarriers(const subcarrier_values &subcarriers,
                                                        const subcarrier_values &channel,
                                                        int32_t exponent);

/// The soft values of the subcarriers of data, in the order in which they carry the channel bits.
soft_channel extract_data(const std::array<int32_t, kBurstSubcarriers> &soft);

/// Undoes interleave().
soft_channel deinterleave(const soft_channel &spread);

/// The whole chain.
soft_channel demodulate(candidate burst);

} // namespace tonelink::reference
