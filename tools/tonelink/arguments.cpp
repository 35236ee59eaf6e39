#include "arguments.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <sstream>

#include "errors.h"

namespace tonelink::tool {
namespace {

/// The whole of `text` as a number, or nothing. `how` is the base, or nothing for fractions.
template <class Number, class... How>
std::optional<Number> whole(const std::string &text, How... how)
{
    Number number{};
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, how...);
    if (error != std::errc{} || stop != end) return std::nullopt;
    return number;
}

template <class Number>
wrong_usage out_of_range(const std::string &option, const std::string &text, Number lowest,
                         Number highest)
{
    std::ostringstream line;
    line << option << " '" << text << "' is not right: it takes a number from " << lowest << " to "
         << highest;
    return wrong_usage{line.str()};
}

bool is_hex(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

/// The byte that two hexadecimal digits at `at` stand for, or nothing.
std::optional<uint8_t> hex_byte(const std::string &text, std::size_t at)
{
    if (at + 2 > text.size() || !is_hex(text[at]) || !is_hex(text[at + 1])) return std::nullopt;
    return whole<uint8_t>(text.substr(at, 2), 16);
}

} // namespace

uint64_t parse_count(const std::string &option, const std::string &text, uint64_t lowest,
                     uint64_t highest)
{
    const auto number = whole<uint64_t>(text, 10);
    if (!number || *number < lowest || *number > highest)
        throw out_of_range(option, text, lowest, highest);
    return *number;
}

double parse_number(const std::string &option, const std::string &text, double lowest,
                    double highest)
{
    const auto number = whole<double>(text);
    // The comparison is false for what is not a number as well.
    if (!number || !(*number >= lowest && *number <= highest))
        throw out_of_range(option, text, lowest, highest);
    return *number;
}

message_length parse_bits(const std::string &text)
{
    if (text == "32") return message_length::short_32;
    if (text == "48") return message_length::long_48;
    throw wrong_usage{"--bits '" + text + "' is not right: a message has 32 or 48 bits"};
}

uint32_t parse_pin(const std::string &text, message_length length)
{
    const bool is_short = length == message_length::short_32;
    const std::string right = is_short ? "0 to 65535 is right for 32 bits, up to 4294967295 for 48"
                                       : "0 to 4294967295 is right for 48 bits";
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
        throw wrong_usage{"--pin '" + text + "' is not a number; " + right};
    const auto pin = whole<uint32_t>(text, 10);
    if (!pin || *pin > max_pin(length))
        throw wrong_usage{"--pin " + text + " does not fit a message of " +
                          (is_short ? "32" : "48") + " bits; " + right};
    return *pin;
}

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

picture_size parse_size(const std::string &text)
{
    constexpr int kNarrowest = 640, kLowest = 400, kLargest = 8000;
    const auto cross = text.find('x');
    if (cross != std::string::npos) {
        const auto width = whole<int>(text.substr(0, cross), 10);
        const auto height = whole<int>(text.substr(cross + 1), 10);
        if (width && height && *width >= kNarrowest && *width <= kLargest && *height >= kLowest &&
            *height <= kLargest)
            return {*width, *height};
    }
    throw wrong_usage{"--size '" + text +
                      "' is not right: it takes WIDTHxHEIGHT from 640x400 to 8000x8000 pixels, as "
                      "in 1600x1000"};
}

} // namespace tonelink::tool
