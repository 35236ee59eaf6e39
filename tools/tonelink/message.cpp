#include "message.h"

#include <cassert>

namespace tonelink::tool {
namespace {

void append_field(message_bits &bits, uint32_t value, unsigned width)
{
    for (unsigned bit = width; bit-- > 0;) bits.push_back((value >> bit) & 1u);
}

} // namespace

message_bits pairing_message(uint32_t pin, const bluetooth_address &address, message_length length)
{
    assert(pin <= max_pin(length));
    message_bits bits;
    append_field(bits, pin, static_cast<unsigned>(length) - 16);
    append_field(bits, address[4], 8);
    append_field(bits, address[5], 8);
    return bits;
}

message_bits data_message(std::span<const uint8_t> data, message_length length)
{
    assert(data.size() <= data_capacity(length));
    message_bits bits;
    for (const uint8_t byte : data) append_field(bits, byte, 8);
    bits.resize(static_cast<std::size_t>(length), 0);
    return bits;
}

} // namespace tonelink::tool
