#include "check/check_picture.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

#include "burst_shape.h"
#include "plot/panel.h"
#include "plot/ticks.h"

namespace tonelink::tool {
namespace {

constexpr int kWidth = 1600, kHeight = 1000;

constexpr colour kBand = rgb(0x1f77b4, 0.10);
constexpr colour kBandEdge = rgb(0x1f77b4, 0.55);
constexpr colour kGrid = rgb(0xdddddd);
constexpr colour kNoiseInk = rgb(0x7a7a7a);

constexpr text_style kSmall{.size = 16};
constexpr text_style kFaint{.size = 16, .ink = kFaintInk};

struct point {
    double hz, db;
};

colour ink_of(path_state state)
{
    switch (state) {
    case path_state::good: return rgb(0x1b7837);
    case path_state::limited: return kUndecoded;
    default: return rgb(0xb2182b);
    }
}

void draw_grid(canvas &page, const decibel_panel &area, const std::string &title,
               const std::string &unit)
{
    const double low = area.x(std::max(kBandLowHz, area.low_hz));
    page.fill(low, area.top, area.x(kBandHighHz) - low, area.height, kBand);
    for (const double edge : {kBandLowHz, kBandHighHz})
        page.line(area.x(edge), area.top, area.x(edge), area.bottom(), kBandEdge, 1.2);
    const ticks levels{area.low_db, area.high_db, area.height / 40};
    for (int64_t tick = levels.first; tick <= levels.last; ++tick) {
        const double y = area.y(levels.value(tick));
        page.line(area.left, y, area.right(), y, kGrid, 1);
        page.text(area.left - 10, y, levels.text(tick), {.size = 16, .side = align::right});
    }
    const ticks kilohertz{area.low_hz / 1000, area.high_hz / 1000, 12};
    for (int64_t tick = kilohertz.first; tick <= kilohertz.last; ++tick) {
        const double x = area.x(kilohertz.value(tick) * 1000);
        page.line(x, area.bottom(), x, area.bottom() + 6, kInk, 1.2);
        page.text(x, area.bottom() + 20, kilohertz.text(tick), {.size = 16, .side = align::centre});
    }
    page.frame(area.left, area.top, area.width, area.height, kInk, 1.2);
    page.text(area.left, area.top - 20, title, {.bold = true});
    page.text(area.left + area.width / 2, area.bottom() + 46, "frequency (kHz)",
              {.size = 16, .ink = kFaintInk, .side = align::centre});
    page.text(area.left - 74, area.top + area.height / 2, unit,
              {.size = 16, .ink = kFaintInk, .side = align::centre, .upward = true});
}

/// A curve, cut off at the panel's rim.
void draw_curve(canvas &page, const decibel_panel &area, const std::vector<point> &points,
                const colour &ink, double width)
{
    cairo_t *context = page.context();
    cairo_save(context);
    cairo_rectangle(context, area.left, area.top, area.width, area.height);
    cairo_clip(context);
    for (std::size_t i = 1; i < points.size(); ++i)
        page.line(area.x(points[i - 1].hz), area.y(points[i - 1].db), area.x(points[i].hz),
                  area.y(points[i].db), ink, width);
    cairo_restore(context);
}

/// Responses beside `best`, which is 0 dB.
std::vector<point> beside(const std::vector<response_point> &responses, double best)
{
    std::vector<point> points;
    points.reserve(responses.size());
    for (const response_point &response : responses)
        points.push_back({response.hz, response.db - best});
    return points;
}

double best_of(const std::vector<response_point> &responses)
{
    double best = -200;
    for (const response_point &response : responses) best = std::max(best, response.db);
    return best;
}

void say_unheard(canvas &page, const decibel_panel &area)
{
    page.text(area.left + area.width / 2, area.top + area.height / 2, "the tones were not heard",
              {.ink = kFaintInk, .side = align::centre});
}

void draw_tones(canvas &page, const path_figures &figures)
{
    const decibel_panel &area = kTonePanel;
    draw_grid(page, area, "Response to the tones, beside the best", "dB");
    if (!figures.heard) return say_unheard(page, area);
    const auto points = beside(figures.tones, best_of(figures.tones));
    draw_curve(page, area, points, kMark, 2);
    for (const point &tone : points) // what lies beyond stands at the rim
        page.dot(area.x(tone.hz), area.y(std::clamp(tone.db, area.low_db, area.high_db)), 3.5,
                 kMark);
}

void draw_wide(canvas &page, const path_figures &figures)
{
    const decibel_panel &area = kWidePanel;
    draw_grid(page, area, "Response to the chirp, beside its median", "dB");
    if (!figures.heard || figures.wide.empty()) return say_unheard(page, area);
    std::vector<double> levels;
    for (const response_point &response : figures.wide) levels.push_back(response.db);
    std::ranges::sort(levels);
    draw_curve(page, area, beside(figures.wide, levels[levels.size() / 2]), kMark, 2);
    if (!figures.edge_hz) return;
    const double x = area.x(*figures.edge_hz);
    page.line(x, area.top, x, area.bottom(), kUndecoded, 1.6);
    page.text(x - 8, area.top + 18, "ends at " + decimal(*figures.edge_hz / 1000, 1) + " kHz",
              {.size = 16, .ink = kUndecoded, .side = align::right});
}

void draw_noise(canvas &page, const path_figures &figures)
{
    const decibel_panel &area = kNoisePanel;
    draw_grid(page, area, "Noise while nothing is played", "dBFS in 100 Hz");
    std::vector<point> points;
    for (const noise_point &noise : figures.noise)
        points.push_back({noise.hz, std::max(noise.dbfs, area.low_db)});
    draw_curve(page, area, points, kNoiseInk, 1.6);
    if (!figures.heard) return;
    const double y = area.y(figures.band_dbfs); // beside the noise: what the tones come to
    if (y < area.top || y > area.bottom()) return;
    page.line(area.x(kBandLowHz), y, area.x(kBandHighHz), y, kMark, 2.4);
    page.text(area.x(kBandLowHz) - 8, y, "the tones",
              {.size = 16, .ink = kMark, .side = align::right});
}

/// Breaks a text into lines that are no wider than `width`.
std::vector<std::string> wrapped(const canvas &page, const std::string &text, double width)
{
    std::vector<std::string> lines{""};
    std::istringstream words{text};
    for (std::string word; words >> word;) {
        const std::string longer = lines.back().empty() ? word : lines.back() + ' ' + word;
        if (page.width_of(longer, kSmall) <= width)
            lines.back() = longer;
        else
            lines.push_back(word);
    }
    return lines;
}

/// The figures in words, and what is wrong.
void write_notes(canvas &page, const check_result &done)
{
    constexpr double kLeft = 850, kRight = 1560, kTop = 570, kBottom = 985, kLine = 25, kText = 120;
    double y = kTop;
    for (const auto &[name, value] : rows_of(done)) {
        page.text(kLeft, y, name, kFaint);
        page.text(kLeft + kText, y, value, {.size = 16, .width = kRight - kLeft - kText});
        y += kLine;
    }
    y += kLine / 2;
    for (const path_reason reason : done.verdict.reasons)
        for (const std::string &line :
             wrapped(page, advice_on(reason, done.figures, done.task), kRight - kLeft)) {
            if (y > kBottom) return;
            page.text(kLeft, y, line, {.size = 16, .ink = ink_of(done.verdict.state)});
            y += kLine;
        }
}

} // namespace

canvas draw_check(const check_result &done)
{
    canvas page{kWidth, kHeight, 1};
    page.text(40, 42, text_of_verdict(done),
              {.size = 26, .ink = ink_of(done.verdict.state), .bold = true, .width = kWidth - 80});
    page.text(40, 82, text_of_devices(done), {.ink = kFaintInk, .width = kWidth - 80});
    draw_tones(page, done.figures);
    draw_wide(page, done.figures);
    draw_noise(page, done.figures);
    write_notes(page, done);
    return page;
}

} // namespace tonelink::tool
