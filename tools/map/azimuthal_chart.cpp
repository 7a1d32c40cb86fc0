// SPDX-License-Identifier: MIT

#include "map/azimuthal_chart.hpp"

#include "map/clip.hpp"
#include "map/densify.hpp"
#include "map/pieces.hpp"

#include <algorithm>
#include <cmath>

namespace lindra::tools {

namespace {

// The sides of a window as closed lines: four, or the parallels alone where it goes right round.
std::vector<Line> sides(const Window &window) {
    const auto [west, east, south, north] = window;
    if (east - west < 360) return {closed({{west, south}, {east, south}, {east, north}, {west, north}})};
    std::vector<Line> parallels;
    if (south > -90) parallels.push_back({{west, south}, {east, south}});
    if (north < 90) parallels.push_back({{west, north}, {east, north}});
    return parallels;
}

bool holds(const Window &window, Point place) {
    const double lon = place.lon + 360 * std::ceil((window.west - place.lon) / 360);
    return lon <= window.east && window.south <= place.lat && place.lat <= window.north;
}

// Only its far end reaches to the point opposite the centre; else the farthest point lies on its sides.
double farthest(const Window &window, Point centre) {
    if (holds(window, {centre.lon + 180, -centre.lat})) return 180;
    double distance = 0;
    for (const Line &side : sides(window))
        for (const Point &point : densified(side, 1))
            distance = std::max(distance, distance_between(centre, point));
    return distance;
}

} // namespace

AzimuthalChart::AzimuthalChart(const ProjectionKind &kind, const Window &window, Point centre)
    : Chart(kind, window, centre), radius_(std::min(kind.rim, farthest(surroundings(), centre) + 1)),
      disc_(centre, radius_, step()) {}

bool AzimuthalChart::has_sides() const {
    return surroundings().east - surroundings().west < 360;
}

Point AzimuthalChart::opposite_of_window() const {
    return {(window().west + window().east) / 2 + 180, 0};
}

PlaneLines AzimuthalChart::projected(const std::vector<Line> &lines) const {
    PlaneLines result;
    for (const Line &line : lines)
        result.push_back(projection().project(line));
    return result;
}

// The north pole lies off every shore, and inside the one that runs round it alone.
PlaneLines AzimuthalChart::area(const Polygon &polygon) const {
    if (!has_sides()) {
        const Line shore = polygon.pole == 0 ? closed(polygon.shore) : polygon.shore;
        return projected(disc_.area({shore}, {0, 90}, polygon.pole == 1));
    }
    std::vector<Line> rings;
    for (const Ring &ring : area_pieces(polygon, surroundings()))
        rings.push_back(closed(ring));
    return projected(disc_.area(rings, opposite_of_window(), false));
}

// What of the lines lies in the disc.
PlaneLines AzimuthalChart::seen(const std::vector<Line> &lines) const {
    PlaneLines result;
    for (const Line &line : lines)
        for (const Line &piece : disc_.pieces(line))
            result.push_back(projection().project(piece));
    return result;
}

PlaneLines AzimuthalChart::shore(const Polygon &polygon) const {
    if (has_sides()) return seen(shore_pieces(polygon, surroundings()));
    return seen({polygon.pole == 0 ? closed(polygon.shore) : polygon.shore});
}

PlaneLines AzimuthalChart::course(const Line &line) const {
    return has_sides() ? seen(line_pieces(line, surroundings())) : seen({line});
}

PlaneLines AzimuthalChart::line(const Line &line) const {
    return seen(clip_line(line, window()));
}

PlaneLines AzimuthalChart::region() const {
    const auto [west, east, south, north] = window();
    return projected(disc_.area(sides(window()), {(west + east) / 2, (south + north) / 2}, true));
}

PlaneLines AzimuthalChart::border() const {
    std::vector<Line> lines;
    if (reaches_rim()) lines.push_back(disc_.rim());
    for (const Line &side : sides(window()))
        for (Line &piece : disc_.pieces(side))
            lines.push_back(std::move(piece));
    return projected(lines);
}

double AzimuthalChart::rim() const {
    if (!reaches_rim()) return Chart::rim();
    const PlaneLine line = projection().project({disc_.rim().front()});
    return line.empty() ? Chart::rim() : std::hypot(line.front().x, line.front().y);
}

std::optional<PlanePoint> AzimuthalChart::place(Point place) const {
    if (!in_window(place) || !disc_.holds(place)) return std::nullopt;
    const PlaneLine point = projection().project({place});
    return point.empty() ? std::nullopt : std::optional(point.front());
}

} // namespace lindra::tools
