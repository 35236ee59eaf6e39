#include "modem/channel_encoder.h"

#include <gtest/gtest.h>

#include "modem/known_bursts.h"
#include "support/signals.h"

namespace tonelink {

using test::bits_of;
using test::hash16;

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

} // namespace

TEST(ChannelEncoder, MeetsTheIndependentModelAtEveryStage)
{
    for (const auto &known : test::kKnownBursts) {
        SCOPED_TRACE(known.name);
        if (std::string{known.bits}.size() == 32)
            expect_stages<32>(known);
        else
            expect_stages<48>(known);
    }
}

TEST(ChannelEncoder, IsLinearButForItsConstants)
{
    // CRC, mask and tail add constants; without them every stage is linear over bits.
    test::lcg random{1};
    for (const std::size_t length : {32u, 48u}) {
        std::vector<uint8_t> a, b, c, sum;
        for (std::size_t i = 0; i < length; ++i) {
            a.push_back(random.next() < 0);
            b.push_back(random.next() < 0);
            c.push_back(random.next() < 0);
            sum.push_back(a[i] ^ b[i] ^ c[i]);
        }
        const auto ya = encode_channel(a), yb = encode_channel(b), yc = encode_channel(c);
        channel_bits expected;
        for (std::size_t i = 0; i < kChannelBits; ++i) expected[i] = ya[i] ^ yb[i] ^ yc[i];
        EXPECT_EQ(encode_channel(sum), expected) << length;
    }
}

} // namespace tonelink
