// The channel code both ways: the encoder's stages, and the reference decoder.
#include <gtest/gtest.h>

#include <algorithm>

#include "modem/channel_decoder.h"
#include "modem/channel_encoder.h"
#include "modem/known_bursts.h"
#include "modem/reference/demodulator.h"
#include "support/decoding.h"
#include "support/signals.h"

namespace tonelink {

using reference::recover_rate;
using reference::soft_channel;
using reference::viterbi_decoder;
using test::bits_of;
using test::hash16;
using test::text_of;

namespace {

template <std::size_t Bits> void expect_stages(const test::known_burst &known)
{
    const auto bits = bits_of(known.bits);
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    const uint32_t crc = message_crc(message);
    EXPECT_EQ(crc, known.crc);
    auto block = append_crc(message, crc);
    EXPECT_EQ(hash16(block), known.protected_block);
    whiten<Bits>(block);
    EXPECT_EQ(hash16(block), known.whitened);
    const auto input = mask_tail_Message(message, crc);
    EXPECT_EQ(hash16(input), known.encoder_input);
    const auto coded = encode_convolutional<Bits>(input);
    EXPECT_EQ(hash16(coded), known.coded);
    EXPECT_EQ(hash16(match_rate(coded)), known.rate_matched);
    EXPECT_EQ(hash16(encode_channel(bits)), known.channel_bits);
}

/// -level for a 1, +level for a 0, and noise.
soft_channel soft_values(const channel_bits &bits, int32_t level, test::lcg noise = test::lcg{1},
                         int32_t mul = 0)
{
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
};

// From the independent model, too. Those without noise are messages.
const known_candidate kKnownCandidates[] = {
    {0, 95001, 0, 7, "d4eb7a411be5f87f", "f9fbcd1366dee6cd", 0x9425D0},
    {0, 95002, 2, 10000, "80ac388c22187f79", "6293638c16ea64e6", 0xF0B1E6},
    {0, 95003, 3, 10000, "88eeccfda327d04e", "8a6ca9d085fbe698", 0xD8D3CA},
    {1, 95004, 0, 7, "a18da29e33e12e0b", "fa2c745a620508d9", 0x630376},
    {1, 95005, 2, 10000, "be04239a05e3edb5", "4b3a60ebbe6e0277", 0x284AFB},
    {1, 95006, 3, 10000, "48222f24be0d49ae", "87326deae3ce7b0f", 0x539397},
    {2, 95007, 0, 7, "1e3fbf8955e82177", "eec61b12f7d8bbb9", 0x9F10CD},
    {2, 95008, 2, 10000, "b2ac2309f5f45e67", "fc4c5f479c778da6", 0xAFE0CF},
    {2, 95009, 3, 10000, "7744e151d5481a1c", "224c7a1c10daa3c4", 0x99C37C},
    {3, 95010, 0, 7, "922b11b9fb7fb1aa", "26cf9d9f200cb99a", 0xD91CF5},
    {3, 95011, 2, 10000, "de0f1032c1d2e573", "72d7fef97746210f", 0x007553},
    {3, 95012, 3, 10000, "375eca237d3f8a3e", "046dc5e52445f0c9", 0x1BC9A8},
};

template <std::size_t Bits> void expect_decoded(const known_candidate &known)
{
    const std::string message = test::kKnownBursts[known.message].bits;
    const auto sent = match_rate(encode_convolutional<Bits>(test::encoder_input_of<Bits>(message)));
    const auto code =
        recover_rate<Bits>(soft_values(sent, known.level, test::lcg{known.seed}, known.mul));
    EXPECT_EQ(hash16<int32_t>(code), known.recovered);
    const auto decoded = viterbi_decoder<Bits>(code);
    EXPECT_EQ(hash16(decoded), known.decoded);
    const auto received = de_getCrc24<Bits>(decoded);
    EXPECT_EQ(received.crc, known.crc);
    EXPECT_EQ(passes_crc_check(received), known.mul == 0);
    EXPECT_EQ(text_of(received.bits) == message, known.mul == 0);
}

template <std::size_t Bits> void expect_round_trips()
{
    test::lcg random{Bits};
    for (const int32_t level : {1, 1000, 500000}) {
        std::array<uint8_t, Bits> message;
        for (uint8_t &bit : message) bit = random.next() < 0;
        const auto soft = reference::deinterleave(soft_values(encode_channel(message), level));
        auto received = de_getCrc24<Bits>(viterbi_decoder<Bits>(recover_rate<Bits>(soft)));
        EXPECT_EQ(received.bits, message);
        EXPECT_TRUE(passes_crc_check(received));
        received.bits[Bits - 1] ^= 1;
        EXPECT_FALSE(passes_crc_check(received));
    }
    // Ties go to the higher predecessor.
    EXPECT_EQ(text_of(viterbi_decoder<Bits>(recover_rate<Bits>(soft_channel{}))),
              std::string(Bits + kCrcBits, '1').append(kTailBits, '0'));
}

} // namespace

TEST(ChannelCode, MeetsTheIndependentModelAtEveryStage)
{
    for (const auto &known : test::kKnownBursts) {
        SCOPED_TRACE(known.name);
        (std::string{known.bits}.size() == 32 ? expect_stages<32> : expect_stages<48>)(known);
    }
    for (const auto &known : kKnownCandidates) {
        SCOPED_TRACE(known.seed);
        (known.message % 2 == 0 ? expect_decoded<32> : expect_decoded<48>)(known);
    }
}

TEST(ChannelCode, HasTheTablesOfWhichAMessageShowsTheBitsAlone)
{
    EXPECT_EQ(hash16(perm_msg_crc_32), "a4e10aa4140ad21c");
    EXPECT_EQ(hash16(perm_msg_crc_48), "5e2155ce1cd1c075");
    EXPECT_EQ(hash16(repeat_perm_msg), "904099f5f719b1f3");
    EXPECT_EQ(hash16(perm_msg), "0673d4de78926f39");
    EXPECT_EQ(hash16(outBits), "4fc753be5e96b97a");
}

TEST(ChannelCode, DecodesWhatItEncodes)
{
    expect_round_trips<32>();
    expect_round_trips<48>();
}

} // namespace tonelink
