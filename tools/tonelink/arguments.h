// What CLI11 does not know by itself of the values on the command line: how numbers are written
// here, and texts that stand for bytes. What is not right is said, with what would be.
#pragma once

#include <concepts>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "message.h"

namespace tonelink::tool {

/// Takes decimal numbers alone, `lowest` to `highest`. CLI11 would read 010 as 8, 0x10 as 16, -1 as
/// the largest number, and nan as a number within any range.
template <class Number> CLI::Validator number_from(Number lowest, Number highest)
{
    return {[lowest, highest](std::string &text) -> std::string {
                const char *const allowed =
                    std::integral<Number> ? "0123456789" : "+-.0123456789eE";
                const bool is_decimal = text.find_first_not_of(allowed) == std::string::npos;
                const std::string typed = text;
                while (text.size() > 1 && text.starts_with('0') && text[1] != '.') text.erase(0, 1);
                if (is_decimal && CLI::Range(lowest, highest)(text).empty()) return {};
                std::ostringstream line;
                line << '\'' << typed << "' is not right: it takes a number from " << lowest
                     << " to " << highest;
                return line.str();
            },
            ""};
}

/// Makes an option take one of some names, each of which stands for a value; help shows them all.
template <class Value>
void take_one_of(CLI::Option &option, const CLI::TransformPairs<Value> &values)
{
    std::string names;
    for (const auto &[name, value] : values) names += (names.empty() ? "" : "|") + name;
    option.type_name(option.nonpositional() ? names : "");
    option.transform(CLI::Transformer(values).description(""));
    option.transform(CLI::IsMember(values).description("")); // comes before the other one
}

// These throw wrong_usage for a text that is not right.

/// Six octets of two hexadecimal digits, "AA:BB:CC:DD:EE:FF".
bluetooth_address parse_address(const std::string &text);

/// Bytes of two hexadecimal digits each, "CAFE01": one at least.
std::vector<uint8_t> parse_data(const std::string &text);

} // namespace tonelink::tool
