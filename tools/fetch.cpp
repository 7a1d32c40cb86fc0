// SPDX-License-Identifier: MIT
//
// `lindra fetch`: shapes found by an index, as the library prints them or as GeoJSON.

#include "subcommands.hpp"

#include "common/errors.hpp"
#include "common/feature_output.hpp"
#include "common/shown.hpp"
#include "common/standard_output.hpp"
#include "dump/json.hpp"
#include "shapes/index_file.hpp"
#include "shapes/index_reader.hpp"
#include "shapes/shape_selection.hpp"
#include "shapes/shape_window.hpp"

#include "lindra/lindra.hpp"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lindra::tools {

namespace {

constexpr const char *description = "Fetch shapes from shapefiles by a database that lindra index has made.";

constexpr const char *footer =
    R"(Without a window, an expression or numbers it is all shapes. Coordinates and windows are in the unit of the
shapefiles, whatever that is. A shape meets a window when their boxes do, on their edges too; shapes without
a box (null shapes) meet none.

The expression of --where is one of SQLite, with the attributes as columns, and behind them filename, shapeid,
recno, shape_type, xmin, ymin, xmax and ymax. A shape without an attribute has NULL there, dates are texts
YYYY-MM-DD, logical values 1 and 0. It can read and compute, and nothing else.

  text        each record as lindra dump prints it, numbered by its shapeid, with its file and its attributes
  geojson     one FeatureCollection (RFC 7946): id is the shapeid, properties are the attributes, and beside
              them stand file and record, its number there; coordinates are those of the file
  geojsonseq  the same features as a text sequence (RFC 8142), one line each

Records that break the format are refused as text, and read as far as they make sense otherwise; either is
told on standard error.
Exit status: 0; 1 when a shape could not be fetched or is not there; 2 for wrong arguments.

Examples:
  lindra fetch shapes.db --window 5/15/45/50
  lindra fetch shapes.db --where "POP > 1000 AND NAME LIKE 'A%'" --format geojson -o towns.json
  lindra fetch shapes.db --id 17)";

enum class Format { text, geojson, geojsonseq };

struct Options {
    std::string index;
    std::string window;
    std::string where;
    std::vector<int64_t> ids;
    std::string format;
    std::string output;
};

Format parse_format(const Options &options) {
    if (options.format == "geojson") return Format::geojson;
    if (options.format == "geojsonseq") return Format::geojsonseq;
    if (!options.format.empty() && options.format != "text")
        throw UsageError("there is no format '" + options.format +
                         "'; the formats are text, geojson and geojsonseq");
    if (!options.output.empty())
        throw UsageError(
            "the format text goes to standard output; leave out -o, or ask for --format geojson");
    return Format::text;
}

std::vector<int64_t> chosen_shapes(const Options &options, const std::filesystem::path &index) {
    if (!options.ids.empty()) return options.ids;
    ShapeRequest request;
    if (!options.window.empty()) request.windows = parse_shape_window(options.window);
    request.where = options.where;
    return select_shapes(index, request);
}

// What goes wrong with shapes, the first time of each file told at once.
class FetchReport {
  public:
    void not_there(int64_t shapeid) {
        say("there is no shape " + std::to_string(shapeid));
        lost_++;
    }

    void lost(const IndexedFile &file, const IndexedShape &shape, const std::string &why) {
        lost_++;
        first(file,
              "shape " + std::to_string(shape.shapeid) + ": " + (file.is_there ? why : "the file is gone"));
    }

    void mended(const IndexedFile &file, const IndexedShape &shape, const std::string &why) {
        first(file, "shape " + std::to_string(shape.shapeid) +
                        " breaks the format, and is read as far as it makes sense: " + why);
    }

    void look_at(const IndexedFile &file) {
        if (file.has_changed) first(file, "has changed since it was indexed; run lindra index again");
    }

    void finish(size_t wanted) const {
        if (lost_ > 0)
            throw DataError(std::to_string(lost_) + " of " + std::to_string(wanted) +
                            (wanted == 1 ? " shape" : " shapes") + " could not be fetched");
    }

  private:
    static void say(const std::string &line) { fprintf(stderr, "lindra: %s\n", shown(line).c_str()); }

    void first(const IndexedFile &file, const std::string &what) {
        if (told_[file.path]++ == 0) say(file.path + ": " + what);
    }

    std::map<std::string, size_t> told_;
    size_t lost_ = 0;
};

// --- As text
// ------------------------------------------------------------------------------------------------

void print(const IndexedShape &shape, const IndexedFile &file, FetchedRecord &record) {
    const bool has_number = shape.shapeid <= INT_MAX;
    const char *indentation = has_number ? "  " : "";
    esri_print_shapefile_record("", record.get(), has_number ? static_cast<int>(shape.shapeid) : -1);
    printf("%sfilename=%s\n", indentation, shown(file.name).c_str());
    printf("%sattributes=%s\n", indentation, shape.attributes.c_str());
}

void print(IndexReader &reader, int64_t shapeid, FetchReport &report) {
    const std::optional<IndexedShape> shape = reader.find(shapeid);
    if (!shape) return report.not_there(shapeid);
    const IndexedFile &file = reader.file_of(*shape);
    report.look_at(file);
    FetchedRecord record;
    if (const std::string complaint = reader.fetch(shapeid, record); !complaint.empty())
        return report.lost(file, *shape, "byte " + std::to_string(shape->offset) + ": " + complaint);
    print(*shape, file, record);
}

// In blocks, so that a reader that has gone is seen soon.
void print_shapes(IndexReader &reader, std::span<const int64_t> shapes, FetchReport &report) {
    constexpr size_t block = 256;
    for (; !shapes.empty(); shapes = shapes.subspan(std::min(block, shapes.size())))
        print_to_standard_output([&] {
            for (const int64_t shapeid : shapes.first(std::min(block, shapes.size())))
                print(reader, shapeid, report);
        });
}

// --- In place
// -----------------------------------------------------------------------------------------------

// The library's fetch judges the record; what it shows is read where it stands.
std::optional<shape_record> viewed(IndexReader &reader, const IndexedShape &shape, FetchReport &report) {
    const IndexedFile &file = reader.file_of(shape);
    report.look_at(file);
    FetchedRecord record;
    const std::string complaint = reader.fetch(shape.shapeid, record);
    try {
        const shape_record found = reader.view(shape);
        if (!complaint.empty())
            report.mended(file, shape, "byte " + std::to_string(shape.offset) + ": " + complaint);
        return found;
    } catch (const DataError &reason) {
        report.lost(file, shape, reason.what());
        return std::nullopt;
    }
}

std::string feature(const IndexedShape &shape, const IndexedFile &file, const shape_record &record) {
    return R"({"type":"Feature","id":)" + std::to_string(shape.shapeid) + R"(,"geometry":)" +
           geojson_geometry(record) + R"(,"properties":)" + shape.attributes + R"(,"file":)" +
           json_text(file.name, -1) + R"(,"record":)" + std::to_string(shape.recno) + "}";
}

void write_features(IndexReader &reader, std::span<const int64_t> shapes, FeatureOutput &output,
                    FetchReport &report) {
    for (const int64_t shapeid : shapes) {
        const std::optional<IndexedShape> shape = reader.find(shapeid);
        if (!shape)
            report.not_there(shapeid);
        else if (const std::optional<shape_record> record = viewed(reader, *shape, report))
            output.write(feature(*shape, reader.file_of(*shape), *record));
    }
    output.finish();
}

void fetch(const Options &options) {
    const Format format = parse_format(options);
    const std::filesystem::path index = whole_path(options.index);
    const std::vector<int64_t> shapes = chosen_shapes(options, index);
    IndexReader reader(index);
    FetchReport report;
    if (format == Format::text) {
        print_shapes(reader, shapes, report);
    } else {
        const bool is_sequence = format == Format::geojsonseq;
        FeatureOutput output(is_sequence ? FeatureOutput::Form::sequence : FeatureOutput::Form::collection,
                             options.output);
        write_features(reader, shapes, output, report);
    }
    report.finish(shapes.size());
}

} // namespace

void add_fetch(CLI::App &program) {
    CLI::App *command = program.add_subcommand("fetch", description);
    const auto options = std::make_shared<Options>();
    command->add_option("INDEX", options->index, "The database")->required();
    CLI::Option *window = command->add_option(
        "--window", options->window,
        "Shapes whose boxes meet it; in degrees, east below west crosses the antimeridian");
    window->type_name("W/E/S/N");
    CLI::Option *where =
        command->add_option("--where", options->where, "Shapes whose attributes make this expression true");
    where->type_name("SQL");
    command->add_option("--id", options->ids, "The shapes of these numbers")
        ->delimiter(',')
        ->type_name("N,...")
        ->excludes(window)
        ->excludes(where);
    command->add_option("--format", options->format, "How to write them (default: text)")
        ->type_name("text|geojson|geojsonseq");
    command->add_option("-o,--output", options->output, "Write to FILE, which appears when it is complete")
        ->type_name("FILE");
    command->footer(footer);
    command->callback([options] { fetch(*options); });
}

} // namespace lindra::tools
