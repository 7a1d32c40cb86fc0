// SPDX-License-Identifier: MIT
//
// `lindra fetch`: shapes found by an index, as the library prints them, as GeoJSON or on a map.

#include "subcommands.hpp"

#include "common/counted.hpp"
#include "common/errors.hpp"
#include "common/feature_output.hpp"
#include "common/shown.hpp"
#include "common/standard_error.hpp"
#include "common/standard_output.hpp"
#include "dump/json.hpp"
#include "map/picture.hpp"
#include "shapes/index_file.hpp"
#include "shapes/index_reader.hpp"
#include "shapes/shape_selection.hpp"
#include "shapes/shape_window.hpp"
#include "shapes/shapes_on_earth.hpp"

#include "lindra/lindra.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <strings.h>
#include <vector>

namespace lindra::tools {

namespace {

constexpr const char *description = "Fetch shapes from shapefiles by a database that lindra index has made.";

constexpr const char *footer =
    R"(Without a window, an expression or numbers it is all shapes. Coordinates and
windows are in the unit of the shapefiles, whatever that is. A shape meets a
window when their boxes do, on their edges too; shapes without a box (null
shapes) meet none.

The expression of --where is one of SQLite, with the attributes as columns, and
behind them filename, shapeid, recno, shape_type, xmin, ymin, xmax and ymax. A
shape without an attribute has NULL there, dates are texts YYYY-MM-DD, logical
values 1 and 0. It can read and compute, and nothing else.

  text        each record as lindra dump prints it, numbered by its shapeid,
              with its file and its attributes; to standard output only
  geojson     one FeatureCollection (RFC 7946): id is the shapeid, properties
              are the attributes, and beside them stand file and record, its
              number there; coordinates are those of the file
  geojsonseq  the same features as a text sequence (RFC 8142), one line each

With -o and a name in .png, .svg or .pdf the shapes are drawn on a map, of the
window when it is in degrees or of all that is found. Coordinates go through
PROJ where a .prj file tells what they are.

Records that break the format are refused as text, and read as far as they make
sense otherwise; either is told on standard error.

Exit status: 0; 1 when a shape could not be fetched or is not there; 2 for
wrong arguments.

Examples:
  lindra fetch shapes.db --window 5/15/45/50
  lindra fetch shapes.db --where "POP > 1000 AND NAME LIKE 'A%'" \
               --format geojson -o towns.json
  lindra fetch shapes.db --where "shape_type = 3" --window -15/40/34/72 \
               -o lines.png
  lindra fetch shapes.db --id 17)";

enum class Format { text, geojson, geojsonseq, picture };

struct Options {
    std::string index;
    std::string window;
    std::string where;
    std::vector<int64_t> ids;
    std::string format;
    std::string output;
    PictureOptions picture;
    std::string map_option; // one that only a map has, where it is given
};

bool is_picture(const std::string &path) {
    const std::string ending = std::filesystem::path(path).extension().string();
    return std::ranges::any_of(std::array{".png", ".svg", ".pdf"},
                               [&](const char *each) { return strcasecmp(ending.c_str(), each) == 0; });
}

Format parse_format(const Options &options) {
    if (is_picture(options.output) && !options.format.empty())
        throw UsageError(options.output +
                         " is the name of a picture; leave out --format, or name another file");
    if (options.format == "geojson") return Format::geojson;
    if (options.format == "geojsonseq") return Format::geojsonseq;
    if (!options.format.empty() && options.format != "text")
        throw UsageError("there is no format '" + options.format +
                         "'; the formats are text, geojson and geojsonseq");
    if (is_picture(options.output)) return Format::picture;
    if (!options.output.empty())
        throw UsageError(
            "the format text goes to standard output; leave out -o, or ask for --format geojson");
    return Format::text;
}

// Written over the database, the shapes would take the place of what finds them.
void require_other_output(const Options &options) {
    std::error_code ignored;
    if (!options.output.empty() && std::filesystem::equivalent(options.output, options.index, ignored))
        throw UsageError(options.output + " is the database itself; name another file for the output");
}

std::vector<int64_t> chosen_shapes(const Options &options, const std::filesystem::path &index) {
    if (!options.ids.empty()) return options.ids;
    ShapeRequest request;
    if (!options.window.empty()) request.windows = parse_shape_window(options.window);
    request.where = options.where;
    return select_shapes(index, request);
}

// What goes wrong with shapes, the first time of each file told at once; and the first shape of each file
// that is lost, whatever was told of the file before.
class FetchReport {
  public:
    // by_number: it is the user who has told which shapes there are, and not the index.
    FetchReport(std::string index, bool by_number) : index_(std::move(index)), by_number_(by_number) {}

    void not_there(int64_t shapeid) {
        if (!by_number_) return broken(shapeid, "is told of and is not there");
        tell("there is no shape " + std::to_string(shapeid));
        lost_++;
    }

    // Of the index itself.
    void broken(int64_t shapeid, const std::string &what) {
        tell(index_ + ": shape " + std::to_string(shapeid) + " " + what +
             "; delete the file and make it anew with lindra index");
        lost_++;
    }

    void lost(const IndexedFile &file, const IndexedShape &shape, const std::string &why) {
        lost_++;
        if (lost_of_.insert(file.path).second)
            tell(file.path + ": shape " + std::to_string(shape.shapeid) + ": " +
                 (file.missing.empty() ? why : file.missing));
    }

    void mended(const IndexedFile &file, int64_t shapeid, const std::string &why) {
        first(file, "shape " + std::to_string(shapeid) +
                        " breaks the format, and is read as far as it makes sense: " + why);
    }

    // Of the shape that was looked at last.
    void mended(const repair &told) {
        mended(*file_, shapeid_, "byte " + std::to_string(told.offset) + ": " + told.text);
    }

    void look_at(const IndexedFile &file, const IndexedShape &shape) {
        file_ = &file;
        shapeid_ = shape.shapeid;
        if (file.has_changed) first(file, "has changed since it was indexed; run lindra index again");
    }

    void finish(size_t wanted) const {
        if (lost_ > 0)
            throw DataError(std::to_string(lost_) + " of " + counted(wanted, "shape") +
                            " could not be fetched");
    }

  private:
    void first(const IndexedFile &file, const std::string &what) {
        if (told_.insert(file.path).second) tell(file.path + ": " + what);
    }

    std::string index_;
    bool by_number_;
    const IndexedFile *file_ = nullptr;
    int64_t shapeid_ = 0;
    std::set<std::string> told_, lost_of_; // paths
    size_t lost_ = 0;
};

// Nothing where the index has none of that number, or a broken one; which is told.
std::optional<IndexedShape> found(IndexReader &reader, int64_t shapeid, FetchReport &report) {
    std::optional<IndexedShape> shape = reader.find(shapeid);
    if (!shape) {
        report.not_there(shapeid);
    } else if (shape->broken) {
        report.broken(shapeid, std::string("has ") + shape->broken);
        shape.reset();
    }
    return shape;
}

// --- As text ---

void print(const IndexedShape &shape, const IndexedFile &file, FetchedRecord &record) {
    const bool has_number = shape.shapeid <= INT_MAX;
    const char *indentation = has_number ? "  " : "";
    esri_print_shapefile_record("", record.get(), has_number ? static_cast<int>(shape.shapeid) : -1);
    printf("%sfilename=%s\n", indentation, shown(file.name).c_str());
    printf("%sattributes=%s\n", indentation, shape.attributes.c_str());
}

void print(IndexReader &reader, int64_t shapeid, FetchReport &report) {
    const std::optional<IndexedShape> shape = found(reader, shapeid, report);
    if (!shape) return;
    const IndexedFile &file = reader.file_of(*shape);
    report.look_at(file, *shape);
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

// --- In place ---

// The library's fetch judges the record; what it shows is read where it stands.
std::optional<shape_record> viewed(IndexReader &reader, const IndexedShape &shape, FetchReport &report) {
    const IndexedFile &file = reader.file_of(shape);
    report.look_at(file, shape);
    FetchedRecord record;
    const std::string complaint = reader.fetch(shape.shapeid, record);
    try {
        const shape_record found = reader.view(shape);
        if (!complaint.empty())
            report.mended(file, shape.shapeid, "byte " + std::to_string(shape.offset) + ": " + complaint);
        return found;
    } catch (const DataError &reason) {
        report.lost(file, shape, reason.what());
        return std::nullopt;
    }
}

// Calls visit with each shape that is there, its file and its record.
template <class Visit>
void visit_shapes(IndexReader &reader, std::span<const int64_t> shapes, FetchReport &report, Visit visit) {
    for (const int64_t shapeid : shapes) {
        const std::optional<IndexedShape> shape = found(reader, shapeid, report);
        if (!shape) continue;
        if (const std::optional<shape_record> record = viewed(reader, *shape, report))
            visit(*shape, reader.file_of(*shape), *record);
    }
}

// --- As GeoJSON ---

std::string feature(const IndexedShape &shape, const IndexedFile &file, const shape_record &record) {
    return R"({"type":"Feature","id":)" + std::to_string(shape.shapeid) + R"(,"geometry":)" +
           geojson_geometry(record) + R"(,"properties":)" + shape.attributes + R"(,"file":)" +
           json_text(file.name, -1) + R"(,"record":)" + std::to_string(shape.recno) + "}";
}

void write_features(IndexReader &reader, std::span<const int64_t> shapes, FeatureOutput &output,
                    FetchReport &report) {
    visit_shapes(reader, shapes, report,
                 [&](const IndexedShape &shape, const IndexedFile &file, const shape_record &record) {
                     output.write(feature(shape, file, record));
                 });
    output.finish();
}

// --- On a map ---

// The window of the request where it can be one of the map.
std::string window_of_map(const Options &options) {
    if (options.window.empty()) return {};
    const ShapeWindow window = parse_shape_window(options.window).front();
    const bool is_area = window.west < window.east && window.south < window.north;
    return is_area && is_in_degrees(window) ? options.window : "";
}

// The coordinate systems of the files, each asked for once, also where there is none to be had.
class CoordinateSystems {
  public:
    // Throws DataError.
    const CoordinateSystem &of(int64_t fileid, const std::string &path) {
        const auto [found, is_new] = known_.try_emplace(fileid);
        if (is_new) make(path, found->second);
        if (!found->second.system) throw DataError(found->second.failure);
        return *found->second.system;
    }

  private:
    struct Answer {
        std::optional<CoordinateSystem> system;
        std::string failure;
    };

    static void make(const std::string &path, Answer &answer) {
        try {
            answer.system.emplace(path);
        } catch (const DataError &reason) {
            answer.failure = reason.what();
        }
    }

    std::map<int64_t, Answer> known_; // by the file's number
};

// Where every shape is lost, there is nothing to be drawn.
void draw_shapes(IndexReader &reader, std::span<const int64_t> shapes, const Options &options,
                 FetchReport &report) {
    CoordinateSystems systems;
    std::vector<MapShape> drawn;
    const auto draw = [&](const IndexedShape &shape, const IndexedFile &file, const shape_record &record) {
        try {
            if (std::optional<MapShape> on_earth = systems.of(shape.fileid, file.path).on_earth(record))
                drawn.push_back(*std::move(on_earth));
        } catch (const DataError &reason) {
            report.lost(file, shape, reason.what());
        }
    };
    visit_shapes(reader, shapes, report, draw);
    if (drawn.empty()) report.finish(shapes.size());
    PictureOptions picture = options.picture;
    picture.output = options.output;
    picture.window = window_of_map(options);
    draw_picture(picture, drawn);
}

void fetch(const Options &options) {
    const Format format = parse_format(options);
    if (format != Format::picture && !options.map_option.empty())
        throw UsageError(options.map_option + " is for a map; name one with -o, such as map.png");
    require_other_output(options);
    const std::filesystem::path index = whole_path(options.index);
    const std::vector<int64_t> shapes = chosen_shapes(options, index);
    FetchReport report(options.index, !options.ids.empty());
    IndexReader reader(index, [&](const repair &told) { report.mended(told); });
    if (format == Format::text) {
        print_shapes(reader, shapes, report);
    } else if (format == Format::picture) {
        draw_shapes(reader, shapes, options, report);
    } else {
        const bool is_sequence = format == Format::geojsonseq;
        FeatureOutput output(is_sequence ? FeatureOutput::Form::sequence : FeatureOutput::Form::collection,
                             options.output);
        write_features(reader, shapes, output, report);
    }
    report.finish(shapes.size());
}

// What conversion would take for 0 or the largest number is none. Returns what is wrong.
std::string shape_number(const std::string &text) {
    int64_t number;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? "" : "'" + text + "' is not the number of a shape";
}

// What of lindra draw's options suits a map of shapes.
std::vector<Option> add_picture_options(const Subcommand &command, PictureOptions &picture) {
    return {
        command.add("--projection", picture.projection, "NAME", "Of the map; see lindra draw --help"),
        command.add("--layers", picture.layers, "LAYER,...", "Below the shapes; see lindra draw --help"),
        command.add("--size", picture.size, "WxH", "Of the map, pixels"),
        command.add("--style", picture.style, "NAME,KEY=VALUE,...", "Of the map; see lindra draw --help")};
}

} // namespace

void add_fetch(CommandLine &program) {
    const auto options = std::make_shared<Options>();
    const Subcommand command = program.add("fetch", description);
    command.add("INDEX", options->index, "", "The database").required();
    const Option window = command.add("--window", options->window, "W/E/S/N",
                                      "Shapes whose boxes meet it; in degrees, east below\n"
                                      "west crosses the antimeridian");
    const Option where =
        command.add("--where", options->where, "SQL", "Shapes whose attributes make this expression true");
    command.add("--id", options->ids, "N,...", "The shapes of these numbers")
        .check(shape_number)
        .excludes(window)
        .excludes(where);
    command.add("--format", options->format, "text|geojson|geojsonseq", "How to write them (default: text)");
    command.add("-o,--output", options->output, "FILE",
                "Write to FILE, which appears when it is complete;\n"
                "a map when it ends in .png, .svg or .pdf");
    const std::vector<Option> of_map = add_picture_options(command, options->picture);
    command.footer(footer);
    command.action([options, of_map] {
        for (const Option &option : of_map)
            if (option.is_given()) options->map_option = option.name();
        fetch(*options);
    });
}

} // namespace lindra::tools
