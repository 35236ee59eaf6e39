// The end of the channel code on the way back: from the decoded bits of a candidate to its message,
// and whether that is one. The CRC is the receiver's only detector.
#pragma once

#include <array>
#include <cstdint>

#include "modem/channel_encoder.h"
#include "modem/vector_stages.h"

namespace tonelink {

/// The candidates of a batch whose message is accepted, one a bit: what passes_crc_check() says of
/// each, found while its path is traced back.
template <std::size_t Bits>
unsigned check_crcs(const survivors<Bits> &surviving, std::size_t count);

/// The decoded bits of one candidate of a batch.
template <std::size_t Bits>
encoder_input<Bits> trace_back(const survivors<Bits> &surviving, std::size_t lane);

/// What a candidate carries: message bits, one per byte, and the CRC that came with them.
template <std::size_t Bits> struct received_message {
    std::array<uint8_t, Bits> bits;
    uint32_t crc; // 24 bits
};

/// Undoes permutation and whitening of decoded bits. The tail is not looked at.
template <std::size_t Bits> received_message<Bits> de_getCrc24(const encoder_input<Bits> &decoded);

/// Whether the CRC is the message's.
template <std::size_t Bits> bool passes_crc_check(const received_message<Bits> &received)
{
    return message_crc<Bits>(received.bits) == received.crc;
}

} // namespace tonelink
