// Messages and their bursts, from a model written independently of the library: two pairings and
// two rows of data.
#pragma once

#include <array>

namespace tonelink::test {

struct known_burst {
    const char *bits;
    const char *burst; // hash16() of the first one of a newly opened state
};

inline constexpr known_burst kPair32 = {"00010010011001110011110010100101", "af644da02492bc77"};
inline constexpr known_burst kPair48 = {"000000000000000000010010011001110011110010100101",
                                        "d6f7445fc144e600"};
inline constexpr known_burst kData32 = {"11011110101011011011111011101111", "d307f9002bfc2348"};
inline constexpr known_burst kData48 = {"000000010010001101000101011001111000100110101011",
                                        "e833d43998138101"};
inline constexpr std::array kKnownBursts = {kPair32, kPair48, kData32, kData48};

} // namespace tonelink::test
