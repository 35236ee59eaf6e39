#include "burst_picture.h"

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "burst_layout.h"
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

spectrogram analysed(const test::sound &samples, std::size_t columns)
{
    spectrogram levels{{kDesignRate, 0, static_cast<int64_t>(samples.size()), columns, 512, 1024},
                       0};
    levels.put(samples);
    levels.finish();
    return levels;
}

constexpr uint32_t kWhite = 0xFFFFFF;

TEST(BurstPicture, BarsStandOverTheBurstsAlone)
{
    test::sound samples(3 * 44100);
    test::mix(samples, test::burst_of(1), 44100);
    for (const auto &[width, height] : {std::pair{1600, 1000}, std::pair{900, 1200}}) {
        const picture_layout layout{width, height, false};
        const spectrogram levels = analysed(samples, layout.columns());
        const canvas page = draw_picture({"burst", "", &levels, {{1.0, 1.0}}, nullptr, 0}, layout);
        panel area = layout.overview;
        area.from_s = 0;
        area.to_s = 3;
        const double bar = area.top - 8.5;
        for (const double inside : {1.01, 1.25, 1.52})
            EXPECT_NE(pixel(page, layout.scale, area.x(inside), bar), kWhite) << inside;
        for (const double outside : {0.5, 0.98, 1.55, 2.5})
            EXPECT_EQ(pixel(page, layout.scale, area.x(outside), bar), kWhite) << outside;
    }
}

TEST(BurstPicture, LoudIsLightAndQuietIsDark)
{
    test::sound samples(3 * 44100);
    test::mix(samples, test::burst_of(1), 44100);
    const picture_layout layout{1600, 1000, false};
    const spectrogram levels = analysed(samples, layout.columns());
    const canvas page = draw_picture({"burst", "", &levels, {}, nullptr, 0}, layout);
    panel area = layout.overview;
    area.from_s = 0;
    area.to_s = 3;
    area.low_hz = 0;
    area.high_hz = kDesignRate / 2;
    const auto red = [&](double seconds, double hz) {
        return pixel(page, layout.scale, area.x(seconds), area.y(hz)) >> 16;
    };
    EXPECT_GT(red(1.25, 19000), 180u);
    EXPECT_LT(red(1.25, 10000), 60u);
    EXPECT_LT(red(0.5, 19000), 20u);
    EXPECT_LT(red(2.5, 19000), 20u);
}

} // namespace
} // namespace tonelink::tool
