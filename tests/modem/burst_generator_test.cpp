#include "modem/burst_generator.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "modem/band_shift.h"
#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
#include "modem/reference/burst_generator.h"
#include "modem/spectrum_mirror.h"
#include "support/failing_memory.h"
#include "support/modem_guard.h"
#include "support/signals.h"

namespace tonelink {

using test::bits_of;
using test::hash16;
using test::kKnownBursts;
using test::open_modem;

namespace {

const auto &pair32 = kKnownBursts[0];
const auto &pair48 = kKnownBursts[1];
const auto &data48 = kKnownBursts[3];

struct handed_out {
    int32_t result = 0;
    int16_t *samples = nullptr;
    int32_t *length = nullptr;

    bool is_nothing() const { return samples == nullptr && length == nullptr; }
};

handed_out get_burst(snfc_state **state, const std::string &message, int32_t nbits = 0)
{
    const auto bits = bits_of(message);
    handed_out out;
    out.result =
        get_burst_snfc(state, bits.data(), nbits != 0 ? nbits : static_cast<int32_t>(bits.size()),
                       &out.samples, &out.length);
    return out;
}

std::vector<int16_t> parts_of(const symbol_spectrum &spectrum)
{
    std::vector<int16_t> parts;
    for (const cplx16 subcarrier : spectrum) parts.push_back(subcarrier.re);
    for (const cplx16 subcarrier : spectrum) parts.push_back(subcarrier.im);
    return parts;
}

} // namespace

TEST(BurstGenerator, MeetsTheIndependentModelFromChannelBitsOn)
{
    for (const auto &known : kKnownBursts) {
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
        EXPECT_EQ(hash16<uint8_t>(spectra), known.spectra);
        EXPECT_EQ(hash16<uint8_t>(bodies), known.bodies);
        for (const vector_stages *const stages : available_stages()) {
            SCOPED_TRACE(stages->name);
            auto frame = modulate_symbols(channel, *stages);
            ramp_edges(frame);
            EXPECT_EQ(hash16(frame), known.frame);
            std::array<int16_t, kBurstSamples> burst;
            interpolate_by_10(frame, burst, *stages);
            EXPECT_EQ(hash16(burst), known.interpolated);
            mirror_spectrum(burst, 1);
            EXPECT_EQ(hash16(burst), known.mirrored);
            test::open_shifter shifter{-kBandShiftHz};
            shift_band(burst, shifter, *stages);
            EXPECT_EQ(hash16(burst), known.shifted);
            EXPECT_EQ(peak_magnitude(burst), known.peak);
            normalise_peak(burst, *stages);
            EXPECT_EQ(hash16(burst), known.burst);
        }
    }
}

TEST(BurstGenerator, BurstsOfOneStateFollowEachOther)
{
    open_modem modem;
    EXPECT_EQ(hash16(modem.burst(pair32.bits)), pair32.burst);
    EXPECT_EQ(hash16(modem.burst(data48.bits)), "dc91f30cf3dd005f");
    EXPECT_EQ(hash16(modem.burst(pair32.bits)), "15c22dc95b12f44b");
}

TEST(BurstGenerator, MirrorsUnlessItsStateSaysOtherwise)
{
    for (const int32_t inversion : {0, 1, -2}) {
        std::array<int16_t, kBurstSamples> expected;
        test::open_shifter shifter{-kBandShiftHz};
        reference::make_burst(bits_of(pair32.bits), inversion != 0, shifter, expected);
        open_modem modem;
        modem->spectral_inversion = inversion;
        EXPECT_TRUE(std::ranges::equal(modem.burst(pair32.bits), expected)) << inversion;
    }
}

TEST(BurstGenerator, RemembersItsMessage)
{
    open_modem modem;
    const auto first = get_burst(&modem, pair32.bits);
    ASSERT_EQ(first.result, 1);
    EXPECT_EQ(*first.length, 23170);
    EXPECT_EQ(first.length, &modem->burst_samples.length);
    first.samples[1000] ^= 0x55; // a caller's change stays: nothing is made anew
    const int16_t changed = first.samples[1000];
    const int32_t phase = sInfoTx.phase;
    get_burst(&modem, pair32.bits);
    EXPECT_TRUE(first.samples[1000] == changed && sInfoTx.phase == phase);

    // One bit less in common, or another length that begins alike, is another message.
    std::string other = pair32.bits;
    other[0] ^= 1;
    for (const auto &message : {other, other + std::string(16, '0'), other}) {
        sInfoTx.phase = 0;
        const auto next = get_burst(&modem, message);
        EXPECT_TRUE(next.result == 1 && sInfoTx.phase != 0);
        EXPECT_TRUE(next.samples == first.samples && next.length == first.length);
        EXPECT_EQ(modem->last_message.length, static_cast<int32_t>(message.size()));
    }
}

TEST(BurstGenerator, RefusesWhatItCannotSend)
{
    snfc_state *none = nullptr;
    EXPECT_EQ(get_burst(&none, pair32.bits).result, -2);
    open_modem modem;
    for (const int32_t nbits : {-1, 40, 31, 33, 49, -32, INT32_MAX}) {
        const auto refused = get_burst(&modem, pair48.bits, nbits);
        EXPECT_TRUE(refused.result == -3 && refused.is_nothing()) << nbits;
    }
    EXPECT_TRUE(modem->last_message.length == 0 && modem->burst_samples.length == 0);
}

TEST(BurstGenerator, WithoutMemoryHoldsNothingAndGoesOn)
{
    // Message and burst; the message alone for one of another length.
    for (const auto &[before, n] : {std::pair{"", 0u}, {"", 1u}, {pair48.bits, 0u}}) {
        open_modem modem;
        if (*before != 0) modem.burst(before);
        {
            const test::failing_allocation failure{n};
            const handed_out out = get_burst(&modem, pair32.bits);
            EXPECT_TRUE(out.result == -4 && out.is_nothing()) << n;
        }
        EXPECT_TRUE(modem->burst_samples.length == 0 && modem->last_message.length == 0) << n;
        EXPECT_EQ(hash16(modem.burst(pair32.bits)) == pair32.burst, *before == 0) << n;
    }
}

} // namespace tonelink
