// A spectrogram as a part of a picture: its place, its axes and its colours.
#pragma once

#include <string>

#include "plot/canvas.h"
#include "plot/colour_map.h"
#include "plot/spectrogram.h"
#include "plot/ticks.h"

namespace tonelink::tool {

inline constexpr colour kInk = rgb(0x222222);
inline constexpr colour kFaintInk = rgb(0x666666);
inline constexpr colour kMark = rgb(0x1f77b4);      // of bursts
inline constexpr colour kUndecoded = rgb(0xb2560d); // of those that were not decoded

/// A part of the canvas where time runs to the right and frequency upwards.
struct panel {
    double left, top, width, height;
    double from_s, to_s;
    double low_hz, high_hz;

    double x(double seconds) const { return left + (seconds - from_s) / (to_s - from_s) * width; }
    double y(double hz) const { return top + (high_hz - hz) / (high_hz - low_hz) * height; }
    double right() const { return left + width; }
    double bottom() const { return top + height; }
};

/// Levels in dBFS as colours, from the darkest to the lightest.
struct colour_scale {
    double bottom, top;
    colour of(double level) const { return map_colour((level - bottom) / (top - bottom)); }
};

/// Paints a spectrogram over its panel.
void paint_spectrogram(canvas &page, const panel &area, const spectrogram &levels,
                       const colour_scale &colours);

/// Frames the panel; seconds below it, kHz to its left.
void draw_axes(canvas &page, const panel &area);

/// A line over colours: dark with a light rim, so that it shows on all of them.
void draw_mark(canvas &page, double x0, double y0, double x1, double y1);

/// The scale as a bar with its levels to the right and their unit above.
void draw_colour_bar(canvas &page, double left, double top, double height,
                     const colour_scale &colours, const std::string &unit);

} // namespace tonelink::tool
