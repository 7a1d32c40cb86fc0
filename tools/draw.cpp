// SPDX-License-Identifier: MIT
//
// `lindra draw`: a map of coastlines, borders and rivers as a picture.

#include "subcommands.hpp"

#include "common/errors.hpp"
#include "common/output_file.hpp"
#include "map/chart.hpp"
#include "map/coast.hpp"
#include "map/drawing.hpp"
#include "map/map_lines.hpp"
#include "map/options.hpp"
#include "map/projection.hpp"
#include "map/resolution.hpp"
#include "map/style.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace lindra::tools {

namespace {

struct Options {
    std::string output = "world.png";
    std::string window;
    std::string resolution = "auto";
    std::string layers = "coast,land,lakes,islands,ponds,borders:national,rivers:1-2";
    std::string projection = "plate-carree";
    std::string centre;
    std::string size;
    std::string style = "atlas";
    std::string title;
};

std::optional<double> parse_number(const std::string &text) {
    double value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<Point> parse_centre(const std::string &text) {
    if (text.empty()) return std::nullopt;
    const size_t slash = std::min(text.find('/'), text.size());
    const std::optional<double> lon = parse_number(text.substr(0, slash));
    const std::optional<double> lat = parse_number(slash < text.size() ? text.substr(slash + 1) : "");
    if (lon && lat && std::fabs(*lon) <= 720 && std::fabs(*lat) <= 90) return Point{*lon, *lat};
    throw UsageError("the centre '" + text +
                     "' is not LON/LAT in degrees, such as 20/5, with a latitude from -90 to 90");
}

std::string degrees_text(double value) {
    char text[40];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

void report_cut(const ProjectionKind &kind, const Window &asked, const Window &shown) {
    if (asked.south == shown.south && asked.north == shown.north) return;
    fprintf(stderr, "lindra: the %s projection does not reach so far: the map shows latitudes %s to %s\n",
            kind.name, degrees_text(shown.south).c_str(), degrees_text(shown.north).c_str());
}

std::unique_ptr<Chart> chart_for(const Options &options) {
    const ProjectionKind &kind = find_projection(options.projection);
    const std::optional<Point> centre = parse_centre(options.centre);
    const Window window =
        options.window.empty() ? default_window(kind, centre) : parse_window(options.window);
    std::unique_ptr<Chart> chart = make_chart(kind, window, centre);
    report_cut(kind, window, chart->window());
    return chart;
}

MapRequest request_for(const Options &options) {
    MapRequest request;
    if (!options.size.empty()) request.size = parse_size(options.size);
    request.layers = parse_layers(options.layers);
    request.style = parse_style(options.style);
    request.title = options.title;
    return request;
}

void add_layers(Drawing &drawing, const Layers &layers, char resolution) {
    if (layers.coast || layers.has_areas())
        Coastline(resolution).visit(drawing.surroundings(), [&](const Polygon &polygon) {
            drawing.add(polygon);
        });
    for (const MapLine &line : read_lines(resolution, layers, drawing.surroundings()))
        drawing.add(line);
}

void draw_map(const Options &options) {
    const FileType type = file_type_of(options.output);
    const MapRequest request = request_for(options);
    Drawing drawing(chart_for(options), request);
    const char resolution =
        choose_resolution(options.resolution, drawing.km_per_pixel(), request.layers.files());
    OutputFile file(options.output);
    add_layers(drawing, request.layers, resolution);
    file.write(drawing.paint(type));
    file.commit();
    fprintf(stderr, "lindra: %s: %d x %d pixels, %s resolution\n", options.output.c_str(), drawing.width(),
            drawing.height(), resolution_name(resolution));
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
canals and marine borders are dashed. With text=none,frame=none,graticule=none the page is the bare map.
)";

constexpr const char *examples =
    R"(Examples:
  lindra draw
      the world, as world.png
  lindra draw --window -15/40/34/72 --projection laea --title Europe -o europe.pdf
      Europe on a page to print
  lindra draw --window 5/10/59/64 --projection merc --resolution f -o fjords.png
      fjords of Norway, with every point of the data
  lindra draw --window 160/-160/-55/-25 --size 2000x -o new-zealand.svg
      New Zealand, in one window across the antimeridian, 2000 pixels wide
  lindra draw --projection ortho --center 100/30 --style night,coast=gold
      Asia on a globe, at night, with golden coasts
  lindra draw --projection stere --window -180/180/-90/-60 -o antarctica.png
      Antarctica
  lindra draw --window -125/-66/24/50 --layers coast,land,lakes,borders:1-2,rivers:1-4 -o states.png
      the United States with their states and rivers
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

CLI::Option *add_text_option(CLI::App &command, const char *names, std::string &value, const char *type,
                             const char *help) {
    return command.add_option(names, value, help)->type_name(type)->capture_default_str();
}

} // namespace

void add_draw(CLI::App &program) {
    const auto options = std::make_shared<Options>();
    CLI::App &command =
        *program.add_subcommand("draw", "Draw a map of coastlines, borders and rivers as PNG, SVG or PDF.");
    add_text_option(command, "-o,--output", options->output, "FILE", "The picture: .png, .svg or .pdf");
    add_text_option(command, "--window", options->window, "W/E/S/N",
                    "Degrees; east below west crosses the antimeridian:\n"
                    "170/-170/-50/-10. Without it, all that the\n"
                    "projection shows well");
    add_text_option(command, "--projection", options->projection, "NAME", "One of the list below");
    add_text_option(command, "--center,--centre", options->centre, "LON/LAT",
                    "The place in the middle of an azimuthal projection.\n"
                    "Without it, the middle of the window; 20 degrees north\n"
                    "where the window holds both poles");
    add_text_option(command, "--resolution", options->resolution, "NAME",
                    "c(rude), l(ow), i(ntermediate), h(igh), f(ull), or\n"
                    "auto: what suits the size of a pixel");
    add_text_option(command, "--layers", options->layers, "LAYER,...",
                    "Any of land, lakes, islands (in lakes), ponds (on\n"
                    "those), borders[:LEVELS], rivers[:LEVELS], and\n"
                    "coast: the outlines of the areas, or of everything\n"
                    "when no area is named");
    add_text_option(command, "--size", options->size, "WxH",
                    "Pixels of the page, 1 to 20000. A side left out\n"
                    "(1200x, x800) follows from the shape of the map.\n"
                    "Without it, the longer side is 1200");
    add_text_option(command, "--style", options->style, "NAME,KEY=VALUE,...",
                    "Colours and widths, see below");
    add_text_option(command, "--title", options->title, "TEXT", "Stands above the map");
    command.footer(explanations());
    command.callback([options] { draw_map(*options); });
}

} // namespace lindra::tools
