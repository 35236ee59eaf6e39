#include "plot/burst_finder.h"

#include <cmath>
#include <map>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

#include "modem/burst_format.h"
#include "support/signals.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

using test::add_noise;
using test::burst_of;
using test::mix;
using test::sound;

constexpr double kMillisecond = 0.001;

std::vector<found_burst> bursts_in(const sound &samples, std::size_t block = 16384,
                                   double rate = kAudioRate)
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
        EXPECT_NEAR(found[i].start_s, static_cast<double>(starts[i]) / kAudioRate,
                    kMillisecond / 4);
}

TEST(BurstFinder, FindsBurstsWhereTheyAreInBlocksOfAnySize)
{
    sound samples;
    const std::vector<std::size_t> starts{0, 23170, 60001, 83400, 400000};
    for (std::size_t i = 0; i < starts.size(); ++i)
        mix(samples, burst_of(0x12673CA5u + static_cast<uint32_t>(i)), starts[i],
            i % 2 == 0 ? 1.0f : 0.01f);
    const auto whole = bursts_in(samples, samples.size());
    expect_starts(whole, starts);
    auto noisy = samples;
    add_noise(noisy, 6, /*seed=*/7);
    expect_starts(bursts_in(noisy), {0, 60001, 400000}); // the others are 40 dB weaker
    for (const std::size_t block : {1u, 441u, 99999u}) {
        const auto found = bursts_in(samples, block);
        ASSERT_EQ(found.size(), whole.size()) << block;
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_NEAR(found[i].start_s, whole[i].start_s, 0.01 * kMillisecond) << block;
            EXPECT_GT(found[i].fit, 0.7);
        }
    }
}

TEST(BurstFinder, FindsNothingInOtherSounds)
{
    constexpr std::size_t kSamples = 441000;
    const auto made = [](auto value_at) {
        sound samples(kSamples);
        for (std::size_t i = 0; i < kSamples; ++i)
            samples[i] = static_cast<float>(value_at(static_cast<double>(i) / kAudioRate));
        return samples;
    };
    const auto sine = [](double turns) { return std::sin(2 * std::numbers::pi * turns); };
    sound white(kSamples), clicks(kSamples);
    add_noise(white, 0, /*seed=*/3);
    for (std::size_t at = 0; at < kSamples; at += kAudioSymbolSamples) clicks[at] = 1;
    const std::map<const char *, sound> sounds{
        {"nothing", {}},
        {"silence", sound(kSamples)},
        {"noise", white},
        {"clicks a symbol apart", clicks},
        {"a tone", made([&](double t) { return sine(19000 * t); })},
        {"a tone that beats as symbols do", made([&](double t) {
             return std::fmod(t / kSymbolSeconds, 1) < 0.5 ? sine(19106 * t) : 0;
         })},
        {"sweeps of 1000 Hz a second",
         made([&](double t) { return sine((17000 + 500 * std::fmod(t, 5)) * std::fmod(t, 5)); })},
    };
    for (const auto &[name, samples] : sounds) EXPECT_TRUE(bursts_in(samples).empty()) << name;
    // Every other sample holds a burst still, below the band; and some rates are beyond resampling.
    sound halved;
    for (std::size_t i = 0; const float sample : burst_of(5))
        if (++i % 2 == 0) halved.push_back(sample);
    for (const double rate : {22050.0, 1e6})
        EXPECT_TRUE(bursts_in(halved, 16384, rate).empty()) << rate;
}

} // namespace
} // namespace tonelink::tool
