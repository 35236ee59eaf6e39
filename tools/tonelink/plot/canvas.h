// A picture to draw on: Cairo's surface and lines, Pango's text, saved as PNG.
#pragma once

#include <memory>
#include <string>

#include <cairo.h>
#include <pango/pango.h>

#include "output_file.h"

namespace tonelink::tool {

struct colour {
    double red, green, blue, alpha = 1;
};

/// `#RRGGBB` as one number, with or without transparency.
constexpr colour rgb(unsigned hex, double alpha = 1)
{
    return {((hex >> 16) & 255u) / 255.0, ((hex >> 8) & 255u) / 255.0, (hex & 255u) / 255.0, alpha};
}

enum class align { left, centre, right };

struct text_style {
    double size = 18;
    colour ink = rgb(0x333333);
    align side = align::left; ///< which point of the line stands at x
    bool bold = false;
    double width = 0;    ///< what is wider gets dots in its middle; 0 is no limit
    bool upward = false; ///< turned by a quarter to read from bottom to top
};

struct destroy_cairo {
    void operator()(cairo_t *context) const { cairo_destroy(context); }
    void operator()(cairo_surface_t *surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_pattern_t *pattern) const { cairo_pattern_destroy(pattern); }
};
template <class Thing> using cairo_handle = std::unique_ptr<Thing, destroy_cairo>;

class canvas {
public:
    /// A white picture. What is drawn in units of `scale` pixels.
    canvas(int width, int height, double scale);

    cairo_t *context() const { return context_.get(); }

    void fill(double x, double y, double width, double height, const colour &ink);
    void frame(double x, double y, double width, double height, const colour &ink, double line);
    void line(double x0, double y0, double x1, double y1, const colour &ink, double width);

    void dot(double x, double y, double radius, const colour &ink);

    /// How wide a line of text is.
    double width_of(const std::string &line, const text_style &style) const;

    /// One line of text, its middle at height `y`.
    void text(double x, double y, const std::string &line, const text_style &style);

    /// Writes the picture as PNG. Throws failure when there is no room.
    void write_png(const output_file &file) const;

private:
    cairo_handle<cairo_surface_t> surface_;
    cairo_handle<cairo_t> context_;
};

/// Throws wrong_usage for the name of a file that is none in .png.
void require_picture_name(const std::string &path);

} // namespace tonelink::tool
