// SPDX-License-Identifier: MIT

#include "texture/sheet.hpp"

#include "common/cairo_output.hpp"
#include "common/errors.hpp"
#include "common/output_file.hpp"
#include "texture/thumbnail.hpp"

#include <cairo.h>

namespace lindra::tools {

namespace {

constexpr uint32_t thumbnail_side = 256;
constexpr int gap = 16;
constexpr int caption_height = 24;
constexpr int cell_width = thumbnail_side + gap;
constexpr int cell_height = thumbnail_side + caption_height + gap;

constexpr double page_grey = 0.93;

void check(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS)
        throw DataError(std::string("the sheet cannot be drawn: ") + cairo_status_to_string(status));
}

void grey(cairo_t *context, double brightness) {
    cairo_set_source_rgb(context, brightness, brightness, brightness);
}

// The thumbnail's pixels are laid out as Cairo wants them; their alpha is not looked at.
void draw_pixels(cairo_t *context, double left, double top, PixelImage &image) {
    cairo_surface_t *surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char *>(image.pixels.data()), CAIRO_FORMAT_RGB24,
        static_cast<int>(image.width), static_cast<int>(image.height), static_cast<int>(4 * image.width));
    cairo_set_source_surface(context, surface, left, top);
    cairo_paint(context);
    grey(context, 0); // for the caption; and lets go of the surface before its pixels are
    cairo_surface_destroy(surface);
}

} // namespace

struct Sheet::Page {
    cairo_surface_t *surface;
    cairo_t *context;

    Page(int width, int height)
        : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
          context(cairo_create(surface)) {}
    ~Page() {
        cairo_destroy(context);
        cairo_surface_destroy(surface);
    }
    Page(const Page &) = delete;
    Page &operator=(const Page &) = delete;
};

Sheet::Sheet(int columns, int rows)
    : page_(std::make_unique<Page>(columns * cell_width + gap, rows * cell_height + gap)) {
    check(cairo_status(page_->context));
    grey(page_->context, page_grey);
    cairo_paint(page_->context);
    cairo_select_font_face(page_->context, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(page_->context, 13);
}

Sheet::~Sheet() = default;

void Sheet::add(int column, int row, const PixelImage &image, const std::string &caption) {
    cairo_t *context = page_->context;
    PixelImage small = thumbnail(image, thumbnail_side);
    const double left = gap + column * cell_width;
    const double top = gap + row * cell_height;
    draw_pixels(context, left, top, small);
    cairo_move_to(context, left, top + thumbnail_side + caption_height - 8);
    cairo_show_text(context, caption.c_str());
}

void Sheet::write(const std::string &path) {
    check(cairo_status(page_->context));
    std::string file;
    check(cairo_surface_write_to_png_stream(page_->surface, write_to_string, &file));
    OutputFile output(path);
    output.write(file);
    output.commit();
}

} // namespace lindra::tools
