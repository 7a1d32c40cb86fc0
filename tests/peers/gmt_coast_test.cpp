// SPDX-License-Identifier: MIT
//
// The borders and rivers of all five resolutions against those that `gmt coast -M` writes (package gmt),
// which reads the same data in their netCDF-4 form. Both deliver whole segments of whole bins in the order of
// the file, and gmt names bin and level of each. Its numbers are asked for with all 17 digits, so that
// nothing but the following is left to explain, and everything else must be equal to the last bit:
//
// - gmt computes in double precision, the library delivers floats: gmt's number, rounded, is the library's.
// - gmt's longitudes lie about the middle of its window, the library's in 0..360: they differ by a multiple
//   of 360.
// - gmt delivers rivers of level 0 too (-I0, -Ir and -Ia); a mask of levels has no bit for them. They are
//   taken out here, and their number must be what the library leaves out of the whole file.

#include "../temporary_directory.hpp"
#include "lindra/lindra.h"

#include <cmath>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

using lindra::test::Environment;
using lindra::test::TemporaryDirectory;

struct Point {
    double lon, lat;
};

struct Line {
    int bin, level;
    std::vector<Point> points;
};

using Lines = std::vector<Line>;

struct Window {
    double west, east, south, north;

    std::string text() const {
        return std::to_string(west) + "/" + std::to_string(east) + "/" + std::to_string(south) + "/" +
               std::to_string(north);
    }
};

// What gmt's option selects, and the library's word for it.
struct Class {
    const char *option, *word;
};

constexpr Window globe{-180, 180, -90, 90};
constexpr Window windows[] = {
    {-15, 40, 34, 72},         // across Greenwich
    {150, 210, 40, 75},        // across the date line
    {-210, -150, -50, 75},     // the same, told from the other side
    {-130, -60, 20, 55},       // west of Greenwich
    {230, 300, 20, 55},        // the same in 0..360
    {5.5, 6.5, 50.2, 51.7},    // within one bin of most resolutions
    {-0.25, 0.25, -0.25, 0.25} // across four bins of every resolution
};
constexpr Class borders[] = {{"-N1", "p:1"}, {"-N2", "p:2"}, {"-N3", "p:4"}, {"-Na", "p:7"}};
constexpr Class rivers[] = {{"-I1", "r:1"},    {"-I2", "r:2"},    {"-I3", "r:4"},    {"-I4", "r:8"},
                            {"-I5", "r:16"},   {"-I6", "r:32"},   {"-I7", "r:64"},   {"-I8", "r:128"},
                            {"-I9", "r:256"},  {"-I10", "r:512"}, {"-Ir", "r:15"},   {"-IR", "r:15"},
                            {"-Ii", "r:112"},  {"-Ic", "r:896"},  {"-Ia", "r:1023"}, {"-IA", "r:1023"},
                            {"-I1 -I4", "r:9"}};

// --- gmt

bool begins_line(const char *text, Line &line) {
    return sscanf(text, "> %*[BorderRiv] Bin # %d, Level %d", &line.bin, &line.level) == 2;
}

void add_text(const char *text, Lines &lines) {
    Line begun;
    Point point;
    if (text[0] == '#') return;
    if (begins_line(text, begun))
        lines.push_back(begun);
    else if (!lines.empty() && sscanf(text, "%lf %lf", &point.lon, &point.lat) == 2)
        lines.back().points.push_back(point);
    else
        ADD_FAILURE() << "gmt says: " << text;
}

// Run where nothing is lost: gmt leaves a file in its directory.
Lines gmt_lines(char resolution, const Window &window, const char *option) {
    const TemporaryDirectory scratch;
    const std::string command = "cd " + scratch.path().string() + " && gmt coast -M -D" + resolution + " -R" +
                                window.text() + " " + option + " --FORMAT_FLOAT_OUT=%.17g";
    Lines lines;
    FILE *stream = popen(command.c_str(), "r");
    if (!stream) throw std::runtime_error("popen failed");
    char text[256];
    while (fgets(text, sizeof text, stream))
        add_text(text, lines);
    EXPECT_EQ(pclose(stream), 0) << command << " failed: is the package gmt installed?";
    return lines;
}

// --- The library

struct Release {
    void operator()(GmtMap *map) const { lindra_free_gmtmap(map); }
    void operator()(float *points) const { free(points); }
};

using Map = std::unique_ptr<GmtMap, Release>;

Map open_map() {
    GmtMap *map = nullptr;
    EXPECT_EQ(gmtmap_open(&map), 0);
    return Map(map);
}

int bin_of(const GmtSeg &seg) {
    const auto row = std::lround((90 - seg.south) / seg.file->dlat) - 1;
    const auto column = std::lround(seg.west / seg.file->dlon);
    return static_cast<int>(row * seg.file->nbins_lon + column);
}

Lines delivered_lines(GmtMap &map) {
    Lines lines;
    float *lon = nullptr, *lat = nullptr;
    int count = 0, capacity = 0, level = 0;
    char type[4];
    for (int i = 0; gmtmap_nextseg(&map, &count, &capacity, &lon, &lat, type, &level) == 1; i++) {
        lines.push_back({bin_of(map.segs[i]), level, {}});
        for (int k = 0; k < count; k++)
            lines.back().points.push_back({static_cast<double>(lon[k]), static_cast<double>(lat[k])});
    }
    const std::unique_ptr<float, Release> lon_owned(lon), lat_owned(lat);
    return lines;
}

Lines library_lines(char resolution, const Window &window, const char *word) {
    const Map map = open_map();
    const std::string letter(1, resolution);
    const int count =
        gmtmap_select(map.get(), word, letter.c_str(), window.west, window.east, window.south, window.north);
    EXPECT_GE(count, 0);
    const Lines lines = delivered_lines(*map);
    EXPECT_EQ(lines.size(), static_cast<size_t>(count));
    return lines;
}

// --- The comparison

bool is_same(const Point &gmt, const Point &library) {
    const double turn = 360 * std::round((library.lon - gmt.lon) / 360);
    return static_cast<double>(static_cast<float>(gmt.lon + turn)) == library.lon &&
           static_cast<double>(static_cast<float>(gmt.lat)) == library.lat;
}

std::string line_difference(const Line &gmt, const Line &library) {
    if (gmt.bin != library.bin || gmt.level != library.level || gmt.points.size() != library.points.size())
        return "bin " + std::to_string(gmt.bin) + " or " + std::to_string(library.bin) + ", level " +
               std::to_string(gmt.level) + " or " + std::to_string(library.level) + ", points " +
               std::to_string(gmt.points.size()) + " or " + std::to_string(library.points.size());
    for (size_t i = 0; i < gmt.points.size(); i++)
        if (!is_same(gmt.points[i], library.points[i])) return "point " + std::to_string(i);
    return "";
}

// The first thing in which gmt and the library differ; nothing when there is none.
std::string difference(const Lines &gmt, const Lines &library) {
    for (size_t i = 0; i < std::min(gmt.size(), library.size()); i++) {
        const std::string found = line_difference(gmt[i], library[i]);
        if (!found.empty()) return "segment " + std::to_string(i) + ": " + found;
    }
    if (gmt.size() == library.size()) return "";
    return "segments " + std::to_string(gmt.size()) + " or " + std::to_string(library.size());
}

size_t take_out_level_0(Lines &lines) {
    return std::erase_if(lines, [](const Line &line) { return line.level == 0; });
}

size_t points_in(const Lines &lines) {
    return std::accumulate(lines.begin(), lines.end(), size_t{0},
                           [](size_t sum, const Line &line) { return sum + line.points.size(); });
}

struct GmtPeer : testing::TestWithParam<char> {
    template <size_t count>
    void expect_same_in_windows(const Class (&classes)[count]) const {
        size_t segments = 0, points = 0;
        for (const Window &window : windows)
            for (const auto &[option, word] : classes) {
                SCOPED_TRACE(window.text() + " " + option);
                Lines gmt = gmt_lines(GetParam(), window, option);
                take_out_level_0(gmt);
                const Lines library = library_lines(GetParam(), window, word);
                ASSERT_EQ(difference(gmt, library), "");
                segments += library.size();
                points += points_in(library);
            }
        EXPECT_GT(segments, 0U);
        printf("%zu segments, %zu points\n", segments, points);
    }

    // Returns the number of segments of level 0, which gmt alone delivers.
    size_t expect_same_on_the_globe(const char *option, const char *word) const {
        Lines gmt = gmt_lines(GetParam(), globe, option);
        const size_t level_0 = take_out_level_0(gmt);
        const Lines library = library_lines(GetParam(), globe, word);
        EXPECT_FALSE(library.empty());
        EXPECT_EQ(difference(gmt, library), "");
        printf("%zu segments, %zu points\n", library.size(), points_in(library));
        return level_0;
    }
};

int segments_in_file(const GmtMapFile &file) {
    int sum = 0;
    for (int bin = 0; bin < file.nbins; bin++) {
        int16_t count;
        N2H2(&count, file.bin_nsegs + 2 * bin, 1);
        sum += count;
    }
    return sum;
}

} // namespace

TEST_P(GmtPeer, borders_of_each_level_in_windows) {
    expect_same_in_windows(borders);
}

TEST_P(GmtPeer, rivers_of_each_class_in_windows) {
    expect_same_in_windows(rivers);
}

TEST_P(GmtPeer, borders_of_the_globe) {
    EXPECT_EQ(expect_same_on_the_globe("-Na", "p:7"), 0U);
}

TEST_P(GmtPeer, rivers_of_the_globe_but_for_level_0) {
    const size_t level_0 = expect_same_on_the_globe("-Ia", "r:1023");
    const Map map = open_map();
    const std::string letter(1, GetParam());
    const int selected = gmtmap_select(map.get(), "r:1023", letter.c_str(), -180, 180, -90, 90);
    ASSERT_GT(selected, 0);
    EXPECT_EQ(segments_in_file(*map->select[0].file) - selected, static_cast<int>(level_0));
}

INSTANTIATE_TEST_SUITE_P(Resolutions, GmtPeer, testing::Values('c', 'l', 'i', 'h', 'f'),
                         [](const auto &tested) { return std::string(1, tested.param); });

// The comparison sees the least change of one coordinate, one point less and another level.
TEST(GmtPeerComparison, least_change_is_seen) {
    Lines gmt = gmt_lines('c', globe, "-Na");
    const Lines library = library_lines('c', globe, "p:7");
    ASSERT_EQ(difference(gmt, library), "");
    const Line kept = gmt[700];
    gmt[700].points[1].lat += 180.0 / 9 / 65535;
    EXPECT_EQ(difference(gmt, library), "segment 700: point 1");
    gmt[700] = kept;
    gmt[700].points.pop_back();
    EXPECT_EQ(difference(gmt, library).find("segment 700: bin "), 0U);
    gmt[700] = kept;
    gmt[700].level++;
    EXPECT_EQ(difference(gmt, library).find("segment 700: bin "), 0U);
    gmt[700] = kept;
    gmt.pop_back();
    EXPECT_EQ(difference(gmt, library), "segments 1396 or 1397");
}

TEST(GmtPeerComparison, file_with_one_bit_changed_is_seen) {
    const Lines gmt = gmt_lines('c', globe, "-Na");
    const std::string name = "maps/lindra/binned_border_c.cdf";
    std::ifstream stream(std::filesystem::path(getenv("LINDRA_DATA")) / name, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(stream), {});
    ASSERT_EQ(bytes.size(), 33540U);
    const TemporaryDirectory data;
    const Environment elsewhere("LINDRA_DATA", data.path().c_str());
    data.write(name, bytes);
    EXPECT_EQ(difference(gmt, library_lines('c', globe, "p:7")), "");
    // The lower byte of the last point's latitude, which is the last variable.
    bytes[bytes.size() - 3] = static_cast<char>(bytes[bytes.size() - 3] ^ 1);
    data.write(name, bytes);
    EXPECT_NE(difference(gmt, library_lines('c', globe, "p:7")), "");
}
