// The part of a burst's picture that shows its subcarriers: as points in the complex plane, and the
// error of each of them over symbol and subcarrier.
#pragma once

#include <string>

#include "plot/canvas.h"
#include "plot/subcarrier_estimate.h"

namespace tonelink::tool {

/// A part of the canvas.
struct picture_area {
    double left, top, width, height;

    double right() const { return left + width; }
    double bottom() const { return top + height; }
};

/// Where both stand: the square plane to the left, the errors to the right.
struct constellation_layout {
    picture_area plane{};
    picture_area errors{};

    constellation_layout() = default;

    /// Both between `left` and `right`, at most greatest_height() high; texts and the colour bar
    /// stand around them.
    constellation_layout(double left, double right, double top, double height);

    /// The height that a width between left and right leaves to a square beside the errors.
    static double greatest_height(double width);

    /// The middle of a point of the plane, at its rim for what lies beyond.
    double x(double in_phase) const;
    double y(double quadrature) const;

    /// The upper left corner of a subcarrier's error; of 17 and 63, where the last ones end.
    double error_x(std::size_t symbol) const;
    double error_y(std::size_t subcarrier) const;
};

/// @param name  of the burst
void draw_constellation(canvas &page, const constellation_layout &layout,
                        const subcarrier_estimate &burst, const std::string &name);

} // namespace tonelink::tool
