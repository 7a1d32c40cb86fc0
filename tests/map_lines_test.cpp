// SPDX-License-Identifier: MIT

#include "map/map_lines.hpp"

#include "common/errors.hpp"
#include "map/pieces.hpp"

#include "leak_allowed.hpp"
#include "line_file.hpp"
#include "plain_geometry.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <map>

namespace {

using namespace lindra::test;
using lindra::tools::DataError;
using lindra::tools::line_pieces;
using lindra::tools::LineKind;
using lindra::tools::MapLine;
using lindra::tools::parse_layers;
using lindra::tools::read_lines;

constexpr Window world = {-180, 180, -90, 90};
constexpr double precision = 1e-4; // a place in a bin of 10 degrees, and single precision

std::vector<MapLine> read(const std::string &layers, const Window &window = world) {
    return read_lines('c', parse_layers(layers), window);
}

double length(const std::vector<Line> &lines) {
    double sum = 0;
    for (const Line &line : lines)
        for (size_t i = 1; i < line.size(); i++)
            sum += std::hypot(line[i].lon - line[i - 1].lon, line[i].lat - line[i - 1].lat);
    return sum;
}

// --- Lines of files made here -----------------------------------------------------------------------------

TEST(MapLines, have_their_kind_and_level) {
    const LineData data(LineFile().add(1, {{12, 41}, {14, 43}}).add(3, {{22, 41}, {24, 43}}),
                        LineFile().add(7, {{32, 41}, {34, 43}}));
    const std::vector<MapLine> lines = read("borders,rivers");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].kind, LineKind::border);
    EXPECT_EQ(lines[0].level, 1);
    EXPECT_EQ(lines[1].level, 3);
    EXPECT_EQ(lines[2].kind, LineKind::river);
    EXPECT_EQ(lines[2].level, 7);
    ASSERT_EQ(lines[2].points.size(), 2u);
    EXPECT_NEAR(lines[2].points[1].lon, 34, precision);
    EXPECT_NEAR(lines[2].points[1].lat, 43, precision);
}

TEST(MapLines, of_other_levels_are_left_out) {
    LineFile rivers;
    for (int level = 0; level <= 10; level++)
        rivers.add(level, {{12, 40.5 + level / 2.0}, {14, 40.5 + level / 2.0}});
    const LineData data(LineFile{}, rivers);
    EXPECT_EQ(read("rivers").size(), 10u) << "level 0 is not delivered";
    const std::vector<MapLine> some = read("rivers:2+5-6");
    ASSERT_EQ(some.size(), 3u);
    EXPECT_EQ(some[0].level, 2);
    EXPECT_EQ(some[1].level, 5);
    EXPECT_EQ(some[2].level, 6);
    EXPECT_TRUE(read("borders").empty());
    EXPECT_TRUE(read("land").empty());
}

TEST(MapLines, cut_at_bins_are_joined) {
    const LineData data(
        LineFile().add(1, {{15, 45}, {20, 47}}).add(1, {{20, 47}, {30, 49}}).add(1, {{35, 46}, {30, 49}}));
    const std::vector<MapLine> lines = read("borders");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].points.size(), 4u);
}

TEST(MapLines, across_greenwich_are_joined_and_at_the_antimeridian_are_not) {
    const LineData data(LineFile()
                            .add(1, {{-5, 45}, {0, 47}})
                            .add(1, {{0, 47}, {5, 49}})
                            .add(2, {{175, 5}, {180, 7}})
                            .add(2, {{-180, 7}, {-175, 9}}));
    const std::vector<MapLine> lines = read("borders");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NEAR(lines[0].points.front().lon, -5, precision);
    EXPECT_NEAR(lines[0].points.back().lon, 5, precision);
    for (const MapLine &line : lines)
        for (const Point &point : line.points)
            EXPECT_LE(std::fabs(point.lon), 180);
}

TEST(MapLines, of_different_levels_are_not_joined) {
    const LineData data(LineFile().add(1, {{15, 45}, {20, 47}}).add(2, {{20, 47}, {25, 49}}));
    EXPECT_EQ(read("borders").size(), 2u);
}

TEST(MapLines, without_length_are_left_out) {
    const LineData data(
        LineFile().add(1, {{15, 45}, {20, 47}}).add(1, {{20, 47}, {20, 47}}).add(1, {{20, 47}, {25, 49}}));
    const std::vector<MapLine> lines = read("borders");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].points.size(), 3u);
}

TEST(MapLines, of_one_point_or_none_are_left_out) {
    BinnedFile file;
    file.bins[100] = {{1, {{7, 7}}}, {1, {}}};
    const LineData data(file.bytes(), BinnedFile{}.bytes());
    EXPECT_TRUE(read("borders").empty());
}

TEST(MapLines, of_bins_away_from_the_window_are_passed_over) {
    const LineData data(LineFile().add(1, {{12, 41}, {18, 41}}).add(1, {{-58, -31}, {-52, -31}}));
    EXPECT_EQ(read("borders").size(), 2u);
    EXPECT_EQ(read("borders", {10, 20, 40, 50}).size(), 1u);
    EXPECT_EQ(read("borders", {370, 380, 40, 50}).size(), 1u);
    EXPECT_EQ(read("borders", {-350, -340, 40, 50}).size(), 1u);
    EXPECT_EQ(read("borders", {300, 310, -40, -30}).size(), 1u);
    EXPECT_TRUE(read("borders", {21, 29, 40, 50}).empty());
    EXPECT_TRUE(read("borders", {10, 20, 51, 60}).empty());
}

// --- Every window of a lattice, with the file that comes with the source ----------------------------------

constexpr int step = 30;

// How long the lines of each level are in a window, by the file's own points at every turn.
std::map<int, double> plain_lengths(const std::vector<DeliveredSegment> &segments, const Window &window) {
    std::map<int, double> sums;
    for (const DeliveredSegment &segment : segments)
        for (int turn = -720; turn <= 720; turn += 360)
            for (size_t i = 1; i < segment.lon.size(); i++) {
                const auto clipped = [&](double from, double to, double low, double high) {
                    // Shares of the edge between two sides of the window.
                    if (from == to)
                        return low <= from && from <= high ? std::pair(0.0, 1.0) : std::pair(1.0, 0.0);
                    const double a = (low - from) / (to - from), b = (high - from) / (to - from);
                    return std::pair(std::min(a, b), std::max(a, b));
                };
                const double lon = 1.0 * segment.lon[i - 1] + turn, to_lon = 1.0 * segment.lon[i] + turn;
                const double lat = segment.lat[i - 1], to_lat = segment.lat[i];
                const auto [west, east] = clipped(lon, to_lon, window.west, window.east);
                const auto [south, north] = clipped(lat, to_lat, window.south, window.north);
                const double share = std::min({east, north, 1.0}) - std::max({west, south, 0.0});
                if (share > 0) sums[segment.level] += share * std::hypot(to_lon - lon, to_lat - lat);
            }
    return sums;
}

std::map<int, double> tool_lengths(const std::string &layer, const Window &window) {
    std::map<int, double> sums;
    for (const MapLine &line : read(layer, window))
        sums[line.level] += length(line_pieces(line.points, window));
    return sums;
}

class EveryLayer : public testing::TestWithParam<const char *> {};

TEST_P(EveryLayer, is_as_long_in_every_window_as_the_file_says) {
    const std::string layer = GetParam();
    BinnedLines file;
    ASSERT_GT(file.select(layer == "borders" ? "p:7" : "r:1023"), 0);
    std::vector<DeliveredSegment> segments;
    for (DeliveredSegment segment = file.next(); segment.status == 1; segment = file.next())
        segments.push_back(segment);
    for (int west = -360; west <= 690; west += 7 * step)
        for (int width = step; width <= 360; width += 5 * step)
            for (const auto &[south, north] : {std::pair(-90, 90), {13, 47}, {-60, 0}}) {
                const Window window = {west + 0.5, west + width + 0.5, 1.0 * south, 1.0 * north};
                std::map<int, double> found = tool_lengths(layer, window);
                for (const auto &[level, expected] : plain_lengths(segments, window))
                    ASSERT_NEAR(found[level], expected, 1e-6 * expected + 1e-6)
                        << "level " << level << ", window " << west << "/" << west + width << "/" << south
                        << "/" << north;
            }
}

INSTANTIATE_TEST_SUITE_P(MapLines, EveryLayer, testing::Values("borders", "rivers"));

// --- Files that are not right -----------------------------------------------------------------------------

std::string complaint(const std::string &layers = "borders,rivers", char resolution = 'c') {
    try {
        read_lines(resolution, parse_layers(layers), world);
    } catch (const DataError &error) {
        return error.what();
    }
    return "";
}

TEST(MapLines, missing_file_names_the_places_searched_and_the_way_to_get_it) {
    const Environment own("LINDRA_DATA", "/nowhere/own");
    const Environment home("XDG_DATA_HOME", "/nowhere/home");
    const Environment system("XDG_DATA_DIRS", "/nowhere/system");
    for (const char *name : {"border", "river"}) {
        const std::string text = complaint(std::string(name) + "s", 'f');
        EXPECT_NE(text.find(std::string("maps/lindra/binned_") + name + "_f.cdf in /nowhere/own, "),
                  std::string::npos)
            << text;
        EXPECT_NE(text.find("/nowhere/home"), std::string::npos) << text;
        EXPECT_NE(text.find("`lindra import /usr/share/gmt-gshhg`"), std::string::npos) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
}

TEST(MapLines, of_layers_not_asked_for_need_no_file) {
    const LineData data("", "");
    EXPECT_EQ(complaint("land"), "");
}

TEST(MapLines, file_of_another_kind_is_told_with_its_name) {
    for (const char *bytes : {"", "no netCDF", "CDF\1\0\0"}) {
        const LineData data(bytes, LineFile().bytes());
        const LeakAllowed header_of_an_unfit_file;
        const std::string text = complaint();
        EXPECT_EQ(text.rfind(data.borders_path + " cannot be read: ", 0), 0u) << text;
        EXPECT_NE(text.find("; import it again"), std::string::npos) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
}

TEST(MapLines, every_cut_of_a_file_is_noticed) {
    const std::string bytes = LineFile().add(1, {{12, 41}, {14, 43}}).bytes();
    for (size_t size = 0; size < bytes.size(); size += size < bytes.size() - 8 ? 7 : 1) {
        const LineData data(bytes.substr(0, size), LineFile().bytes());
        const LeakAllowed header_of_an_unfit_file;
        EXPECT_NE(complaint(), "") << size;
    }
}

TEST(MapLines, segments_and_points_beyond_the_file_are_told) {
    for (const char *name : {"Id_of_first_segment_in_a_bin", "Id_of_first_point_in_a_segment"}) {
        auto variables = BinnedFile{.bins = {{100, {BinnedSegment{}}}}}.data();
        std::string &values = variables[name];
        for (size_t i = 0; i < values.size(); i += 4)
            values.replace(i, 4, be32(1'000'000));
        const LineData data(BinnedFile::join(BinnedFile::header(variables), variables), LineFile().bytes());
        EXPECT_NE(complaint().find("1000000"), std::string::npos) << complaint();
    }
}

TEST(MapLines, negative_number_of_segments_is_told) {
    auto variables = BinnedFile{.bins = {{100, {BinnedSegment{}}}}}.data();
    variables["N_segments_in_a_bin"].replace(2 * 100, 2, be16(-3));
    const LineData data(BinnedFile::join(BinnedFile::header(variables), variables), LineFile().bytes());
    EXPECT_EQ(complaint(), data.borders_path + " cannot be read: bin 100 has -3 segments; import it again");
}

TEST(MapLines, the_log_of_the_library_is_given_back) {
    const LineData data("short", "short");
    EXPECT_NE(complaint(), "");
    testing::internal::CaptureStderr();
    elog_log(0, "heard\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "heard\n");
}

} // namespace
