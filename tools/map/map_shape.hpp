// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_MAP_SHAPE_HPP
#define LINDRA_TOOLS_MAP_SHAPE_HPP

#include "map/geometry.hpp"

#include <optional>
#include <vector>

namespace lindra::tools {

// A shape on the Earth, to be drawn on a map.
struct MapShape {
    enum class Kind {
        points, // one part, of places
        lines,
        area // closed lines without the last point, by the even-odd rule
    };

    Kind kind;
    std::vector<Line> parts; // at any multiple of 360 degrees
};

// A window with all the shapes in it and some room round them; nothing when there are no points.
std::optional<Window> window_round(const std::vector<MapShape> &shapes);

} // namespace lindra::tools

#endif
