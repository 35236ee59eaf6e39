#include "burst_finder.h"

#include <cmath>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

#include "burst_layout.h"
#include "support/signals.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

using test::add_noise;
using test::burst_of;
using test::mix;
using test::sound;

constexpr double kMillisecond = 0.001;

std::vector<found_burst> bursts_in(const sound &samples, double rate = kDesignRate,
                                   std::size_t block = 16384)
{
    burst_finder finder{rate};
    for (std::size_t at = 0; at < samples.size(); at += block)
        finder.put({samples.data() + at, std::min(block, samples.size() - at)});
    return finder.finish();
}

void expect_starts(const std::vector<found_burst> &found, const std::vector<std::size_t> &starts)
{
    ASSERT_EQ(found.size(), starts.size());
    for (std::size_t i = 0; i < found.size(); ++i)
        EXPECT_NEAR(found[i].start_s, static_cast<double>(starts[i]) / kDesignRate,
                    kMillisecond / 2);
}

TEST(BurstFinder, FindsBurstsWhereTheyAre)
{
    sound samples;
    const std::vector<std::size_t> starts{0, 23170, 60001, 83400, 400000};
    for (std::size_t i = 0; i < starts.size(); ++i)
        mix(samples, burst_of(0x12673CA5u + static_cast<uint32_t>(i)), starts[i],
            i % 2 == 0 ? 1.0f : 0.01f);
    const auto found = bursts_in(samples);
    expect_starts(found, starts);
    for (const auto &burst : found) EXPECT_GT(burst.fit, 0.7);
}

TEST(BurstFinder, PlacesThemWithinATenthOfAMillisecondOnAverage)
{
    double sum = 0, squares = 0;
    constexpr int kBursts = 60;
    test::lcg random{5};
    for (int i = 0; i < kBursts; ++i) {
        sound samples(4000);
        const auto at = static_cast<std::size_t>(random.next() & 1023);
        mix(samples, burst_of(static_cast<uint32_t>(random.next() * 65536 + random.next())), at,
            0.3f);
        const auto found = bursts_in(samples);
        ASSERT_EQ(found.size(), 1u) << i;
        const double error = found[0].start_s - static_cast<double>(at) / kDesignRate;
        sum += error;
        squares += error * error;
    }
    EXPECT_LT(std::abs(sum / kBursts), 0.04 * kMillisecond);
    EXPECT_LT(std::sqrt(squares / kBursts), 0.15 * kMillisecond);
}

TEST(BurstFinder, FindsThemInNoise)
{
    const std::vector<std::size_t> starts{11111, 50000, 90000};
    sound samples(130000);
    for (const std::size_t start : starts) mix(samples, burst_of(0xDEADBEEF), start);
    add_noise(samples, 6, /*seed=*/7);
    expect_starts(bursts_in(samples), starts);
}

TEST(BurstFinder, FindsThemAtOtherRates)
{
    const std::vector<std::size_t> starts{5000, 41234};
    sound samples(70000);
    for (const std::size_t start : starts) mix(samples, burst_of(0x00C0FFEE), start);
    for (const double rate : {48000.0, 96000.0, 192000.0}) {
        SCOPED_TRACE(rate);
        expect_starts(bursts_in(test::resampled(samples, rate), rate), starts);
    }
}

TEST(BurstFinder, BlocksDoNotMatter)
{
    sound samples(300000);
    mix(samples, burst_of(1), 70);
    mix(samples, burst_of(2), 270000);
    const auto whole = bursts_in(samples, kDesignRate, samples.size());
    for (const std::size_t block : {1u, 441u, 99999u}) {
        const auto found = bursts_in(samples, kDesignRate, block);
        ASSERT_EQ(found.size(), whole.size()) << block;
        for (std::size_t i = 0; i < found.size(); ++i)
            EXPECT_NEAR(found[i].start_s, whole[i].start_s, 0.01 * kMillisecond) << block;
    }
}

TEST(BurstFinder, FindsNothingInOtherSounds)
{
    constexpr std::size_t kSamples = 441000;
    const auto made = [](auto value_at) {
        sound samples(kSamples);
        for (std::size_t i = 0; i < kSamples; ++i)
            samples[i] = static_cast<float>(value_at(static_cast<double>(i) / kDesignRate));
        return samples;
    };
    constexpr double kTurn = 2 * std::numbers::pi;
    const auto gate = [](double t, double hz) { return std::fmod(t * hz, 1) < 0.5 ? 1.0 : 0.0; };
    sound white(kSamples);
    add_noise(white, 0, /*seed=*/3);

    EXPECT_TRUE(bursts_in(sound(kSamples)).empty()) << "silence";
    EXPECT_TRUE(bursts_in({}).empty()) << "nothing";
    EXPECT_TRUE(bursts_in(white).empty()) << "noise";
    EXPECT_TRUE(bursts_in(made([](double t) { return std::sin(kTurn * 19000 * t); })).empty())
        << "a tone";
    EXPECT_TRUE(bursts_in(made([&](double t) {
                    return gate(t, 1 / kSymbolSeconds) * std::sin(kTurn * 19106 * t);
                })).empty())
        << "a tone that beats as symbols do";
    EXPECT_TRUE(bursts_in(made([](double t) {
                    return std::sin(kTurn * (17000 + 500 * std::fmod(t, 5)) * std::fmod(t, 5));
                })).empty())
        << "sweeps of 1000 Hz a second";
    sound clicks(kSamples);
    for (std::size_t at = 0; at < kSamples; at += kSymbolSamples) clicks[at] = 1;
    EXPECT_TRUE(bursts_in(clicks).empty()) << "clicks a symbol apart";
    // The burst as it sounds from a player that turns 44100 Hz into 32000: the band is elsewhere.
    EXPECT_TRUE(bursts_in(burst_of(5), 32000).empty()) << "a rate without the band";
}

} // namespace
} // namespace tonelink::tool
