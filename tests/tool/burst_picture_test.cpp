#include "plot/burst_picture.h"

#include <cstdint>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "modem/burst_format.h"
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
    spectrogram levels{{kAudioRate, 0, static_cast<int64_t>(samples.size()), columns, 512, 1024},
                       0};
    levels.put(samples);
    levels.finish();
    return levels;
}

constexpr uint32_t kWhite = 0xFFFFFF;

TEST(BurstPicture, BarsAreSolidWhereTheBurstWasDecodedAndHollowWhereNot)
{
    const picture_layout layout{1600, 1000, picture_parts::overview};
    const spectrogram levels = analysed(test::sound(5 * 44100), layout.columns());
    // One that the sound begins within, one that it ends within; both have their bars cut.
    const std::vector<sound_burst> bursts{
        {-0.2, 0, message_bits(32)}, {1.0, 1.0, message_bits(48)}, {2.0, 1.0, {}}, {4.7, 1.0, {}}};
    const canvas page = draw_picture({"bursts", "", &levels, bursts}, layout);
    panel area = layout.overview;
    area.from_s = 0;
    area.to_s = 5;
    const auto bar = [&](double seconds, double below_top) {
        return pixel(page, layout.scale, area.x(seconds), area.top - 13 + below_top);
    };
    for (const double decoded : {0.1, 1.2})
        for (const double y : {1.0, 3.5, 6.0}) EXPECT_EQ(bar(decoded, y), 0x1f77b4u) << decoded;
    for (const double found : {2.2, 4.8}) {
        EXPECT_EQ(bar(found, 3.5), kWhite) << found;
        for (const double y : {0.5, 6.5}) EXPECT_NE(bar(found, y), kWhite) << found << ' ' << y;
    }
    for (const double outside : {-0.1, 0.5, 1.7, 3.0, 5.1})
        EXPECT_EQ(bar(outside, 3.5), kWhite) << outside;
}

TEST(BurstPicture, SubcarriersStandWhereTheirValuesAndErrorsAre)
{
    test::sound samples(44100);
    const spectrogram levels = analysed(samples, 100);
    subcarrier_estimate subcarriers{0, 1, true, {}};
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol) {
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
             ++subcarrier) {
            auto &point = subcarriers.points[symbol - 1][subcarrier - kFirstSubcarrier];
            // Pilots below, data above; the subcarriers of symbol 5 are lost.
            point.ideal = is_pilot(symbol, subcarrier) ? 1 : -1;
            point.value = {point.ideal, is_pilot(symbol, subcarrier) ? -0.5 : 0.5};
            if (symbol == 5) point.value = {0.5, 9};
        }
    }
    for (const auto &[width, height] : {std::pair{1600, 1000}, std::pair{1600, 1600}}) {
        SCOPED_TRACE(height);
        const picture_layout layout{width, height, picture_parts::constellation};
        EXPECT_EQ(layout.has_closeup(), height == 1600);
        burst_picture picture{"burst", "", &levels, {{0, 1, message_bits(32)}}};
        picture.subcarriers = &subcarriers;
        const canvas page = draw_picture(picture, layout);
        const constellation_layout &parts = layout.constellation;
        const auto at = [&](double re, double im) {
            return pixel(page, layout.scale, parts.x(re), parts.y(im));
        };
        EXPECT_LT(parts.x(-1), parts.x(1));
        EXPECT_LT(parts.y(1), parts.y(-1)) << "the quadrature points upwards";
        const uint32_t data = at(-1, 0.5), pilots = at(1, -0.5);
        EXPECT_GT(data & 0xFF, data >> 16) << "blue";
        EXPECT_GT(pilots >> 16, pilots & 0xFF) << "orange";
        EXPECT_EQ(at(-1, -0.5), kWhite);
        EXPECT_EQ(at(1, 0.5), kWhite);
        EXPECT_NE(pixel(page, layout.scale, parts.x(0.5), parts.y(2) + 2), kWhite)
            << "what lies beyond is at the rim";

        const auto error_pixel = [&](double x, std::size_t subcarrier) {
            return pixel(page, layout.scale, x,
                         (parts.error_y(subcarrier) + parts.error_y(subcarrier + 1)) / 2);
        };
        const auto lightness = [&](double symbol, std::size_t subcarrier) {
            const double step = parts.error_x(2) - parts.error_x(1);
            return (error_pixel(parts.error_x(1) + (symbol - 1) * step, subcarrier) >> 8) & 0xFF;
        };
        for (const std::size_t subcarrier : {2, 3, 31, 62}) {
            EXPECT_GT(lightness(5.5, subcarrier), 240u) << subcarrier;
            EXPECT_LT(lightness(4.5, subcarrier), 200u) << subcarrier;
            EXPECT_LT(lightness(6.5, subcarrier), 200u) << subcarrier;
        }
        // Ticks stand at the first, the last and each tenth; the last one's number is 60's as well.
        const std::set<std::size_t> named{2, 10, 20, 30, 40, 50, 60, 62};
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
             ++subcarrier) {
            EXPECT_EQ(error_pixel(parts.errors.left - 4, subcarrier) != kWhite,
                      named.contains(subcarrier))
                << subcarrier;
        }
        for (const std::size_t subcarrier : {50, 60}) {
            bool has_number = false;
            for (double x = parts.errors.left - 40; x < parts.errors.left - 12; ++x)
                has_number |= error_pixel(x, subcarrier) != kWhite;
            EXPECT_EQ(has_number, subcarrier == 50);
        }
    }
}

TEST(BurstPicture, LoudIsLightAndQuietIsDark)
{
    test::sound samples(3 * 44100);
    test::mix(samples, test::burst_of(1), 44100);
    const picture_layout layout{1600, 1000, picture_parts::overview};
    const spectrogram levels = analysed(samples, layout.columns());
    const canvas page = draw_picture({"burst", "", &levels, {}}, layout);
    panel area = layout.overview;
    area.from_s = 0;
    area.to_s = 3;
    area.low_hz = 0;
    area.high_hz = kAudioRate / 2;
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
