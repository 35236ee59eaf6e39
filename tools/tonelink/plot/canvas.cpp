#include "plot/canvas.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <pango/pangocairo.h>
#include <strings.h>

#include "descriptor_io.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

void set_ink(cairo_t *context, const colour &ink)
{
    cairo_set_source_rgba(context, ink.red, ink.green, ink.blue, ink.alpha);
}

cairo_status_t write_block(void *descriptor, const unsigned char *data, unsigned int length)
{
    return write_all(*static_cast<const int *>(descriptor), data, length)
               ? CAIRO_STATUS_SUCCESS
               : CAIRO_STATUS_WRITE_ERROR;
}

struct unref_pango {
    void operator()(PangoLayout *layout) const { g_object_unref(layout); }
    void operator()(PangoFontDescription *font) const { pango_font_description_free(font); }
};

struct free_glib {
    void operator()(char *text) const { g_free(text); }
};

using text_layout = std::unique_ptr<PangoLayout, unref_pango>;

text_layout layout_of(cairo_t *context, const std::string &line, const text_style &style)
{
    text_layout layout{pango_cairo_create_layout(context)};
    const std::unique_ptr<PangoFontDescription, unref_pango> font{pango_font_description_new()};
    pango_font_description_set_family(font.get(), "DejaVu Sans");
    pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
    pango_font_description_set_weight(font.get(),
                                      style.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
    // A file's name may be no UTF-8; what is wrong in it becomes a replacement character.
    const std::unique_ptr<char, free_glib> valid{
        g_utf8_make_valid(line.data(), static_cast<gssize>(line.size()))};
    pango_layout_set_text(layout.get(), valid.get(), -1);
    if (style.width > 0) {
        pango_layout_set_width(layout.get(), static_cast<int>(style.width * PANGO_SCALE));
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_MIDDLE);
    }
    return layout;
}

struct text_size {
    double width, height;
};

text_size size_of(PangoLayout &layout)
{
    PangoRectangle extents{};
    pango_layout_get_extents(&layout, nullptr, &extents);
    return {extents.width / double{PANGO_SCALE}, extents.height / double{PANGO_SCALE}};
}

} // namespace

canvas::canvas(int width, int height, double scale)
    : surface_{cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)},
      context_{cairo_create(surface_.get())}
{
    if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc{};
    set_ink(context_.get(), rgb(0xFFFFFF));
    cairo_paint(context_.get());
    cairo_scale(context_.get(), scale, scale);
}

void canvas::fill(double x, double y, double width, double height, const colour &ink)
{
    set_ink(context_.get(), ink);
    cairo_rectangle(context_.get(), x, y, width, height);
    cairo_fill(context_.get());
}

void canvas::frame(double x, double y, double width, double height, const colour &ink, double line)
{
    set_ink(context_.get(), ink);
    cairo_set_line_width(context_.get(), line);
    cairo_rectangle(context_.get(), x, y, width, height);
    cairo_stroke(context_.get());
}

void canvas::line(double x0, double y0, double x1, double y1, const colour &ink, double width)
{
    set_ink(context_.get(), ink);
    cairo_set_line_width(context_.get(), width);
    cairo_move_to(context_.get(), x0, y0);
    cairo_line_to(context_.get(), x1, y1);
    cairo_stroke(context_.get());
}

void canvas::dot(double x, double y, double radius, const colour &ink)
{
    set_ink(context_.get(), ink);
    cairo_arc(context_.get(), x, y, radius, 0, 2 * G_PI);
    cairo_fill(context_.get());
}

double canvas::width_of(const std::string &line, const text_style &style) const
{
    return size_of(*layout_of(context_.get(), line, style)).width;
}

void canvas::text(double x, double y, const std::string &line, const text_style &style)
{
    const auto layout = layout_of(context_.get(), line, style);
    const auto [width, height] = size_of(*layout);
    const double shift = style.side == align::left    ? 0
                         : style.side == align::right ? width
                                                      : width / 2;

    cairo_save(context_.get());
    set_ink(context_.get(), style.ink);
    cairo_translate(context_.get(), x, y);
    if (style.upward) cairo_rotate(context_.get(), -G_PI / 2);
    cairo_move_to(context_.get(), -shift, -height / 2);
    pango_cairo_show_layout(context_.get(), layout.get());
    cairo_restore(context_.get());
}

void canvas::write_png(const output_file &file) const
{
    int descriptor = file.descriptor();
    if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS)
        throw failure{std::string{"cannot draw: "} +
                      cairo_status_to_string(cairo_status(context_.get()))};
    if (cairo_surface_write_to_png_stream(surface_.get(), write_block, &descriptor) !=
        CAIRO_STATUS_SUCCESS)
        throw file_failure{"cannot write " + file.name() + ": " + std::strerror(errno)};
}

void require_picture_name(const std::string &path)
{
    const auto extension = std::filesystem::path{path}.extension();
    if (strcasecmp(extension.c_str(), ".png") != 0)
        throw wrong_usage{"-o '" + path + "' is no picture; a name in .png is right"};
}

} // namespace tonelink::tool
