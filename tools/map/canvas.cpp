// SPDX-License-Identifier: MIT

#include "map/canvas.hpp"

#include "common/cairo_output.hpp"
#include "common/errors.hpp"

#include <algorithm>
#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <filesystem>
#include <iterator>

namespace lindra::tools {

namespace {

constexpr double points_per_pixel = 0.75; // 72 points and 96 pixels to the inch

struct Ending {
    const char *text;
    FileType type;
};

constexpr Ending endings[] = {{".png", FileType::png}, {".svg", FileType::svg}, {".pdf", FileType::pdf}};

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

void check(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw DataError(std::string("the map cannot be drawn: ") + cairo_status_to_string(status) +
                        "; a smaller --size takes less memory");
}

void select_font(cairo_t *context, double size) {
    cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, size);
}

} // namespace

FileType file_type_of(const std::string &path) {
    const std::filesystem::path extension = std::filesystem::path(lower_case(path)).extension();
    for (const Ending &ending : endings)
        if (extension == ending.text) return ending.type;
    throw UsageError("the kind of map is chosen by the file's ending, .png, .svg or .pdf, and '" + path +
                     "' has none of them");
}

TextSize measure_text(const std::string &text, double size) {
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1);
    cairo_t *context = cairo_create(surface);
    select_font(context, size);
    cairo_text_extents_t whole, digit;
    cairo_text_extents(context, text.c_str(), &whole);
    cairo_text_extents(context, "0", &digit);
    const cairo_status_t status = cairo_status(context);
    cairo_destroy(context);
    cairo_surface_destroy(surface);
    if (status == CAIRO_STATUS_INVALID_STRING) throw UsageError("the title is not text in UTF-8");
    return {whole.x_advance, -digit.y_bearing};
}

struct Canvas::Surface {
    FileType type;
    std::string file;
    cairo_surface_t *surface;

    Surface(FileType file_type, int width, int height)
        : type(file_type), surface(create(file_type, width, height)) {}
    ~Surface() { cairo_surface_destroy(surface); }
    Surface(const Surface &) = delete;
    Surface &operator=(const Surface &) = delete;

    cairo_surface_t *create(FileType file_type, int width, int height) {
        if (file_type == FileType::png) return cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
        if (file_type == FileType::pdf)
            return cairo_pdf_surface_create_for_stream(write_to_string, &file, width * points_per_pixel,
                                                       height * points_per_pixel);
        cairo_surface_t *svg = cairo_svg_surface_create_for_stream(write_to_string, &file, width, height);
        cairo_svg_surface_set_document_unit(svg, CAIRO_SVG_UNIT_PX);
        return svg;
    }
};

Canvas::Canvas(FileType type, int width, int height)
    : surface_(std::make_unique<Surface>(type, width, height)), context_(cairo_create(surface_->surface)) {
    check(cairo_status(context_));
    if (type == FileType::pdf) cairo_scale(context_, points_per_pixel, points_per_pixel);
    cairo_set_fill_rule(context_, CAIRO_FILL_RULE_EVEN_ODD);
    cairo_set_line_join(context_, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_cap(context_, CAIRO_LINE_CAP_ROUND);
}

Canvas::~Canvas() {
    cairo_destroy(context_);
}

void Canvas::set_colour(const Colour &colour) {
    cairo_set_source_rgba(context_, colour.red, colour.green, colour.blue, colour.alpha);
}

void Canvas::trace_line(const PlaneLine &line) {
    cairo_new_sub_path(context_);
    for (const PlanePoint &point : line)
        cairo_line_to(context_, point.x, point.y);
}

void Canvas::trace_rings(const PlaneLines &rings) {
    for (const PlaneLine &ring : rings) {
        trace_line(ring);
        cairo_close_path(context_);
    }
}

void Canvas::trace_box(const PlaneBox &box) {
    cairo_rectangle(context_, box.left, box.top, box.width(), box.height());
}

void Canvas::fill(const Colour &colour) {
    set_colour(colour);
    if (colour.is_seen())
        cairo_fill(context_);
    else
        cairo_new_path(context_);
}

void Canvas::stroke(const Colour &colour, double width) {
    set_colour(colour);
    cairo_set_line_width(context_, width);
    if (colour.is_seen() && width > 0)
        cairo_stroke(context_);
    else
        cairo_new_path(context_);
}

// Ends are flat, so that short gaps stay open.
void Canvas::stroke(const Stroke &stroke, double unit) {
    if (stroke.dash == 0) return this->stroke(stroke.colour, stroke.width * unit);
    const double dashes[] = {stroke.dash * unit, stroke.gap * unit};
    cairo_save(context_);
    cairo_set_dash(context_, dashes, static_cast<int>(std::size(dashes)), 0);
    cairo_set_line_cap(context_, CAIRO_LINE_CAP_BUTT);
    this->stroke(stroke.colour, stroke.width * unit);
    cairo_restore(context_);
}

void Canvas::write(const std::string &text, double size, PlanePoint start, const Colour &colour) {
    select_font(context_, size);
    set_colour(colour);
    cairo_move_to(context_, start.x, start.y);
    cairo_show_text(context_, text.c_str());
    cairo_new_path(context_);
}

void Canvas::write_with_halo(const std::string &text, double size, PlanePoint start, const Colour &colour,
                             const Colour &halo) {
    select_font(context_, size);
    cairo_move_to(context_, start.x, start.y);
    cairo_text_path(context_, text.c_str());
    stroke(halo, size / 4);
    write(text, size, start, colour);
}

// Clipping by a bent outline costs time with every shape in a picture, and the outline itself with every
// shape in an SVG file: everything is drawn on a page of its own, which is clipped once.
void Canvas::begin_region(const PlaneLines &rings) {
    cairo_save(context_);
    trace_rings(rings);
    cairo_clip(context_);
    cairo_push_group(context_);
    cairo_reset_clip(context_);
}

void Canvas::end_region() {
    cairo_pop_group_to_source(context_);
    cairo_paint(context_);
    cairo_restore(context_);
}

std::string Canvas::finish() {
    cairo_show_page(context_);
    check(cairo_status(context_));
    if (surface_->type == FileType::png)
        check(cairo_surface_write_to_png_stream(surface_->surface, write_to_string, &surface_->file));
    cairo_surface_finish(surface_->surface);
    check(cairo_surface_status(surface_->surface));
    return std::move(surface_->file);
}

} // namespace lindra::tools
