// SPDX-License-Identifier: MIT

#include "map/cylindrical_chart.hpp"

#include "map/clip.hpp"
#include "map/densify.hpp"
#include "map/pieces.hpp"

namespace lindra::tools {

PlaneLine CylindricalChart::bent(const Line &line) const {
    return projection().project(kind().bends ? densified(line, step()) : line);
}

PlaneLines CylindricalChart::area(const Polygon &polygon) const {
    PlaneLines result;
    for (const Ring &ring : area_pieces(polygon, surroundings()))
        result.push_back(bent(closed(ring)));
    return result;
}

PlaneLines CylindricalChart::bent(const std::vector<Line> &lines) const {
    PlaneLines result;
    for (const Line &line : lines)
        result.push_back(bent(line));
    return result;
}

PlaneLines CylindricalChart::shore(const Polygon &polygon) const {
    return bent(shore_pieces(polygon, surroundings()));
}

PlaneLines CylindricalChart::course(const Line &line) const {
    return bent(line_pieces(line, surroundings()));
}

PlaneLines CylindricalChart::line(const Line &line) const {
    return bent(clip_line(line, window()));
}

PlaneLines CylindricalChart::region() const {
    const auto [west, east, south, north] = window();
    return {bent(closed({{west, south}, {east, south}, {east, north}, {west, north}}))};
}

PlaneLines CylindricalChart::border() const {
    return region();
}

std::optional<PlanePoint> CylindricalChart::place(Point place) const {
    const std::optional<Point> inside = in_window(place);
    if (!inside) return std::nullopt;
    const PlaneLine point = projection().project({*inside});
    return point.empty() ? std::nullopt : std::optional(point.front());
}

} // namespace lindra::tools
