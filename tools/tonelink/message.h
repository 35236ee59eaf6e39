// The message row of a burst: what its 32 or 48 bits mean to a receiver.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tonelink::tool {

/// The two lengths that a message can have, in bits.
enum class message_length { short_32 = 32, long_48 = 48 };

/// The six octets of a Bluetooth device address in the order in which they are written.
using bluetooth_address = std::array<uint8_t, 6>;

/// Message bits as the modem takes them: one per byte, each field's most significant bit first.
using message_bits = std::vector<uint8_t>;

/// The widest PIN that fits beside the address octets: 16 bits of 32, or 32 bits of 48.
constexpr uint32_t max_pin(message_length length)
{
    return length == message_length::short_32 ? 0xFFFF : 0xFFFFFFFF;
}

/// The bytes of application data that fit: 4 or 6.
constexpr std::size_t data_capacity(message_length length)
{
    return static_cast<std::size_t>(length) / 8;
}

/// A pairing message: the PIN, then the fifth and sixth octet of the address.
message_bits pairing_message(uint32_t pin, const bluetooth_address &address, message_length length);

/// A data message: the bytes in order, then zeros. At most data_capacity() bytes.
message_bits data_message(std::span<const uint8_t> data, message_length length);

/// The `width` bits from `first` on as a number, at most 32.
uint32_t field_of(const message_bits &message, std::size_t first, std::size_t width);

/// The PIN of a message, if it is a pairing.
inline uint32_t pin_of(const message_bits &message)
{
    return field_of(message, 0, message.size() - 16);
}

/// The two address octets of a message, if it is a pairing: "3C:A5".
std::string octets_of(const message_bits &message);

/// All bytes of a message, two hexadecimal digits each.
std::string hex_of(const message_bits &message);

/// The text that a message is, without the zeros behind it; empty when any byte is no part of one.
/// Text is what is_printable(), in UTF-8.
std::string text_of(const message_bits &message);

} // namespace tonelink::tool
