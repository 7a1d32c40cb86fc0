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

// The multiples of 360 by which a ring or line is to be shifted to meet the window, in rising order; empty
// when it does not.
std::vector<double> copies(const Line &line, const Window &window);

// The ring or line with every longitude shifted.
Line shifted(const Line &line, double longitude);

} // namespace lindra::tools

#endif
