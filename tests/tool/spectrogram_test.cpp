#include "plot/spectrogram.h"

#include <cmath>
#include <numbers>
#include <vector>

#include <gtest/gtest.h>

namespace tonelink::tool {
namespace {

/// A sine of full scale in the second half, silence before.
std::vector<float> late_sine(double hz_of_rate, std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t i = count / 2; i < count; ++i)
        samples[i] = static_cast<float>(
            std::sin(2 * std::numbers::pi * hz_of_rate * static_cast<double>(i)));
    return samples;
}

spectrogram analysed(const spectrogram_shape &shape, const std::vector<float> &samples,
                     std::size_t block)
{
    spectrogram levels{shape, 0};
    for (std::size_t at = 0; at < samples.size(); at += block)
        levels.put({samples.data() + at, std::min(block, samples.size() - at)});
    levels.finish();
    return levels;
}

TEST(Spectrogram, PutsASineInItsBinAndTime)
{
    const std::size_t bin = 37;
    // Steps of less than a window, and columns of many windows.
    for (const std::size_t count : {4000u, 400000u}) {
        const spectrogram_shape shape{44100, 0, static_cast<int64_t>(count), 40, 256, 512};
        const auto levels = analysed(shape, late_sine(bin / 512.0, count), 1000);
        for (std::size_t column = 0; column < 18; ++column)
            EXPECT_LT(levels.level(column, bin), -150) << column;
        for (std::size_t column = 22; column < 38; ++column)
            EXPECT_NEAR(levels.level(column, bin), 0, 0.05) << column;
        EXPECT_LT(levels.level(30, bin + 20), -60);
        EXPECT_NEAR(levels.peak_level(), 0, 0.05);
        EXPECT_LT(levels.level_above(0.3), -150);
        EXPECT_GT(levels.level_above(0.999), -1);
    }
}

TEST(Spectrogram, BlocksDoNotMatter)
{
    const auto samples = late_sine(0.03, 9000);
    const spectrogram_shape shape{44100, 1000, 8000, 70, 256, 256};
    const auto whole = analysed(shape, samples, samples.size());
    for (const std::size_t block : {1u, 257u, 4096u}) {
        const auto levels = analysed(shape, samples, block);
        for (std::size_t column = 0; column < 70; ++column)
            for (std::size_t bin = 0; bin < whole.bins(); ++bin)
                ASSERT_EQ(levels.level(column, bin), whole.level(column, bin)) << block;
    }
}

TEST(Spectrogram, WorksOnLessThanAWindow)
{
    const spectrogram_shape shape{44100, 0, 3, 50, 256, 512};
    EXPECT_GT(analysed(shape, {1, -1, 1}, 3).peak_level(), -80);
    EXPECT_EQ(analysed(shape, {0, 0, 0}, 3).peak_level(), -200);
}

} // namespace
} // namespace tonelink::tool
