// SPDX-License-Identifier: MIT
//
// Everything is moved to the page and thinned as it comes: of ten million points of the world's coast a page
// keeps some hundred thousand. Painting goes level by level, whatever the order of the polygons in the file:
// land, the lakes on it, the islands in them, the ponds on those. Rivers lie over all of them, for those on
// islands are to be seen, and under the shores, which hide where their mouths do not end in time. Borders lie
// on top.

#include "map/drawing.hpp"

#include "map/scale.hpp"

#include <cmath>
#include <numbers>
#include <utility>

namespace lindra::tools {

namespace {

constexpr double thinning = 0.2;      // pixels: a point nearer to the last one is left out
constexpr double straightness = 0.05; // pixels: so are those no farther from the straight way past them

bool is_thin(PlanePoint a, PlanePoint b) {
    return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) < thinning;
}

// The directions in which a straight way from a point passes all points that a line has had since.
class Sleeve {
  public:
    explicit Sleeve(PlanePoint from) : from_(from) {}

    // Whether the way to the point passes those before it, none of which lies farther.
    bool reaches(PlanePoint to) const {
        const PlanePoint way = {to.x - from_.x, to.y - from_.y};
        if (std::hypot(way.x, way.y) < length_) return false;
        return length_ == 0 || (cross(right_, way) >= 0 && cross(way, left_) >= 0);
    }

    // A point that it reaches, or the first.
    void take(PlanePoint to) {
        const PlanePoint way = {to.x - from_.x, to.y - from_.y};
        const double length = std::hypot(way.x, way.y);
        if (length == 0) return;
        const double aside = straightness / length;
        const PlanePoint left = {way.x - way.y * aside, way.y + way.x * aside};
        const PlanePoint right = {way.x + way.y * aside, way.y - way.x * aside};
        if (length_ == 0 || cross(left, left_) > 0) left_ = left;
        if (length_ == 0 || cross(right_, right) > 0) right_ = right;
        length_ = length;
    }

  private:
    static double cross(PlanePoint a, PlanePoint b) { return a.x * b.y - a.y * b.x; }

    PlanePoint from_;
    PlanePoint left_ = {}, right_ = {};
    double length_ = 0; // of the way to the farthest
};

// The last point stays where it is: the pieces of a line end on the border. Nothing is left of a line that is
// all within the reach of its first point, such as the shore of a small island.
PlaneLine thinned_line(const PlaneLine &line, const Page &page) {
    if (line.empty()) return {};
    PlaneLine result = {page.at(line.front())};
    PlanePoint last = result.front(); // that is not too near to the one before
    Sleeve sleeve(last);
    for (size_t i = 1; i < line.size(); i++) {
        const PlanePoint point = page.at(line[i]);
        const bool ends = i + 1 == line.size();
        if (!ends && is_thin(point, last)) continue;
        if (!sleeve.reaches(point)) {
            result.push_back(last);
            sleeve = Sleeve(last);
        }
        sleeve.take(point);
        last = point;
    }
    if (line.size() > 1) result.push_back(last);
    if (result.size() == 2 && is_thin(result.front(), result.back())) result.clear();
    return result;
}

Colour area_colour(const Style &style, int level) {
    const Colour colours[] = {style.land, style.lake, style.island, style.pond};
    return colours[level];
}

// Of a few pixels, whose corners are not seen.
PlaneLine disc_round(PlanePoint centre, double radius) {
    constexpr int corners = 16;
    PlaneLine ring;
    for (int i = 0; i < corners; i++) {
        const double angle = 2 * std::numbers::pi * i / corners;
        ring.push_back({centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)});
    }
    return ring;
}

} // namespace

Drawing::Drawing(std::unique_ptr<Chart> chart, MapRequest request)
    : chart_(std::move(chart)), request_(std::move(request)),
      layout_(lay_out(*chart_, request_.size, request_.style, request_.title)), unit_(layout_.page.unit()) {}

double Drawing::km_per_pixel() const {
    return 1 / (layout_.page.pixels_per_metre() * prevailing_scale(*chart_) * 1000);
}

bool Drawing::shows_shore(int level) const {
    const Layers &layers = request_.layers;
    return layers.coast && (!layers.has_areas() || layers.has_level(level));
}

PlaneLines Drawing::thinned(const PlaneLines &lines, size_t fewest) const {
    PlaneLines result;
    for (const PlaneLine &line : lines) {
        PlaneLine kept = thinned_line(line, layout_.page);
        if (kept.size() >= fewest) result.push_back(std::move(kept));
    }
    return result;
}

void Drawing::add(const Polygon &polygon) {
    if (polygon.level < 1 || polygon.level > levels) return;
    Level &level = levels_[static_cast<size_t>(polygon.level - 1)];
    if (request_.layers.has_level(polygon.level)) {
        PlaneLines area = thinned(chart_->area(polygon), 3);
        if (!area.empty()) level.areas.push_back(std::move(area));
    }
    if (shows_shore(polygon.level))
        for (PlaneLine &line : thinned(chart_->shore(polygon), 2))
            level.shores.push_back(std::move(line));
}

void Drawing::add(const MapLine &line) {
    PlaneLines &lines = lines_[{line.kind, line.level}];
    for (PlaneLine &piece : thinned(chart_->course(line.points), 2))
        lines.push_back(std::move(piece));
}

void Drawing::add_ring(PageShape &page_shape, const Line &ring) const {
    const Polygon polygon = {0, 1, ring, 0};
    for (PlaneLine &piece : thinned(chart_->area(polygon), 3))
        page_shape.area.push_back(std::move(piece));
    for (PlaneLine &piece : thinned(chart_->shore(polygon), 2))
        page_shape.lines.push_back(std::move(piece));
}

// The even-odd rule holds for the pieces of all rings together, since it does for those of each.
void Drawing::add(const MapShape &shape) {
    PageShape page_shape;
    for (const Line &part : shape.parts) {
        if (shape.kind == MapShape::Kind::area) add_ring(page_shape, part);
        if (shape.kind == MapShape::Kind::lines)
            for (PlaneLine &piece : thinned(chart_->course(part), 2))
                page_shape.lines.push_back(std::move(piece));
        if (shape.kind == MapShape::Kind::points)
            for (const Point &place : part)
                if (const std::optional<PlanePoint> dot = pixel(place)) page_shape.dots.push_back(*dot);
    }
    shapes_.push_back(std::move(page_shape));
}

std::optional<PlanePoint> Drawing::pixel(Point place) const {
    const std::optional<PlanePoint> point = chart_->place(place);
    return point ? std::optional(layout_.page.at(*point)) : std::nullopt;
}

void Drawing::paint_areas(Canvas &canvas, int level) const {
    const Colour colour = area_colour(request_.style, level);
    for (const PlaneLines &area : levels_[static_cast<size_t>(level)].areas) {
        canvas.trace_rings(area);
        canvas.fill(colour);
    }
}

void Drawing::paint_shores(Canvas &canvas, int level) const {
    const Style &style = request_.style;
    const Colour colour = level == 0 ? style.coast : style.shore;
    const double width = level == 0 ? style.coast_width : style.shore_width;
    for (const PlaneLine &line : levels_[static_cast<size_t>(level)].shores)
        canvas.stroke_lines({&line, 1}, {colour, width}, unit_);
}

// The lines of a level are one path, so that where they meet nothing is painted twice. Major ones come last.
void Drawing::paint_lines(Canvas &canvas, LineKind kind) const {
    for (auto group = lines_.rbegin(); group != lines_.rend(); ++group) {
        const auto [group_kind, level] = group->first;
        if (group_kind != kind) continue;
        canvas.stroke_lines(group->second, line_stroke(request_.style, kind, level), unit_);
    }
}

void Drawing::paint_shapes(Canvas &canvas) const {
    const Style &style = request_.style;
    for (const PageShape &shape : shapes_) {
        canvas.trace_rings(shape.area);
        canvas.fill(style.shape);
    }
    for (const PageShape &shape : shapes_)
        canvas.stroke_lines(shape.lines, {style.shape_line, style.shape_width}, unit_);
    for (const PageShape &shape : shapes_)
        for (const PlanePoint &dot : shape.dots) {
            canvas.trace_rings({disc_round(dot, style.dot_size / 2 * unit_)});
            canvas.fill(style.shape_line);
        }
}

void Drawing::paint_graticule(Canvas &canvas) const {
    canvas.stroke_lines(layout_.page.at(layout_.graticule.lines),
                        {request_.style.graticule, request_.style.graticule_width}, unit_);
}

// Twice as wide as asked for: the outer half is clipped away.
void Drawing::paint_frame(Canvas &canvas) const {
    canvas.stroke_lines(layout_.page.at(chart_->border()),
                        {request_.style.frame, 2 * request_.style.frame_width}, unit_);
}

void Drawing::paint_map(Canvas &canvas) const {
    canvas.begin_region(layout_.page.at(chart_->region()));
    canvas.trace_box(layout_.page.box());
    canvas.fill(request_.style.sea);
    for (int level = 0; level < levels; level++)
        paint_areas(canvas, level);
    paint_lines(canvas, LineKind::river);
    for (int level = 0; level < levels; level++)
        paint_shores(canvas, level);
    paint_lines(canvas, LineKind::border);
    paint_shapes(canvas);
    paint_graticule(canvas);
    paint_frame(canvas);
    canvas.end_region();
}

std::string Drawing::paint(FileType type) const {
    Canvas canvas(type, width(), height());
    canvas.trace_box(layout_.page.box());
    canvas.fill(request_.style.background);
    paint_map(canvas);
    draw(canvas, layout_.furniture, request_.style);
    return canvas.finish();
}

} // namespace lindra::tools
