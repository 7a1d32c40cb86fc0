// SPDX-License-Identifier: MIT
//
// Colours, widths and sizes of a map.
#ifndef LINDRA_TOOLS_STYLE_HPP
#define LINDRA_TOOLS_STYLE_HPP

#include "map/levels.hpp"

#include <string>

namespace lindra::tools {

// 0 to 1. An alpha of 0 leaves out what it colours.
struct Colour {
    double red, green, blue, alpha;

    bool is_seen() const { return alpha > 0; }
};

// Widths and sizes are pixels of a page whose longer side is 1200, and grow with the page.
struct Style {
    Colour background; // of the page, round the map
    Colour sea, land, lake, island, pond;
    Colour coast; // outline of land
    Colour shore; // outlines of lakes, islands and ponds
    Colour border, state_border, marine_border;
    Colour river, intermittent_river, canal;
    Colour shape;      // areas of shapefiles
    Colour shape_line; // their outlines, lines and points
    Colour graticule;  // meridians and parallels
    Colour frame;
    Colour text;
    double coast_width, shore_width;
    double border_width, state_border_width, marine_border_width;
    double river_width, intermittent_river_width, canal_width; // of the major ones
    double shape_width, dot_size;
    double graticule_width, frame_width;
    double text_size, title_size;
};

struct Stroke {
    Colour colour;
    double width;
    double dash = 0, gap = 0; // 0 for a solid line
};

// How borders and rivers of a level are drawn.
Stroke line_stroke(const Style &style, LineKind kind, int level);

// A preset, or settings KEY=VALUE, or both, between commas: "night,coast=#ff0000,coast-width=0.8". Without a
// preset it is atlas. Throws UsageError for an unknown preset, key, colour or number, naming the known ones.
Style parse_style(const std::string &text);

// "#rgb", "#rrggbb", "#rrggbbaa", a name, or "none". Throws UsageError.
Colour parse_colour(const std::string &text);

// What the help says: the names between commas.
std::string style_names();
std::string style_keys();
std::string colour_names();

} // namespace lindra::tools

#endif
