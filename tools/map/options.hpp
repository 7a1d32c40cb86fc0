// SPDX-License-Identifier: MIT
//
// The options that the drawing and exporting subcommands share.
#ifndef LINDRA_TOOLS_OPTIONS_HPP
#define LINDRA_TOOLS_OPTIONS_HPP

#include "map/geometry.hpp"
#include "map/levels.hpp"
#include "map/map_file.hpp"

#include <string>
#include <vector>

namespace lindra::tools {

// W/E/S/N in degrees, decimals allowed. East below west means across the antimeridian (170/-170), so 360 is
// added to it. Throws UsageError, saying which number is wrong and how, for anything that is not four finite
// numbers, longitudes outside -360..720, a span of 0 or over 360, latitudes outside -90..90, or a south that
// is not below the north.
Window parse_window(const std::string &text);

// What to draw or export.
struct Layers {
    bool coast = false;   // the outline of what is drawn
    bool land = false;    // level 1
    bool lakes = false;   // level 2
    bool islands = false; // level 3, islands in lakes
    bool ponds = false;   // level 4, ponds on such islands
    Levels borders;
    Levels rivers;

    bool has_level(int level) const;
    bool has_areas() const { return land || lakes || islands || ponds; }

    // The files that hold them.
    std::vector<MapFile> files() const;
};

// From a list between commas: coast, land, lakes, islands, ponds, borders, rivers. The last two take levels
// behind a colon: numbers, ranges and names joined by "+", such as "borders:national" and
// "rivers:1-2+canals"; without them they are whole. A layer that is named twice has the levels of both.
// Throws UsageError naming the unknown layer or level and the known ones.
Layers parse_layers(const std::string &text);

// What the help says of the levels of borders and rivers.
const char *levels_help();

} // namespace lindra::tools

#endif
