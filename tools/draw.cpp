// SPDX-License-Identifier: MIT
//
// `lindra draw`: a map of coastlines, borders, rivers and the shapes of shapefiles as a picture.

#include "subcommands.hpp"

#include "map/levels.hpp"
#include "map/options.hpp"
#include "map/picture.hpp"
#include "map/projection.hpp"
#include "map/style.hpp"
#include "shapes/shapes_on_earth.hpp"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace lindra::tools {

namespace {

struct Options {
    PictureOptions picture;
    std::vector<std::string> shapefiles;
};

void draw_map(const Options &options) {
    std::vector<MapShape> shapes;
    for (const std::string &path : options.shapefiles)
        add_shapes_of(path, shapes);
    draw_picture(options.picture, shapes);
}

// Breaks lines at blanks, every line indented.
std::string wrapped(const std::string &text, const std::string &indent) {
    constexpr size_t widest = 80;
    std::istringstream words(text);
    std::string result, line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > widest) {
            result += line + "\n";
            line.clear();
        }
        line += (line.empty() ? indent : " ") + word;
    }
    return result + line;
}

constexpr const char *window_notes =
    R"(The map has the shape of the window: a rectangle, a sector, a disc. Longitudes
may be any from -360 to 720. A window of 360 degrees goes right round, wherever
it begins: 0/360/-90/90 has the Pacific in the middle.
)";

constexpr const char *style_notes =
    R"(Widths and sizes are pixels of a page whose longer side is 1200, and grow with
it. Major rivers have the width given, lesser ones less; intermittent rivers,
canals and marine borders are dashed. With text=none,frame=none,graticule=none
the page is the bare map.

Exit status: 0; 1 when data is missing, damaged or cannot be written; 2 for
wrong arguments.
)";

constexpr const char *examples =
    R"(Examples:
  lindra draw
      the world, as world.png
  lindra draw --window -15/40/34/72 --projection laea --title Europe \
              -o europe.pdf
      Europe on a page to print
  lindra draw --window 5/10/59/64 --projection merc --resolution f -o fjords.png
      fjords of Norway, with every point of the data
  lindra draw --window 160/-160/-55/-25 --size 2000x -o new-zealand.svg
      New Zealand, in one window across the antimeridian, 2000 pixels wide
  lindra draw --projection ortho --center 100/30 --style night,coast=gold
      Asia on a globe, at night, with golden coasts
  lindra draw --projection stere --window -180/180/-90/-60 -o antarctica.png
      Antarctica
  lindra draw --window -125/-66/24/50 -o states.png \
              --layers coast,land,lakes,borders:1-2,rivers:1-4
      the United States with their states and rivers
  lindra draw roads.shp towns.shp --layers land,coast \
              --style shape-line=red,dot-size=5
      the shapes of two shapefiles, over the land they are on
  lindra draw --layers coast --style plain,coast-width=1 -o outlines.svg
      outlines alone)";

std::string explanations() {
    const std::string settings =
        "Settings follow the name, or stand alone and change atlas: " + style_keys() + ".";
    const std::string colours = "Colours are #rgb, #rrggbb, #rrggbbaa or a name: " + colour_names() + ".";
    return std::string(window_notes) + "\n" + levels_help() + "\nProjections:\n" + projection_help() +
           "\nStyles: " + style_names() + ".\n" + wrapped(settings, "") + "\n" + wrapped(colours, "") + "\n" +
           style_notes + "\n" + examples;
}

} // namespace

void add_draw(CommandLine &program) {
    const auto options = std::make_shared<Options>();
    const Subcommand command =
        program.add("draw", "Draw a map of coastlines, borders and rivers as PNG, SVG or PDF.");
    command.add("SHAPEFILE", options->shapefiles, "FILE", "Shapefiles to be drawn over the map");
    command.add("-o,--output", options->picture.output, "FILE", "The picture: .png, .svg or .pdf");
    command.add("--window", options->picture.window, "W/E/S/N",
                "Degrees; east below west crosses the antimeridian:\n"
                "170/-170/-50/-10. Without it, that of the\n"
                "shapes, or all that the projection shows well");
    command.add("--projection", options->picture.projection, "NAME", "One of the list below");
    command.add("--center,--centre", options->picture.centre, "LON/LAT",
                "The place in the middle of an azimuthal\n"
                "projection. Without it, that of the window; 20\n"
                "degrees north where it holds both poles");
    command.add("--resolution", options->picture.resolution, "NAME",
                "c(rude), l(ow), i(ntermediate), h(igh), f(ull), or\n"
                "auto: what suits the size of a pixel");
    command.add("--layers", options->picture.layers, "LAYER,...",
                "Any of land, lakes, islands (in lakes), ponds (on\n"
                "those), borders[:LEVELS], rivers[:LEVELS], and\n"
                "coast: the outlines of the areas, or of everything\n"
                "when no area is named");
    command.add("--size", options->picture.size, "WxH",
                "Pixels of the page, 1 to 20000. A side left out\n"
                "(1200, 1200x, x800) follows from the map's shape.\n"
                "Without it, the longer side is 1200");
    command.add("--style", options->picture.style, "NAME,KEY=VALUE,...", "Colours and widths, see below");
    command.add_text("--title", options->picture.title, "TEXT", "Stands above the map");
    command.footer(explanations());
    command.action([options] { draw_map(*options); });
}

} // namespace lindra::tools
