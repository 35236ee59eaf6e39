// The tables of the burst format: what the channel code, the interleaver, the carriers and the
// receiver's filters are made of. Constant, read by every modem state; the filters of the transmit
// side are in filter_taps.h.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "modem/burst_format.h"

namespace tonelink {

// ---- Whitening and permutation of message and CRC ---------------------------------------------

/// Whitening masks over message and CRC, one bit per byte. The short one is part of the long one.
extern const std::array<uint8_t, 72> mask_crc_msg_48;
extern const std::array<uint8_t, 56> mask_crc_msg_32;

/// Source position of each bit of the encoder's input.
extern const std::array<uint8_t, 56> perm_msg_crc_32;
extern const std::array<uint8_t, 72> perm_msg_crc_48;

// ---- Convolutional code -------------------------------------------------------------------------

/// Generators, bit k tapping the bit entered k steps earlier: octal 133, 171, 145 and 133 in the
/// customary notation with the current bit first.
inline constexpr std::array<uint8_t, kCodeOutputs> genPolynomialIndex = {109, 79, 83, 109};

/// Code bits on the branch into state s (the last six input bits, newest in bit 0) whose oldest bit
/// is 0: bit k is the parity of s under generator k.
inline constexpr auto outBits = [] {
    std::array<uint8_t, 64> bits{};
    for (unsigned s = 0; s < bits.size(); ++s)
        for (unsigned k = 0; k < genPolynomialIndex.size(); ++k)
            bits[s] |=
                static_cast<uint8_t>((std::popcount(s & genPolynomialIndex[k] & 63u) & 1) << k);
    return bits;
}();
static_assert(outBits[1] == 15 && outBits[48] == 13);

// ---- Rate matching ------------------------------------------------------------------------------

/// 32 bits: positions dropped from the coded bits sent twice; 0 ends the list.
inline constexpr std::array<int32_t, 9> punct_msg = {6, 66, 114, 182, 243, 314, 365, 432, 0};

/// 48 bits: the coded bits sent again, spread evenly: the nearest integers to 312 j / 176.
inline constexpr auto repeat_perm_msg = [] {
    std::array<int16_t, 176> positions{};
    for (std::size_t j = 0; j < positions.size(); ++j)
        positions[j] = static_cast<int16_t>((39 * j + 11) / 22);
    return positions;
}();
static_assert(repeat_perm_msg[11] == 20 && repeat_perm_msg[175] == 310);

// ---- Interleaver and carriers
// ---------------------------------------------------------------------

/// Channel interleaver: source position of each channel bit.
extern const std::array<int32_t, kChannelBits> perm_msg;

/// The even bins 2, 4, ..., 62: pilots of symbols 1, 3, ..., data of symbols 2, 4, ...
inline constexpr auto p_pilots_odd = [] {
    std::array<int16_t, 31> bins{};
    for (std::size_t i = 0; i < bins.size(); ++i) bins[i] = static_cast<int16_t>(2 + 2 * i);
    return bins;
}();
inline constexpr const auto &p_data_even = p_pilots_odd;

/// The odd bins 3, 5, ..., 61: data of symbols 1, 3, ..., pilots of symbols 2, 4, ...
inline constexpr auto p_pilots_even = [] {
    std::array<int16_t, 30> bins{};
    for (std::size_t i = 0; i < bins.size(); ++i) bins[i] = static_cast<int16_t>(3 + 2 * i);
    return bins;
}();
inline constexpr const auto &p_data_odd = p_pilots_even;

/// Scrambling phase of each used bin of each symbol, in 1/256 of a turn; six rows that repeat.
extern const std::array<int16_t, kSymbols * kUsedBins> phi_scr;

/// Q15 cosines and sines of the first quarter turn in steps of 1/256 turn.
extern const std::array<int16_t, 64> phaseReal;
extern const std::array<int16_t, 64> phaseImag;

// ---- Windows and filters
// --------------------------------------------------------------------------

/// Q15 ramps at the burst's ends: halves of a 16-point Hann window without its zero ends.
extern const std::array<int16_t, kGuardSamples> w_pre;
extern const std::array<int16_t, kGuardSamples> w_post;

/// Low-pass filter of the receiver's decimator, Q15, gain 0.93.
extern const std::array<int16_t, 37> b_flt_dns;

/// Q15 weights with which the channel estimate is smoothed across bins: the bin, each neighbour.
inline constexpr std::array<int16_t, 2> coef_equ_freq = {8192, 1638};

} // namespace tonelink
