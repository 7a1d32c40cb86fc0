// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CLIP_HPP
#define LINDRA_TOOLS_CLIP_HPP

#include "map/geometry.hpp"

namespace lindra::tools {

// The part of the area of a ring (even-odd rule) that lies in the window, as separate rings. Exact but for
// the rounding of the points computed on the border.
std::vector<Ring> clip_area(const Ring &ring, const Window &window);

// The pieces of the closed outline itself that lie in the window, without anything along the border. An
// outline that lies whole in the window is one piece that ends in its first point.
std::vector<Line> clip_outline(const Ring &ring, const Window &window);

// The pieces of an open line that lie in the window.
std::vector<Line> clip_line(const Line &line, const Window &window);

} // namespace lindra::tools

#endif
