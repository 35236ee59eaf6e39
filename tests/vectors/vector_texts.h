// How the vectors of docs/vectors are written: JSON with a field a line, bits as text, samples as
// numbers, base64 and SHA-256.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

namespace tonelink::test {

using nlohmann::ordered_json;

/// Whole messages as bytes in hexadecimal, from a text of 0 and 1.
inline std::string hex_of(const std::string &bits)
{
    std::string text;
    for (std::size_t i = 0; i < bits.size(); i += 4)
        text += "0123456789ABCDEF"[std::stoi(bits.substr(i, 4), nullptr, 2)];
    return text;
}

inline std::string base64_of(std::span<const uint8_t> bytes)
{
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t group = 0;
        for (std::size_t j = i; j < i + 3; ++j)
            group = group << 8 | (j < bytes.size() ? bytes[j] : 0u);
        for (std::size_t j = 0; j < 4; ++j)
            text += i + j > bytes.size() ? '=' : kDigits[group >> (18 - 6 * j) & 63];
    }
    return text;
}

/// A list of records, each field on a line of its own.
inline std::string lines_of(const std::vector<ordered_json> &records)
{
    std::string text = "[";
    for (const auto &record : records) {
        text += text.size() == 1 ? "\n{" : ",\n{";
        const char *separator = "\n ";
        for (const auto &[name, value] : record.items()) {
            text += separator + ordered_json(name).dump() + ": " + value.dump();
            separator = ",\n ";
        }
        text += "\n}";
    }
    return text + "\n]";
}

} // namespace tonelink::test
