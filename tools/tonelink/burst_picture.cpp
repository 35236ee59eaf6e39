#include "burst_picture.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "burst_layout.h"

namespace tonelink::tool {
namespace {

constexpr colour kMark = rgb(0x1f77b4);
constexpr colour kLens = rgb(0x1f77b4, 0.07);

constexpr double kHighestShown = 24'000; // above it there is nothing to see for people or bursts

/// A line over a spectrogram: dark with a light rim, so that it shows on every colour.
void draw_mark(canvas &page, double x0, double y0, double x1, double y1)
{
    page.line(x0, y0, x1, y1, rgb(0xffffff, 0.45), 3);
    page.line(x0, y0, x1, y1, rgb(0x06304f), 1.2);
}

/// From the peak down to where the quiet tenth of the picture is, in whole tens of decibels.
colour_scale scale_for(const spectrogram &overview, const spectrogram *closeup)
{
    constexpr double kNarrowest = 40, kWidest = 90, kQuietShare = 0.1;
    const double peak = std::max(overview.peak_level(), closeup ? closeup->peak_level() : -200);
    const double top = std::ceil(std::max(peak, -100.0) / 10) * 10;
    const double quiet = std::floor(overview.level_above(kQuietShare) / 10) * 10;
    return {std::clamp(quiet, top - kWidest, top - kNarrowest), top};
}

/// The band's edges, as dashed lines over the whole sound, named at the right.
void mark_band(canvas &page, const panel &area)
{
    if (area.high_hz < kBandHigh) return;
    constexpr double kDashes[] = {6, 6};
    for (const double edge : {kBandLow, kBandHigh}) {
        cairo_set_dash(page.context(), kDashes, 2, 0);
        page.line(area.left, area.y(edge), area.right(), area.y(edge), rgb(0x7fd0ff), 1.2);
        cairo_set_dash(page.context(), nullptr, 0, 0);
        page.text(area.right() + 8, area.y(edge), decimal(edge / 1000, 2) + " kHz",
                  {.size = 16, .ink = kMark});
    }
}

/// A numbered bar above each burst and, where there is room, the joints of its symbols in the band.
void mark_bursts(canvas &page, const panel &area, const std::vector<found_burst> &bursts)
{
    const double symbol_width = area.x(kSymbolSeconds) - area.x(0);
    for (std::size_t i = 0; i < bursts.size(); ++i) {
        const double start = area.x(bursts[i].start_s + symbol_start_s(1));
        const double end = area.x(bursts[i].start_s + symbol_start_s(kSymbols + 1));
        page.fill(start, area.top - 11, std::max(1.0, end - start), 5, kMark);
        if (end - start > 40)
            page.text((start + end) / 2, area.top - 26, "burst " + std::to_string(i + 1),
                      {.size = 16, .ink = kMark, .side = align::centre});
        if (symbol_width < 12) continue;
        for (int n = 1; n <= kSymbols + 1; ++n) {
            const double x = area.x(bursts[i].start_s + symbol_start_s(n));
            draw_mark(page, x, area.y(kBandHigh), x, area.y(kBandLow));
        }
    }
}

/// The symbols' numbers above the panel, their joints, and at each joint the symbol's pilots.
void mark_symbols(canvas &page, const panel &area, const found_burst &burst)
{
    page.text(area.left - 12, area.top - 16, "symbol",
              {.size = 16, .ink = kMark, .side = align::right});
    for (int n = 1; n <= kSymbols + 1; ++n) {
        const double start = area.x(burst.start_s + symbol_start_s(n));
        draw_mark(page, start, area.top - 8, start, area.bottom());
        if (n > kSymbols) break;
        const double end = area.x(burst.start_s + symbol_start_s(n + 1));
        page.text((start + end) / 2, area.top - 16, std::to_string(n),
                  {.size = 16, .ink = kMark, .side = align::centre});
        for (int carrier = kFirstCarrier; carrier <= kLastCarrier; ++carrier) {
            const double y = area.y(carrier_hz(carrier));
            if (is_pilot(n, carrier)) draw_mark(page, start, y, start + 6, y);
        }
    }
}

/// The subcarriers' numbers at the right: the highest is the lowest tone.
void draw_carrier_axis(canvas &page, const panel &area)
{
    for (int carrier = kFirstCarrier; carrier <= kLastCarrier; ++carrier) {
        const bool named = carrier % 10 == 0 || carrier == kFirstCarrier || carrier == kLastCarrier;
        const double y = area.y(carrier_hz(carrier));
        page.line(area.right(), y, area.right() + (named ? 8 : 4), y, kMark, 1.2);
        // 62 speaks for 60 as well: there is no room for both.
        if (named && carrier != 60)
            page.text(area.right() + 14, y, std::to_string(carrier), {.size = 16, .ink = kMark});
    }
    page.text(area.right() + 60, area.top + area.height / 2, "subcarrier",
              {.ink = kMark, .side = align::centre, .upward = true});
}

/// Joins the burst in the overview with its closeup below.
void draw_lens(canvas &page, const panel &overview, const panel &closeup)
{
    cairo_t *context = page.context();
    cairo_move_to(context, std::max(overview.left, overview.x(closeup.from_s)), overview.bottom());
    cairo_line_to(context, std::min(overview.right(), overview.x(closeup.to_s)), overview.bottom());
    cairo_line_to(context, closeup.right(), closeup.top);
    cairo_line_to(context, closeup.left, closeup.top);
    cairo_close_path(context);
    cairo_set_source_rgba(context, kLens.red, kLens.green, kLens.blue, kLens.alpha);
    cairo_fill(context);
}

void draw_closeup(canvas &page, const panel &area, const burst_picture &picture,
                  const colour_scale &colours)
{
    paint_spectrogram(page, area, *picture.closeup, colours);
    draw_axes(page, area);
    mark_symbols(page, area, picture.bursts[picture.nearest]);
    draw_carrier_axis(page, area);
    const double below = area.bottom() + 48;
    page.text(area.left, below, "burst " + std::to_string(picture.nearest + 1), {.ink = kMark});
    page.text(area.right(), below, "short marks: the symbol's pilots",
              {.ink = kMark, .side = align::right});
}

/// The whole sound, up to half its sample rate.
panel overview_panel(const burst_picture &picture, const picture_layout &layout)
{
    const spectrogram_shape &shape = picture.overview->shape();
    panel area = layout.overview;
    area.from_s = static_cast<double>(shape.first_sample) / shape.sample_rate;
    area.to_s = static_cast<double>(shape.end_sample) / shape.sample_rate;
    area.low_hz = 0;
    area.high_hz = std::min(shape.sample_rate / 2, kHighestShown);
    return area;
}

/// One burst and its band, with a little of what is around them.
panel closeup_panel(const burst_picture &picture, const picture_layout &layout)
{
    constexpr double kMarginHz = 400;
    const double start = picture.bursts[picture.nearest].start_s;
    panel area = layout.closeup;
    area.from_s = start - kCloseupMarginSeconds;
    area.to_s = start + kBurstSeconds + kCloseupMarginSeconds;
    area.low_hz = kBandLow - kMarginHz;
    area.high_hz = kBandHigh + kMarginHz;
    return area;
}

} // namespace

picture_layout::picture_layout(int width_in_px, int height_in_px, bool with_closeup)
    : width_px{width_in_px}, height_px{height_in_px}, scale{std::min(width_px / 1600.0,
                                                                     height_px / 1000.0)},
      width{width_px / scale}, height{height_px / scale}
{
    constexpr double kLeft = 120, kRight = 230, kTop = 150, kBottom = 80, kBetween = 120;
    const double room = height - kTop - kBottom;
    overview.left = closeup.left = kLeft;
    overview.width = closeup.width = width - kLeft - kRight;
    overview.top = kTop;
    overview.height = with_closeup ? (room - kBetween) * 0.46 : room;
    closeup.top = overview.bottom() + kBetween;
    closeup.height = with_closeup ? height - kBottom - closeup.top : 0;
}

std::size_t picture_layout::columns() const
{
    return static_cast<std::size_t>(std::lround(overview.width * scale));
}

canvas draw_picture(const burst_picture &picture, const picture_layout &layout)
{
    canvas page{layout.width_px, layout.height_px, layout.scale};
    const double text_width = layout.width - 2 * layout.overview.left;
    page.text(layout.overview.left, 44, picture.title,
              {.size = 30, .ink = kInk, .bold = true, .width = text_width});
    page.text(layout.overview.left, 84, picture.subtitle, {.ink = kFaintInk, .width = text_width});

    const colour_scale colours = scale_for(*picture.overview, picture.closeup);
    const panel overview = overview_panel(picture, layout);
    double bottom = overview.bottom();
    if (picture.closeup) {
        const panel closeup = closeup_panel(picture, layout);
        draw_lens(page, overview, closeup);
        draw_closeup(page, closeup, picture, colours);
        bottom = closeup.bottom();
    }
    paint_spectrogram(page, overview, *picture.overview, colours);
    draw_axes(page, overview);
    mark_band(page, overview);
    mark_bursts(page, overview, picture.bursts);
    draw_colour_bar(page, layout.width - 110, overview.top, bottom - overview.top, colours);
    return page;
}

} // namespace tonelink::tool
