#include "arguments.h"

#include <charconv>
#include <optional>

#include "errors.h"

namespace tonelink::tool {
namespace {

/// The byte that two hexadecimal digits at `at` stand for, or nothing.
std::optional<uint8_t> hex_byte(const std::string &text, std::size_t at)
{
    if (at + 2 > text.size()) return std::nullopt;
    uint8_t byte = 0;
    const char *const end = text.data() + at + 2;
    const auto [stop, error] = std::from_chars(text.data() + at, end, byte, 16);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return byte;
}

} // namespace

bluetooth_address parse_address(const std::string &text)
{
    bluetooth_address address{};
    bool right = text.size() == 3 * address.size() - 1;
    for (std::size_t i = 0; right && i < address.size(); ++i) {
        const auto octet = hex_byte(text, 3 * i);
        right = octet && (i == 0 || text[3 * i - 1] == ':');
        address[i] = octet.value_or(0);
    }
    if (right) return address;
    throw wrong_usage{"--address '" + text +
                      "' is not right: it takes six octets of two hexadecimal digits, as in "
                      "AA:BB:CC:DD:EE:FF"};
}

std::vector<uint8_t> parse_data(const std::string &text)
{
    std::vector<uint8_t> data;
    for (std::size_t at = 0; at < text.size(); at += 2) {
        const auto byte = hex_byte(text, at);
        if (!byte)
            throw wrong_usage{"--data '" + text +
                              "' is not right: it takes two hexadecimal digits a byte, as in "
                              "CAFE0123"};
        data.push_back(*byte);
    }
    if (data.empty()) throw wrong_usage{"--data is empty; 1 to 6 bytes are right"};
    return data;
}

} // namespace tonelink::tool
