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

// The shore of a polygon round a pole, continued on both sides as far as the window reaches.
Line endless_shore(const Polygon &polygon, const Window &window) {
    std::vector<double> turns = copies(polygon.area(), window);
    if (polygon.shore.back().lon < polygon.shore.front().lon) std::reverse(turns.begin(), turns.end());
    Line line;
    for (double turn : turns) {
        if (!line.empty()) line.pop_back(); // the next copy begins in the same place
        const Line next = shifted(polygon.shore, turn);
        line.insert(line.end(), next.begin(), next.end());
    }
    return line;
}

} // namespace

std::vector<Ring> area_pieces(const Polygon &polygon, const Window &window) {
    if (polygon.pole != 0) {
        Ring area = endless_shore(polygon, window);
        if (area.empty()) return {};
        const double pole = 90.0 * polygon.pole;
        area.insert(area.end(), {{area.back().lon, pole}, {area.front().lon, pole}});
        return clip_area(area, window);
    }
    std::vector<Ring> pieces;
    for (double turn : copies(polygon.shore, window))
        move_to(pieces, clip_area(shifted(polygon.shore, turn), window));
    return pieces;
}

std::vector<Line> shore_pieces(const Polygon &polygon, const Window &window) {
    if (polygon.pole != 0) return clip_line(endless_shore(polygon, window), window);
    std::vector<Line> pieces;
    for (double turn : copies(polygon.shore, window))
        move_to(pieces, clip_outline(shifted(polygon.shore, turn), window));
    return pieces;
}

std::vector<Line> line_pieces(const Line &line, const Window &window) {
    std::vector<Line> pieces;
    for (double turn : copies(line, window))
        move_to(pieces, clip_line(shifted(line, turn), window));
    return pieces;
}

} // namespace lindra::tools
