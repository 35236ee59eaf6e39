#include "modem/channel_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "modem/known_bursts.h"
#include "support/signals.h"

namespace tonelink {

using test::bits_of;
using test::hash16;
using test::kKnownBursts;
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

/// Where the rate matching takes each of its 488 bits from: positions are sent through it in place
/// of bits, a low and a high half at a time, as it only moves what it gets.
template <std::size_t Bits> std::vector<std::size_t> sources_of_sent_bits()
{
    coded_bits<Bits> low, high;
    for (std::size_t i = 0; i < low.size(); ++i) {
        low[i] = static_cast<uint8_t>(i & 255);
        high[i] = static_cast<uint8_t>(i >> 8);
    }
    const auto sent_low = match_rate(low), sent_high = match_rate(high);
    std::vector<std::size_t> sources;
    for (std::size_t i = 0; i < kChannelBits; ++i)
        sources.push_back(sent_low[i] + std::size_t{256} * sent_high[i]);
    return sources;
}

} // namespace

TEST(ChannelEncoder, MeetsTheIndependentModelAtEveryStage)
{
    for (const auto &known : kKnownBursts) {
        SCOPED_TRACE(known.name);
        if (std::string{known.bits}.size() == 32)
            expect_stages<32>(known);
        else
            expect_stages<48>(known);
    }
}

TEST(ChannelEncoder, ProtectsUniformAndSparseMessages)
{
    const std::string zeros(31, '0');
    const struct {
        std::string message;
        uint32_t crc;
    } cases[] = {{zeros + "0", 0x3E8DC2},
                 {std::string(32, '1'), 0x377D43},
                 {"1" + zeros, 0x63E009},
                 {zeros + "1", 0x1D33E6}};
    for (const auto &c : cases)
        EXPECT_EQ(message_crc<32>(std::span<const uint8_t, 32>{bits_of(c.message)}), c.crc)
            << c.message;
    EXPECT_EQ(message_crc<48>(std::span<const uint8_t, 48>{bits_of(std::string(48, '0'))}),
              0x64B468u);

    const struct {
        std::size_t bits;
        const char *first;
        int ones;
    } rows[] = {{32, "10110010111000001011111110100101", 250},
                {48, "11111100000101011101100000100001", 255}};
    for (const auto &row : rows) {
        const auto channel = encode_channel(std::vector<uint8_t>(row.bits, 0));
        EXPECT_EQ(text_of(channel).substr(0, 32), row.first);
        EXPECT_EQ(std::accumulate(channel.begin(), channel.end(), 0), row.ones);
    }
}

TEST(ChannelEncoder, SendsCodedBitsTwiceWhereThereIsRoom)
{
    const auto short_sources = sources_of_sent_bits<32>();
    for (std::size_t position = 0; position < 248; ++position) {
        const auto times = std::count(short_sources.begin(), short_sources.end(), position);
        const bool once = std::ranges::count(std::array{6, 114, 117, 182, 184, 243},
                                             static_cast<int>(position)) > 0;
        EXPECT_EQ(times, position == 66 ? 0 : once ? 1 : 2) << position;
    }
    const auto long_sources = sources_of_sent_bits<48>();
    for (std::size_t i = 0; i < 312; ++i) EXPECT_EQ(long_sources[i], i);
    EXPECT_EQ(long_sources[312], 0u);
    EXPECT_EQ(long_sources[487], 310u);
}

TEST(ChannelEncoder, IsLinearButForItsConstants)
{
    // CRC, mask and tail add constants; without them every stage is linear over bits.
    const auto bits = [](uint32_t seed) {
        auto row = test::noise(48, seed);
        std::vector<uint8_t> message;
        for (int16_t value : row) message.push_back(value < 0);
        return message;
    };
    const auto a = bits(1), b = bits(2), c = bits(3);
    std::vector<uint8_t> sum(48);
    for (std::size_t i = 0; i < 48; ++i) sum[i] = a[i] ^ b[i] ^ c[i];
    const auto ya = encode_channel(a), yb = encode_channel(b), yc = encode_channel(c),
               ysum = encode_channel(sum);
    for (std::size_t i = 0; i < kChannelBits; ++i) EXPECT_EQ(ysum[i], ya[i] ^ yb[i] ^ yc[i]) << i;
}

TEST(ChannelEncoder, PacksTheLastBitFirst)
{
    std::array<uint8_t, 2> bytes = {0xFF, 0xFF};
    bvec_bit2byte(bits_of("100000000001"), bytes);
    EXPECT_EQ(bytes, (std::array<uint8_t, 2>{0x80, 0x10}));
    bvec_bit2byte({}, {});
}

} // namespace tonelink
