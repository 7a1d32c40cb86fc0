// SPDX-License-Identifier: MIT
//
// Borders and rivers on maps, judged by their pixels: every segment of the file that comes with the source in
// every projection, and lines made for the places where maps tear.

#include "map/drawing.hpp"

#include "line_file.hpp"
#include "picture.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace {

using namespace lindra::test;
using lindra::tools::Coastline;
using lindra::tools::Line;
using lindra::tools::PlanePoint;
using lindra::tools::Point;
using lindra::tools::Window;

constexpr Pixel red = 0xff0000;
constexpr Pixel green = 0x00ff00;
constexpr Pixel magenta = 0xff00ff;

constexpr const char *bold =
    ",text=none,graticule=none,frame=none,border=#f00,border-width=4,state-border=#0f0,state-border-width=4,"
    "marine-border=#f0f,marine-border-width=4,river=#0f0,river-width=9,coast-width=0,shore-width=0";

Coastline &crude() {
    static Coastline coastline('c');
    return coastline;
}

Map draw(Wanted wanted, const std::string &layers, const std::string &style = "") {
    wanted.layers = layers;
    wanted.style = bold + style;
    return Map(wanted, crude());
}

// --- Every segment of the real file ----------------------------------------------------------------------

// Such as Gibraltar's and San Marino's: on a map of the world they are thinned away with all that is less
// than a fraction of a pixel.
bool is_too_small(const DeliveredSegment &segment) {
    const auto [west, east] = std::minmax_element(segment.lon.begin(), segment.lon.end());
    const auto [south, north] = std::minmax_element(segment.lat.begin(), segment.lat.end());
    return std::max(*east - *west, *north - *south) < 0.1F;
}

// The points of the segments, and those half-way between them.
std::vector<Point> points_of(const char *list) {
    BinnedLines file;
    if (file.select(list) <= 0) throw std::runtime_error("no lines");
    std::vector<Point> points;
    for (DeliveredSegment segment = file.next(); segment.status == 1; segment = file.next()) {
        if (is_too_small(segment)) continue;
        for (size_t i = 0; i < segment.lon.size(); i++) {
            const Point point = {segment.lon[i], segment.lat[i]};
            if (i > 0)
                points.push_back(
                    {(segment.lon[i - 1] + point.lon) / 2, (segment.lat[i - 1] + point.lat) / 2});
            points.push_back(point);
        }
    }
    return points;
}

// Whether the map shows the place, away from its edge and that of the page.
bool is_well_inside(const Map &map, Point place) {
    constexpr Pixel page = 0xffffff;
    constexpr int reach = 3;
    const auto at = map.drawing().pixel(place);
    if (!at) return false;
    const Picture &picture = map.picture();
    const int x = static_cast<int>(at->x);
    const int y = static_cast<int>(at->y);
    if (std::min(x, y) < reach || x + reach >= picture.width() || y + reach >= picture.height()) return false;
    for (int column = x - reach; column <= x + reach; column++)
        for (int row = y - reach; row <= y + reach; row++)
            if (picture.at(column, row) == page) return false;
    return true;
}

struct View {
    const char *name;
    Wanted wanted;
    int fewest; // points of national borders to be seen
};

void PrintTo(const View &view, std::ostream *out) {
    *out << view.name;
}

class EveryLineView : public testing::TestWithParam<View> {};

TEST_P(EveryLineView, every_national_border_lies_on_top) {
    const Map map = draw(GetParam().wanted, "land,lakes,borders:1,rivers:1");
    int seen = 0;
    for (const Point &point : points_of("p:1"))
        if (is_well_inside(map, point)) {
            EXPECT_EQ(map.at(point), red) << point.lon << " " << point.lat;
            seen++;
        }
    EXPECT_GE(seen, GetParam().fewest);
}

TEST_P(EveryLineView, every_major_river_is_seen_on_land_and_lakes) {
    const Map map = draw(GetParam().wanted, "land,lakes,rivers:1");
    for (const Point &point : points_of("r:1"))
        if (is_well_inside(map, point)) {
            EXPECT_EQ(map.at(point), green) << point.lon << " " << point.lat;
        }
}

// A streak would cross much of the sea.
TEST_P(EveryLineView, no_line_runs_through_the_oceans) {
    const Map map = draw(GetParam().wanted, "borders:1,rivers:1");
    for (const Point centre :
         {Point{-140, 25}, Point{-120, -45}, Point{-40, 35}, Point{-15, -25}, Point{80, -25}, Point{165, 25},
          Point{100, -45}, Point{0, 80}, Point{-170, 78}, Point{130, 82}})
        for (double lon = -8; lon <= 8; lon += 0.5)
            for (double lat = -5; lat <= 5; lat += 0.5) {
                const Point place = {centre.lon + lon, centre.lat + lat};
                if (is_well_inside(map, place)) {
                    EXPECT_EQ(map.at(place), sea) << place.lon << " " << place.lat;
                }
            }
}

INSTANTIATE_TEST_SUITE_P(
    DrawLines, EveryLineView,
    testing::Values(
        View{"plate_carree", {}, 3500}, View{"plate_carree_0_360", {.window = Window{0, 360, -90, 90}}, 3500},
        View{"plate_carree_from_minus_360", {.window = Window{-360, 0, -90, 90}}, 3500},
        View{"plate_carree_from_340", {.window = Window{340, 700, -90, 90}}, 3500},
        View{"plate_carree_west_of_180", {.window = Window{-195, -15, -80, 80}}, 500},
        View{"equirectangular", {.projection = "equirectangular", .window = Window{-30, 60, 20, 75}}, 500},
        View{"mercator_from_100", {.projection = "mercator", .window = Window{100, 460, -85, 85}}, 3500},
        View{"robinson", {.projection = "robinson"}, 3500},
        View{"robinson_from_30", {.projection = "robinson", .window = Window{30, 390, -90, 90}}, 3500},
        View{"orthographic", {.projection = "orthographic"}, 1000},
        View{"orthographic_pacific", {.projection = "orthographic", .centre = Point{-170, -15}}, 50},
        View{"lambert", {.projection = "lambert-azimuthal"}, 2000},
        View{"lambert_sector", {.projection = "lambert-azimuthal", .window = Window{-15, 40, 34, 72}}, 300},
        View{"equidistant", {.projection = "azimuthal-equidistant"}, 2000},
        View{"arctic", {.projection = "polar-stereographic", .window = Window{-180, 180, 0, 90}}, 1500},
        View{"antarctic", {.projection = "polar-stereographic", .window = Window{0, 360, -90, 0}}, 500}),
    [](const auto &test) { return test.param.name; });

// --- Where maps tear --------------------------------------------------------------------------------------

struct Projected {
    const char *projection;
    std::optional<Point> centre;
};

constexpr Projected projections_of_fiji[] = {{"plate-carree", {}},      {"mercator", {}},
                                             {"robinson", {}},          {"orthographic", Point{180, -17}},
                                             {"lambert-azimuthal", {}}, {"azimuthal-equidistant", {}}};

TEST(DrawLines, line_across_the_antimeridian_has_no_gap) {
    const LineData data(LineFile().add(1, {{175, -17}, {180, -17}}).add(1, {{-180, -17}, {-175, -17}}));
    for (const auto &[projection, centre] : projections_of_fiji)
        for (const Window window : {Window{170, 190, -25, -10}, {-190, -170, -25, -10}, {0, 360, -60, 60}}) {
            const Map map = draw({.projection = projection, .window = window, .centre = centre}, "borders");
            for (double lon = 175.05; lon < 185; lon += 0.05) {
                EXPECT_EQ(map.at({lon, -17}), red) << projection << " at " << lon;
            }
            EXPECT_EQ(map.at({172, -17}), sea) << projection;
        }
}

TEST(DrawLines, line_across_the_antimeridian_is_on_both_sides_of_a_map_of_the_world) {
    const LineData data(LineFile().add(1, {{175, -17}, {180, -17}}).add(1, {{-180, -17}, {-175, -17}}));
    const Map map = draw({.size = {720, 360}}, "borders");
    for (int x = 0; x < 720; x++) {
        const bool near_an_end = (x >= 10 && x < 13) || (x >= 707 && x < 710);
        if (near_an_end) continue;
        EXPECT_EQ(map.picture().at(x, 214), x < 10 || x >= 710 ? red : sea) << x;
    }
}

TEST(DrawLines, line_on_the_antimeridian_is_seen_from_either_side) {
    const LineData data(LineFile().add(1, {{180, 11}, {180, 19}}));
    for (const Window window :
         {Window{170, 190, 5, 25}, {160, 180, 5, 25}, {-180, -160, 5, 25}, {0, 360, -60, 60}}) {
        const Map map = draw({.window = window}, "borders");
        for (double lat = 11.5; lat < 19; lat += 0.5) {
            const double east = window.west < 0 ? -180 : 179.999;
            EXPECT_EQ(map.at({east, lat}), red) << window.west;
        }
    }
}

TEST(DrawLines, line_beside_the_window_shows_half_of_its_width) {
    const LineData data(LineFile().add(1, {{12, 49.999}, {18, 49.999}}));
    const Map map = draw({.window = Window{10, 20, 50, 60}, .size = {500, 0}}, "borders");
    EXPECT_EQ(map.picture().at(250, map.picture().height() - 1), red);
    EXPECT_EQ(map.picture().at(10, map.picture().height() - 1), sea);
}

TEST(DrawLines, line_to_a_pole_reaches_it) {
    const LineData data(
        LineFile().add(1, {{5, 80}, {5, 90}}).add(1, {{185, 80}, {185, 90}}).add(1, {{95, -90}, {95, -80}}));
    const Map north = draw({.projection = "polar-stereographic"}, "borders");
    const Map globe = draw({.projection = "orthographic", .centre = Point{0, 90}}, "borders");
    for (double lat = 80.2; lat <= 90; lat += 0.2)
        for (const double lon : {5.0, -175.0}) {
            EXPECT_EQ(north.at({lon, lat}), red) << lat;
            EXPECT_EQ(globe.at({lon, lat}), red) << lat;
        }
    EXPECT_EQ(north.at({95, 85}), sea);
    const Map south = draw({.projection = "lambert-azimuthal", .centre = Point{0, -90}}, "borders");
    for (double lat = -89.8; lat < -80; lat += 0.2)
        EXPECT_EQ(south.at({95, lat}), red) << lat;
}

TEST(DrawLines, far_side_of_a_globe_is_not_seen) {
    const LineData data(LineFile().add(1, {{172, 5}, {178, 5}}));
    const Map map =
        draw({.projection = "orthographic", .centre = Point{0, 0}, .size = {300, 300}}, "borders");
    for (int y = 0; y < 300; y++)
        for (int x = 0; x < 300; x++)
            ASSERT_NE(map.picture().at(x, y), red);
}

// --- How they are painted ---------------------------------------------------------------------------------

// The share of red among the pixels along the line.
double share_of(const Map &map, Pixel colour, Point from, Point to) {
    constexpr int samples = 2000;
    int found = 0;
    for (int i = 0; i < samples; i++) {
        const double share = (i + 0.5) / samples;
        found += map.at({std::lerp(from.lon, to.lon, share), std::lerp(from.lat, to.lat, share)}) == colour;
    }
    return found / static_cast<double>(samples);
}

TEST(DrawLines, each_level_has_its_colour_and_marine_borders_are_dashed) {
    const LineData data(
        LineFile().add(1, {{11, 45}, {19, 45}}).add(2, {{11, 46}, {19, 46}}).add(3, {{11, 47}, {19, 47}}));
    const Map map = draw({.window = Window{10, 20, 40, 50}, .size = {1000, 0}}, "borders");
    EXPECT_EQ(share_of(map, red, {11, 45}, {19, 45}), 1);
    EXPECT_EQ(share_of(map, green, {11, 46}, {19, 46}), 1);
    EXPECT_NEAR(share_of(map, magenta, {11, 47}, {19, 47}), 5 / 8.5, 0.15);
}

TEST(DrawLines, dashes_run_on_over_short_pieces) {
    LineFile borders;
    for (int i = 0; i < 200; i++)
        borders.add(3, {{11 + i * 0.04, 45}, {11 + (i + 1) * 0.04, 45}});
    const LineData data(borders);
    const Map map = draw({.window = Window{10, 20, 40, 50}, .size = {1000, 0}}, "borders");
    EXPECT_NEAR(share_of(map, magenta, {11, 45}, {19, 45}), 5 / 8.5, 0.15);
}

TEST(DrawLines, layers_left_out_are_not_painted) {
    const LineData data(LineFile().add(1, {{11, 45}, {19, 45}}).add(2, {{11, 46}, {19, 46}}),
                        LineFile().add(1, {{11, 47}, {19, 47}}));
    const Wanted wanted = {.window = Window{10, 20, 40, 50}, .size = {500, 0}};
    const auto seen = [&](const char *layers) {
        const Map map = draw(wanted, layers);
        return std::array{map.at({15, 45}) == red, map.at({15, 46}) == green, map.at({15, 47}) == green};
    };
    EXPECT_EQ(seen("borders,rivers"), (std::array{true, true, true}));
    EXPECT_EQ(seen("borders:national"), (std::array{true, false, false}));
    EXPECT_EQ(seen("borders:2"), (std::array{false, true, false}));
    EXPECT_EQ(seen("rivers:1-3"), (std::array{false, false, true}));
    EXPECT_EQ(seen("rivers:2-3"), (std::array{false, false, false}));
    EXPECT_EQ(seen("coast"), (std::array{false, false, false}));
}

TEST(DrawLines, borders_lie_over_rivers_and_major_over_minor) {
    const LineData data(LineFile().add(1, {{11, 45}, {19, 45}}).add(2, {{15, 41}, {15, 49}}),
                        LineFile().add(1, {{11, 41}, {19, 49}}));
    const Map map = draw({.window = Window{10, 20, 40, 50}, .size = {500, 0}}, "borders,rivers");
    EXPECT_EQ(map.at({15, 45}), red);
}

// Half of red over the sea, nowhere twice.
TEST(DrawLines, transparent_line_is_even_where_its_pieces_meet) {
    const LineData data(
        LineFile().add(1, {{13, 45}, {20, 45}}).add(1, {{20, 45}, {27, 45}}).add(1, {{20, 45}, {20, 49}}));
    const Map map =
        draw({.window = Window{10, 30, 40, 50}, .size = {1000, 0}}, "borders", ",border=#ff000080");
    const Pixel even = map.at({15, 45}).value();
    EXPECT_NE(even, red);
    EXPECT_EQ(share_of(map, even, {13.2, 45}, {26.8, 45}), 1);
}

} // namespace
