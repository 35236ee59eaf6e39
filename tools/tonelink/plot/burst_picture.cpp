#include "plot/burst_picture.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

constexpr colour kCloseupShade = rgb(0x1f77b4, 0.07);

constexpr double kHighestShown = 24'000; // above it there is nothing to see for people or bursts

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
    if (area.high_hz < kBandHighHz) return;
    constexpr double kDashes[] = {6, 6};
    for (const double edge : {kBandLowHz, kBandHighHz}) {
        cairo_set_dash(page.context(), kDashes, 2, 0);
        page.line(area.left, area.y(edge), area.right(), area.y(edge), rgb(0x7fd0ff), 1.2);
        cairo_set_dash(page.context(), nullptr, 0, 0);
        page.text(area.right() + 8, area.y(edge), decimal(edge / 1000, 2) + " kHz",
                  {.size = 16, .ink = kMark});
    }
}

/// When a symbol of a burst begins; of 17, when the last one ends.
double start_of(const sound_burst &burst, std::size_t symbol)
{
    return burst.start_s + static_cast<double>(symbol_start(symbol)) / kAudioRate;
}

colour ink_of(const sound_burst &burst) { return burst.is_decoded() ? kMark : kUndecoded; }

/// A solid bar for a decoded burst, a hollow one for a burst that was only found.
void draw_bar(canvas &page, double left, double right, double top, const sound_burst &burst)
{
    constexpr double kHeight = 7;
    const double width = std::max(1.0, right - left);
    page.fill(left, top, width, kHeight, ink_of(burst));
    if (!burst.is_decoded() && width > 4)
        page.fill(left + 1.5, top + 1.5, width - 3, kHeight - 3, rgb(0xffffff));
}

/// What the kinds of bars stand for, at the right above the sound, unless all are solid.
void draw_bar_legend(canvas &page, const panel &area, double y,
                     const std::vector<sound_burst> &bursts)
{
    constexpr double kBar = 30;
    const sound_burst decoded{0, 0, message_bits(32)}, found{};
    if (std::ranges::all_of(bursts, &sound_burst::is_decoded)) return;
    double x = area.right();
    for (const auto &[burst, text] :
         {std::pair{found, "found, not decoded"}, {decoded, "decoded"}}) {
        const text_style style{.size = 16, .ink = ink_of(burst), .side = align::right};
        page.text(x, y, text, style);
        x -= page.width_of(text, style) + 8;
        draw_bar(page, x - kBar, x, y - 3.5, burst);
        x -= kBar + 24;
    }
}

/// With two words "2: 12673CA5", with one the message, with none the number.
std::string short_name(std::size_t number, const sound_burst &burst, int words)
{
    std::string count = std::to_string(number + 1);
    if (words == 0) return count;
    if (words == 1) return burst.is_decoded() ? hex_of(burst.message) : count;
    return burst.is_decoded() ? count + ": " + hex_of(burst.message) : "burst " + count;
}

/// Where a burst's symbols begin and end in the picture, as far as the sound holds them.
struct bar_ends {
    double start, end;
    double middle() const { return (start + end) / 2; }
};

bar_ends ends_of(const panel &area, const sound_burst &burst)
{
    return {std::max(area.left, area.x(start_of(burst, 1))),
            std::min(area.right(), area.x(start_of(burst, kSymbols + 1)))};
}

/// The names of all bursts with as many words as leave room between neighbours, if any do.
std::vector<std::string> fitting_names(const canvas &page, const panel &area,
                                       const std::vector<sound_burst> &bursts,
                                       const text_style &style)
{
    constexpr double kGap = 14;
    for (const int words : {2, 1, 0}) {
        std::vector<std::string> names;
        bool fits = true;
        double last_end = 0;
        for (std::size_t i = 0; fits && i < bursts.size(); ++i) {
            names.push_back(short_name(i, bursts[i], words));
            const double middle = ends_of(area, bursts[i]).middle();
            const double half = page.width_of(names.back(), style) / 2;
            fits = middle - half >= last_end + kGap;
            last_end = middle + half;
        }
        if (fits) return names;
    }
    return {};
}

/// The joints of a burst's symbols in the band.
void mark_joints(canvas &page, const panel &area, const sound_burst &burst)
{
    for (std::size_t n = 1; n <= kSymbols + 1; ++n) {
        const double x = area.x(start_of(burst, n));
        if (x >= area.left && x <= area.right())
            draw_mark(page, x, area.y(kBandHighHz), x, area.y(kBandLowHz));
    }
}

/// A bar above each burst with its message and, where there is room, the joints of its symbols.
void mark_bursts(canvas &page, const panel &area, const std::vector<sound_burst> &bursts)
{
    text_style style{.size = 16, .side = align::centre};
    const auto names = fitting_names(page, area, bursts, style);
    const bool has_room = area.x(kSymbolSeconds) - area.x(0) >= 12;
    for (std::size_t i = 0; i < bursts.size(); ++i) {
        const bar_ends ends = ends_of(area, bursts[i]);
        style.ink = ink_of(bursts[i]);
        draw_bar(page, ends.start, ends.end, area.top - 13, bursts[i]);
        if (!names.empty()) page.text(ends.middle(), area.top - 28, names[i], style);
        if (has_room) mark_joints(page, area, bursts[i]);
    }
}

/// The symbols' numbers above the panel, their joints, and at each joint the symbol's pilots.
void mark_symbols(canvas &page, const panel &area, const sound_burst &burst)
{
    page.text(area.left - 12, area.top - 16, "symbol",
              {.size = 16, .ink = kMark, .side = align::right});
    for (std::size_t n = 1; n <= kSymbols + 1; ++n) {
        const double start = area.x(start_of(burst, n));
        draw_mark(page, start, area.top - 8, start, area.bottom());
        if (n > kSymbols) break;
        const double end = area.x(start_of(burst, n + 1));
        page.text((start + end) / 2, area.top - 16, std::to_string(n),
                  {.size = 16, .ink = kMark, .side = align::centre});
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
             ++subcarrier) {
            const double y = area.y(subcarrier_hz(subcarrier));
            if (is_pilot(n, subcarrier)) draw_mark(page, start, y, start + 6, y);
        }
    }
}

/// The subcarriers' numbers at the right: the highest is the lowest tone.
void draw_subcarrier_axis(canvas &page, const panel &area)
{
    for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier; ++subcarrier) {
        const bool named =
            subcarrier % 10 == 0 || subcarrier == kFirstSubcarrier || subcarrier == kLastSubcarrier;
        const double y = area.y(subcarrier_hz(subcarrier));
        page.line(area.right(), y, area.right() + (named ? 8 : 4), y, kMark, 1.2);
        // 62 speaks for 60 as well: there is no room for both.
        if (named && subcarrier != 60)
            page.text(area.right() + 14, y, std::to_string(subcarrier), {.size = 16, .ink = kMark});
    }
    page.text(area.right() + 60, area.top + area.height / 2, "subcarrier",
              {.ink = kMark, .side = align::centre, .upward = true});
}

/// Joins the burst in the overview with its closeup below.
void join_closeup(canvas &page, const panel &overview, const panel &closeup)
{
    cairo_t *context = page.context();
    cairo_move_to(context, std::max(overview.left, overview.x(closeup.from_s)), overview.bottom());
    cairo_line_to(context, std::min(overview.right(), overview.x(closeup.to_s)), overview.bottom());
    cairo_line_to(context, closeup.right(), closeup.top);
    cairo_line_to(context, closeup.left, closeup.top);
    cairo_close_path(context);
    cairo_set_source_rgba(context, kCloseupShade.red, kCloseupShade.green, kCloseupShade.blue,
                          kCloseupShade.alpha);
    cairo_fill(context);
}

/// "burst 2: 12673CA5".
std::string name_of(const burst_picture &picture)
{
    const sound_burst &burst = picture.bursts[picture.shown];
    return "burst " + std::to_string(picture.shown + 1) +
           (burst.is_decoded() ? ": " + hex_of(burst.message) : ", not decoded");
}

/// The same and, as nobody knows whether it is a pairing or data, ", or PIN 4711 3C:A5".
std::string full_name_of(const burst_picture &picture)
{
    const message_bits &message = picture.bursts[picture.shown].message;
    if (message.empty()) return name_of(picture);
    return name_of(picture) + ", or PIN " + std::to_string(pin_of(message)) + " " +
           octets_of(message);
}

void draw_closeup(canvas &page, const panel &area, const burst_picture &picture,
                  const colour_scale &colours)
{
    paint_spectrogram(page, area, *picture.closeup, colours);
    draw_axes(page, area);
    mark_symbols(page, area, picture.bursts[picture.shown]);
    draw_subcarrier_axis(page, area);
    const double below = area.bottom() + 48;
    page.text(area.left, below, full_name_of(picture),
              {.ink = ink_of(picture.bursts[picture.shown]), .width = area.width / 2 - 60});
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
    const double start = picture.bursts[picture.shown].start_s;
    panel area = layout.closeup;
    area.from_s = start - kCloseupMarginSeconds;
    area.to_s = start + kBurstSeconds + kCloseupMarginSeconds;
    area.low_hz = kBandLowHz - kMarginHz;
    area.high_hz = kBandHighHz + kMarginHz;
    return area;
}

} // namespace

picture_layout::picture_layout(int width_in_px, int height_in_px, picture_parts parts)
    : width_px{width_in_px}, height_px{height_in_px}, scale{std::min(width_px / 1600.0,
                                                                     height_px / 1000.0)},
      width{width_px / scale}, height{height_px / scale}
{
    constexpr double kLeft = 120, kRight = 230, kTop = 150, kBottom = 80, kBetween = 120;
    constexpr double kEnoughForThree = 1400;
    const bool with_closeup = parts == picture_parts::closeup ||
                              (parts == picture_parts::constellation && height >= kEnoughForThree);
    double room = height - kTop - kBottom;
    overview.left = closeup.left = kLeft;
    overview.width = closeup.width = width - kLeft - kRight;
    if (parts == picture_parts::constellation) {
        constexpr double kTwoRows = 0.62, kThreeRows = 0.44;
        const double part = std::min((room - kBetween) * (with_closeup ? kThreeRows : kTwoRows),
                                     constellation_layout::greatest_height(overview.width));
        constellation = {kLeft, overview.right(), height - kBottom - part, part};
        room -= part + kBetween;
    }
    overview.top = kTop;
    overview.height = with_closeup ? (room - kBetween) * 0.46 : room;
    closeup.top = overview.bottom() + kBetween;
    closeup.height = with_closeup ? kTop + room - closeup.top : 0;
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
        join_closeup(page, overview, closeup);
        draw_closeup(page, closeup, picture, colours);
        bottom = closeup.bottom();
    }
    paint_spectrogram(page, overview, *picture.overview, colours);
    draw_axes(page, overview);
    mark_band(page, overview);
    mark_bursts(page, overview, picture.bursts);
    draw_bar_legend(page, overview, 84, picture.bursts);
    draw_colour_bar(page, layout.width - 110, overview.top, bottom - overview.top, colours, "dBFS");
    if (picture.subcarriers)
        draw_constellation(page, layout.constellation, *picture.subcarriers, name_of(picture));
    return page;
}

} // namespace tonelink::tool
