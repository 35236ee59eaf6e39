// Signals and hashes that tests share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tonelink::test {

/// The generator that the known answers were made with: 16 bits from the middle of a linear
/// congruential sequence, so that every machine makes the same numbers.
class lcg {
public:
    explicit lcg(std::uint32_t seed) : state_{seed} {}

    /// The next value, -32768 to 32767.
    std::int32_t next()
    {
        state_ = (state_ * 1103515245u + 12345u) & 0x7FFFFFFFu;
        return static_cast<std::int32_t>((state_ >> 8) & 0xFFFFu) - 32768;
    }

private:
    std::uint32_t state_;
};

/// `count` values of lcg(seed), each floor(value mul / div).
std::vector<std::int16_t> noise(std::size_t count, std::uint32_t seed, std::int32_t mul = 1,
                                std::int32_t div = 1);

/// The message bits, one per byte, of a text of 0 and 1.
std::vector<std::uint8_t> bits_of(const std::string &text);

/// A text of 0 and 1 from bits, one per byte.
template <class Range> std::string text_of(const Range &bits)
{
    std::string text;
    for (auto bit : bits) text += static_cast<char>('0' + bit);
    return text;
}

/// SHA-256 of a row of elements in little-endian order, in hexadecimal.
std::string sha256_of_bytes(const std::vector<std::uint8_t> &bytes);

template <class Element, class Range> std::string sha256_as(const Range &values)
{
    std::vector<std::uint8_t> bytes;
    for (auto value : values) {
        const auto element = static_cast<std::uint64_t>(static_cast<Element>(value));
        for (std::size_t i = 0; i < sizeof(Element); ++i)
            bytes.push_back(static_cast<std::uint8_t>(element >> (8 * i)));
    }
    return sha256_of_bytes(bytes);
}

/// The first 16 digits of the SHA-256 over a row of values, as int16 or as another type: 64 bits
/// tell enough.
template <class Element = std::int16_t, class Range> std::string hash16(const Range &values)
{
    return sha256_as<Element>(values).substr(0, 16);
}

} // namespace tonelink::test
