#include "modem/channel_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "modem/channel_encoder.h"
#include "modem/known_bursts.h"
#include "modem/plain/channel_decoder.h"
#include "support/signals.h"

namespace tonelink {

using plain::recover_rate;
using plain::soft_channel;
using plain::soft_code;
using plain::viterbi_decoder;
using test::bits_of;
using test::text_of;

namespace {

/// The channel bits of a message before the interleaver.
template <std::size_t Bits> channel_bits carried_by(const std::string &text)
{
    const auto bits = bits_of(text);
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    const auto input = mask_tail_Message<Bits>(message, message_crc<Bits>(message));
    return match_rate(encode_convolutional<Bits>(input));
}

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
    int message; // index of kKnownBursts
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
    {0, 95001, 0, 7, "d4eb7a411be5f87f",
     "10001101111011000101111101111101111000000001000101000101000000", 0x9425D0, true},
    {0, 95002, 2, 10000, "80ac388c22187f79",
     "10001101110100010001001110100100011111010101000010110010000000", 0xF0B1E6, false},
    {0, 95003, 3, 10000, "88eeccfda327d04e",
     "00110101100110011011011110011100011100110100001110101110000000", 0xD8D3CA, false},
    {1, 95004, 0, 7, "a18da29e33e12e0b",
     "000110110011110101010101011000011110101100101000100110111100000010101010000000", 0x630376,
     true},
    {1, 95005, 2, 10000, "be04239a05e3edb5",
     "100000000100111111111010101110001110000110100100011111110101101101101010000000", 0x284AFB,
     false},
    {1, 95006, 3, 10000, "48222f24be0d49ae",
     "101100100011100011001001100001011000111101001100101011010101101000110100000000", 0x539397,
     false},
    {2, 95007, 0, 7, "1e3fbf8955e82177",
     "01000010110110100001011000011111111001100110000101010011000000", 0x9F10CD, true},
    {2, 95008, 2, 10000, "b2ac2309f5f45e67",
     "01110000011110000011011010100101011010001111001011010011000000", 0xAFE0CF, false},
    {2, 95009, 3, 10000, "7744e151d5481a1c",
     "01000101101011100011101010100111010101101100101101011100000000", 0x99C37C, false},
    {3, 95010, 0, 7, "922b11b9fb7fb1aa",
     "011100010110111010001111011010110010100100000010000110010011001110100010000000", 0xD91CF5,
     true},
    {3, 95011, 2, 10000, "de0f1032c1d2e573",
     "010101010111110010100000110001000101011111101001111001010110001010100010000000", 0x007553,
     false},
    {3, 95012, 3, 10000, "375eca237d3f8a3e",
     "011101101101101101101100011010110010100010011100010111100001100011111100000000", 0x1BC9A8,
     false},
};

template <std::size_t Bits> void expect_known(const known_candidate &known)
{
    const std::string message = test::kKnownBursts[static_cast<std::size_t>(known.message)].bits;
    const auto soft = soft_values(carried_by<Bits>(message), known.level, known.seed, known.mul);
    const auto code = recover_rate<Bits>(soft);
    EXPECT_EQ(test::sha256_as<int32_t>(code).substr(0, 16), known.recovered) << known.seed;
    const auto decoded = viterbi_decoder<Bits>(code);
    EXPECT_EQ(text_of(decoded), known.decoded) << known.seed;
    const auto received = de_getCrc24<Bits>(decoded);
    EXPECT_EQ(received.crc, known.crc) << known.seed;
    EXPECT_EQ(is_accepted(received), known.accepted) << known.seed;
    EXPECT_EQ(text_of(received.bits) == message, known.accepted) << known.seed;
}

template <std::size_t Bits> void expect_ties_to_the_higher_predecessor()
{
    const auto decoded = viterbi_decoder<Bits>(soft_code<Bits>{});
    const std::string steps(decoded.size() - kTailBits, '1');
    EXPECT_EQ(text_of(decoded), steps + "000000");
}

template <std::size_t Bits> void expect_any_flip_refused(const std::string &text)
{
    const auto bits = bits_of(text);
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    auto input = mask_tail_Message<Bits>(message, message_crc<Bits>(message));
    ASSERT_TRUE(is_accepted(de_getCrc24<Bits>(input)));
    for (std::size_t i = 0; i < input.size(); ++i) {
        input[i] ^= 1;
        EXPECT_EQ(is_accepted(de_getCrc24<Bits>(input)), i >= Bits + kCrcBits) << i;
        input[i] ^= 1;
    }
}

} // namespace

TEST(ChannelDecoder, KnownAnswers)
{
    for (const auto &known : kKnownCandidates)
        test::kKnownBursts[static_cast<std::size_t>(known.message)].bits[32] == '\0'
            ? expect_known<32>(known)
            : expect_known<48>(known);
}

TEST(ChannelDecoder, PutsTogetherWhatRateMatchingTookApart)
{
    soft_channel numbered;
    for (std::size_t i = 0; i < numbered.size(); ++i)
        numbered[i] = static_cast<int32_t>(1000 + i); // so that a sum tells what is in it
    const auto short_code = recover_rate<32>(numbered);
    EXPECT_EQ(short_code[0], 1000 + 1243);
    EXPECT_EQ(short_code[6], 1249);
    EXPECT_EQ(short_code[66], 0);
    EXPECT_EQ(short_code[247], 1242 + 1487);
    const auto long_code = recover_rate<48>(numbered);
    EXPECT_EQ(long_code[0], 1000 + 1312);
    EXPECT_EQ(long_code[1], 1001);
    EXPECT_EQ(long_code[20], 1020 + 1323);
}

TEST(ChannelDecoder, TiesGoToTheHigherPredecessor)
{
    expect_ties_to_the_higher_predecessor<32>();
    expect_ties_to_the_higher_predecessor<48>();
}

TEST(ChannelDecoder, RefusesAnyFlippedBitButTheTail)
{
    expect_any_flip_refused<32>(test::kKnownBursts[0].bits);
    expect_any_flip_refused<48>(test::kKnownBursts[1].bits);
}

} // namespace tonelink
