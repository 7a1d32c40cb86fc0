// SPDX-License-Identifier: MIT

#include "map/canvas.hpp"

#include "common/cairo_output.hpp"
#include "common/errors.hpp"

#include <algorithm>
#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <cmath>
#include <filesystem>
#include <iterator>

namespace lindra::tools {

namespace {

constexpr double points_per_pixel = 0.75; // 72 points and 96 pixels to the inch

// Points. What Cairo takes for a stroke is quadratic in the edges that cross.
constexpr size_t longest_path = 4000;

size_t points_of(std::span<const PlaneLine> lines) {
    size_t count = 0;
    for (const PlaneLine &line : lines)
        count += line.size();
    return count;
}

double length_of(std::span<const PlanePoint> line) {
    double length = 0;
    for (size_t i = 1; i < line.size(); i++)
        length += std::hypot(line[i].x - line[i - 1].x, line[i].y - line[i - 1].y);
    return length;
}

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

void Canvas::trace_line(std::span<const PlanePoint> line) {
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

// Ends are flat, so that short gaps stay open. begun: the length of the line that lies before.
void Canvas::set_dashes(const Stroke &stroke, double unit, double begun) {
    const double dashes[] = {stroke.dash * unit, stroke.gap * unit};
    cairo_set_dash(context_, dashes, static_cast<int>(std::size(dashes)), begun);
    cairo_set_line_cap(context_, CAIRO_LINE_CAP_BUTT);
}

void Canvas::stroke_in_pieces(std::span<const PlaneLine> lines, const Stroke &stroke, double unit) {
    for (const PlaneLine &line : lines) {
        double begun = 0;
        for (size_t first = 0; first == 0 || first + 1 < line.size(); first += longest_path) {
            const auto piece =
                std::span(line).subspan(first).first(std::min(longest_path + 1, line.size() - first));
            if (stroke.dash > 0) set_dashes(stroke, unit, begun);
            trace_line(piece);
            cairo_stroke(context_);
            begun += length_of(piece);
        }
    }
}

void Canvas::stroke_at_once(std::span<const PlaneLine> lines, const Stroke &stroke, double unit) {
    if (stroke.dash > 0) set_dashes(stroke, unit, 0);
    for (const PlaneLine &line : lines)
        trace_line(line);
    cairo_stroke(context_);
}

// Where pieces meet they overlap, which would show in a colour that is seen through: they are made opaque on
// a page of their own.
void Canvas::stroke_as_glass(std::span<const PlaneLine> lines, const Stroke &stroke, double unit) {
    const auto [red, green, blue, alpha] = stroke.colour;
    cairo_push_group(context_);
    set_colour({red, green, blue, 1});
    stroke_in_pieces(lines, stroke, unit);
    cairo_pop_group_to_source(context_);
    cairo_paint_with_alpha(context_, alpha);
}

void Canvas::stroke_lines(std::span<const PlaneLine> lines, const Stroke &stroke, double unit) {
    if (!stroke.colour.is_seen() || !(stroke.width * unit > 0)) return;
    cairo_save(context_);
    set_colour(stroke.colour);
    cairo_set_line_width(context_, stroke.width * unit);
    if (points_of(lines) <= longest_path)
        stroke_at_once(lines, stroke, unit);
    else if (stroke.colour.alpha < 1)
        stroke_as_glass(lines, stroke, unit);
    else
        stroke_in_pieces(lines, stroke, unit);
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
