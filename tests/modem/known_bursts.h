// Known answers of four messages at every stage, from a model written independently of the library.
// Rows are hash16() of their values; spectra and bodies are the hash of the 16 symbols' SHA-256
// texts one after the other, a spectrum being its 64 real parts, then its 64 imaginary parts.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace tonelink::test {

struct known_burst {
    const char *name;
    const char *bits;
    uint32_t crc;
    const char *protected_block;
    const char *whitened;
    const char *encoder_input;
    const char *coded;
    const char *rate_matched;
    const char *channel_bits;
    const char *spectra;
    const char *bodies;
    const char *frame;
    const char *interpolated;
    const char *mirrored;
    const char *shifted;
    int32_t peak;
    const char *burst; // the first of a newly opened state
};

inline constexpr std::array<known_burst, 4> kKnownBursts = {{
    {"pair32", "00010010011001110011110010100101", 0x9425D0, "f3a5e0566d5d2cb7", "d35e0bd543fc4e2a",
     "f9fbcd1366dee6cd", "cc21a459aaff9235", "489cf86dd2985379", "c4023820cec28844",
     "4e1bafdc895c3008", "34c71bcce832c20f", "8c119d5ac7e90456", "b1b48207a35735db",
     "31a8f462552d924a", "bb0da5919ca320fc", 10434, "af644da02492bc77"},
    {"pair48", "000000000000000000010010011001110011110010100101", 0x630376, "7483f882ad8608e1",
     "0cbb254ea867fc57", "fa2c745a620508d9", "bc995db600acd49a", "af20d15a62c2e8de",
     "7a643d10f4cc3078", "6f21572866682b2a", "56a63a993f8c6414", "ff51073665e1fc61",
     "4bde37b32439e7fb", "91e92d43c18f5345", "339d2de90f81ead7", 8922, "d6f7445fc144e600"},
    {"data32", "11011110101011011011111011101111", 0x9F10CD, "6c7efa55bc11fd01", "5a04b11341505347",
     "eec61b12f7d8bbb9", "58fc074a0fe0f185", "0ade717478fae4a4", "1131634c1bd030da",
     "eec6a6b6d62fb9fd", "cc0ddafcb7b75f99", "742b5756287191dd", "f2f34072a8e6bf37",
     "7f5c750fa30d32c9", "169c68942fd8e6e4", 11085, "d307f9002bfc2348"},
    {"data48", "000000010010001101000101011001111000100110101011", 0xD91CF5, "80da4a11352c3290",
     "8df7a50cf8c1a273", "26cf9d9f200cb99a", "4bacfa1c03efcf31", "7dea79eee281fce0",
     "8ef33ba7a3b60475", "e8882adadb162816", "9702f4ff992c56dc", "166899a67c0933d4",
     "d06ea51cbaf96140", "47c5c2ba17798e82", "b43db465f6e6f7ac", 10161, "e833d43998138101"},
}};

} // namespace tonelink::test
