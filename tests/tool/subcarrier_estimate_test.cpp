#include "plot/subcarrier_estimate.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "support/signals.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

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
            static_cast<int16_t>(std::lrint(std::clamp(sample * 32768, -32768.0f, 32767.0f))));
    return estimate_subcarriers(integers, start, message);
}

double mean_square(std::span<const float> samples)
{
    return std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0) /
           static_cast<double>(samples.size());
}

/// The mean of noise to signal over the subcarriers of a burst of gain 1 in white noise, from the
/// power of each symbol's body, which its 61 subcarriers share.
double expected_error_db(double snr_db)
{
    test::sound noise(200000);
    test::add_noise(noise, snr_db, /*seed=*/9);
    const auto burst = test::burst_of(kMessage);
    double sum = 0;
    for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
        const auto body = std::span{burst}.subspan(
            kBurstDelay + kAudioGuardSamples + symbol * kAudioSymbolSamples, kAudioBodySamples);
        // A sine has its power in two bins of the transform, noise spreads over all of them.
        sum += mean_square(noise) * 2 * kSubcarriers / (mean_square(body) * kAudioBodySamples);
    }
    return 10 * std::log10(sum / kSymbols);
}

TEST(SubcarrierEstimate, ClocksStartsAndEchoesAreMadeGood)
{
    struct {
        double late, ppm;
        float echo; // within the extensions
        double error_db;
    } const cases[] = {{0, 0, 0, -40},    {33.3, 0, 0, -40},  {80, 0, 0, -40},  {-80, 0, 0, -40},
                       {200, 0, 0, -40},  {-200, 0, 0, -40},  {50, 20, 0, -36}, {50, -100, 0, -36},
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

TEST(SubcarrierEstimate, SignsAreTheMessagesWhereItIsKnown)
{
    const auto known = estimate(padded_burst(), kLead, kBits);
    const auto guessed = estimate(padded_burst(), kLead, {});
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol)
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier; ++subcarrier)
            EXPECT_EQ(known.at(symbol, subcarrier).ideal, guessed.at(symbol, subcarrier).ideal);
    const auto wrong = estimate(padded_burst(), kLead, message_bits(48, 1));
    EXPECT_NEAR(wrong.wrong_data(), 244, 60);
    EXPECT_GT(wrong.data_error_db(), 0);
    EXPECT_LT(wrong.pilot_error_db(), -40);
}

TEST(SubcarrierEstimate, TheErrorIsThatOfTheNoise)
{
    for (const double snr_db : {15.0, 20.0, 30.0}) {
        SCOPED_TRACE(snr_db);
        test::sound sound(kLead);
        test::mix(sound, test::burst_of(kMessage), kLead);
        test::add_noise(sound, snr_db, /*seed=*/7919);
        for (float &sample : sound) sample /= 4;
        const auto burst = estimate(sound, kLead + 50, kBits);
        // The noise of the pilots adds 0.6 dB, at ten pilots a subcarrier and less sure at the
        // edges; what is taken out of each symbol as a whole adds 0.2, weak outer subcarriers 0.1.
        // The mean of some 488 subcarriers is sure to 0.2 dB.
        EXPECT_NEAR(burst.data_error_db(), expected_error_db(snr_db) + 0.9, 0.6);
        EXPECT_NEAR(burst.pilot_error_db(), expected_error_db(snr_db) + 0.9, 0.6);
    }
}

TEST(SubcarrierEstimate, WhatIsCutOffIsAllWrongAndTheRestIsNot)
{
    constexpr std::ptrdiff_t kCut = 3 * kAudioSymbolSamples + kBurstDelay; // three symbols
    test::sound sound = test::burst_of(kMessage);
    sound.erase(sound.begin(), sound.begin() + kCut);
    const auto burst = estimate(sound, -kCut + 60, kBits);
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol) {
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
             ++subcarrier) {
            if (symbol <= 3)
                EXPECT_EQ(burst.at(symbol, subcarrier).error(), 1);
            else
                EXPECT_LT(burst.at(symbol, subcarrier).error(), 0.01)
                    << symbol << ' ' << subcarrier;
        }
    }
    const auto silence = estimate({}, 0, {});
    EXPECT_EQ(silence.error_db(), 0);
}

} // namespace
} // namespace tonelink::tool
