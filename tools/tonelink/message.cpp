#include "message.h"

#include <cassert>

#include "report_text.h"
#include "shown_text.h"

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

uint32_t field_of(const message_bits &message, std::size_t first, std::size_t width)
{
    uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 1 | message[first + i];
    return value;
}

std::string octets_of(const message_bits &message)
{
    const std::size_t end = message.size();
    return padded_hex(field_of(message, end - 16, 8), 2) + ":" +
           padded_hex(field_of(message, end - 8, 8), 2);
}

std::string hex_of(const message_bits &message)
{
    std::string text;
    for (std::size_t at = 0; at < message.size(); at += 8)
        text += padded_hex(field_of(message, at, 8), 2);
    return text;
}

std::string text_of(const message_bits &message)
{
    std::string text;
    for (std::size_t at = 0; at < message.size(); at += 8)
        text += static_cast<char>(field_of(message, at, 8));
    text.resize(text.find_last_not_of('\0') + 1);
    return is_printable(text) ? text : "";
}

} // namespace tonelink::tool
