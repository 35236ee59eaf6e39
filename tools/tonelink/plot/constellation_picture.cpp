#include "plot/constellation_picture.h"

#include <algorithm>
#include <cmath>

#include "plot/colour_map.h"
#include "plot/panel.h"

namespace tonelink::tool {
namespace {

constexpr double kPlaneReach = 2; // of the plane, to each side of 0
constexpr double kBetween = 120;  // the plane and the errors, for what is written there

constexpr colour kData = rgb(0x1f77b4, 0.55);
constexpr colour kPilot = rgb(0xe69f00, 0.55);
constexpr colour kWrong = rgb(0xb2182b);
constexpr double kRadius = 3;

/// From what a clean burst stays below to what says nothing of what was sent.
constexpr colour_scale kErrors{-50, 0};

constexpr text_style kSmall{.size = 16};

/// With a sign, but for what rounds to nothing.
std::string signed_decimal(double value)
{
    if (std::abs(value) < 0.05) return "0.0";
    const std::string sign{value > 0 ? "+" : ""}; // decimal() writes the other one
    return sign + decimal(value, 1);
}

std::string decibels(double value) { return decimal(value, 1) + " dB"; }

void draw_plane_axes(canvas &page, const constellation_layout &layout)
{
    const picture_area &plane = layout.plane;
    page.line(plane.left, layout.y(0), plane.right(), layout.y(0), rgb(0xcccccc), 1.2);
    page.line(layout.x(0), plane.top, layout.x(0), plane.bottom(), rgb(0xcccccc), 1.2);
    for (const int tick : {-2, -1, 0, 1, 2}) {
        const double x = layout.x(tick), y = layout.y(tick);
        page.line(x, plane.bottom(), x, plane.bottom() + 6, kInk, 1.2);
        page.text(x, plane.bottom() + 20, decimal(tick, 0), {.side = align::centre});
        page.line(plane.left - 6, y, plane.left, y, kInk, 1.2);
        page.text(plane.left - 12, y, decimal(tick, 0), {.side = align::right});
    }
    page.frame(plane.left, plane.top, plane.width, plane.height, kInk, 1.2);
    page.text(plane.left - 78, plane.top + plane.height / 2, "quadrature",
              {.ink = kFaintInk, .side = align::centre, .upward = true});
}

void draw_cross(canvas &page, double x, double y)
{
    page.line(x - 3.5, y - 3.5, x + 3.5, y + 3.5, kWrong, 1.6);
    page.line(x - 3.5, y + 3.5, x + 3.5, y - 3.5, kWrong, 1.6);
}

/// The pilots, the data above them, and on top of all what lies on the wrong side.
void draw_points(canvas &page, const constellation_layout &layout, const subcarrier_estimate &burst)
{
    enum class kind { pilot, data, wrong };
    for (const kind drawn : {kind::pilot, kind::data, kind::wrong}) {
        for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol) {
            for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
                 ++subcarrier) {
                const auto &point = burst.at(symbol, subcarrier);
                const kind its = is_pilot(symbol, subcarrier) ? kind::pilot
                                 : point.is_wrong()           ? kind::wrong
                                                              : kind::data;
                if (its != drawn) continue;
                const double x = layout.x(point.value.real()), y = layout.y(point.value.imag());
                if (its == kind::wrong)
                    draw_cross(page, x, y);
                else
                    page.dot(x, y, kRadius, its == kind::pilot ? kPilot : kData);
            }
        }
    }
    for (const int ideal : {-1, 1}) {
        const double x = layout.x(ideal), y = layout.y(0);
        draw_mark(page, x - 9, y, x + 9, y);
        draw_mark(page, x, y - 9, x, y + 9);
    }
}

/// The colours of the points with what they stand for, in one line below the plane.
void draw_legend(canvas &page, const constellation_layout &layout, const subcarrier_estimate &burst)
{
    const double y = layout.plane.bottom() + 48;
    double x = layout.plane.left;
    const auto entry = [&](const std::string &text) {
        page.text(x + 12, y, text, kSmall);
        x += 12 + page.width_of(text, kSmall) + 24;
    };
    page.dot(x + 3, y, 5, rgb(0x1f77b4));
    entry("data " + decibels(burst.data_error_db()));
    page.dot(x + 3, y, 5, rgb(0xe69f00));
    entry("pilots " + decibels(burst.pilot_error_db()));
    if (!burst.knows_message) return;
    draw_cross(page, x + 3, y);
    entry(std::to_string(burst.wrong_data()) + " wrong");
}

void draw_plane(canvas &page, const constellation_layout &layout, const subcarrier_estimate &burst,
                const std::string &name)
{
    const picture_area &plane = layout.plane;
    draw_plane_axes(page, layout);
    draw_points(page, layout, burst);
    draw_legend(page, layout, burst);
    const std::string error = "EVM " + decibels(burst.error_db());
    page.text(plane.right(), plane.top - 18, error, {.side = align::right, .bold = true});
    page.text(plane.left, plane.top - 18, name,
              {.ink = burst.knows_message ? kMark : kUndecoded,
               .width = plane.width - page.width_of(error, {.bold = true}) - 16});
}

/// A rectangle for each subcarrier, and at the left of each pilot's a short mark.
void paint_errors(canvas &page, const constellation_layout &layout,
                  const subcarrier_estimate &burst)
{
    // Without the soft edges of antialiasing, neighbours meet without a seam.
    cairo_set_antialias(page.context(), CAIRO_ANTIALIAS_NONE);
    const double width = layout.error_x(2) - layout.error_x(1);
    const double height = layout.error_y(3) - layout.error_y(2);
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol)
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier; ++subcarrier)
            page.fill(layout.error_x(symbol), layout.error_y(subcarrier), width, height,
                      kErrors.of(error_in_db(burst.at(symbol, subcarrier).error())));
    cairo_set_antialias(page.context(), CAIRO_ANTIALIAS_DEFAULT);
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol) {
        for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier;
             ++subcarrier) {
            if (!is_pilot(symbol, subcarrier)) continue;
            const double x = layout.error_x(symbol), y = layout.error_y(subcarrier) + height / 2;
            draw_mark(page, x, y, x + 6, y);
        }
    }
}

void draw_error_axes(canvas &page, const constellation_layout &layout)
{
    const picture_area &errors = layout.errors;
    page.frame(errors.left, errors.top, errors.width, errors.height, kInk, 1.2);
    for (std::size_t symbol = 1; symbol <= kSymbols; ++symbol)
        page.text((layout.error_x(symbol) + layout.error_x(symbol + 1)) / 2, errors.bottom() + 20,
                  std::to_string(symbol), {.side = align::centre});
    for (std::size_t subcarrier = kFirstSubcarrier; subcarrier <= kLastSubcarrier; ++subcarrier) {
        const bool named =
            subcarrier % 10 == 0 || subcarrier == kFirstSubcarrier || subcarrier == kLastSubcarrier;
        if (!named) continue;
        const double y = (layout.error_y(subcarrier) + layout.error_y(subcarrier + 1)) / 2;
        page.line(errors.left - 6, y, errors.left, y, kInk, 1.2);
        if (subcarrier != 60) // 62 speaks for it as well
            page.text(errors.left - 12, y, std::to_string(subcarrier), {.side = align::right});
    }
    page.text(errors.left - 62, errors.top + errors.height / 2, "subcarrier",
              {.ink = kFaintInk, .side = align::centre, .upward = true});
    page.text(errors.left, errors.bottom() + 48, "symbol", {.ink = kFaintInk});
}

void draw_errors(canvas &page, const constellation_layout &layout, const subcarrier_estimate &burst)
{
    const picture_area &errors = layout.errors;
    paint_errors(page, layout, burst);
    draw_error_axes(page, layout);
    page.text(errors.left, errors.top - 18, "error of each subcarrier", {});
    page.text(errors.right(), errors.top - 18,
              "clock offset " + signed_decimal(burst.clock_offset_ppm()) + " ppm",
              {.side = align::right});
    page.text(errors.right(), errors.bottom() + 48, "short marks: the pilots",
              {.size = 16, .ink = kMark, .side = align::right});
    draw_colour_bar(page, errors.right() + 120, errors.top, errors.height, kErrors, "dB");
}

} // namespace

constellation_layout::constellation_layout(double left, double right, double top, double height)
{
    plane = {left, top, height, height};
    const double errors_left = plane.right() + kBetween;
    errors = {errors_left, top, right - errors_left, height};
}

double constellation_layout::greatest_height(double width)
{
    constexpr double kPlaneShare = 0.6;
    return width * kPlaneShare - kBetween;
}

double constellation_layout::x(double in_phase) const
{
    return plane.left +
           (std::clamp(in_phase, -kPlaneReach, kPlaneReach) / kPlaneReach + 1) / 2 * plane.width;
}

double constellation_layout::y(double quadrature) const
{
    return plane.top +
           (1 - std::clamp(quadrature, -kPlaneReach, kPlaneReach) / kPlaneReach) / 2 * plane.height;
}

double constellation_layout::error_x(std::size_t symbol) const
{
    return errors.left + static_cast<double>(symbol - 1) * errors.width / kSymbols;
}

double constellation_layout::error_y(std::size_t subcarrier) const
{
    return errors.top +
           static_cast<double>(subcarrier - kFirstSubcarrier) * errors.height / kSubcarriers;
}

void draw_constellation(canvas &page, const constellation_layout &layout,
                        const subcarrier_estimate &burst, const std::string &name)
{
    draw_plane(page, layout, burst, name);
    draw_errors(page, layout, burst);
}

} // namespace tonelink::tool
