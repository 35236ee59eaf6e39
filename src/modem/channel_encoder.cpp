#include "modem/channel_encoder.h"

#include <algorithm>
#include <cassert>

namespace tonelink {

void bvec_bit2byte(std::span<const uint8_t> bits, std::span<uint8_t> bytes)
{
    std::fill(bytes.begin(), bytes.end(), uint8_t{0});
    for (std::size_t j = 0; j < bits.size(); ++j)
        if (bits[bits.size() - 1 - j] > 0) bytes[j / 8] |= static_cast<uint8_t>(0x80u >> j % 8);
}

uint32_t crc24(std::span<const uint8_t> bytes)
{
    uint32_t crc = kCrcStart;
    for (const uint8_t byte : bytes) {
        crc ^= uint32_t{byte} << 16;
        for (int bit = 0; bit < 8; ++bit) {
            const bool out = (crc & 0x800000) != 0;
            crc = (crc << 1) & 0xFFFFFF;
            if (out) crc ^= kCrcPolynomial;
        }
    }
    return crc;
}

template <std::size_t Bits> uint32_t message_crc(std::span<const uint8_t, Bits> message)
{
    std::array<uint8_t, Bits / 8> bytes;
    bvec_bit2byte(message, bytes);
    return crc24(bytes) ^ kCrcFinalXor;
}

template <std::size_t Bits>
protected_block<Bits> append_crc(std::span<const uint8_t, Bits> message, uint32_t crc)
{
    protected_block<Bits> block;
    for (std::size_t i = 0; i < Bits; ++i) block[i] = message[i] & 1;
    for (std::size_t j = 0; j < kCrcBits; ++j)
        block[Bits + j] = static_cast<uint8_t>(crc >> (kCrcBits - 1 - j) & 1);
    return block;
}

template <std::size_t Bits> void whiten(std::span<uint8_t, Bits + kCrcBits> block)
{
    for (std::size_t i = 0; i < block.size(); ++i) block[i] ^= message_format<Bits>::mask[i];
}

template <std::size_t Bits>
encoder_input<Bits> mask_tail_Message(std::span<const uint8_t, Bits> message, uint32_t crc)
{
    auto block = append_crc(message, crc);
    whiten<Bits>(block);
    encoder_input<Bits> input{}; // the tail is zero
    for (std::size_t i = 0; i < block.size(); ++i)
        input[i] = block[message_format<Bits>::permutation[i]];
    return input;
}

namespace {

/// The sum of an 8-bit row of bits, modulo 2.
constexpr uint8_t parity(unsigned bits)
{
    bits ^= bits >> 4;
    bits ^= bits >> 2;
    bits ^= bits >> 1;
    return static_cast<uint8_t>(bits & 1);
}

} // namespace

template <std::size_t Bits> coded_bits<Bits> encode_convolutional(const encoder_input<Bits> &input)
{
    coded_bits<Bits> coded;
    unsigned recent = 0; // the last seven bits, the newest in bit 0
    for (std::size_t i = 0; i < input.size(); ++i) {
        recent = (recent << 1 | input[i]) & 0x7F;
        for (std::size_t k = 0; k < kCodeOutputs; ++k)
            coded[kCodeOutputs * i + k] = parity(recent & genPolynomialIndex[k]);
    }
    return coded;
}

channel_bits match_rate(const coded_bits<32> &coded)
{
    channel_bits matched;
    std::size_t kept = 0;
    std::size_t dropped = 0; // the 0 that ends the list matches no later position
    for (std::size_t position = 0; position < 2 * coded.size(); ++position) {
        if (position == static_cast<std::size_t>(punct_msg[dropped])) {
            ++dropped;
            continue;
        }
        matched[kept++] = coded[position % coded.size()];
    }
    assert(kept == matched.size());
    return matched;
}

channel_bits match_rate(const coded_bits<48> &coded)
{
    channel_bits matched;
    const auto repeats = std::copy(coded.begin(), coded.end(), matched.begin());
    std::transform(repeat_perm_msg.begin(), repeat_perm_msg.end(), repeats,
                   [&](int16_t i) { return coded[static_cast<std::size_t>(i)]; });
    return matched;
}

channel_bits interleave(const channel_bits &bits)
{
    channel_bits spread;
    for (std::size_t i = 0; i < spread.size(); ++i)
        spread[i] = bits[static_cast<std::size_t>(perm_msg[i])];
    return spread;
}

namespace {

template <std::size_t Bits> channel_bits encode_message(std::span<const uint8_t, Bits> message)
{
    const uint32_t crc = message_crc(message);
    const encoder_input<Bits> input = mask_tail_Message(message, crc);
    const coded_bits<Bits> coded = encode_convolutional<Bits>(input);
    return interleave(match_rate(coded));
}

} // namespace

channel_bits encode_channel(std::span<const uint8_t> message)
{
    assert(message.size() == 32 || message.size() == 48);
    if (message.size() == 32) return encode_message(message.first<32>());
    return encode_message(message.first<48>());
}

#define INSTANTIATE(Bits)                                                                          \
    template uint32_t message_crc(std::span<const uint8_t, Bits>);                                 \
    template protected_block<Bits> append_crc(std::span<const uint8_t, Bits>, uint32_t);           \
    template void whiten<Bits>(std::span<uint8_t, Bits + kCrcBits>);                               \
    template encoder_input<Bits> mask_tail_Message(std::span<const uint8_t, Bits>, uint32_t);      \
    template coded_bits<Bits> encode_convolutional<Bits>(const encoder_input<Bits> &);
INSTANTIATE(32)
INSTANTIATE(48)
#undef INSTANTIATE

} // namespace tonelink
