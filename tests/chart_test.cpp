// SPDX-License-Identifier: MIT

#include "map/chart.hpp"

#include "common/errors.hpp"
#include "map/densify.hpp"
#include "map/disc.hpp"
#include "map/scale.hpp"

#include "plain_geometry.hpp"

#include "refusal.hpp"
#include <algorithm>

#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace {

using namespace lindra::test;
using namespace lindra::tools;

constexpr double radians = std::numbers::pi / 180;

std::unique_ptr<Chart> chart(const std::string &projection, const Window &window,
                             std::optional<Point> centre = {}) {
    return make_chart(find_projection(projection), window, centre);
}

bool says(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// --- Projections -----------------------------------------------------------------------------------------

TEST(Projection, is_found_by_name_and_by_alias) {
    EXPECT_STREQ(find_projection("robinson").name, "robinson");
    EXPECT_STREQ(find_projection("robin").name, "robinson");
    EXPECT_STREQ(find_projection("eqc").name, "plate-carree");
    EXPECT_STREQ(find_projection("merc").name, "mercator");
    EXPECT_STREQ(find_projection("ortho").name, "orthographic");
    EXPECT_STREQ(find_projection("laea").name, "lambert-azimuthal");
    EXPECT_STREQ(find_projection("stere").name, "polar-stereographic");
}

TEST(Projection, unknown_name_is_refused_with_the_known_ones) {
    for (const char *name : {"mollweide", "", "merc, robin", "Mercator"}) {
        const std::string text = refusal([&] { find_projection(name); });
        EXPECT_TRUE(says(text, name)) << text;
        EXPECT_TRUE(says(text, "plate-carree, equirectangular, mercator, robinson, orthographic")) << text;
    }
}

TEST(Projection, sphere_has_the_mean_radius) {
    const auto plane = chart("plate-carree", {-180, 180, -90, 90});
    EXPECT_NEAR(plane->place({90, 45})->x, 6371008.8 * std::numbers::pi / 2, 1e-3);
    EXPECT_NEAR(plane->place({90, 45})->y, 6371008.8 * std::numbers::pi / 4, 1e-3);
}

// --- What a chart shows ----------------------------------------------------------------------------------

TEST(Chart, cylindrical_map_is_centred_on_the_window_whatever_turn_it_is_given_in) {
    for (const double turn : {-360.0, 0.0, 360.0}) {
        const auto plane = chart("mercator", {150 + turn, 210 + turn, -10, 10});
        EXPECT_NEAR(plane->place({180, 0})->x, 0, 1e-6);
        EXPECT_NEAR(plane->place({-180, 0})->x, 0, 1e-6);
        EXPECT_GT(plane->place({-160, 0})->x, 0);
        EXPECT_FALSE(plane->place({0, 0}));
    }
}

TEST(Chart, both_ends_of_a_whole_turn_have_their_own_place) {
    const auto plane = chart("robinson", {-180, 180, -90, 90});
    EXPECT_NEAR(plane->place({-180, 0})->x, -plane->place({180, 0})->x, 1e-6);
}

TEST(Chart, mercator_ends_at_85_degrees) {
    const auto plane = chart("mercator", {0, 10, 60, 90});
    EXPECT_EQ(plane->window().south, 60);
    EXPECT_EQ(plane->window().north, 85);
    EXPECT_TRUE(says(refusal([] { chart("mercator", {0, 10, 86, 90}); }), "ends at latitude 85"));
    EXPECT_TRUE(says(refusal([] { chart("mercator", {0, 10, -90, -85}); }), "ends at latitude -85"));
}

TEST(Chart, polar_map_has_the_pole_that_the_window_is_nearer_to) {
    EXPECT_EQ(chart("stere", {-180, 180, 20, 90})->centre().lat, 90);
    EXPECT_EQ(chart("stere", {-180, 180, -90, 0})->centre().lat, -90);
    EXPECT_EQ(chart("stere", {-180, 180, -90, 90})->window().south, -30);
    EXPECT_EQ(chart("stere", {-180, 180, -90, 90}, Point{0, -90})->window().north, 30);
    EXPECT_EQ(default_window(find_projection("stere"), Point{0, -90}).north, -60);
    EXPECT_EQ(default_window(find_projection("stere"), {}).south, 60);
    EXPECT_TRUE(says(refusal([] { chart("stere", {0, 90, 0, 90}, Point{0, 50}); }), "90 or -90"));
}

TEST(Chart, globe_is_seen_from_the_middle_of_its_window) {
    EXPECT_EQ(chart("ortho", {20, 60, 30, 50})->centre().lon, 40);
    EXPECT_EQ(chart("ortho", {20, 60, 30, 50})->centre().lat, 40);
    EXPECT_EQ(chart("laea", {-180, 180, 60, 90})->centre().lat, 90);
    EXPECT_EQ(chart("laea", {-180, 180, -90, -60})->centre().lat, -90);
    EXPECT_EQ(chart("ortho", {0, 360, -90, 90})->centre().lon, 180);
    EXPECT_EQ(chart("ortho", {0, 360, -90, 90}, Point{-30, 5})->centre().lon, -30);
}

TEST(Chart, window_behind_the_globe_is_refused) {
    EXPECT_TRUE(says(refusal([] {
                         chart("ortho", {-10, 10, -10, 10}, Point{180, 0});
                     }),
                     "nothing of the window"));
    EXPECT_TRUE(says(refusal([] {
                         chart("ortho", {100, 120, -10, 10}, Point{0, 0});
                     }),
                     "nothing of the window"));
    EXPECT_EQ(refusal([] { chart("ortho", {80, 120, -10, 10}, Point{0, 0}); }), "");
}

TEST(Chart, centre_of_a_cylindrical_map_is_refused) {
    EXPECT_TRUE(says(refusal([] { chart("eqc", {0, 10, 0, 10}, Point{5, 5}); }), "--center"));
}

TEST(Chart, window_without_extent_is_refused) {
    EXPECT_TRUE(says(refusal([] { chart("eqc", {5, 5 + 1e-9, 0, 10}); }), "less than"));
    EXPECT_EQ(refusal([] { chart("laea", {5, 5.0001, 60, 60.0001}); }), "");
}

TEST(Chart, region_of_a_globe_is_a_disc) {
    const auto globe = chart("ortho", {-180, 180, -90, 90});
    const PlaneLines region = globe->region();
    ASSERT_EQ(region.size(), 1u);
    for (const PlanePoint &point : region[0])
        EXPECT_NEAR(std::hypot(point.x, point.y), earth_radius, 1);
    EXPECT_NEAR(globe->rim(), earth_radius, 1);
}

TEST(Chart, region_round_a_pole_is_bounded_by_the_parallel) {
    const auto arctic = chart("stere", {-180, 180, 60, 90});
    const double radius = 2 * earth_radius * std::tan(15 * radians);
    const PlaneLines region = arctic->region();
    ASSERT_EQ(region.size(), 1u);
    for (const PlanePoint &point : region[0])
        EXPECT_NEAR(std::hypot(point.x, point.y), radius, 1);
}

TEST(Chart, region_between_two_parallels_is_a_ring) {
    EXPECT_EQ(chart("laea", {-180, 180, 30, 60}, Point{0, 90})->region().size(), 2u);
}

TEST(Chart, scale_is_that_of_the_projection) {
    const auto mercator = chart("mercator", {0, 20, 50, 70});
    EXPECT_NEAR(scale_at(*mercator, {10, 60})->east, 2, 1e-4);
    EXPECT_NEAR(scale_at(*mercator, {10, 60})->north, 2, 1e-4);
    const auto plane = chart("plate-carree", {0, 20, 50, 70});
    EXPECT_NEAR(scale_at(*plane, {10, 60})->east, 2, 1e-4);
    EXPECT_NEAR(scale_at(*plane, {10, 60})->north, 1, 1e-4);
    const auto true_in_the_middle = chart("equirectangular", {0, 20, 50, 70});
    EXPECT_NEAR(scale_at(*true_in_the_middle, {10, 60})->east, 1, 1e-4);
}

TEST(Chart, prevailing_scale_follows_the_larger_parts_of_the_map) {
    EXPECT_NEAR(prevailing_scale(*chart("plate-carree", {-180, 180, -90, 90})), 1, 1e-3);
    EXPECT_NEAR(prevailing_scale(*chart("mercator", {0, 20, 50, 70})), 1 / std::cos(68 * radians), 0.1);
    const double world = prevailing_scale(*chart("mercator", {-180, 180, -85, 85}));
    EXPECT_GT(world, 3);
    EXPECT_LT(world, 6);
    EXPECT_NEAR(prevailing_scale(*chart("laea", {-15, 40, 34, 72})), 1, 0.05);
}

// --- Discs -----------------------------------------------------------------------------------------------

// The place a distance and an azimuth away, degrees.
Point away(Point from, double distance, double azimuth) {
    const double lat =
        std::asin(std::sin(from.lat * radians) * std::cos(distance * radians) +
                  std::cos(from.lat * radians) * std::sin(distance * radians) * std::cos(azimuth * radians));
    const double lon =
        std::atan2(std::sin(azimuth * radians) * std::sin(distance * radians) * std::cos(from.lat * radians),
                   std::cos(distance * radians) - std::sin(from.lat * radians) * std::sin(lat));
    return {from.lon + lon / radians, lat / radians};
}

// A circle on the sphere, closed, longitudes running on.
Line circle(Point centre, double radius) {
    Line line;
    for (int azimuth = 0; azimuth <= 360; azimuth++) {
        Point point = away(centre, radius, azimuth);
        if (!line.empty()) point.lon -= 360 * std::round((point.lon - line.back().lon) / 360);
        line.push_back(point);
    }
    return line;
}

// Even-odd, on the plane of distances and azimuths.
bool is_covered(const std::vector<Line> &rings, Point centre, Point place) {
    const auto flat = [&](Point point) {
        const double lon = (point.lon - centre.lon) * radians;
        const double east = std::cos(point.lat * radians) * std::sin(lon);
        const double north = std::cos(centre.lat * radians) * std::sin(point.lat * radians) -
                             std::sin(centre.lat * radians) * std::cos(point.lat * radians) * std::cos(lon);
        const double distance = distance_between(centre, point);
        return Point{distance * std::sin(std::atan2(east, north)),
                     distance * std::cos(std::atan2(east, north))};
    };
    std::vector<Ring> flattened;
    for (const Line &line : rings) {
        Ring ring;
        for (const Point &point : line)
            ring.push_back(flat(point));
        flattened.push_back(ring);
    }
    return contains(flattened, flat(place));
}

// Circles of every size anywhere, seen in discs of every size anywhere: covered is what lies in the circle.
TEST(Disc, area_in_the_disc_is_the_circle_there) {
    std::mt19937 random(6);
    std::uniform_real_distribution<double> share(0, 1);
    const auto anywhere = [&] {
        return Point{360 * share(random) - 180, std::asin(2 * share(random) - 1) / radians};
    };
    int compared = 0;
    for (int round = 0; round < 400; round++) {
        const Point centre = anywhere();
        const double radius = 20 + 159 * share(random);
        const Point middle = anywhere();
        const double size = 5 + 170 * share(random);
        const Disc disc(centre, radius, 1);
        const std::vector<Line> area = disc.area({circle(middle, size)}, middle, true);
        for (int i = 0; i < 100; i++) {
            const Point place = anywhere();
            const double inside = size - distance_between(middle, place);
            if (distance_between(centre, place) > radius - 1 || std::fabs(inside) < 1) continue;
            EXPECT_EQ(is_covered(area, centre, place), inside > 0)
                << "circle of " << size << " round " << middle.lon << "/" << middle.lat << " in disc of "
                << radius << " round " << centre.lon << "/" << centre.lat << " at " << place.lon << "/"
                << place.lat;
            compared++;
        }
    }
    EXPECT_GT(compared, 10000);
}

TEST(Disc, area_round_the_whole_disc_fills_it_and_area_off_it_leaves_nothing) {
    const Disc disc({0, 0}, 90, 1);
    EXPECT_TRUE(is_covered(disc.area({circle({0, 0}, 120)}, {0, 0}, true), {0, 0}, {10, 10}));
    EXPECT_TRUE(disc.area({circle({180, 0}, 60)}, {180, 0}, true).empty());
    EXPECT_FALSE(is_covered(disc.area({circle({180, 0}, 60)}, {0, 0}, false), {0, 0}, {10, 10}));
}

TEST(Disc, edge_through_the_opposite_point_floods_nothing) {
    const Disc disc({0, 0}, 150, 1);
    const Line box = {{170, -10}, {180, -10}, {190, -10}, {190, 10}, {180, 10}, {180, -10}, {170, -10}};
    for (const Point reference : {Point{90, 0}, Point{0, 90}, Point{-20, -50}})
        EXPECT_FALSE(is_covered(disc.area({box}, reference, false), {0, 0}, {20, 20}));
}

// The shore of an Antarctica that begins outside the disc, inside it, and on its rim.
TEST(Disc, ring_round_a_pole_may_begin_anywhere) {
    for (double start = 0; start < 360; start += 7.5) {
        Line shore;
        for (double lon = 0; lon <= 360; lon += 2.5)
            shore.push_back({start + lon, -70 + 5 * std::sin(lon * radians)});
        const Point centre = {40, -30};
        const std::vector<Line> area = Disc(centre, 90, 1).area({shore}, {0, 90}, false);
        EXPECT_TRUE(is_covered(area, centre, {40, -85})) << start;
        EXPECT_TRUE(is_covered(area, centre, {0, -80})) << start;
        EXPECT_FALSE(is_covered(area, centre, {40, -60})) << start;
        EXPECT_FALSE(is_covered(area, centre, {90, -20})) << start;
        for (const Line &ring : area)
            for (size_t i = 1; i < ring.size(); i++)
                EXPECT_LT(distance_between(ring[i - 1], ring[i]), 3) << start;
    }
}

TEST(Disc, pieces_of_a_line_end_on_the_rim) {
    const Disc disc({0, 0}, 30, 1);
    const std::vector<Line> pieces = disc.pieces({{-90, 0}, {90, 0}});
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_NEAR(pieces[0].front().lon, -30, 1e-9);
    EXPECT_NEAR(pieces[0].back().lon, 30, 1e-9);
    EXPECT_TRUE(disc.pieces({{-90, 40}, {90, 40}}).empty());
    EXPECT_EQ(disc.pieces({{-90, 0}, {0, 0}, {0, 60}, {10, 60}, {10, 0}}).size(), 2u);
}

TEST(Disc, everything_lies_within_the_disc) {
    const Point centre = {30, 50};
    const Disc disc(centre, 80, 1);
    for (const Line &ring : disc.area({circle({60, 10}, 70)}, {60, 10}, true))
        for (const Point &point : ring)
            EXPECT_LE(distance_between(centre, point), 80 + 1e-6);
}

TEST(Densify, edges_are_no_longer_than_the_step) {
    const Line line = densified({{0, 0}, {10, 5}, {10, 5.5}}, 1);
    EXPECT_EQ(line.size(), 12u);
    for (size_t i = 1; i < line.size(); i++)
        EXPECT_LE(std::max(line[i].lon - line[i - 1].lon, line[i].lat - line[i - 1].lat), 1 + 1e-12);
}

} // namespace
