// The picture of a check: the response over frequency with the band of the bursts marked, the
// noise, and the figures.
#pragma once

#include <string>

#include "check/check_report.h"
#include "plot/canvas.h"

namespace tonelink::tool {

/// A part of the picture where frequency runs to the right and decibels upwards.
struct decibel_panel {
    double left, top, width, height;
    double low_hz, high_hz;
    double low_db, high_db;

    double x(double hz) const { return left + (hz - low_hz) / (high_hz - low_hz) * width; }
    double y(double db) const { return top + (high_db - db) / (high_db - low_db) * height; }
    double right() const { return left + width; }
    double bottom() const { return top + height; }
};

// Where the parts are, in the canvas's units of a pixel of 1600x1000.
constexpr decibel_panel kTonePanel{110, 150, 640, 330, 17'000, 21'000, -40, 5};
constexpr decibel_panel kWidePanel{900, 150, 640, 330, 2'000, 21'000, -60, 10};
constexpr decibel_panel kNoisePanel{110, 580, 640, 330, 0, 24'000, -140, 0};

canvas draw_check(const check_result &done);

} // namespace tonelink::tool
