// SPDX-License-Identifier: MIT
//
// What lies on the globe lies at every multiple of 360 degrees on the longitude-latitude plane.
#ifndef LINDRA_TOOLS_COPIES_HPP
#define LINDRA_TOOLS_COPIES_HPP

#include "map/geometry.hpp"

#include <vector>

namespace lindra::tools {

// Whether the box meets the window in one of its copies, its sides included.
bool meets(const Window &box, const Window &window);

// Whole turns of 360 degrees, from the first to the last; none when last is less.
struct Turns {
    int first, last;
};

// Those by which a ring or line is to be shifted to meet the window.
Turns turns_to(const Line &line, const Window &window);

// The line shifted by each of the turns, less the points that do not matter to the window: of a stretch of
// edges that lie all east or all west of it the ends are left. What is clipped to the window is the same. A
// line that runs round and round is not copied once for each of its turns: an edge of less than a turn is in
// three copies at most.
std::vector<Line> copies(const Line &line, Turns turns, const Window &window);

// The same of a ring.
std::vector<Ring> ring_copies(const Ring &ring, Turns turns, const Window &window);

// The ring or line with every longitude shifted.
Line shifted(const Line &line, double longitude);

} // namespace lindra::tools

#endif
