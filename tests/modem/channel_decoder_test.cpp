#include "modem/channel_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "modem/known_bursts.h"
#include "support/decoding.h"
#include "support/signals.h"

namespace tonelink {

using reference::recover_rate;
using reference::soft_channel;
using reference::soft_code;
using reference::viterbi_decoder;
using test::encoder_input_of;
using test::text_of;

namespace {

/// -level for a 1, +level for a 0, and noise.
soft_channel soft_values(const channel_bits &bits, int32_t level, uint32_t seed, int32_t mul)
{
    test::lcg noise{seed};
    soft_channel soft;
    for (std::size_t i = 0; i < soft.size(); ++i)
        soft[i] = std::clamp(noise.next() * mul + (bits[i] != 0 ? -level : level), -500000, 500000);
    return soft;
}

struct known_candidate {
    std::size_t message; // index of kKnownBursts
    uint32_t seed;
    int32_t mul;
    int32_t level;
    const char *recovered;
    const char *decoded;
    uint32_t crc;
    bool accepted;
};

// From the independent model, too.
const known_candidate kKnownCandidates[] = {
    {0, 95001, 0, 7, "d4eb7a411be5f87f", "f9fbcd1366dee6cd", 0x9425D0, true},
    {0, 95002, 2, 10000, "80ac388c22187f79", "6293638c16ea64e6", 0xF0B1E6, false},
    {0, 95003, 3, 10000, "88eeccfda327d04e", "8a6ca9d085fbe698", 0xD8D3CA, false},
    {1, 95004, 0, 7, "a18da29e33e12e0b", "fa2c745a620508d9", 0x630376, true},
    {1, 95005, 2, 10000, "be04239a05e3edb5", "4b3a60ebbe6e0277", 0x284AFB, false},
    {1, 95006, 3, 10000, "48222f24be0d49ae", "87326deae3ce7b0f", 0x539397, false},
    {2, 95007, 0, 7, "1e3fbf8955e82177", "eec61b12f7d8bbb9", 0x9F10CD, true},
    {2, 95008, 2, 10000, "b2ac2309f5f45e67", "fc4c5f479c778da6", 0xAFE0CF, false},
    {2, 95009, 3, 10000, "7744e151d5481a1c", "224c7a1c10daa3c4", 0x99C37C, false},
    {3, 95010, 0, 7, "922b11b9fb7fb1aa", "26cf9d9f200cb99a", 0xD91CF5, true},
    {3, 95011, 2, 10000, "de0f1032c1d2e573", "72d7fef97746210f", 0x007553, false},
    {3, 95012, 3, 10000, "375eca237d3f8a3e", "046dc5e52445f0c9", 0x1BC9A8, false},
};

template <std::size_t Bits> void expect_known(const known_candidate &known)
{
    const std::string message = test::kKnownBursts[known.message].bits;
    const auto sent = match_rate(encode_convolutional<Bits>(encoder_input_of<Bits>(message)));
    const auto code = recover_rate<Bits>(soft_values(sent, known.level, known.seed, known.mul));
    EXPECT_EQ(test::hash16<int32_t>(code), known.recovered);
    const auto decoded = viterbi_decoder<Bits>(code);
    EXPECT_EQ(test::hash16(decoded), known.decoded);
    const auto received = de_getCrc24<Bits>(decoded);
    EXPECT_EQ(received.crc, known.crc);
    EXPECT_EQ(passes_crc_check(received), known.accepted);
    EXPECT_EQ(text_of(received.bits) == message, known.accepted);
}

} // namespace

TEST(ChannelDecoder, KnownAnswers)
{
    for (const auto &known : kKnownCandidates) {
        SCOPED_TRACE(known.seed);
        if (known.message % 2 == 0)
            expect_known<32>(known);
        else
            expect_known<48>(known);
    }
}

TEST(ChannelDecoder, TiesGoToTheHigherPredecessor)
{
    EXPECT_EQ(text_of(viterbi_decoder<32>(soft_code<32>{})), std::string(56, '1').append(6, '0'));
    EXPECT_EQ(text_of(viterbi_decoder<48>(soft_code<48>{})), std::string(72, '1').append(6, '0'));
}

} // namespace tonelink
