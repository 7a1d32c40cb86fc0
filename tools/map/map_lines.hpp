// SPDX-License-Identifier: MIT
//
// Borders and rivers as lines, whatever window is asked for.
//
// The files cut them at the sides of bins and where they branch. Here the pieces are joined again wherever
// just two of the same level meet, so that a dashed line is dashed evenly and no joint shows.
#ifndef LINDRA_TOOLS_MAP_LINES_HPP
#define LINDRA_TOOLS_MAP_LINES_HPP

#include "map/geometry.hpp"
#include "map/levels.hpp"
#include "map/options.hpp"

#include <vector>

namespace lindra::tools {

struct MapLine {
    LineKind kind;
    int level;
    Line points; // two or more; from -180 to 180, cut at the antimeridian
};

// The borders and rivers of the layers' levels whose bins meet the window in one of their copies 360 degrees
// apart, by kind and level: all that lies in the window, and more. resolution: 'c', 'l', 'i', 'h' or 'f'.
// Throws DataError when a file is missing (naming the directories searched and the command that gets it),
// unreadable or damaged.
std::vector<MapLine> read_lines(char resolution, const Layers &layers, const Window &window);

} // namespace lindra::tools

#endif
