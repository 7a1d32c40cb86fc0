// SPDX-License-Identifier: MIT

#include "map/clipped_polygon.hpp"

#include "map/clip.hpp"

#include <algorithm>

namespace lindra::tools {

namespace {

void append(std::vector<std::vector<Point>> &to, std::vector<std::vector<Point>> &&pieces) {
    std::move(pieces.begin(), pieces.end(), std::back_inserter(to));
}

// The shore of a polygon round a pole, turn after turn, then back along the pole: one ring, because two rings
// side by side would show a seam where they meet.
Ring ring_along_pole(const Polygon &polygon, std::vector<double> turns) {
    const Ring &shore = polygon.shore;
    if (shore.front().lon > shore.back().lon) std::reverse(turns.begin(), turns.end());
    Ring ring;
    for (const double turn : turns) {
        const Ring copy = shifted(shore, turn);
        ring.insert(ring.end(), copy.begin(), copy.end());
    }
    if (ring.empty()) return ring;
    ring.push_back({ring.back().lon, 90.0 * polygon.pole});
    ring.push_back({ring.front().lon, 90.0 * polygon.pole});
    return ring;
}

} // namespace

std::vector<Ring> clipped_area(const Polygon &polygon, const Window &window) {
    if (polygon.pole != 0) return clip_area(ring_along_pole(polygon, copies(polygon.area(), window)), window);
    std::vector<Ring> rings;
    for (const double turn : copies(polygon.shore, window))
        append(rings, clip_area(shifted(polygon.shore, turn), window));
    return rings;
}

std::vector<Line> clipped_shore(const Polygon &polygon, const Window &window) {
    std::vector<Line> lines;
    for (const double turn : copies(polygon.shore, window)) {
        const Ring shore = shifted(polygon.shore, turn);
        append(lines, polygon.pole == 0 ? clip_outline(shore, window) : clip_line(shore, window));
    }
    return lines;
}

} // namespace lindra::tools
