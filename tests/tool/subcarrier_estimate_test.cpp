#include "plot/subcarrier_estimate.h"

#include <bitset>
#include <cmath>

#include <gtest/gtest.h>

#include "support/signals.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

using point = subcarrier_estimate::point;

constexpr uint32_t kMessage = 0x12673CA5;
constexpr std::size_t kLead = 1000;

const message_bits kBits = test::bits_of(std::bitset<32>{kMessage}.to_string());

/// The burst with silence around it, not too loud for noise and echoes.
test::sound padded_burst(float gain = 0.25f)
{
    test::sound samples(kLead);
    test::mix(samples, test::burst_of(kMessage), kLead, gain);
    samples.resize(samples.size() + 1000);
    return samples;
}

subcarrier_estimate estimate(const test::sound &samples, double start, const message_bits &message)
{
    std::vector<int16_t> integers;
    for (const float sample : samples)
        integers.push_back(
            static_cast<int16_t>(std::lrint(std::clamp(sample, -1.0f, 1.0f) * 32767)));
    return estimate_subcarriers(integers, start, message);
}

TEST(SubcarrierEstimate, ClocksStartsAndEchoesAreMadeGood)
{
    struct {
        double late, ppm;
        float echo; // within the extensions
        double error_db;
    } const cases[] = {{0, 0, 0, -40},    {33.3, 0, 0, -40},  {200, 0, 0, -40},
                       {-200, 0, 0, -40}, {50, 20, 0, -36},   {50, -100, 0, -36},
                       {50, 400, 0, -36}, {50, -700, 0, -36}, {0, 0, 0.5f, -30}};
    for (const auto &[late, ppm, echo, error_db] : cases) {
        SCOPED_TRACE(testing::Message() << late << ' ' << ppm << ' ' << echo);
        auto sound = padded_burst();
        test::mix(sound, padded_burst(), 80, echo);
        const auto burst =
            estimate(test::resampled(sound, kAudioRate / (1 + ppm * 1e-6)), kLead + late, kBits);
        EXPECT_NEAR(burst.start, kLead / (1 + ppm * 1e-6), echo == 0 ? 0.1 : 40);
        EXPECT_NEAR(burst.clock_offset_ppm(), ppm, echo == 0 ? 0.1 : 0.3);
        EXPECT_LT(burst.data_error_db(), error_db);
        EXPECT_LT(burst.pilot_error_db(), error_db);
        EXPECT_EQ(burst.wrong_data(), 0);
    }
}

TEST(SubcarrierEstimate, SignsAreTheMessagesWhereItIsKnownAndTurnedSymbolsAreTurnedBack)
{
    const auto known = estimate(padded_burst(), kLead, kBits);
    const auto guessed = estimate(padded_burst(), kLead, {});
    for (std::size_t i = 0; i < kSymbols; ++i)
        EXPECT_TRUE(std::ranges::equal(known.points[i], guessed.points[i], {}, &point::ideal,
                                       &point::ideal));
    auto turned = padded_burst(); // in one symbol, as a whole
    for (std::size_t i = symbol_start(8); i < symbol_start(9); ++i) turned[kLead + i] *= -1;
    EXPECT_EQ(estimate(turned, kLead, kBits).wrong_data(), 0);
    const auto wrong = estimate(padded_burst(), kLead, message_bits(48, 1));
    EXPECT_NEAR(wrong.wrong_data(), 244, 60);
    EXPECT_GT(wrong.data_error_db(), 0);
    EXPECT_LT(wrong.pilot_error_db(), -40);
}

TEST(SubcarrierEstimate, TheErrorIsThatOfTheNoise)
{
    for (const double snr_db : {15.0, 20.0, 30.0}) {
        SCOPED_TRACE(snr_db);
        auto sound = padded_burst(1);
        test::add_noise(sound, snr_db, /*seed=*/7919);
        for (float &sample : sound) sample /= 4;
        const auto burst = estimate(sound, kLead + 50, kBits);
        // As the manual says: the noise of the pilots around adds about 1 dB. What is added here is
        // known to half a decibel.
        for (const double error_db :
             {burst.data_error_db(), burst.pilot_error_db(), burst.error_db()})
            EXPECT_NEAR(error_db, 1 - snr_db, 1);
    }
}

TEST(SubcarrierEstimate, WhatIsCutOffIsAllWrongAndTheRestIsNot)
{
    constexpr std::ptrdiff_t kCut = 3 * kAudioSymbolSamples + kBurstDelay; // three symbols
    auto sound = test::burst_of(kMessage);
    sound.erase(sound.begin(), sound.begin() + kCut);
    const auto burst = estimate(sound, -kCut + 60, kBits);
    for (std::size_t i = 0; const auto &symbol : burst.points) {
        const bool is_cut = i++ < 3;
        for (const point &subcarrier : symbol)
            EXPECT_TRUE(is_cut ? subcarrier.error() == 1 : subcarrier.error() < 0.01) << i;
    }
    EXPECT_EQ(estimate({}, 0, {}).error_db(), 0); // silence
}

} // namespace
} // namespace tonelink::tool
