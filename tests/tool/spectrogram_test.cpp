#include "plot/spectrogram.h"

#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "test_sounds.h"

namespace tonelink::tool {

TEST(Spectrogram, PutsASineInItsBinAndTimeInBlocksOfAnySize)
{
    const std::size_t bin = 37;
    // Steps of less than a window, and columns of many windows.
    for (const std::size_t count : {4000u, 400000u}) {
        test::sound late_sine(count); // of full scale, in the second half
        for (std::size_t i = count / 2; i < count; ++i)
            late_sine[i] = static_cast<float>(
                std::sin(2 * std::numbers::pi * static_cast<double>(bin * i) / 512));
        const int64_t first = static_cast<int64_t>(count) / 4; // a column is a fortieth of the rest
        const spectrogram_shape shape{44100, first, static_cast<int64_t>(count), 30, 256, 512};
        const auto whole = test::analysed(late_sine, shape);
        for (std::size_t column = 0; column < 8; ++column)
            EXPECT_LT(whole.level(column, bin), -150) << column;
        for (std::size_t column = 12; column < 28; ++column)
            EXPECT_NEAR(whole.level(column, bin), 0, 0.05) << column;
        EXPECT_LT(whole.level(20, bin + 20), -60);
        EXPECT_NEAR(whole.peak_level(), 0, 0.05);
        EXPECT_LT(whole.level_above(0.2), -150);
        EXPECT_GT(whole.level_above(0.999), -1);
        for (const std::size_t block : {1u, 257u, 4096u}) {
            const auto levels = test::analysed(late_sine, shape, block);
            for (std::size_t column = 0; column < 30; ++column)
                for (std::size_t k = 0; k < whole.bins(); ++k)
                    ASSERT_EQ(levels.level(column, k), whole.level(column, k)) << block;
        }
    }
}

} // namespace tonelink::tool
