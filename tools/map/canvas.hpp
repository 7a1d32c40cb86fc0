// SPDX-License-Identifier: MIT
//
// A page to draw on by Cairo, whatever file it becomes.
#ifndef LINDRA_TOOLS_CANVAS_HPP
#define LINDRA_TOOLS_CANVAS_HPP

#include "map/plane.hpp"
#include "map/style.hpp"

#include <memory>
#include <span>
#include <string>

typedef struct _cairo cairo_t;

namespace lindra::tools {

enum class FileType { png, svg, pdf };

// By the ending of the file's name. Throws UsageError naming the known ones.
FileType file_type_of(const std::string &path);

// How much room a text takes, and where it begins.
struct TextSize {
    double width;
    double ascent; // of capital letters and digits above the base line: labels are made of them
};

// Throws UsageError for a text that is not UTF-8.
TextSize measure_text(const std::string &text, double size);

class Canvas {
  public:
    // Pixels, 96 to the inch where the file has real sizes.
    Canvas(FileType type, int width, int height);
    ~Canvas();
    Canvas(const Canvas &) = delete;
    Canvas &operator=(const Canvas &) = delete;

    void trace_rings(const PlaneLines &rings);
    void trace_box(const PlaneBox &box);

    // Of the path so far, by the even-odd rule; it is forgotten.
    void fill(const Colour &colour);
    void stroke(const Colour &colour, double width);

    // The lines as one: where they meet nothing is painted twice. Of lengths that many pixels to the unit.
    void stroke_lines(std::span<const PlaneLine> lines, const Stroke &stroke, double unit);

    // start: of the base line. A halo keeps the text readable on lines.
    void write(const std::string &text, double size, PlanePoint start, const Colour &colour);
    void write_with_halo(const std::string &text, double size, PlanePoint start, const Colour &colour,
                         const Colour &halo);

    // What is drawn between the two calls is seen in the area of the rings only.
    void begin_region(const PlaneLines &rings);
    void end_region();

    // The finished file. Nothing can be drawn afterwards. Throws DataError when Cairo failed.
    std::string finish();

  private:
    struct Surface;

    void set_colour(const Colour &colour);
    void set_dashes(const Stroke &stroke, double unit, double begun);
    void trace_line(std::span<const PlanePoint> line);
    void stroke_at_once(std::span<const PlaneLine> lines, const Stroke &stroke, double unit);
    void stroke_as_glass(std::span<const PlaneLine> lines, const Stroke &stroke, double unit);
    void stroke_in_pieces(std::span<const PlaneLine> lines, const Stroke &stroke, double unit);

    std::unique_ptr<Surface> surface_;
    cairo_t *context_;
};

} // namespace lindra::tools

#endif
