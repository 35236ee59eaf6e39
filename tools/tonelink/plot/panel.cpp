#include "plot/panel.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <string>

namespace tonelink::tool {
namespace {

void draw_time_axis(canvas &page, const panel &area)
{
    const ticks seconds{area.from_s, area.to_s, 12};
    for (int64_t tick = seconds.first; tick <= seconds.last; ++tick) {
        const double x = area.x(seconds.value(tick));
        page.line(x, area.bottom(), x, area.bottom() + 6, kInk, 1.2);
        page.text(x, area.bottom() + 20, seconds.text(tick), {.side = align::centre});
    }
    page.text(area.left + area.width / 2, area.bottom() + 48, "time (s)",
              {.ink = kFaintInk, .side = align::centre});
}

void draw_frequency_axis(canvas &page, const panel &area)
{
    const ticks kilohertz{area.low_hz / 1000, area.high_hz / 1000, area.height / 45};
    for (int64_t tick = kilohertz.first; tick <= kilohertz.last; ++tick) {
        const double y = area.y(kilohertz.value(tick) * 1000);
        page.line(area.left - 6, y, area.left, y, kInk, 1.2);
        page.text(area.left - 12, y, kilohertz.text(tick), {.side = align::right});
    }
    page.text(area.left - 78, area.top + area.height / 2, "frequency (kHz)",
              {.ink = kFaintInk, .side = align::centre, .upward = true});
}

/// The bins `low` to `high` as an image, a pixel for each column and bin, the highest on top.
cairo_handle<cairo_surface_t> image_of(const spectrogram &levels, std::size_t low, std::size_t high,
                                       const colour_scale &colours)
{
    const std::size_t columns = levels.shape().columns;
    cairo_handle<cairo_surface_t> image{cairo_image_surface_create(
        CAIRO_FORMAT_RGB24, static_cast<int>(columns), static_cast<int>(high - low + 1))};
    if (cairo_surface_status(image.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc{};
    unsigned char *pixels = cairo_image_surface_get_data(image.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(image.get()));
    const auto byte = [](double part) { return static_cast<uint32_t>(std::lround(part * 255)); };
    for (std::size_t row = 0; row <= high - low; ++row) {
        auto *line = reinterpret_cast<uint32_t *>(pixels + row * stride);
        for (std::size_t column = 0; column < columns; ++column) {
            const colour c = colours.of(levels.level(column, high - row));
            line[column] = byte(c.red) << 16 | byte(c.green) << 8 | byte(c.blue);
        }
    }
    cairo_surface_mark_dirty(image.get());
    return image;
}

} // namespace

void paint_spectrogram(canvas &page, const panel &area, const spectrogram &levels,
                       const colour_scale &colours)
{
    const double lowest = std::floor(area.low_hz / levels.bin_hz());
    const double highest =
        std::min(std::ceil(area.high_hz / levels.bin_hz()), static_cast<double>(levels.bins() - 1));
    const auto image = image_of(levels, static_cast<std::size_t>(lowest),
                                static_cast<std::size_t>(highest), colours);
    // A bin is centred on its frequency: the image reaches half a bin beyond both ends.
    const double top = area.y((highest + 0.5) * levels.bin_hz());
    const double bottom = area.y((lowest - 0.5) * levels.bin_hz());

    cairo_t *context = page.context();
    cairo_save(context);
    cairo_rectangle(context, area.left, area.top, area.width, area.height);
    cairo_clip(context);
    cairo_translate(context, area.left, top);
    cairo_scale(context, area.width / static_cast<double>(levels.shape().columns),
                (bottom - top) / (highest - lowest + 1));
    cairo_set_source_surface(context, image.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(context), CAIRO_FILTER_GOOD);
    cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);
    cairo_paint(context);
    cairo_restore(context);
}

void draw_axes(canvas &page, const panel &area)
{
    page.frame(area.left, area.top, area.width, area.height, kInk, 1.2);
    draw_time_axis(page, area);
    draw_frequency_axis(page, area);
}

void draw_mark(canvas &page, double x0, double y0, double x1, double y1)
{
    page.line(x0, y0, x1, y1, rgb(0xffffff, 0.45), 3);
    page.line(x0, y0, x1, y1, rgb(0x06304f), 1.2);
}

void draw_colour_bar(canvas &page, double left, double top, double height,
                     const colour_scale &colours, const std::string &unit)
{
    constexpr int kSteps = 64;
    constexpr double kWidth = 18;
    const cairo_handle<cairo_pattern_t> fade{cairo_pattern_create_linear(0, top, 0, top + height)};
    for (int i = 0; i < kSteps; ++i) {
        const double at = i / (kSteps - 1.0);
        const colour c = map_colour(1 - at);
        cairo_pattern_add_color_stop_rgb(fade.get(), at, c.red, c.green, c.blue);
    }
    cairo_set_source(page.context(), fade.get());
    cairo_rectangle(page.context(), left, top, kWidth, height);
    cairo_fill(page.context());
    page.frame(left, top, kWidth, height, kInk, 1.2);
    const ticks levels{colours.bottom, colours.top, std::clamp(height / 40, 2.0, 9.0)};
    for (int64_t tick = levels.first; tick <= levels.last; ++tick) {
        const double share = (colours.top - levels.value(tick)) / (colours.top - colours.bottom);
        const double y = top + share * height;
        page.line(left + kWidth, y, left + kWidth + 5, y, kInk, 1.2);
        page.text(left + kWidth + 56, y, levels.text(tick), {.size = 16, .side = align::right});
    }
    page.text(left + kWidth / 2, top - 16, unit,
              {.size = 16, .ink = kFaintInk, .side = align::centre});
}

} // namespace tonelink::tool
