// SPDX-License-Identifier: MIT

#include "map/export.hpp"

#include "command.hpp"
#include "plain_geometry.hpp"
#include "plain_gshhs.hpp"
#include "temporary_directory.hpp"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

namespace {

using namespace lindra::test;
using lindra::tools::LineKind;
using lindra::tools::MapLine;
using lindra::tools::Polygon;
using lindra::tools::to_feature;
using lindra::tools::to_text;
using nlohmann::json;

// --- One polygon ------------------------------------------------------------------------------------------

const Polygon fiji = {7, 1, {{176.5, -19}, {181.25, -19}, {181.25, -16}, {176.5, -16}}, 0};
constexpr Window world = {-180, 180, -90, 90};

TEST(ToText, has_a_line_for_the_ring_and_one_for_each_point) {
    EXPECT_EQ(to_text(fiji, {170, 190, -50, -10}),
              "> id=7 level=1 kind=land points=5\n176.5 -19\n181.25 -19\n181.25 -16\n176.5 -16\n176.5 -19\n");
}

TEST(ToText, keeps_the_longitudes_of_the_window) {
    EXPECT_EQ(
        to_text(fiji, {-190, -178.75, -50, -17}),
        "> id=7 level=1 kind=land points=5\n-183.5 -17\n-183.5 -19\n-178.75 -19\n-178.75 -17\n-183.5 -17\n");
}

TEST(ToText, is_empty_where_nothing_of_the_polygon_lies) {
    EXPECT_EQ(to_text(fiji, {0, 10, -50, -10}), "");
    EXPECT_EQ(to_feature(fiji, {0, 10, -50, -10}), "");
}

TEST(ToText, writes_six_decimals_at_most_and_no_zeros_behind_them) {
    const Polygon polygon = {1, 2, {{-0.1234564, 1e-9}, {1.5, -0.00000051}, {1.0000004, 2.1}}, 0};
    EXPECT_EQ(to_text(polygon, world),
              "> id=1 level=2 kind=lake points=4\n-0.123456 0\n1.5 -0.000001\n1 2.1\n-0.123456 0\n");
}

TEST(ToText, leaves_out_what_has_no_area_when_rounded) {
    EXPECT_EQ(to_text({1, 1, {{1, 1}, {1 + 1e-7, 1}, {1, 1 + 1e-7}}, 0}, world), "");
    EXPECT_EQ(to_text({1, 1, {{1, 1}, {2, 2}, {3, 3}}, 0}, world), "");
}

TEST(ToText, repeats_no_point) {
    const Polygon polygon = {1, 1, {{1, 1}, {2, 1}, {2 + 1e-8, 1}, {2, 3}, {1, 1 + 1e-8}}, 0};
    EXPECT_EQ(to_text(polygon, world), "> id=1 level=1 kind=land points=4\n1 1\n2 1\n2 3\n1 1\n");
}

TEST(ToFeature, polygon_in_one_piece_is_a_polygon) {
    EXPECT_EQ(to_feature({3, 4, {{1, 1}, {1, 2}, {2, 1}}, 0}, world),
              R"({"type":"Feature","properties":{"id":3,"level":4,"kind":"pond"},"geometry":)"
              R"({"type":"Polygon","coordinates":[[[2,1],[1,2],[1,1],[2,1]]]}})");
}

TEST(ToFeature, polygon_on_the_antimeridian_is_cut_there) {
    for (const Window &window :
         {world, Window{0, 360, -90, 90}, {170, 190, -90, 90}, {-190, -170, -90, 90}}) {
        const json feature = json::parse(to_feature(fiji, window));
        EXPECT_EQ(feature["geometry"]["type"], "MultiPolygon");
        std::set<json> polygons(feature["geometry"]["coordinates"].begin(),
                                feature["geometry"]["coordinates"].end());
        ASSERT_EQ(polygons.size(), 2u);
        std::set<double> longitudes;
        for (const json &polygon : polygons)
            for (const json &position : polygon[0])
                longitudes.insert(position[0].get<double>());
        EXPECT_EQ(longitudes, (std::set<double>{-180, -178.75, 176.5, 180}));
    }
}

TEST(ToFeature, the_whole_globe_is_cut_nowhere_else) {
    const Polygon britain = {1, 1, {{-6, 50}, {2, 50}, {2, 58}, {-6, 58}}, 0};
    EXPECT_EQ(json::parse(to_feature(britain, {0, 360, -90, 90}))["geometry"]["type"], "Polygon");
}

TEST(ToFeature, antarctica_is_one_polygon) {
    const Polygon cap = {1, 1, {{0, -60}, {120, -70}, {240, -65}, {360, -60}}, -1};
    const json feature = json::parse(to_feature(cap, {0, 360, -90, 90}));
    EXPECT_EQ(feature["geometry"]["type"], "Polygon");
}

// --- One line ---------------------------------------------------------------------------------------------

const MapLine strait = {LineKind::border, 3, {{176.5, -19}, {180, -18}, {181.25, -16}}};

TEST(LineToText, has_a_line_for_each_piece_and_one_for_each_point) {
    EXPECT_EQ(to_text(strait, {170, 190, -50, -10}),
              "> kind=border level=3 points=3\n176.5 -19\n180 -18\n181.25 -16\n");
    EXPECT_EQ(to_text({LineKind::river, 4, {{1, 2}, {3, 4}}}, world),
              "> kind=river level=4 points=2\n1 2\n3 4\n");
}

TEST(LineToText, is_clipped_at_the_window_in_its_longitudes) {
    EXPECT_EQ(to_text(strait, {-190, -180, -18.5, -10}),
              "> kind=border level=3 points=2\n-181.75 -18.5\n-180 -18\n");
    EXPECT_EQ(to_text({LineKind::river, 1, {{-2, 1}, {0, -1}, {2, 1}}}, {-10, 10, 0, 10}),
              "> kind=river level=1 points=2\n-2 1\n-1 0\n> kind=river level=1 points=2\n1 0\n2 1\n");
}

TEST(LineToText, is_empty_where_no_length_is_left) {
    EXPECT_EQ(to_text(strait, {0, 10, -50, -10}), "");
    EXPECT_EQ(to_feature(strait, {0, 10, -50, -10}), "");
    const MapLine tiny = {LineKind::river, 1, {{1, 1}, {1 + 1e-8, 1}, {1, 1 + 1e-8}}};
    EXPECT_EQ(to_text(tiny, world), "");
    EXPECT_EQ(to_feature(tiny, world), "");
    const MapLine touching = {LineKind::river, 1, {{9, 1}, {10, 2}, {9, 3}}};
    EXPECT_EQ(to_text(touching, {10, 20, -10, 10}), "") << "a single point of it lies in the window";
}

TEST(LineToFeature, in_one_piece_is_a_line_string) {
    EXPECT_EQ(to_feature({LineKind::river, 7, {{1, 2}, {3, 4.5}}}, {0, 360, -90, 90}),
              R"({"type":"Feature","properties":{"level":7,"kind":"river"},"geometry":)"
              R"({"type":"LineString","coordinates":[[1,2],[3,4.5]]}})");
}

TEST(LineToFeature, on_the_antimeridian_is_cut_there) {
    EXPECT_EQ(to_feature(strait, {170, 190, -50, -10}),
              R"({"type":"Feature","properties":{"level":3,"kind":"border"},"geometry":)"
              R"({"type":"MultiLineString","coordinates":)"
              R"([[[176.5,-19],[180,-18]],[[-180,-18],[-178.75,-16]]]}})");
}

// --- The command on the file that comes with the source ---------------------------------------------------

struct Segment {
    int id, level;
    std::string kind;
    Ring ring; // with the closing point
};

// Six decimals at most, without zeros behind them.
bool is_tidy(const std::string &number) {
    if (number.empty() || number.find_first_not_of("-.0123456789") != std::string::npos) return false;
    const size_t point = number.find('.');
    return point == std::string::npos ||
           (number.size() - point <= 7 && number.back() != '0' && number.back() != '.');
}

// Throws for text of another form.
Ring read_points(std::istream &lines, int count) {
    Ring ring;
    for (std::string lon, lat; count > 0; count--) {
        if (!(lines >> lon >> lat) || !is_tidy(lon) || !is_tidy(lat))
            throw std::runtime_error("no point: " + lon + " " + lat);
        ring.push_back({std::stod(lon), std::stod(lat)});
    }
    lines.ignore(1); // the line end
    return ring;
}

std::vector<Segment> parse_text(const std::string &text) {
    std::vector<Segment> segments;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        int id, level, points;
        char kind[16];
        if (sscanf(line.c_str(), "> id=%d level=%d kind=%15s points=%d", &id, &level, kind, &points) != 4)
            throw std::runtime_error("no header: " + line);
        segments.push_back({id, level, kind, read_points(lines, points)});
    }
    return segments;
}

Ring parse_ring(const json &positions) {
    Ring ring;
    for (const json &position : positions)
        ring.push_back({position[0].get<double>(), position[1].get<double>()});
    return ring;
}

std::vector<Segment> parse_feature(const json &feature) {
    EXPECT_EQ(feature["type"], "Feature");
    const json &geometry = feature["geometry"];
    json polygons = geometry["coordinates"];
    if (geometry["type"] == "Polygon")
        polygons = json::array({polygons});
    else
        EXPECT_EQ(geometry["type"], "MultiPolygon");
    std::vector<Segment> segments;
    for (const json &polygon : polygons) {
        EXPECT_EQ(polygon.size(), 1u) << "a polygon without holes";
        const json &properties = feature["properties"];
        segments.push_back(
            {properties["id"], properties["level"], properties["kind"], parse_ring(polygon[0])});
    }
    return segments;
}

std::vector<Segment> parse_collection(const std::string &text) {
    const json collection = json::parse(text);
    EXPECT_EQ(collection["type"], "FeatureCollection");
    std::vector<Segment> segments;
    for (const json &feature : collection["features"])
        for (const Segment &segment : parse_feature(feature))
            segments.push_back(segment);
    return segments;
}

void expect_sound_ring(const Segment &segment, const Window &window) {
    const Ring &ring = segment.ring;
    ASSERT_GE(ring.size(), 4u);
    ASSERT_EQ(ring.front().lon, ring.back().lon);
    ASSERT_EQ(ring.front().lat, ring.back().lat);
    ASSERT_GT(signed_area(ring), 0) << "counter-clockwise";
    for (const Point &point : ring)
        ASSERT_TRUE(contains(window, point)) << point.lon << " " << point.lat;
    const std::map<int, std::string> kinds = {{1, "land"}, {2, "lake"}, {3, "island"}, {4, "pond"}};
    ASSERT_EQ(segment.kind, kinds.at(segment.level));
}

std::map<int, double> areas_by_id(const std::vector<Segment> &segments) {
    std::map<int, double> areas;
    for (const Segment &segment : segments)
        areas[segment.id] += signed_area(segment.ring);
    return areas;
}

// The file's own polygons clipped plainly.
std::map<int, double> plain_areas(const Window &window) {
    std::map<int, double> areas;
    for (const PlainPolygon &polygon :
         read_polygons(std::string(LINDRA_TEST_DATA) + "/maps/lindra/gshhs_c.b")) {
        if (polygon.level == 5) continue;
        for (int turn = -720; turn <= 720; turn += 360) {
            Ring ring = polygon.area();
            for (Point &point : ring)
                point.lon += turn;
            areas[polygon.id] += std::fabs(signed_area(reentrant_clip(ring, window)));
        }
    }
    return areas;
}

// Within single precision, which moves a shore of 1000 degrees by 1e-5.
void expect_same_areas(std::map<int, double> found, std::map<int, double> expected) {
    for (const auto &[id, area] : expected)
        EXPECT_NEAR(found[id], area, 1e-4 * std::max(1.0, area)) << "polygon " << id;
    for (const auto &[id, area] : found)
        EXPECT_NEAR(area, expected[id], 1e-4 * std::max(1.0, area)) << "polygon " << id;
}

// Commands are run on the crude file of the source tree alone.
class Segments : public testing::Test {
  private:
    Environment data_{"LINDRA_DATA", LINDRA_TEST_DATA};
    Environment home_{"XDG_DATA_HOME", "/nowhere/home"};
    Environment system_{"XDG_DATA_DIRS", "/nowhere/system"};
};

struct Asked {
    const char *option;
    Window window;
};

void PrintTo(const Asked &asked, std::ostream *stream) {
    *stream << asked.option;
}

constexpr Asked asked_windows[] = {
    {"-180/180/-90/90", {-180, 180, -90, 90}}, {"0/360/-90/90", {0, 360, -90, 90}},
    {"-195/-15/-90/90", {-195, -15, -90, 90}}, {"170/190/-80/80", {170, 190, -80, 80}},
    {"170/-170/-80/80", {170, 190, -80, 80}},  {"350/370/30/60", {350, 370, 30, 60}},
    {"-20/40/-90/-60", {-20, 40, -90, -60}},   {"-360/0/0/90", {-360, 0, 0, 90}},
    {"360/720/0/90", {360, 720, 0, 90}}};

class SegmentsOfWindow : public Segments, public testing::WithParamInterface<Asked> {};

TEST_P(SegmentsOfWindow, as_text_are_complete) {
    const auto [option, window] = GetParam();
    const Result result = run_lindra(std::string("segments --resolution c --window ") + option);
    ASSERT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    const std::vector<Segment> segments = parse_text(result.output);
    for (const Segment &segment : segments)
        expect_sound_ring(segment, window);
    expect_same_areas(areas_by_id(segments), plain_areas(window));
}

TEST_P(SegmentsOfWindow, as_geojson_are_complete_and_within_180_degrees) {
    const auto [option, window] = GetParam();
    const Result result =
        run_lindra(std::string("segments --resolution c --format geojson --window ") + option);
    ASSERT_EQ(result.code, 0) << result.errors;
    const std::vector<Segment> segments = parse_collection(result.output);
    for (const Segment &segment : segments)
        expect_sound_ring(segment, {-180, 180, window.south, window.north});
    expect_same_areas(areas_by_id(segments), plain_areas(window));
}

INSTANTIATE_TEST_SUITE_P(Windows, SegmentsOfWindow, testing::ValuesIn(asked_windows));

TEST_F(Segments, of_the_world_are_what_is_written_without_options) {
    EXPECT_EQ(run_lindra("segments").output,
              run_lindra("segments --window -180/180/-90/90 --resolution crude --format text "
                         "--layers land,lakes,islands,ponds")
                  .output);
}

TEST_F(Segments, of_one_layer_have_its_level_only) {
    for (const auto &[layer, level] : {std::pair{"land", 1}, {"lakes", 2}, {"islands", 3}}) {
        const auto segments = parse_text(run_lindra(std::string("segments --layers ") + layer).output);
        EXPECT_FALSE(segments.empty());
        for (const Segment &segment : segments)
            EXPECT_EQ(segment.level, level);
    }
}

TEST_F(Segments, as_text_sequence_are_the_features_of_the_collection) {
    const json collection =
        json::parse(run_lindra("segments --window 170/190/-90/90 --format geojson").output);
    std::istringstream records(run_lindra("segments --window 170/190/-90/90 --format geojsonseq").output);
    size_t count = 0;
    for (std::string record; std::getline(records, record); count++) {
        ASSERT_EQ(record.at(0), '\x1e');
        ASSERT_LT(count, collection["features"].size());
        EXPECT_EQ(json::parse(record.substr(1)), collection["features"][count]);
    }
    EXPECT_EQ(count, collection["features"].size());
    EXPECT_GT(count, 10u);
}

void expect_refusal(const Result &result, int code, const std::string &part) {
    EXPECT_EQ(result.code, code);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors.find(part), std::string::npos) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    EXPECT_EQ(result.errors.rfind("lindra: ", 0), 0u) << result.errors;
}

// By kind and level.
using Lengths = std::map<std::string, double>;

void add_length(Lengths &lengths, const std::string &kind, int level, const Ring &line,
                const Window &window) {
    EXPECT_GE(line.size(), 2u);
    for (size_t i = 0; i < line.size(); i++) {
        EXPECT_TRUE(contains(window, line[i])) << line[i].lon << " " << line[i].lat;
        if (i > 0)
            lengths[kind + std::to_string(level)] +=
                std::hypot(line[i].lon - line[i - 1].lon, line[i].lat - line[i - 1].lat);
    }
}

// Throws for text of another form.
Lengths text_lengths(const std::string &text, const Window &window) {
    Lengths lengths;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        int level, points;
        char kind[16];
        if (sscanf(line.c_str(), "> kind=%15s level=%d points=%d", kind, &level, &points) != 3)
            throw std::runtime_error("no header: " + line);
        add_length(lengths, kind, level, read_points(lines, points), window);
    }
    return lengths;
}

Lengths feature_lengths(const std::string &text, const Window &window) {
    Lengths lengths;
    const json collection = json::parse(text);
    for (const json &feature : collection["features"]) {
        const json &geometry = feature["geometry"];
        json parts = geometry["coordinates"];
        if (geometry["type"] == "LineString")
            parts = json::array({parts});
        else
            EXPECT_EQ(geometry["type"], "MultiLineString");
        for (const json &part : parts)
            add_length(lengths, feature["properties"]["kind"], feature["properties"]["level"],
                       parse_ring(part), window);
    }
    return lengths;
}

TEST_P(SegmentsOfWindow, of_lines_have_their_kinds_and_levels_and_are_as_long_in_every_format) {
    const auto [option, window] = GetParam();
    const std::string command =
        std::string("segments --resolution c --layers borders,rivers:1-4+8 --window ") + option;
    const Result text = run_lindra(command);
    ASSERT_EQ(text.code, 0) << text.errors;
    const Result collection = run_lindra(command + " --format geojson");
    ASSERT_EQ(collection.code, 0) << collection.errors;
    const Lengths lengths = text_lengths(text.output, window);
    const Lengths written = feature_lengths(collection.output, {-180, 180, window.south, window.north});
    EXPECT_EQ(written.size(), lengths.size());
    for (const auto &[kind, length] : written)
        EXPECT_NEAR(length, lengths.at(kind), 1e-4 * length) << kind;
    const std::set<std::string> known = {"border1", "border2", "border3", "river1",
                                         "river2",  "river3",  "river4",  "river8"};
    for (const auto &[kind, length] : lengths)
        EXPECT_TRUE(known.count(kind)) << kind;
}

TEST_F(Segments, of_areas_and_lines_come_one_after_the_other) {
    const std::string window = "segments --resolution c --window 0/20/40/50 --layers ";
    EXPECT_EQ(run_lindra(window + "rivers:1,land,borders").output,
              run_lindra(window + "land").output + run_lindra(window + "borders").output +
                  run_lindra(window + "rivers:1").output);
}

TEST_F(Segments, missing_lines_write_nothing) {
    const TemporaryDirectory scratch;
    const Result result = run_lindra("segments --resolution f --layers rivers");
    expect_refusal(result, 1, "there is no maps/lindra/binned_river_f.cdf in " LINDRA_TEST_DATA);
    std::filesystem::create_directories(scratch.path() / "data/maps/lindra");
    std::filesystem::copy_file(LINDRA_TEST_DATA "/maps/lindra/gshhs_c.b",
                               scratch.path() / "data/maps/lindra/gshhs_i.b");
    const Environment data("LINDRA_DATA", (scratch.path() / "data").c_str());
    EXPECT_EQ(run_lindra("segments --resolution i --layers land").code, 0);
    expect_refusal(run_lindra("segments --resolution i --layers land,borders"), 1, "binned_border_i.cdf");
}

TEST_F(Segments, of_an_empty_sea_are_nothing) {
    const std::string window = "segments --resolution c --window -30/-28/0/2 ";
    EXPECT_EQ(run_lindra(window).output, "");
    EXPECT_EQ(run_lindra(window + "--format geojsonseq").output, "");
    EXPECT_EQ(json::parse(run_lindra(window + "--format geojson").output)["features"].size(), 0u);
}

TEST_F(Segments, file_holds_what_standard_output_would) {
    const TemporaryDirectory scratch;
    const std::string file = (scratch.path() / "land.txt").string();
    const Result result = run_lindra("segments --layers land -o " + file);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(read_file(file), run_lindra("segments --layers land").output);
}

// --- What goes wrong --------------------------------------------------------------------------------------

TEST_F(Segments, bad_arguments_are_bad_usage) {
    expect_refusal(run_lindra("segments --window 1/2/3"), 2, "four numbers are needed");
    expect_refusal(run_lindra("segments --window 1/2/4/3"), 2, "south is not below north");
    expect_refusal(run_lindra("segments --window=nan/2/4/3"), 2, "west is 'nan'");
    expect_refusal(run_lindra("segments --layers land,sea"), 2, "no layer 'sea'");
    expect_refusal(run_lindra("segments --layers coast"), 2, "the layer coast is drawn only");
    expect_refusal(run_lindra("segments --layers borders:9"), 2, "borders have no level '9'");
    expect_refusal(run_lindra("segments --resolution x"), 2, "no resolution 'x'");
    expect_refusal(run_lindra("segments --format xml"), 2, "no format 'xml'");
    EXPECT_EQ(run_lindra("segments --frobnicate").code, 2);
    EXPECT_EQ(run_lindra("segments --window").code, 2);
}

TEST_F(Segments, missing_resolution_is_bad_data_and_leaves_no_file) {
    const TemporaryDirectory scratch;
    const Result result = run_lindra("segments --resolution f -o " + (scratch.path() / "out").string());
    expect_refusal(result, 1, "there is no maps/lindra/gshhs_f.b in " LINDRA_TEST_DATA);
    expect_refusal(result, 1, "`lindra import /usr/share/gmt-gshhg`");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST_F(Segments, damaged_data_are_told_and_leave_no_file) {
    const TemporaryDirectory scratch;
    const std::string bytes = read_file(std::string(LINDRA_TEST_DATA) + "/maps/lindra/gshhs_c.b");
    const auto file = scratch.write("data/maps/lindra/gshhs_c.b", bytes.substr(0, bytes.size() - 3));
    const Environment data("LINDRA_DATA", (scratch.path() / "data").c_str());
    std::filesystem::create_directory(scratch.path() / "out");
    const Result result =
        run_lindra("segments --resolution c -o " + (scratch.path() / "out/land.txt").string());
    expect_refusal(result, 1, file + " is damaged at byte 1826");
    expect_refusal(result, 1, "after 1780 polygons: ");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path() / "out"));
}

TEST_F(Segments, damage_met_half_way_leaves_no_file) {
    const TemporaryDirectory scratch;
    std::string bytes = read_file(std::string(LINDRA_TEST_DATA) + "/maps/lindra/gshhs_c.b");
    bytes[bytes.size() - 4] = '\x7f'; // the last latitude
    scratch.write("data/maps/lindra/gshhs_c.b", bytes);
    const Environment data("LINDRA_DATA", (scratch.path() / "data").c_str());
    std::filesystem::create_directory(scratch.path() / "out");
    const Result result =
        run_lindra("segments --resolution c -o " + (scratch.path() / "out/land.txt").string());
    expect_refusal(result, 1, "has a latitude beyond the pole");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path() / "out"));
}

TEST_F(Segments, reader_that_goes_away_ends_the_command_quietly) {
    const TemporaryDirectory scratch;
    const std::string code = (scratch.path() / "code").string();
    const Result result =
        run_lindra("segments | true; (" LINDRA_COMMAND_PATH " segments; echo $? >" + code + ") | true");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(read_file(code), "1\n");
}

TEST_F(Segments, output_that_cannot_be_written_is_told) {
    expect_refusal(run_lindra("segments >/dev/full"), 1, "standard output cannot be written: No space left");
    expect_refusal(run_lindra("segments >&-"), 1, "standard output cannot be written: Bad file descriptor");
    expect_refusal(run_lindra("segments -o /nowhere/out"), 1, "/nowhere/out cannot be created: No such file");
}

TEST_F(Segments, help_shows_options_and_examples) {
    const Result result = run_lindra("segments --help");
    EXPECT_EQ(result.code, 0);
    for (const char *part :
         {"--window W/E/S/N", "--resolution", "--layers", "--format", "-o,--output", "Examples:"})
        EXPECT_NE(result.output.find(part), std::string::npos) << part;
}

} // namespace
