// SPDX-License-Identifier: MIT

#include "map/coast.hpp"

#include "common/errors.hpp"
#include "map/clip.hpp"
#include "map/pieces.hpp"

#include "gshhs_builder.hpp"
#include "plain_geometry.hpp"
#include "plain_gshhs.hpp"
#include "temporary_directory.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <random>

namespace {

using namespace lindra::test;
using lindra::tools::area_pieces;
using lindra::tools::clip_area;
using lindra::tools::Coastline;
using lindra::tools::DataError;
using lindra::tools::Polygon;
using lindra::tools::shifted;
using lindra::tools::shore_pieces;

constexpr Window world = {-180, 180, -90, 90};

// The multiples of 360 by which the line is to be shifted to meet the window.
std::vector<double> shifts(const Line &line, const Window &window) {
    std::vector<double> result;
    const auto [first, last] = lindra::tools::turns_to(line, window);
    for (int turn = first; turn <= last; turn++)
        result.push_back(360.0 * turn);
    return result;
}

constexpr int ice_front = 5;
constexpr int grounding_line = 6;

// One step of single precision at 360, and half of it for rounding.
constexpr double precision = 1.6e-5;

std::string relative_path(char resolution) {
    return std::string("maps/lindra/gshhs_") + resolution + ".b";
}

// Empty when it is not installed.
std::string installed_path(char resolution) {
    const std::unique_ptr<char, decltype(&free)> path(datafile(nullptr, relative_path(resolution).c_str()),
                                                      free);
    return path ? path.get() : "";
}

std::vector<PlainPolygon> delivered_polygons(char resolution) {
    std::vector<PlainPolygon> polygons = read_polygons(installed_path(resolution));
    std::erase_if(polygons, [](const PlainPolygon &polygon) { return polygon.level == ice_front; });
    return polygons;
}

// --- Whole polygons ---------------------------------------------------------------------------------------

void expect_same_shore(const Polygon &polygon, const PlainPolygon &plain) {
    const size_t count = plain.is_round_pole() ? plain.points.size() : plain.points.size() - 1;
    ASSERT_EQ(polygon.shore.size(), count) << "polygon " << plain.id;
    const double turn = 360 * std::round((polygon.shore[0].lon - plain.points[0].lon) / 360);
    for (size_t i = 0; i < count; i++) {
        ASSERT_NEAR(polygon.shore[i].lon - turn, plain.points[i].lon, precision) << "polygon " << plain.id;
        ASSERT_NEAR(polygon.shore[i].lat, plain.points[i].lat, precision) << "polygon " << plain.id;
    }
}

class InstalledCoastline : public testing::TestWithParam<char> {};

TEST_P(InstalledCoastline, delivers_every_polygon_whole_and_in_file_order) {
    const char resolution = GetParam();
    ASSERT_NE(installed_path(resolution), "") << "./dev peers imports this resolution";
    const std::vector<PlainPolygon> plain = delivered_polygons(resolution);
    size_t next = 0;
    Coastline(resolution).visit(world, [&](const Polygon &polygon) {
        ASSERT_LT(next, plain.size());
        const PlainPolygon &expected = plain[next++];
        ASSERT_EQ(polygon.id, expected.id);
        ASSERT_EQ(polygon.level, expected.level == grounding_line ? 1 : expected.level);
        ASSERT_EQ(polygon.pole, expected.is_round_pole() ? -1 : 0);
        expect_same_shore(polygon, expected);
    });
    EXPECT_EQ(next, plain.size());
}

bool is_visited(Coastline &coastline, int id, const Window &window) {
    bool found = false;
    coastline.visit(window, [&](const Polygon &polygon) { found |= polygon.id == id; });
    return found;
}

TEST_P(InstalledCoastline, finds_polygons_by_the_points_that_lie_well_outside_their_box) {
    const char resolution = GetParam();
    ASSERT_NE(installed_path(resolution), "") << "./dev peers imports this resolution";
    Coastline coastline(resolution);
    for (const PlainPolygon &polygon : delivered_polygons(resolution)) {
        const auto [south, north] = std::minmax_element(polygon.points.begin(), polygon.points.end(),
                                                        [](Point a, Point b) { return a.lat < b.lat; });
        for (const Point point : {*south, *north}) {
            if (std::max(polygon.box.south - point.lat, point.lat - polygon.box.north) < 2e-3) continue;
            const Window round_point = {point.lon - 1e-3, point.lon + 1e-3, point.lat - 1e-3,
                                        point.lat + 1e-3};
            ASSERT_TRUE(is_visited(coastline, polygon.id, round_point)) << polygon.id;
        }
    }
}

// The crude coastline comes with the source; the others are imported first: see ./dev peers.
std::string letter(const testing::TestParamInfo<char> &resolution) {
    return std::string(1, resolution.param);
}
INSTANTIATE_TEST_SUITE_P(CheckedIn, InstalledCoastline, testing::Values('c'), letter);
INSTANTIATE_TEST_SUITE_P(Imported, InstalledCoastline, testing::Values('l', 'i', 'h', 'f'), letter);

TEST(Coastline, the_data_that_come_with_the_source_are_found) {
    EXPECT_NE(installed_path('c'), "");
}

TEST(Coastline, antarctica_is_land_that_runs_round_the_south_pole) {
    int found = 0;
    Coastline('c').visit({0, 10, -90, -85}, [&](const Polygon &polygon) {
        found++;
        EXPECT_EQ(polygon.level, 1);
        EXPECT_EQ(polygon.pole, -1);
        EXPECT_NEAR(std::fabs(polygon.shore.back().lon - polygon.shore.front().lon), 360, 1e-9);
        EXPECT_EQ(polygon.shore.back().lat, polygon.shore.front().lat);
        const Ring area = polygon.area();
        EXPECT_EQ(area.size(), polygon.shore.size() + 2);
        EXPECT_EQ(area.back().lat, -90);
    });
    EXPECT_EQ(found, 1);
}

// --- Every window of a lattice ----------------------------------------------------------------------------

constexpr int step = 15;
constexpr int columns = 360 / step;

struct Band {
    double south, north;
};

constexpr Band bands[] = {{-90, 90}, {-90, -75}, {-90, -60}, {-60, 0}, {0, 30}, {0, 90}, {45, 60}, {75, 90}};

// The polygons of the file, and the area of each in every column of 15 degrees of a band of latitudes. The
// polygons of the file do not cross themselves, so that the plain clipping is right.
class PlainColumns {
  public:
    explicit PlainColumns(Band band) {
        for (const PlainPolygon &polygon : delivered_polygons('c'))
            for (int column = 0; column < columns; column++)
                add(polygon, column,
                    {-180.0 + step * column, -180.0 + step * (column + 1), band.south, band.north});
    }

    // The area of each polygon in a window from a multiple of 15 degrees to another.
    std::map<int, double> areas(int west, int width) const {
        std::map<int, double> sums;
        for (int i = 0; i < width / step; i++)
            for (const auto &[id, area] : areas_[static_cast<size_t>(((west + 180) / step + i) % columns)])
                sums[id] += area;
        return sums;
    }

    // How far single precision can move it.
    double tolerance(int id) const { return tolerances_.at(id); }

  private:
    void add(const PlainPolygon &polygon, int column, const Window &window) {
        const Ring ring = polygon.area();
        double area = 0;
        for (double turn : {-360, 0, 360})
            area += std::fabs(signed_area(reentrant_clip(shifted(ring, turn), window)));
        if (area > 0) areas_[static_cast<size_t>(column)][polygon.id] = area;
        tolerances_[polygon.id] = precision * perimeter(ring) + 1e-9;
    }

    std::map<int, double> areas_[columns];
    std::map<int, double> tolerances_;
};

std::map<int, double> clipped_areas(Coastline &coastline, const Window &window) {
    std::map<int, double> sums;
    coastline.visit(window, [&](const Polygon &polygon) {
        const Ring area = polygon.area();
        for (double turn : shifts(area, window))
            sums[polygon.id] += area_of(clip_area(shifted(area, turn), window));
    });
    return sums;
}

std::map<int, double> piece_areas(Coastline &coastline, const Window &window) {
    std::map<int, double> sums;
    coastline.visit(
        window, [&](const Polygon &polygon) { sums[polygon.id] += area_of(area_pieces(polygon, window)); });
    return sums;
}

// Returns the ids of the polygons whose areas differ.
std::string differences(std::map<int, double> found, std::map<int, double> expected,
                        const PlainColumns &plain) {
    std::string ids;
    for (const auto &[id, area] : expected)
        if (std::fabs(found[id] - area) > plain.tolerance(id)) ids += " " + std::to_string(id);
    for (const auto &[id, area] : found)
        if (std::fabs(expected[id] - area) > plain.tolerance(id)) ids += " " + std::to_string(id);
    return ids;
}

class LatticeBand : public testing::TestWithParam<Band> {};

TEST_P(LatticeBand, every_window_has_the_area_of_every_polygon) {
    const PlainColumns plain(GetParam());
    Coastline coastline('c');
    for (int west = -180; west <= 345; west += step)
        for (int width = step; width <= 360; width += step) {
            const Window window = {1.0 * west, 1.0 * west + width, GetParam().south, GetParam().north};
            const auto expected = plain.areas(west, width);
            ASSERT_EQ(differences(clipped_areas(coastline, window), expected, plain), "")
                << "window " << west << "/" << west + width;
            ASSERT_EQ(differences(piece_areas(coastline, window), expected, plain), "")
                << "window " << west << "/" << west + width;
        }
}

INSTANTIATE_TEST_SUITE_P(Bands, LatticeBand, testing::ValuesIn(bands), [](const auto &band) {
    const auto side = [](double latitude) {
        return (latitude < 0 ? "S" : "N") + std::to_string(static_cast<int>(std::fabs(latitude)));
    };
    return side(band.param.south) + "to" + side(band.param.north);
});

// A place, and how many polygons of each level it lies in, as the file says.
struct Probe {
    Point place;
    int levels[4];
};

// Places nearer to a shore than single precision can tell are passed over.
std::vector<Probe> make_probes(size_t count) {
    const std::vector<PlainPolygon> polygons = delivered_polygons('c');
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> longitude(-180, 180), latitude(-90, 90);
    std::vector<Probe> probes;
    while (probes.size() < count) {
        Probe probe = {{longitude(random), latitude(random)}, {}};
        bool on_shore = false;
        for (const PlainPolygon &polygon : polygons)
            for (double turn : {-360, 0, 360}) {
                const Point place = {probe.place.lon + turn, probe.place.lat};
                on_shore |= distance(place, polygon.points) < 1e-3;
                if (contains(polygon.area(), place))
                    probe.levels[polygon.level == 6 ? 0 : polygon.level - 1]++;
            }
        if (!on_shore) probes.push_back(probe);
    }
    return probes;
}

TEST(Lattice, every_window_has_land_and_water_where_the_file_has_them) {
    const std::vector<Probe> probes = make_probes(400);
    Coastline coastline('c');
    size_t next = 0;
    for (int west = -180; west <= 345; west += step)
        for (int width = step; width <= 360; width += step) {
            const Window window = {1.0 * west, 1.0 * west + width, -90, 90};
            std::vector<Ring> rings[4];
            coastline.visit(window, [&](const Polygon &polygon) {
                for (Ring &ring : area_pieces(polygon, window))
                    rings[polygon.level - 1].push_back(std::move(ring));
            });
            for (int i = 0; i < 8; i++) {
                const Probe &probe = probes[next++ % probes.size()];
                const double turn = 360 * std::ceil((west - probe.place.lon) / 360);
                const Point place = {probe.place.lon + turn, probe.place.lat};
                for (size_t level = 0; level < 4; level++)
                    ASSERT_EQ(contains(rings[level], place),
                              contains(window, place) && probe.levels[level] % 2 == 1)
                        << "window " << west << "/" << west + width << ", place " << place.lon << " "
                        << place.lat << ", level " << level + 1;
            }
        }
}

// --- Copies and pieces ------------------------------------------------------------------------------------

TEST(Copies, are_the_turns_that_bring_a_ring_into_the_window) {
    const Ring ring = {{-6, 50}, {2, 50}, {2, 58}};
    EXPECT_EQ(shifts(ring, {-180, 180, -90, 90}), std::vector<double>{0});
    EXPECT_EQ(shifts(ring, {0, 360, -90, 90}), (std::vector<double>{0, 360}));
    EXPECT_EQ(shifts(ring, {350, 370, -90, 90}), std::vector<double>{360});
    EXPECT_EQ(shifts(ring, {-365, -355, -90, 90}), std::vector<double>{-360});
}

TEST(Copies, there_are_none_of_a_ring_beside_the_window) {
    const Ring ring = {{-6, 50}, {2, 50}, {2, 58}};
    EXPECT_TRUE(shifts(ring, {3, 350, -90, 90}).empty());
    EXPECT_TRUE(shifts(ring, {-10, 10, 59, 90}).empty());
    EXPECT_TRUE(shifts(ring, {-10, 10, 0, 49}).empty());
    EXPECT_TRUE(shifts({}, world).empty());
}

const Polygon cap = {1, 1, {{0, -60}, {120, -70}, {240, -65}, {360, -60}}, -1};

TEST(Pieces, polygon_round_a_pole_has_no_seam) {
    for (const Window window : {Window{-180, 180, -90, 0}, {-300, 60, -90, 0}, {200, 400, -90, 0}}) {
        EXPECT_EQ(area_pieces(cap, window).size(), 1u);
        EXPECT_EQ(shore_pieces(cap, window).size(), 1u);
    }
}

TEST(Pieces, polygon_round_a_pole_may_run_either_way) {
    Polygon reversed = cap;
    std::reverse(reversed.shore.begin(), reversed.shore.end());
    const Window window = {-300, 60, -90, 0};
    EXPECT_EQ(area_pieces(reversed, window).size(), 1u);
    EXPECT_EQ(shore_pieces(reversed, window).size(), 1u);
    EXPECT_NEAR(area_of(area_pieces(reversed, window)), area_of(area_pieces(cap, window)), 1e-9);
}

TEST(Pieces, window_between_the_shore_and_the_pole_is_all_area) {
    const Window window = {-10, 10, -85, -80};
    EXPECT_NEAR(area_of(area_pieces(cap, window)), 100, 1e-9);
    EXPECT_TRUE(shore_pieces(cap, window).empty());
    EXPECT_TRUE(area_pieces(cap, {-10, 10, 0, 10}).empty());
}

TEST(Pieces, north_pole_counts_as_well) {
    const Polygon north = {1, 1, {{0, 60}, {120, 70}, {240, 65}, {360, 60}}, 1};
    EXPECT_NEAR(area_of(area_pieces(north, {-180, 180, 75, 90})), 360 * 15, 1e-9);
}

TEST(Pieces, polygon_on_both_sides_of_the_window_is_in_both) {
    const Polygon polygon = {1, 1, {{170, 0}, {190, 0}, {190, 10}, {170, 10}}, 0};
    EXPECT_EQ(area_pieces(polygon, world).size(), 2u);
    EXPECT_EQ(area_pieces(polygon, {0, 360, -90, 90}).size(), 1u);
    EXPECT_EQ(shore_pieces(polygon, world).size(), 2u);
}

// --- Files that are not right -----------------------------------------------------------------------------

RawPolygon island(int id, double lon, double lat, int level = 1) {
    RawPolygon polygon = square(lon, lat, 1, level);
    polygon.id = id;
    return polygon;
}

const std::vector<RawPolygon> three_islands = {island(1, 10, 20), island(2, 30, 20), island(3, 50, 20)};
constexpr size_t header_size = 44;
constexpr size_t island_size = header_size + 5 * 8;

class BadFile : public testing::Test {
  protected:
    void write(const std::string &bytes) { scratch_.write(relative_path('c'), bytes); }

    // What is said when the file is opened, or when its polygons are visited.
    std::string complaint() {
        try {
            Coastline('c').visit(world, [this](const Polygon &) { visited_++; });
        } catch (const DataError &error) {
            return error.what();
        }
        return "";
    }

    std::string path() const { return (scratch_.path() / relative_path('c')).string(); }

    int visited_ = 0;

  private:
    TemporaryDirectory scratch_;
    Environment data_{"LINDRA_DATA", scratch_.path().c_str()};
};

TEST_F(BadFile, a_good_one_is_read) {
    write(file_of(three_islands));
    EXPECT_EQ(complaint(), "");
    EXPECT_EQ(visited_, 3);
}

TEST_F(BadFile, missing_one_names_the_places_searched_and_the_way_to_get_it) {
    const Environment home("XDG_DATA_HOME", "/nowhere/home");
    const Environment system("XDG_DATA_DIRS", "/nowhere/system:/nowhere/else");
    try {
        Coastline coastline('x');
        FAIL();
    } catch (const DataError &error) {
        const std::string text = error.what();
        EXPECT_NE(text.find("maps/lindra/gshhs_x.b"), std::string::npos) << text;
        EXPECT_NE(text.find("/nowhere/home, "), std::string::npos) << text;
        EXPECT_NE(text.find("/nowhere/system, /nowhere/else"), std::string::npos) << text;
        EXPECT_NE(text.find("`./dev data`"), std::string::npos) << text;
        EXPECT_NE(text.find("`lindra import /usr/share/gmt-gshhg`"), std::string::npos) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
}

TEST_F(BadFile, empty_one_is_an_error) {
    write("");
    EXPECT_EQ(complaint(), path() + " is empty; import it again");
}

TEST_F(BadFile, cut_header_is_told_with_its_place) {
    write(file_of(three_islands).substr(0, island_size + 20));
    EXPECT_EQ(complaint(),
              path() + " is damaged at byte 84, after 1 polygon: gshhs_unstuff_hdr: polygon header is "
                       "cut, 20 bytes left. gshhsmap_select: gshhs_unstuff_hdr() error; import it again");
    EXPECT_EQ(visited_, 0);
}

TEST_F(BadFile, every_cut_is_noticed) {
    const std::string bytes = file_of(three_islands);
    for (size_t size = 1; size < bytes.size(); size++) {
        write(bytes.substr(0, size));
        const bool is_whole = size % island_size == 0;
        EXPECT_EQ(complaint().empty(), is_whole) << size;
    }
}

TEST_F(BadFile, too_many_points_are_told_with_their_place) {
    std::vector<RawPolygon> polygons = three_islands;
    polygons[1].n = 1'000'000'000;
    write(file_of(polygons));
    const std::string said =
        path() + " is damaged at byte 84, after 1 polygon: gshhs_skip_pts: polygon 2 has 1000000000 points";
    EXPECT_EQ(complaint().substr(0, said.size()), said);
}

TEST_F(BadFile, impossible_levels_and_boxes_are_told) {
    const std::string said = path() + " is damaged: polygon 2, whose points begin at byte 128, has an "
                                      "impossible level or box; import it again";
    std::vector<RawPolygon> polygons = three_islands;
    for (int level : {0, 7, 255}) {
        polygons[1].level = level;
        write(file_of(polygons));
        EXPECT_EQ(complaint(), said) << level;
    }
    for (size_t side = 0; side < 4; side++) {
        polygons[1] = island(2, 30, 20);
        polygons[1].box = {30'000'000, 31'000'000, 20'000'000, 21'000'000};
        polygons[1].box[side] = 2'000'000'000;
        write(file_of(polygons));
        EXPECT_EQ(complaint(), said) << side;
    }
}

TEST_F(BadFile, latitude_beyond_the_pole_is_told) {
    RawPolygon polygon = island(1, 10, 20);
    polygon.box = {10'000'000, 11'000'000, 20'000'000, 21'000'000};
    polygon.points[2].second = -95;
    write(file_of({polygon}));
    EXPECT_EQ(complaint(), path() + " is damaged: polygon 1, whose points begin at byte 44, has a latitude "
                                    "beyond the pole; import it again");
}

TEST_F(BadFile, shore_that_winds_on_and_on_is_told) {
    RawPolygon polygon = island(1, 0, 20);
    for (int i = 0; i < 1000; i++)
        polygon.points.emplace_back(120 * i % 360, 20);
    write(file_of({polygon}));
    EXPECT_EQ(complaint(),
              path() + " is damaged: polygon 1, whose points begin at byte 44, winds round the globe more "
                       "than once; import it again");
}

TEST_F(BadFile, polygons_without_points_are_passed_over) {
    RawPolygon empty = island(1, 10, 20);
    empty.points.clear();
    write(file_of({empty, island(2, 30, 20)}));
    EXPECT_EQ(complaint(), "");
    EXPECT_EQ(visited_, 1);
}

TEST_F(BadFile, the_log_of_the_library_is_given_back) {
    write("short");
    EXPECT_NE(complaint(), "");
    testing::internal::CaptureStderr();
    elog_log(0, "heard\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "heard\n");
}

} // namespace
