#include "plot/burst_finder.h"

#include <cmath>
#include <functional>
#include <numbers>

#include <gtest/gtest.h>

#include "burst_shape.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

std::vector<found_burst> bursts_in(const test::sound &samples, std::size_t block = 16384,
                                   double rate = kAudioRate)
{
    burst_finder finder{rate};
    test::put_in_blocks(samples, block, finder);
    return finder.finish();
}

bool is_at(const found_burst &burst, double sample)
{
    return std::abs(burst.start_s - sample / kAudioRate) < 0.00025;
}

TEST(BurstFinder, FindsBurstsWhereTheyAreInBlocksOfAnySize)
{
    test::sound samples;
    const std::vector starts{0, 23170, 60001, 83400, 400000};
    for (std::size_t i = 0; i < starts.size(); ++i)
        test::mix(samples, test::burst_of(0x12673CA5u + static_cast<uint32_t>(i)),
                  static_cast<std::size_t>(starts[i]), i % 2 == 0 ? 1.0f : 0.01f);
    for (const std::size_t block : {std::size_t{1}, std::size_t{441}, samples.size()})
        EXPECT_TRUE(std::ranges::equal(bursts_in(samples, block), starts, is_at)) << block;
    auto noisy = samples;
    test::add_noise(noisy, 6, /*seed=*/7);
    // The others are 40 dB weaker.
    EXPECT_TRUE(std::ranges::equal(bursts_in(noisy), std::vector{0, 60001, 400000}, is_at));
}

TEST(BurstFinder, FindsNothingInOtherSounds)
{
    const auto sine = [](double turns) { return std::sin(2 * std::numbers::pi * turns); };
    const std::pair<const char *, std::function<double(double)>> sounds[] = {
        {"silence or noise", [](double) { return 0; }},
        {"clicks a symbol apart",
         [](double t) { return std::lround(t * kAudioRate) % int64_t{kAudioSymbolSamples} == 0; }},
        {"a tone", [&](double t) { return sine(19000 * t); }},
        {"a tone that beats as symbols do",
         [&](double t) { return std::fmod(t / kSymbolSeconds, 1) < 0.5 ? sine(19106 * t) : 0; }},
        {"sweeps of 1000 Hz a second",
         [&](double t) { return sine((17000 + 500 * std::fmod(t, 5)) * std::fmod(t, 5)); }},
    };
    EXPECT_TRUE(bursts_in({}).empty());
    for (const auto &[name, value_at] : sounds) {
        test::sound samples(441000);
        for (std::size_t i = 0; float &sample : samples)
            sample = static_cast<float>(value_at(static_cast<double>(i++) / kAudioRate));
        EXPECT_TRUE(bursts_in(samples).empty()) << name;
        test::add_noise(samples, 0, /*seed=*/3);
        EXPECT_TRUE(bursts_in(samples).empty()) << name << " in noise";
    }
    // Every other sample holds a burst still, below the band; and some rates are beyond resampling.
    test::sound halved;
    for (std::size_t i = 0; const float sample : test::burst_of(5))
        if (++i % 2 == 0) halved.push_back(sample);
    for (const double rate : {22050.0, 1e6})
        EXPECT_TRUE(bursts_in(halved, 16384, rate).empty()) << rate;
}

} // namespace
} // namespace tonelink::tool
