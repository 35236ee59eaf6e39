#include "modem/burst_generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "modem/channel_encoder.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/modulator.h"
#include "modem/plain/burst_generator.h"
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
    int32_t result;
    int16_t *samples;
    int32_t *length;
};

handed_out get_burst(snfc_state **state, const std::string &message, int32_t nbits)
{
    const auto bits = bits_of(message);
    handed_out out = {0, nullptr, nullptr};
    out.result = get_burst_snfc(state, bits.data(), nbits, &out.samples, &out.length);
    return out;
}

handed_out get_burst(snfc_state **state, const std::string &message)
{
    return get_burst(state, message, static_cast<int32_t>(message.size()));
}

using burst_array = std::array<int16_t, kBurstSamples>;

std::unique_ptr<burst_array> burst_with(std::initializer_list<int16_t> values)
{
    auto burst = std::make_unique<burst_array>();
    std::copy(values.begin(), values.end(), burst->begin());
    return burst;
}

} // namespace

TEST(BurstGenerator, MeetsTheIndependentModelAtItsLastStages)
{
    for (const auto &known : kKnownBursts) {
        SCOPED_TRACE(known.name);
        auto frame = modulate_symbols(encode_channel(bits_of(known.bits)));
        ramp_edges(frame);
        auto burst = std::make_unique<burst_array>();
        interpolate_by_10(frame, *burst);
        mirror_spectrum(*burst, 1);
        EXPECT_EQ(hash16(*burst), known.mirrored);
        BandShiftInfo shifter;
        openBandShift(&shifter, -kBandShiftHz);
        makeBandShift(burst->data(), kBurstSamples, &shifter);
        closeBandShift(&shifter);
        EXPECT_EQ(hash16(*burst), known.shifted);
        EXPECT_EQ(peak_magnitude(*burst), known.peak);
        normalise_peak(*burst);
        EXPECT_EQ(hash16(*burst), known.burst);

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
    struct {
        std::initializer_list<int16_t> before;
        std::initializer_list<int16_t> after;
    } cases[] = {
        {{0, 0, 0}, {0, 0, 0}},
        {{1, -1, 0}, {32767, -32768, 0}}, // a power of two: 32768 does not fit
        {{16384, -16384, -1}, {32767, -32768, -2}},
        {{-32768, 32767, 5}, {-32768, 32767, 5}},
        {{3, -2, 1}, {32767, -21846, 10922}},
    };
    for (const auto &c : cases) {
        const auto burst = burst_with(c.before);
        normalise_peak(*burst);
        EXPECT_TRUE(*burst == *burst_with(c.after)) << *c.before.begin();
    }
}

TEST(BurstGenerator, FastFormsEqualThePlainOne)
{
    test::lcg random{40};
    for (int round = 0; round < 30; ++round) {
        std::vector<uint8_t> message;
        for (int i = 0; i < (round % 2 == 0 ? 32 : 48); ++i)
            message.push_back(random.next() < 0 ? 1 : 0);
        for (const vector_stages *stages : available_stages()) {
            BandShiftInfo shifters[2];
            auto burst = burst_with({});
            auto expected = burst_with({});
            for (BandShiftInfo &shifter : shifters) openBandShift(&shifter, -kBandShiftHz);
            for (int turn = 0; turn < 2; ++turn) { // the second from where the first has ended
                make_burst(message, round % 3 != 0, shifters[0], *burst, *stages);
                plain::make_burst(message, round % 3 != 0, shifters[1], *expected);
                ASSERT_TRUE(*burst == *expected) << stages->name << ", round " << round;
            }
            for (BandShiftInfo &shifter : shifters) closeBandShift(&shifter);
        }
    }
}

TEST(BurstGenerator, ScalesAsTheFormulaInEveryWidth)
{
    test::lcg random{41};
    for (int32_t peak = 32768; peak > 0; peak = peak * 9 / 10) {
        std::vector<int16_t> samples;
        for (int i = 0; i < 500; ++i)
            samples.push_back(static_cast<int16_t>(random.next() * int64_t{peak} / 32768));
        samples[3] = static_cast<int16_t>(-peak);
        samples[17] = static_cast<int16_t>(std::min(peak, 32767));
        const int32_t gain = (1 << 29) / peak;
        for (const vector_stages *stages : available_stages()) {
            auto scaled = samples;
            const std::size_t done = stages->scale_samples(scaled.data(), 499, gain);
            EXPECT_GT(done, 499u - 32);
            for (std::size_t i = 0; i < samples.size(); ++i)
                ASSERT_EQ(scaled[i],
                          i < done ? std::min((samples[i] * gain) >> 14, 32767) : samples[i])
                    << stages->name << ", peak " << peak << ", sample " << i;
        }
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
    const auto again = get_burst(&modem, pair32.bits);
    EXPECT_EQ(again.samples, first.samples);
    EXPECT_EQ(again.length, first.length);
    EXPECT_EQ(again.samples[1000], changed);
    EXPECT_EQ(sInfoTx.phase, phase);

    // One bit less in common, or another length that begins alike, is another message.
    std::string other = pair32.bits;
    other[0] ^= 1;
    std::string longer = other + std::string(16, '0');
    for (const auto &message : {other, longer}) {
        const auto next = get_burst(&modem, message);
        EXPECT_EQ(next.result, 1);
        EXPECT_EQ(next.samples, first.samples); // the place stays the same
        EXPECT_EQ(next.length, first.length);
        EXPECT_EQ(modem->last_message.length, static_cast<int32_t>(message.size()));
        EXPECT_NE(sInfoTx.phase, phase);
    }
}

TEST(BurstGenerator, RefusesWhatItCannotSend)
{
    snfc_state *none = nullptr;
    EXPECT_EQ(get_burst(&none, pair32.bits).result, -2);
    open_modem modem;
    for (const int32_t nbits : {0, 40, 31, 33, 49, -32, INT32_MAX}) {
        const auto refused = get_burst(&modem, pair48.bits, nbits);
        EXPECT_EQ(refused.result, -3) << nbits;
        EXPECT_EQ(refused.samples, nullptr) << nbits;
        EXPECT_EQ(refused.length, nullptr) << nbits;
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
            handed_out out;
            bool happened;
            {
                const test::failing_allocation failure{n};
                out = get_burst(&modem, pair32.bits);
                happened = failure.happened();
            }
            if (!happened) break;
            ++failures;
            EXPECT_EQ(out.result, -4) << n;
            EXPECT_TRUE(out.samples == nullptr && out.length == nullptr) << n;
            EXPECT_EQ(modem->burst_samples.length, 0) << n;
            EXPECT_EQ(modem->last_message.length, 0) << n;
            EXPECT_EQ(modem.burst(pair32.bits).size(), kBurstSamples) << n;
            if (used_before) continue;
            EXPECT_EQ(hash16(modem.burst(pair32.bits)), pair32.burst) << n;
        }
    }
    EXPECT_EQ(failures, 3u); // message and burst; then the message alone
}

} // namespace tonelink
