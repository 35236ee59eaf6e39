#include "modem/modulator.h"

#include <gtest/gtest.h>

#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/known_bursts.h"
#include "modem/plain/modulator.h"
#include "support/signals.h"

namespace tonelink {

using test::bits_of;
using test::hash16;

namespace {

std::vector<int16_t> parts_of(const symbol_spectrum &spectrum)
{
    std::vector<int16_t> parts;
    for (const cplx16 bin : spectrum) parts.push_back(bin.re);
    for (const cplx16 bin : spectrum) parts.push_back(bin.im);
    return parts;
}

std::string hash_of_texts(const std::string &texts)
{
    return test::sha256_of_bytes({texts.begin(), texts.end()}).substr(0, 16);
}

} // namespace

TEST(Modulator, MeetsTheIndependentModelAtEveryStage)
{
    for (const auto &known : test::kKnownBursts) {
        SCOPED_TRACE(known.name);
        const auto channel = encode_channel(bits_of(known.bits));
        std::string spectra, bodies;
        for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
            const auto spectrum = scramble(map_symbol(channel, symbol), symbol);
            symbol_body body;
            EXPECT_EQ(inverse_symbol_transform(spectrum, body), 5) << symbol;
            spectra += test::sha256_as<int16_t>(parts_of(spectrum));
            bodies += test::sha256_as<int16_t>(body);
        }
        EXPECT_EQ(hash_of_texts(spectra), known.spectra);
        EXPECT_EQ(hash_of_texts(bodies), known.bodies);
        auto frame = modulate_symbols(channel);
        ramp_edges(frame);
        EXPECT_EQ(hash16(frame), known.frame);
    }
}

TEST(Modulator, FastFormsEqualThePlainOne)
{
    test::lcg random{31};
    for (int round = 0; round < 40; ++round) {
        channel_bits bits;
        for (uint8_t &bit : bits) bit = random.next() < 0 ? 1 : 0;
        if (round < 2) bits.fill(static_cast<uint8_t>(round)); // the largest peaks
        const frame_samples expected = plain::modulate_symbols(bits);
        for (const vector_stages *stages : available_stages())
            EXPECT_EQ(modulate_symbols(bits, *stages), expected) << stages->name << ' ' << round;
    }
    // Any spectra: of full scale, where every stage halves, and small ones, where few do.
    for (int round = 0; round < 40; ++round) {
        symbol_rows rows;
        for (auto &row : rows.bins)
            for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
                const int shift = (round + static_cast<int>(symbol)) % 16;
                const auto part = [&] {
                    const int32_t any = random.next();
                    return static_cast<int16_t>(round % 5 == 0 ? (any < 0 ? -32768 : 32767)
                                                               : any >> shift);
                };
                row[symbol].re = part();
                row[symbol].im = part();
            }
        for (const vector_stages *stages : available_stages()) {
            body_rows bodies;
            stages->transform_symbols(rows, bodies);
            for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
                symbol_spectrum spectrum{};
                for (std::size_t k = 0; k < kUsedBins; ++k)
                    spectrum[kFirstUsedBin + k] = rows.bins[k][symbol];
                symbol_body body;
                inverse_symbol_transform(spectrum, body);
                for (std::size_t n = 0; n < kBodySamples; ++n)
                    ASSERT_EQ(bodies.samples[n][symbol], body[n])
                        << stages->name << ", round " << round << ", symbol " << symbol;
            }
        }
    }
}

TEST(Modulator, CarriesEveryChannelBitOnItsOwnBin)
{
    // Turning one bit turns one bin of one symbol, in order of symbols and then of bins.
    channel_bits bits{};
    std::size_t last_bin = 0;
    for (std::size_t bit = 0; bit < kChannelBits; ++bit) {
        channel_bits turned = bits;
        turned[bit] = 1;
        std::vector<std::size_t> changed;
        for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
            const auto before = map_symbol(bits, symbol), after = map_symbol(turned, symbol);
            for (std::size_t k = 0; k < kUsedBins; ++k)
                if (before[k] != after[k]) changed.push_back(kUsedBins * symbol + k);
        }
        ASSERT_EQ(changed.size(), 1u) << bit;
        EXPECT_EQ(changed[0] % 2, 1u) << bit; // pilots are where symbol and bin offset sum to even
        EXPECT_TRUE(bit == 0 || changed[0] == last_bin + 2) << bit;
        last_bin = changed[0];
    }
}

} // namespace tonelink
