#include "plot/burst_picture.h"

#include <gtest/gtest.h>

#include "burst_shape.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

/// The colour of the picture at a point in its units, as 0xRRGGBB.
uint32_t pixel(const canvas &page, double scale, double x, double y)
{
    cairo_surface_t *surface = cairo_get_target(page.context());
    cairo_surface_flush(surface);
    const unsigned char *row =
        cairo_image_surface_get_data(surface) +
        static_cast<int>(y * scale) * cairo_image_surface_get_stride(surface);
    return reinterpret_cast<const uint32_t *>(row)[static_cast<int>(x * scale)] & 0xFFFFFF;
}

spectrogram overview_of(const test::sound &samples, std::size_t columns)
{
    return test::analysed(samples, {kAudioRate, 0, std::ssize(samples), columns, 512, 1024});
}

constexpr uint32_t kWhite = 0xFFFFFF;

TEST(BurstPicture, BarsTellDecodedFromFoundAndColoursLoudFromQuiet)
{
    const picture_layout layout{1600, 1000, picture_parts::overview};
    test::sound samples(5 * kAudioRate);
    test::mix(samples, test::burst_of(1), kAudioRate);
    const spectrogram levels = overview_of(samples, layout.columns());
    // One that the sound begins within, one that it ends within; both have their bars cut.
    const std::vector<sound_burst> bursts{
        {-0.2, 0, message_bits(32)}, {1.0, 1.0, message_bits(48)}, {2.0, 1.0, {}}, {4.7, 1.0, {}}};
    const canvas page = draw_picture({"bursts", "", &levels, bursts}, layout);
    panel area = layout.overview;
    area.to_s = 5;
    area.high_hz = kAudioRate / 2.0;
    const auto bar = [&](double seconds, double below_top) {
        return pixel(page, layout.scale, area.x(seconds), area.top - 13 + below_top);
    };
    for (const double y : {1.0, 3.5, 6.0}) // solid where decoded
        EXPECT_TRUE(bar(0.1, y) == 0x1f77b4 && bar(1.2, y) == 0x1f77b4) << y;
    for (const double y : {0.5, 6.5}) // hollow where found
        EXPECT_TRUE(bar(2.2, y) != kWhite && bar(4.8, y) != kWhite) << y;
    for (const double empty : {2.2, 4.8, -0.1, 0.5, 1.7, 3.0, 5.1})
        EXPECT_EQ(bar(empty, 3.5), kWhite) << empty;

    const auto red = [&](double seconds, double hz) {
        return pixel(page, layout.scale, area.x(seconds), area.y(hz)) >> 16;
    };
    EXPECT_GT(red(1.25, 19000), 180u);
    EXPECT_LT(red(1.25, 10000), 60u);
    EXPECT_LT(red(0.5, 19000), 20u);
    EXPECT_LT(red(3.5, 19000), 20u);
}

TEST(BurstPicture, SubcarriersStandWhereTheirValuesAndErrorsAre)
{
    const spectrogram levels = overview_of(test::sound(kAudioRate), 100);
    subcarrier_estimate subcarriers{0, 1, true, {}};
    for (std::size_t i = 0; auto &symbol : subcarriers.points)
        for (auto &point : symbol) // pilots below, data above; they take turns
            point = i++ % 2 == 0 ? subcarrier_estimate::point{{1, -0.5}, 1}
                                 : subcarrier_estimate::point{{-1, 0.5}, -1};
    subcarriers.points[4].fill({{0.5, 9}, 1}); // the subcarriers of symbol 5 are lost
    for (const auto &[width, height] : {std::pair{1600, 1000}, std::pair{1600, 1600}}) {
        SCOPED_TRACE(height);
        const picture_layout layout{width, height, picture_parts::constellation};
        EXPECT_EQ(layout.has_closeup(), height == 1600);
        const canvas page = draw_picture(
            {"burst", "", &levels, {{0, 1, message_bits(32)}}, 0, nullptr, &subcarriers}, layout);
        const constellation_layout &parts = layout.constellation;
        const auto at = [&](double re, double im) {
            return pixel(page, layout.scale, parts.x(re), parts.y(im));
        };
        EXPECT_TRUE(parts.x(-1) < parts.x(1) && parts.y(1) < parts.y(-1)); // right and up
        const uint32_t data = at(-1, 0.5), pilots = at(1, -0.5);
        EXPECT_GT(data & 0xFF, data >> 16) << "blue";
        EXPECT_GT(pilots >> 16, pilots & 0xFF) << "orange";
        EXPECT_TRUE(at(-1, -0.5) == kWhite && at(1, 0.5) == kWhite);
        EXPECT_NE(pixel(page, layout.scale, parts.x(0.5), parts.y(2) + 2), kWhite)
            << "what lies beyond is at the rim";

        const auto error_pixel = [&](double x, std::size_t subcarrier) {
            return pixel(page, layout.scale, x,
                         (parts.error_y(subcarrier) + parts.error_y(subcarrier + 1)) / 2);
        };
        const double half = (parts.error_x(2) - parts.error_x(1)) / 2;
        for (const std::size_t subcarrier : {2u, 3u, 31u, 62u})
            for (const std::size_t symbol : {4u, 5u, 6u}) {
                const uint32_t colour = error_pixel(parts.error_x(symbol) + half, subcarrier);
                EXPECT_EQ((colour >> 8 & 0xFF) > 220, symbol == 5) << symbol << ' ' << subcarrier;
            }
        // Ticks stand at the first, the last and each tenth; the last one's number is 60's as well.
        for (std::size_t subcarrier = 2; subcarrier <= 62; ++subcarrier) {
            const bool is_named = subcarrier % 10 == 0 || subcarrier == 2 || subcarrier == 62;
            EXPECT_EQ(error_pixel(parts.errors.left - 4, subcarrier) != kWhite, is_named);
            bool has_number = false;
            for (double x = parts.errors.left - 40; x < parts.errors.left - 12; ++x)
                has_number |= error_pixel(x, subcarrier) != kWhite;
            EXPECT_TRUE(!is_named || has_number == (subcarrier != 60)) << subcarrier;
        }
    }
}

} // namespace
} // namespace tonelink::tool
