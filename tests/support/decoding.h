// What a decoder is to find again.
#pragma once

#include "modem/channel_decoder.h"
#include "modem/reference/channel_decoder.h"
#include "support/signals.h"

namespace tonelink::test {

/// A message as it enters the convolutional code.
template <std::size_t Bits> encoder_input<Bits> encoder_input_of(const std::string &text)
{
    const auto bits = bits_of(text);
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    return mask_tail_Message<Bits>(message, message_crc<Bits>(message));
}

} // namespace tonelink::test
