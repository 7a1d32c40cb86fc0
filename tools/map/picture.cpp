// SPDX-License-Identifier: MIT

#include "map/picture.hpp"

#include "common/errors.hpp"
#include "common/output_file.hpp"
#include "common/standard_error.hpp"
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

namespace lindra::tools {

namespace {

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
    tell("the " + std::string(kind.name) + " projection does not reach so far: the map shows latitudes " +
         degrees_text(shown.south) + " to " + degrees_text(shown.north));
}

std::unique_ptr<Chart> chart_for(const PictureOptions &options, const std::vector<MapShape> &shapes) {
    const ProjectionKind &kind = find_projection(options.projection);
    const std::optional<Point> centre = parse_centre(options.centre);
    const std::optional<Window> extent = window_round(shapes);
    const Window window = !options.window.empty() ? parse_window(options.window)
                          : extent                ? *extent
                                                  : default_window(kind, centre);
    std::unique_ptr<Chart> chart = make_chart(kind, window, centre);
    report_cut(kind, window, chart->window());
    return chart;
}

MapRequest request_for(const PictureOptions &options) {
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

} // namespace

void draw_picture(const PictureOptions &options, const std::vector<MapShape> &shapes) {
    const FileType type = file_type_of(options.output);
    const MapRequest request = request_for(options);
    Drawing drawing(chart_for(options, shapes), request);
    const char resolution =
        choose_resolution(options.resolution, drawing.km_per_pixel(), request.layers.files());
    OutputFile file(options.output);
    add_layers(drawing, request.layers, resolution);
    for (const MapShape &shape : shapes)
        drawing.add(shape);
    file.write(drawing.paint(type));
    file.commit();
    tell(options.output + ": " + std::to_string(drawing.width()) + " x " + std::to_string(drawing.height()) +
         " pixels, " + resolution_name(resolution) + " resolution");
}

} // namespace lindra::tools
