#include "plot/spectrogram.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

#include <gtest/gtest.h>

#include "plot/colour_map.h"
#include "report_text.h"
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

TEST(ColourMap, HasAColourForAnyValue)
{
    const auto parts = [](double value) {
        const colour c = map_colour(value);
        return std::tuple{c.red, c.green, c.blue};
    };
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    for (const double dark : {-0.1, -1e300, -kInfinite, std::nan("")})
        EXPECT_EQ(parts(dark), parts(0));
    for (const double light : {1.1, 1e300, kInfinite}) EXPECT_EQ(parts(light), parts(1));
    EXPECT_EQ(bar_of(std::nan(""), 2) + bar_of(-1, 2) + bar_of(1.5, 2), "[..][..][##]");
}

} // namespace tonelink::tool
