// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHAPE_WINDOW_HPP
#define LINDRA_TOOLS_SHAPE_WINDOW_HPP

#include <string>
#include <vector>

namespace lindra::tools {

// A rectangle in the unit of the shapefiles, whatever that is. A shape meets it when their boxes have a point
// in common, on their edges too.
struct ShapeWindow {
    double west, east, south, north;
};

// W/E/S/N, decimals allowed, as one rectangle; as two, 360 apart, where east is below west and all four are
// degrees: a window across the antimeridian. A rectangle may be without width or height. Throws UsageError.
std::vector<ShapeWindow> parse_shape_window(const std::string &text);

// Whether its numbers can be longitudes and latitudes.
bool is_in_degrees(const ShapeWindow &window);

} // namespace lindra::tools

#endif
