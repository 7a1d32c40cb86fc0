// SPDX-License-Identifier: MIT
//
// A map being drawn: polygons and lines are added one after the other, and the page is painted at the end.
#ifndef LINDRA_TOOLS_DRAWING_HPP
#define LINDRA_TOOLS_DRAWING_HPP

#include "map/canvas.hpp"
#include "map/chart.hpp"
#include "map/furniture.hpp"
#include "map/map_lines.hpp"
#include "map/map_shape.hpp"
#include "map/options.hpp"
#include "map/page.hpp"
#include "map/style.hpp"

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lindra::tools {

// What a map shows besides its window.
struct MapRequest {
    std::optional<PageSize> size;
    Layers layers;
    Style style;
    std::string title;
};

class Drawing {
  public:
    Drawing(std::unique_ptr<Chart> chart, MapRequest request);

    // The size of a pixel of the finished map, where the map is large but for its last tenth.
    double km_per_pixel() const;

    // Polygons and lines outside this window need not be added.
    const Window &surroundings() const { return chart_->surroundings(); }

    void add(const Polygon &polygon);
    void add(const MapLine &line);
    void add(const MapShape &shape);

    // The finished file. May be called again for another type.
    std::string paint(FileType type) const;

    int width() const { return layout_.page.width(); }
    int height() const { return layout_.page.height(); }

    // Where a place lies on the page, pixels; nothing when the map does not show it.
    std::optional<PlanePoint> pixel(Point place) const;

  private:
    static constexpr int levels = 4;

    struct Level {
        std::vector<PlaneLines> areas;
        PlaneLines shores;
    };

    // What of a shape is on the page.
    struct PageShape {
        PlaneLines area;
        PlaneLines lines;
        PlaneLine dots;
    };

    bool shows_shore(int level) const;
    void add_ring(PageShape &page_shape, const Line &ring) const;
    PlaneLines thinned(const PlaneLines &lines, size_t fewest) const;
    void paint_map(Canvas &canvas) const;
    void paint_areas(Canvas &canvas, int level) const;
    void paint_shores(Canvas &canvas, int level) const;
    void paint_lines(Canvas &canvas, LineKind kind) const;
    void paint_shapes(Canvas &canvas) const;
    void paint_graticule(Canvas &canvas) const;
    void paint_frame(Canvas &canvas) const;

    std::unique_ptr<Chart> chart_;
    MapRequest request_;
    Layout layout_;
    double unit_;
    std::array<Level, levels> levels_; // on the page
    std::map<std::pair<LineKind, int>, PlaneLines> lines_;
    std::vector<PageShape> shapes_;
};

} // namespace lindra::tools

#endif
