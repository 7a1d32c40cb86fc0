// SPDX-License-Identifier: MIT
//
// `lindra segments`: the coastline's polygons, borders and rivers, clipped at a window, as text for other
// programs.

#include "subcommands.hpp"

#include "common/data_output.hpp"
#include "common/errors.hpp"
#include "map/coast.hpp"
#include "map/export.hpp"
#include "map/map_lines.hpp"
#include "map/options.hpp"
#include "map/resolution.hpp"

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lindra::tools {

namespace {

constexpr double km_per_degree = 111.195; // of a great circle, on a sphere of 6371 km
constexpr double assumed_pixels = 1000;   // the width of the map that "auto" has in mind

constexpr const char *notes =
    R"(Every polygon is written as an area: a lake is a polygon of its own, not a hole
in the land. What lies in the window is cut at its borders into rings that run
counter-clockwise and end in their first point. Borders and rivers are lines.
The files cut them into short pieces, which are joined where two of the same
level meet; where three meet, and at the antimeridian, lines end.

  text        a line "> id=7 level=1 kind=land points=5" for each ring,
              "> kind=border level=1 points=5" for each line, then a line
              "LON LAT" for each point; longitudes are those of the window
  geojson     one FeatureCollection (RFC 7946): a feature for each polygon with
              the properties id, level and kind (land, lake, island, pond), and
              one for each line with level and kind (border, river); longitudes
              from -180 to 180, cut at the antimeridian
  geojsonseq  the same features as a text sequence (RFC 8142), one line each

Exit status: 0; 1 when data is missing, damaged or cannot be written; 2 for
wrong arguments.
)";

constexpr const char *examples =
    R"(Examples:
  lindra segments > world.txt
      the world, at the resolution that suits a map 1000 pixels wide
  lindra segments --window 5/15/45/50 --resolution f --layers lakes \
                  --format geojson -o lakes.geojson
      the lakes round the Alps at full resolution
  lindra segments --window -15/40/34/72 --layers borders:national,rivers:1-2 \
                  --format geojson > europe.geojson
      borders and large rivers of Europe
  lindra segments --window 170/-170/-30/-10 --layers land
      Fiji, in one window across the antimeridian, longitudes from 170 to 190
  lindra segments --format geojsonseq | tr -d '\036' | jq .properties.id
      the ids of all polygons)";

enum class Format { text, geojson, geojsonseq };

struct Options {
    std::string window = "-180/180/-90/90";
    std::string resolution = "auto";
    std::string layers = "land,lakes,islands,ponds";
    std::string format = "text";
    std::string output;
};

Format parse_format(const std::string &name) {
    if (name == "text") return Format::text;
    if (name == "geojson") return Format::geojson;
    if (name == "geojsonseq") return Format::geojsonseq;
    throw UsageError("there is no format '" + name + "'; the formats are text, geojson and geojsonseq");
}

Layers parse_segment_layers(const std::string &text) {
    const Layers layers = parse_layers(text);
    if (layers.coast)
        throw UsageError(
            "the layer coast is drawn only; segments has the areas land, lakes, islands and ponds and the "
            "lines borders and rivers");
    return layers;
}

double km_per_pixel(const Window &window) {
    const double middle = (window.south + window.north) / 2;
    const double width = (window.east - window.west) * std::cos(middle * radians);
    return width * km_per_degree / assumed_pixels;
}

// One way of writing features one after the other.
class SegmentWriter {
  public:
    SegmentWriter(Format format, const std::string &path) : format_(format), output_(path) {
        if (format_ == Format::geojson) output_.write("{\"type\":\"FeatureCollection\",\"features\":[");
    }

    // A polygon or a line.
    template <class Shape>
    void write(const Shape &shape, const Window &window) {
        if (format_ == Format::text)
            output_.write(to_text(shape, window));
        else if (const std::string feature = to_feature(shape, window); !feature.empty())
            write_feature(feature);
    }

    void finish() {
        if (format_ == Format::geojson) output_.write("\n]}\n");
        output_.finish();
    }

  private:
    void write_feature(const std::string &feature) {
        if (format_ == Format::geojsonseq) {
            output_.write("\x1e" + feature + "\n");
            return;
        }
        output_.write(first_ ? "\n" : ",\n");
        output_.write(feature);
        first_ = false;
    }

    Format format_;
    DataOutput output_;
    bool first_ = true;
};

void write_segments(const Options &options) {
    const Window window = parse_window(options.window);
    const Layers layers = parse_segment_layers(options.layers);
    const Format format = parse_format(options.format);
    const char resolution = choose_resolution(options.resolution, km_per_pixel(window), layers.files());

    // All files are opened before anything is written.
    std::optional<Coastline> coastline;
    if (layers.has_areas()) coastline.emplace(resolution);
    const std::vector<MapLine> lines = read_lines(resolution, layers, window);

    SegmentWriter writer(format, options.output);
    if (coastline)
        coastline->visit(window, [&](const Polygon &polygon) {
            if (layers.has_level(polygon.level)) writer.write(polygon, window);
        });
    for (const MapLine &line : lines)
        writer.write(line, window);
    writer.finish();
}

} // namespace

void add_segments(CommandLine &program) {
    const auto options = std::make_shared<Options>();
    const Subcommand command =
        program.add("segments", "Export coastlines, borders and rivers as text or GeoJSON.");
    command.add("--window", options->window, "W/E/S/N",
                "Degrees; east below west crosses the antimeridian:\n170/-170/-50/-10");
    command.add(
        "--resolution", options->resolution, "c|l|i|h|f|auto",
        "c(rude), l(ow), i(ntermediate), h(igh), f(ull), or\nauto: what suits a map 1000 pixels wide");
    command.add(
        "--layers", options->layers, "LAYER,...",
        "Any of land, lakes, islands (in lakes), ponds (on\nthose), borders[:LEVELS], rivers[:LEVELS]");
    command.add("--format", options->format, "text|geojson|geojsonseq", "How to write them");
    command.add("-o,--output", options->output, "FILE", "Write to FILE, which appears when it is complete");
    command.footer(std::string(notes) + "\n" + levels_help() + "\n" + examples);
    command.action([options] { write_segments(*options); });
}

} // namespace lindra::tools
