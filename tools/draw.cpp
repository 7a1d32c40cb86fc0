// SPDX-License-Identifier: MIT

#include "common/errors.hpp"
#include "common/output_file.hpp"
#include "map/chart.hpp"
#include "map/coast.hpp"
#include "map/drawing.hpp"
#include "map/options.hpp"
#include "map/projection.hpp"
#include "map/resolution.hpp"
#include "map/style.hpp"
#include "subcommands.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace {

using namespace lindra::tools;

struct Options {
    std::string output = "world.png";
    std::string window;
    std::string resolution = "auto";
    std::string layers = "coast,land,lakes,islands,ponds";
    std::string projection = "plate-carree";
    std::string centre;
    std::string size;
    std::string style;
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

void draw_map(const Options &options) {
    const FileType type = file_type_of(options.output);
    const MapRequest request = request_for(options);
    Drawing drawing(chart_for(options), request);
    const char resolution = choose_resolution(options.resolution, drawing.km_per_pixel());
    OutputFile file(options.output);
    Coastline(resolution).visit(drawing.surroundings(), [&](const Polygon &polygon) {
        drawing.add(polygon);
    });
    file.write(drawing.paint(type));
    file.commit();
    fprintf(stderr, "lindra: %s: %d x %d pixels, coastlines in %s resolution\n", options.output.c_str(),
            drawing.width(), drawing.height(), resolution_name(resolution));
}

} // namespace

void lindra::tools::add_draw(CLI::App &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add_subcommand("draw", "Draw a map of the coastlines as PNG, SVG or PDF");
    command->add_option("-o,--output", options->output, "out");
    command->add_option("-w,--window", options->window, "");
    command->add_option("-r,--resolution", options->resolution, "");
    command->add_option("-l,--layers", options->layers, "");
    command->add_option("-p,--projection", options->projection, "");
    command->add_option("-c,--center,--centre", options->centre, "");
    command->add_option("-s,--size", options->size, "");
    command->add_option("-S,--style", options->style, "");
    command->add_option("-t,--title", options->title, "");
    command->callback([options] { draw_map(*options); });
}
