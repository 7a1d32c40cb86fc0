// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PIECES_HPP
#define LINDRA_TOOLS_PIECES_HPP

#include "map/coast.hpp"

namespace lindra::tools {

// What is seen of a polygon or a line in a window, in the window's own longitudes: every copy of it 360
// degrees apart, clipped. A polygon round a pole is one piece however far the window reaches, without a seam
// where its shore begins.

// Its area (even-odd rule), as separate rings.
std::vector<Ring> area_pieces(const Polygon &polygon, const Window &window);

// Its shore alone, without anything along the border or along a pole.
std::vector<Line> shore_pieces(const Polygon &polygon, const Window &window);

// An open line, given at any multiple of 360 degrees.
std::vector<Line> line_pieces(const Line &line, const Window &window);

} // namespace lindra::tools

#endif
