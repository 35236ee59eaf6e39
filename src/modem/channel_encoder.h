// From message bits to channel bits: CRC, whitening, permutation, tail, convolutional code, rate
// matching, interleaver. Bits are bytes of 0 or 1. The two message lengths differ up to the rate
// matching, and what differs is in message_format.
#pragma once

#include <cstdint>
#include <span>

#include "modem/burst_format.h"
#include "modem/code_tables.h"

namespace tonelink {

template <std::size_t Bits> struct message_format;
template <> struct message_format<32> {
    static constexpr const auto &mask = mask_crc_msg_32;
    static constexpr const auto &permutation = perm_msg_crc_32;
};
template <> struct message_format<48> {
    static constexpr const auto &mask = mask_crc_msg_48;
    static constexpr const auto &permutation = perm_msg_crc_48;
};

/// Message and CRC.
template <std::size_t Bits> using protected_block = std::array<uint8_t, Bits + kCrcBits>;
/// Message and CRC, whitened and permuted, and the tail.
template <std::size_t Bits> using encoder_input = std::array<uint8_t, Bits + kCrcBits + kTailBits>;
/// The output of the convolutional code.
template <std::size_t Bits>
using coded_bits = std::array<uint8_t, kCodeOutputs *(Bits + kCrcBits + kTailBits)>;

/// Packs bits into bytes.size() = ceil(bits.size() / 8) bytes, the last bit in the most significant
/// place of the first byte.
void bvec_bit2byte(std::span<const uint8_t> bits, std::span<uint8_t> bytes);

/// CRC-24 of bytes, most significant bit first, before the format's final XOR.
uint32_t crc24(std::span<const uint8_t> bytes);

/// The CRC that a message is sent with: 24 bits.
template <std::size_t Bits> uint32_t message_crc(std::span<const uint8_t, Bits> message);

/// The message, then its CRC, most significant bit first.
template <std::size_t Bits>
protected_block<Bits> append_crc(std::span<const uint8_t, Bits> message, uint32_t crc);

/// XORs the mask of the message length onto a block.
template <std::size_t Bits> void whiten(std::span<uint8_t, Bits + kCrcBits> block);

/// Message and CRC as they enter the convolutional code: whitened, permuted and ended by the tail.
template <std::size_t Bits>
encoder_input<Bits> mask_tail_Message(std::span<const uint8_t, Bits> message, uint32_t crc);

/// The code of rate 1/4 and constraint length 7.
template <std::size_t Bits> coded_bits<Bits> encode_convolutional(const encoder_input<Bits> &input);

/// 32 bits: sends every coded bit twice, less the positions of `punct_msg`.
channel_bits match_rate(const coded_bits<32> &coded);

/// 48 bits: sends every coded bit, then those of `repeat_perm_msg` again.
channel_bits match_rate(const coded_bits<48> &coded);

/// Spreads neighbours over the burst.
channel_bits interleave(const channel_bits &bits);

/// The whole chain for a message of 32 or 48 bits.
channel_bits encode_channel(std::span<const uint8_t> message);

} // namespace tonelink
