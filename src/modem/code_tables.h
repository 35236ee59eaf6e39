// The tables of the burst format: what the channel code, the interleaver, the carriers and the
// receiver's channel estimate are made of. Constant, read by every modem state; the long filters
// are in filter_taps.h.
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

// ---- Interleaver and carriers -------------------------------------------------------------------

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
extern const std::array<int16_t, kSymbols * kSubcarriers> phi_scr;

/// Q15 cosines and sines of the first quarter turn in steps of 1/256 turn.
extern const std::array<int16_t, 64> phaseReal;
extern const std::array<int16_t, 64> phaseImag;

// ---- Windows and filters ------------------------------------------------------------------------

/// Q15 ramps at the burst's ends: halves of a 16-point Hann window without its zero ends.
extern const std::array<int16_t, kGuardSamples> w_pre;
extern const std::array<int16_t, kGuardSamples> w_post;

/// Q15 weights with which the channel estimate is smoothed across bins: the bin, each neighbour.
inline constexpr std::array<int16_t, 2> coef_equ_freq = {8192, 1638};

// ---- What the receiver's vector stages make of the above ----------------------------------------
// As C arrays: indexing them calls no function, which a file compiled for one processor could leave
// to files compiled for another.

/// The factors that turn a bin back by its scrambling phase v: c x + d y is the real part of the
/// result, c y - d x the imaginary part, with c and d the cosine and sine of 2 pi v / 256.
struct descrambling_factors {
    cplx16 for_real;      // (c, d)
    cplx16 for_imaginary; // (-d, c)
};
inline constexpr std::size_t kScramblingSymbols = 6; // after which the phases repeat
struct descrambling_table {
    descrambling_factors of[kScramblingSymbols * kSubcarriers];
};
extern const descrambling_table kDescrambling;

/// Where the soft value of each data carrier, in the order of transmission, goes: undoes the
/// interleaver and rate matching, and says which step of the code it speaks to and in what. Slot 3
/// t is for code bits 0 and 3 of step t, which are always equal, 3 t + 1 for bit 1, 3 t + 2 for
/// bit 2.
struct soft_slot_table {
    uint8_t of[kChannelBits];
};
extern const soft_slot_table kSoftSlots32;
extern const soft_slot_table kSoftSlots48;

/// Acceptance as a sum modulo 2 over the decoded bits: the message's CRC less the received one, for
/// each nibble of four decoded bits, the first one in bit 3. A candidate is accepted when its
/// nibbles add up to the wanted value.
template <std::size_t Bits> struct syndrome_table {
    static constexpr std::size_t kNibbles = (Bits + kCrcBits) / 4;
    uint32_t of[kNibbles][16];
    uint32_t wanted;
};
extern const syndrome_table<32> kSyndromes32;
extern const syndrome_table<48> kSyndromes48;

} // namespace tonelink
