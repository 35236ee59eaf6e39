// What a burst has on its subcarriers, for programs that measure or draw bursts.
#include <array>

#include "modem/burst_format.h"
#include "modem/channel_encoder.h"
#include "modem/code_tables.h"
#include "receiver/symbol_spectra.h"
#include "tonelink/receiver.h"

namespace tonelink {

namespace {

/// The message's bits, one a byte, from bits in bytes.
std::array<uint8_t, 48> spread_bits(const uint8_t *message, std::size_t count)
{
    std::array<uint8_t, 48> bits{};
    for (std::size_t i = 0; i < count; ++i)
        bits[i] = static_cast<uint8_t>(message[i / 8] >> (7 - i % 8) & 1);
    return bits;
}

} // namespace

} // namespace tonelink

int32_t tonelink_receiver_subcarriers(const uint8_t *message, int32_t nbits,
                                      tonelink_subcarrier *subcarriers)
{
    using namespace tonelink;
    const bool is_known = message != nullptr;
    if (subcarriers == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    if (is_known && nbits != 32 && nbits != 48) return TONELINK_RECEIVER_BAD_LENGTHS;
    channel_bits bits{};
    if (is_known) {
        const auto count = static_cast<std::size_t>(nbits);
        const auto spread = spread_bits(message, count);
        bits = encode_channel(std::span{spread}.first(count));
    }
    std::size_t next_bit = 0;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t i = 0; i < kSubcarriers; ++i, ++subcarriers) {
            subcarriers->value = is_known ? int8_t{-1} : int8_t{0};
            if (holds_pilot(s, i) || bits[next_bit++] != 0) subcarriers->value = 1;
            subcarriers->turn = static_cast<uint8_t>(phi_scr[kSubcarriers * s + i]);
        }
    }
    return TONELINK_RECEIVER_OK;
}
