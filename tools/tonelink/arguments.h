// The texts of the command line as values. Each function says what would be right when a text is
// not: it throws wrong_usage.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "message.h"

namespace tonelink::tool {

/// A whole decimal number, `lowest` to `highest`; leading zeros mean nothing.
uint64_t parse_count(const std::string &option, const std::string &text, uint64_t lowest,
                     uint64_t highest);

/// A decimal number, with or without a fraction, `lowest` to `highest`.
double parse_number(const std::string &option, const std::string &text, double lowest,
                    double highest);

/// "32" or "48".
message_length parse_bits(const std::string &text);

/// A decimal PIN that fits a message of the length.
uint32_t parse_pin(const std::string &text, message_length length);

/// Six octets of two hexadecimal digits, "AA:BB:CC:DD:EE:FF".
bluetooth_address parse_address(const std::string &text);

/// Bytes of two hexadecimal digits each, "CAFE01": 1 to 6 of them.
std::vector<uint8_t> parse_data(const std::string &text);

/// A picture's size in pixels, "1600x1000".
struct picture_size {
    int width;
    int height;
};
picture_size parse_size(const std::string &text);

} // namespace tonelink::tool
