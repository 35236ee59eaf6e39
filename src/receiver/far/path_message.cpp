#include "receiver/far/path_message.h"

#include "modem/channel_decoder.h"

namespace tonelink {

namespace {

template <std::size_t Bits> bool agrees(const path_bits &path, const syndrome_table<Bits> &table)
{
    uint32_t sum = 0;
    for (std::size_t n = 0; n < syndrome_table<Bits>::kNibbles; ++n) {
        unsigned nibble = 0;
        for (std::size_t bit = 0; bit < 4; ++bit) nibble = nibble << 1 | path.bit(4 * n + bit);
        sum ^= table.of[n][nibble];
    }
    return sum == table.wanted;
}

template <std::size_t Bits> uint64_t message_in(const path_bits &path)
{
    encoder_input<Bits> decoded{};
    for (std::size_t n = 0; n < Bits + kCrcBits; ++n)
        decoded[n] = static_cast<uint8_t>(path.bit(n));
    uint64_t message = 0;
    for (const uint8_t bit : de_getCrc24<Bits>(decoded).bits) message = message << 1 | bit;
    return message;
}

} // namespace

bool passes_crc_check(const path_bits &path, std::size_t message_bits)
{
    return message_bits == 32 ? agrees(path, kSyndromes32) : agrees(path, kSyndromes48);
}

uint64_t message_of(const path_bits &path, std::size_t message_bits)
{
    return message_bits == 32 ? message_in<32>(path) : message_in<48>(path);
}

} // namespace tonelink
