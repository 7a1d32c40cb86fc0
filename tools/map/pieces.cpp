// SPDX-License-Identifier: MIT

#include "map/pieces.hpp"

#include "map/clip.hpp"

#include <algorithm>
#include <iterator>

namespace lindra::tools {

namespace {

template <class Piece>
void move_to(std::vector<Piece> &to, std::vector<Piece> &&pieces) {
    std::move(pieces.begin(), pieces.end(), std::back_inserter(to));
}

// What is clipped of each copy of a line or ring.
template <class Clip>
std::vector<Line> clipped(const std::vector<Line> &copies, const Window &window, Clip clip) {
    std::vector<Line> pieces;
    for (const Line &copy : copies)
        move_to(pieces, clip(copy, window));
    return pieces;
}

// The copies of a ring.
std::vector<Ring> copies_of(const Ring &ring, const Window &window) {
    if (ring.empty()) return {};
    return ring_copies(ring, turns_to(ring, window), window);
}

// The shore of a polygon round a pole, continued on both sides as far as the window reaches.
Line endless_shore(const Polygon &polygon, const Window &window) {
    std::vector<Line> turns = copies(polygon.shore, turns_to(polygon.area(), window), window);
    if (polygon.shore.back().lon < polygon.shore.front().lon) std::reverse(turns.begin(), turns.end());
    Line line;
    for (const Line &next : turns) {
        if (!line.empty()) line.pop_back(); // the next copy begins in the same place
        line.insert(line.end(), next.begin(), next.end());
    }
    return line;
}

} // namespace

std::vector<Ring> area_pieces(const Polygon &polygon, const Window &window) {
    if (polygon.pole == 0) return clipped(copies_of(polygon.shore, window), window, clip_area);
    Ring area = endless_shore(polygon, window);
    if (area.empty()) return {};
    const double pole = 90.0 * polygon.pole;
    area.insert(area.end(), {{area.back().lon, pole}, {area.front().lon, pole}});
    return clip_area(area, window);
}

std::vector<Line> shore_pieces(const Polygon &polygon, const Window &window) {
    if (polygon.pole != 0) return clip_line(endless_shore(polygon, window), window);
    return clipped(copies_of(polygon.shore, window), window, clip_outline);
}

std::vector<Line> line_pieces(const Line &line, const Window &window) {
    if (line.empty()) return {};
    return clipped(copies(line, turns_to(line, window), window), window, clip_line);
}

} // namespace lindra::tools
