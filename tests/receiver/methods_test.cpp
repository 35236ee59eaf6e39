// What each method hears by itself, and that both together tell a burst once.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "modem/known_bursts.h"
#include "support/modem_guard.h"
#include "support/open_receiver.h"
#include "support/sounds.h"
#include "tonelink/format.h"

namespace tonelink::test {

namespace {

constexpr uint32_t kExact = TONELINK_METHOD_EXACT, kFar = TONELINK_METHOD_FAR;

/// Copies of a burst, one behind the other, by so many dB over the noise in its band.
sound copies_in_noise(int32_t rate, int copies, double snr_db)
{
    constexpr double kNoiseDb = -40, kBurst = 23170.0 / 44100;
    const sound burst = burst_at(kPair32.bits, rate, 120);
    const double gain_db = kNoiseDb + snr_db - level_of(burst);
    sound all = band_noise(frames_in(1 + copies * kBurst, rate), rate, kNoiseDb, 11);
    for (int i = 0; i < copies; ++i) add(all, burst, frames_in(0.5 + i * kBurst, rate), gain_db);
    return all;
}

/// The records of a sound.
std::vector<tonelink_heard> heard_by(uint32_t methods, const sound &all, int32_t rate)
{
    open_receiver receiver{rate, 0, methods};
    receiver.push(all);
    tonelink_receiver_flush(receiver);
    return receiver.heard();
}

class Methods : public testing::TestWithParam<int32_t> {};

/// The part of a frequency in some samples.
std::complex<double> part_at(double hz, std::span<const int16_t> samples)
{
    std::complex<double> sum = 0;
    for (std::size_t n = 0; n < samples.size(); ++n)
        sum += double(samples[n]) * std::polar(1.0, -2 * std::numbers::pi * hz / 44100 * double(n));
    return sum;
}

} // namespace

TEST_P(Methods, TheFarOneHearsDeeper)
{
    const int32_t rate = GetParam();
    for (const auto &[copies, snr_db] : {std::pair{1, -7.5}, {2, -10.7}, {5, -14.0}}) {
        SCOPED_TRACE(copies);
        const sound all = copies_in_noise(rate, copies, snr_db);
        EXPECT_TRUE(heard_by(kExact, all, rate).empty());
        for (const uint32_t methods : {kFar, kExact | kFar}) {
            const auto records = heard_by(methods, all, rate);
            ASSERT_FALSE(records.empty());
            EXPECT_EQ(message_of(records[0]), kPair32.bits);
            EXPECT_EQ(records[0].methods, kFar);
            EXPECT_EQ(records[0].positions, 0u);
            EXPECT_GE(records[0].copies, copies == 5 ? 2 : 1);
            EXPECT_NEAR(records[0].clock_ppm, 120, 25);
            EXPECT_NEAR(records[0].snr_db, snr_db, 2);
            EXPECT_NEAR(records[0].level_dbfs, -40 + snr_db, 2);
            const double before = (records[0].seconds - 0.5) * 44100 / kBurstSamples;
            EXPECT_NEAR(before, std::round(before), 0.002);
            EXPECT_GE(std::round(before), 0);
            EXPECT_LE(std::lround(before) + records[0].copies, copies);
        }
    }
}

TEST_P(Methods, BothTogetherTellABurstOnce)
{
    const int32_t rate = GetParam();
    const sound all = copies_in_noise(rate, 6, 12);
    for (const uint32_t methods : {kExact, kFar, kExact | kFar}) {
        SCOPED_TRACE(methods);
        const auto records = heard_by(methods, all, rate);
        ASSERT_EQ(records.size(), 6u);
        for (std::size_t i = 0; i < records.size(); ++i) {
            EXPECT_EQ(records[i].methods, methods);
            EXPECT_EQ(records[i].copies, 1);
            EXPECT_EQ(records[i].repeats, std::min<std::size_t>(i, 5));
            EXPECT_NEAR(records[i].seconds, 0.5 + static_cast<double>(i) * 23170 / 44100, 0.001);
        }
    }
}

/// A loud tone is taken out by the far method; a record is not about the tone.
TEST_P(Methods, TheFarOneTellsOfABurstBesideATone)
{
    const int32_t rate = GetParam();
    sound all = copies_in_noise(rate, 1, -7);
    for (std::size_t n = 0; n < all.size(); ++n)
        all[n] += static_cast<float>(
            0.1 * std::sin(2 * std::numbers::pi * 18777.7 * static_cast<double>(n) / rate));
    const auto records = heard_by(kExact | kFar, all, rate);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_NEAR(records[0].seconds, 0.5, 0.001);
    EXPECT_NEAR(records[0].clock_ppm, 120, 40);
    EXPECT_NEAR(records[0].snr_db, -7, 2);
}

/// A stream stands still while the far method has work to do.
TEST(FarMethod, SettlingWorksItOff)
{
    sound all = copies_in_noise(44100, 1, -7);
    for (const float sample : band_noise(10000, 44100, -40, 12)) all.push_back(sample);
    int early = 0;
    for (double behind = 0.45; behind < 0.6; behind += 0.01) {
        SCOPED_TRACE(behind);
        const std::size_t stop = frames_in(0.5 + 23170.0 / 44100 + behind, 44100);
        open_receiver receiver{44100, 0, kFar};
        receiver.push(std::span{all}.first(stop));
        auto records = receiver.heard();
        const std::size_t before = records.size();
        tonelink_receiver_settle(receiver);
        for (const tonelink_heard &heard : receiver.heard()) records.push_back(heard);
        early += records.size() > before ? 1 : 0;
        tonelink_receiver_flush(receiver);
        for (const tonelink_heard &heard : receiver.heard()) records.push_back(heard);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_NEAR(records[0].seconds, 0.5, 0.001);
    }
    EXPECT_GE(early, 9); // of 15; 6 need no settling
}

TEST(SentSubcarriers, AreThoseOfTheMessage)
{
    std::array<tonelink_subcarrier, 16 * 61> of_ones, of_zeros, unknown;
    const std::array<uint8_t, 8> ones = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, zeros{};
    ASSERT_EQ(tonelink_receiver_subcarriers(nullptr, 0, unknown.data()), 0);
    for (const int32_t nbits : {32, 48}) {
        ASSERT_EQ(tonelink_receiver_subcarriers(ones.data(), nbits, of_ones.data()), 0);
        ASSERT_EQ(tonelink_receiver_subcarriers(zeros.data(), nbits, of_zeros.data()), 0);
        int pilots = 0, differing = 0;
        for (std::size_t i = 0; i < unknown.size(); ++i) {
            const bool is_pilot = TONELINK_IS_PILOT(i / 61 + 1, i % 61 + 2);
            pilots += is_pilot ? 1 : 0;
            differing += of_ones[i].value != of_zeros[i].value ? 1 : 0;
            EXPECT_EQ(unknown[i].value, is_pilot ? 1 : 0);
            EXPECT_EQ(std::abs(of_ones[i].value), 1);
            EXPECT_TRUE(!is_pilot || of_ones[i].value + of_zeros[i].value == 2);
            EXPECT_TRUE(of_ones[i].turn == unknown[i].turn && of_zeros[i].turn == unknown[i].turn);
        }
        EXPECT_EQ(pilots, 488);
        EXPECT_GT(differing, 100);
    }
    EXPECT_EQ(tonelink_receiver_subcarriers(ones.data(), 40, of_ones.data()),
              TONELINK_RECEIVER_BAD_LENGTHS);
    EXPECT_EQ(tonelink_receiver_subcarriers(ones.data(), 32, nullptr),
              TONELINK_RECEIVER_BAD_ARGUMENT);
}

/// With them taken off a burst, all that is left to a symbol is what turns its subcarriers
/// together.
TEST(SentSubcarriers, AreThoseOfTheBurst)
{
    const auto burst = open_modem{}.burst(std::string(48, '1'));
    const std::vector<uint8_t> ones(8, 0xFF);
    std::array<tonelink_subcarrier, 16 * 61> sent;
    ASSERT_EQ(tonelink_receiver_subcarriers(ones.data(), 48, sent.data()), 0);
    std::array<std::complex<double>, 61> first;
    for (std::size_t s = 0; s < 16; ++s) {
        const auto body = std::span{burst}.subspan(symbol_start(s + 1) + kAudioGuardSamples);
        std::complex<double> together;
        for (std::size_t i = 0; i < 61; ++i) {
            const tonelink_subcarrier &of = sent[61 * s + i];
            const auto left = part_at(subcarrier_hz(i + 2), body.first(kAudioBodySamples)) *
                              std::polar(1.0, -2 * std::numbers::pi * of.turn / 256) *
                              double(of.value);
            if (s == 0) first[i] = left;
            if (i == 0) together = left / first[i];
            EXPECT_LT(std::abs(left / first[i] / together - 1.0), 0.1) << s << ' ' << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AtRates, Methods, testing::Values(44100, 48000, 96000));

} // namespace tonelink::test
