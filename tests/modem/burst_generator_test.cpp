#include "modem/burst_generator.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
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
};

handed_out get_burst(snfc_state **state, const std::string &message, int32_t nbits)
{
    const auto bits = bits_of(message);
    handed_out out;
    out.result = get_burst_snfc(state, bits.data(), nbits, &out.samples, &out.length);
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

        auto frame = modulate_symbols(channel);
        ramp_edges(frame);
        EXPECT_EQ(hash16(frame), known.frame);
        std::array<int16_t, kBurstSamples> burst;
        interpolate_by_10(frame, burst);
        EXPECT_EQ(hash16(burst), known.interpolated);
        mirror_spectrum(burst, 1);
        EXPECT_EQ(hash16(burst), known.mirrored);
        test::open_shifter shifter{-kBandShiftHz};
        makeBandShift(burst.data(), kBurstSamples, &shifter);
        EXPECT_EQ(hash16(burst), known.shifted);
        EXPECT_EQ(peak_magnitude(burst), known.peak);
        normalise_peak(burst);
        EXPECT_EQ(hash16(burst), known.burst);

        open_modem modem;
        EXPECT_EQ(hash16(modem.burst(known.bits)), known.burst);
    }
}

TEST(BurstGenerator, BurstsOfOneStateFollowEachOther)
{
    open_modem modem;
    EXPECT_EQ(hash16(modem.burst(pair32.bits)), pair32.burst);
    EXPECT_EQ(hash16(modem.burst(data48.bits)), "dc91f30cf3dd005f");
    EXPECT_EQ(hash16(modem.burst(pair32.bits)), "15c22dc95b12f44b");
}

TEST(BurstGenerator, ScalesThePeakToFullScale)
{
    using samples = std::array<int16_t, 3>;
    const std::pair<samples, samples> cases[] = {
        {{0, 0, 0}, {0, 0, 0}},
        {{1, -1, 0}, {32767, -32768, 0}}, // a power of two: 32768 does not fit
        {{16384, -16384, -1}, {32767, -32768, -2}},
        {{-32768, 32767, 5}, {-32768, 32767, 5}},
        {{3, -2, 1}, {32767, -21846, 10922}},
    };
    for (const auto &[before, after] : cases) {
        std::array<int16_t, kBurstSamples> burst{};
        std::ranges::copy(before, burst.begin());
        normalise_peak(burst);
        EXPECT_TRUE(std::ranges::equal(after, std::span{burst}.first<3>())) << before[0];
    }
}

TEST(BurstGenerator, RemembersItsMessage)
{
    open_modem modem;
    const auto first = get_burst(&modem, pair32.bits, 32);
    ASSERT_EQ(first.result, 1);
    EXPECT_EQ(*first.length, 23170);
    EXPECT_EQ(first.length, &modem->burst_samples.length);
    first.samples[1000] ^= 0x55; // a caller's change stays: nothing is made anew
    const int16_t changed = first.samples[1000];
    const int32_t phase = sInfoTx.phase;
    const auto again = get_burst(&modem, pair32.bits, 32);
    EXPECT_EQ(again.samples, first.samples);
    EXPECT_EQ(again.length, first.length);
    EXPECT_EQ(again.samples[1000], changed);
    EXPECT_EQ(sInfoTx.phase, phase);

    // One bit less in common, or another length that begins alike, is another message.
    std::string other = pair32.bits;
    other[0] ^= 1;
    for (const auto &message : {other, other + std::string(16, '0')}) {
        const auto nbits = static_cast<int32_t>(message.size());
        const auto next = get_burst(&modem, message, nbits);
        EXPECT_EQ(next.result, 1);
        EXPECT_EQ(next.samples, first.samples); // the place stays the same
        EXPECT_EQ(next.length, first.length);
        EXPECT_EQ(modem->last_message.length, nbits);
        EXPECT_NE(sInfoTx.phase, phase);
    }
}

TEST(BurstGenerator, RefusesWhatItCannotSend)
{
    snfc_state *none = nullptr;
    EXPECT_EQ(get_burst(&none, pair32.bits, 32).result, -2);
    open_modem modem;
    for (const int32_t nbits : {0, 40, 31, 33, 49, -32, INT32_MAX}) {
        const auto refused = get_burst(&modem, pair48.bits, nbits);
        EXPECT_EQ(refused.result, -3) << nbits;
        EXPECT_TRUE(refused.samples == nullptr && refused.length == nullptr) << nbits;
    }
    EXPECT_EQ(modem->last_message.length, 0);
    EXPECT_EQ(modem->burst_samples.length, 0);
}

TEST(BurstGenerator, WithoutMemoryHoldsNothingAndGoesOn)
{
    std::size_t failures = 0;
    for (const bool used_before : {false, true}) {
        for (std::size_t n = 0;; ++n) {
            open_modem modem;
            // A message of the other length makes the second burst ask for memory again.
            if (used_before) modem.burst(pair48.bits);
            const test::failing_allocation failure{n};
            const handed_out out = get_burst(&modem, pair32.bits, 32);
            if (!failure.happened()) break;
            ++failures;
            EXPECT_EQ(out.result, -4) << n;
            EXPECT_TRUE(out.samples == nullptr && out.length == nullptr) << n;
            EXPECT_EQ(modem->burst_samples.length, 0) << n;
            EXPECT_EQ(modem->last_message.length, 0) << n;
            const auto next = modem.burst(pair32.bits);
            EXPECT_EQ(next.size(), kBurstSamples) << n;
            if (!used_before) {
                EXPECT_EQ(hash16(next), pair32.burst) << n;
            }
        }
    }
    EXPECT_EQ(failures, 3u); // message and burst; then the message alone
}

} // namespace tonelink
