// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CLIPPED_POLYGON_HPP
#define LINDRA_TOOLS_CLIPPED_POLYGON_HPP

#include "map/coast.hpp"
#include "map/geometry.hpp"

#include <vector>

namespace lindra::tools {

// The part of the polygon's area in the window, of all its copies 360 degrees apart: rings by the even-odd
// rule.
std::vector<Ring> clipped_area(const Polygon &polygon, const Window &window);

// The pieces of its outline in the window.
std::vector<Line> clipped_shore(const Polygon &polygon, const Window &window);

} // namespace lindra::tools

#endif
