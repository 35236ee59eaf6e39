#include "modem/modulator.h"

#include <gtest/gtest.h>

#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/known_bursts.h"
#include "support/signals.h"

namespace tonelink {

namespace {

std::vector<int16_t> parts_of(const symbol_spectrum &spectrum)
{
    std::vector<int16_t> parts;
    for (const cplx16 bin : spectrum) parts.push_back(bin.re);
    for (const cplx16 bin : spectrum) parts.push_back(bin.im);
    return parts;
}

} // namespace

TEST(Modulator, MeetsTheIndependentModelAtEveryStage)
{
    for (const auto &known : test::kKnownBursts) {
        SCOPED_TRACE(known.name);
        const auto channel = encode_channel(test::bits_of(known.bits));
        std::string spectra, bodies;
        for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
            const auto spectrum = scramble(map_symbol(channel, symbol), symbol);
            symbol_body body;
            EXPECT_EQ(inverse_symbol_transform(spectrum, body), 5) << symbol;
            spectra += test::sha256_as<int16_t>(parts_of(spectrum));
            bodies += test::sha256_as<int16_t>(body);
        }
        EXPECT_EQ(test::hash16<uint8_t>(spectra), known.spectra);
        EXPECT_EQ(test::hash16<uint8_t>(bodies), known.bodies);
        auto frame = modulate_symbols(channel);
        ramp_edges(frame);
        EXPECT_EQ(test::hash16(frame), known.frame);
    }
}

} // namespace tonelink
