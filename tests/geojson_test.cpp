// SPDX-License-Identifier: MIT
#include "plain_rings.hpp"
#include "shapefile_files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <sstream>
#include <utility>

namespace lindra::test {
namespace {

// The geometry of the only record of a file, and what was told while it was written.
struct Written {
    explicit Written(const std::string &shape) : file(main_file(1, record_bytes(1, shape))) {
        text = geojson_geometry((*file)[0]);
    }
    OpenShapefile file;
    std::string text;
    size_t repairs() const { return file.told(repair_kind::geometry); }
    Lines lines() const { return file.lines(repair_kind::geometry); }
};

std::string polygon(const std::vector<Path> &rings) {
    return path_shape(SHAPE_POLYGON, rings);
}

Path square(double x, double y, double size, bool clockwise = true) {
    Path ring = {{x, y}, {x, y + size}, {x + size, y + size}, {x + size, y}, {x, y}};
    return clockwise ? ring : Path(ring.rbegin(), ring.rend());
}

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr bool counterclockwise = false;

TEST(Geojson, null_shapes) {
    EXPECT_EQ(Written(le32(SHAPE_NULL)).text, "null");
}

TEST(Geojson, points) {
    EXPECT_EQ(Written(point_shape(-1.5, 2)).text, R"({"type":"Point","coordinates":[-1.5,2]})");
    EXPECT_EQ(Written(le32(SHAPE_POINTZ) + le_doubles({1, 2, 3, 4})).text,
              R"({"type":"Point","coordinates":[1,2,3]})");
    EXPECT_EQ(Written(multipoint_shape({{1, 2}, {3, 4}})).text,
              R"({"type":"MultiPoint","coordinates":[[1,2],[3,4]]})");
}

TEST(Geojson, measures_are_left_out) {
    EXPECT_EQ(Written(le32(SHAPE_POINTM) + le_doubles({1, 2, 9})).text,
              R"({"type":"Point","coordinates":[1,2]})");
    const std::string points = multipoint_shape({{1, 2}, {3, 4}}).substr(4);
    EXPECT_EQ(Written(le32(SHAPE_MULTIPOINTM) + points + extras({8, 9})).text,
              R"({"type":"MultiPoint","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(Written(le32(SHAPE_MULTIPOINTZ) + points + extras({5, 6}) + extras({8, 9})).text,
              R"({"type":"MultiPoint","coordinates":[[1,2,5],[3,4,6]]})");
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINEM, {{{1, 2}, {3, 4}}}) + extras({8, 9})).text,
              R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(Written(path_shape(SHAPE_POLYGONM, {square(0, 0, 1)}) + extras({5, 6, 7, 8, 9})).text,
              R"({"type":"Polygon","coordinates":[[[0,0],[1,0],[1,1],[0,1],[0,0]]]})");
    EXPECT_EQ(Written(path_shape(SHAPE_POLYGONZ, {square(0, 0, 1)}) + extras({5, 6, 7, 8, 5})).text,
              R"({"type":"Polygon","coordinates":[[[0,0,5],[1,0,8],[1,1,7],[0,1,6],[0,0,5]]]})");
}

TEST(Geojson, numbers_read_back_as_they_were) {
    EXPECT_EQ(Written(point_shape(0.1, 1.0 / 3)).text,
              R"({"type":"Point","coordinates":[0.1,0.3333333333333333]})");
    EXPECT_EQ(Written(point_shape(5e-324, -1.7976931348623157e308)).text,
              R"({"type":"Point","coordinates":[5e-324,-1.7976931348623157e+308]})");
}

TEST(Geojson, lines) {
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}})).text,
              R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}, {{5, 6}, {7, 8}}})).text,
              R"({"type":"MultiLineString","coordinates":[[[1,2],[3,4]],[[5,6],[7,8]]]})");
}

TEST(Geojson, a_part_of_one_point_is_no_line) {
    const Written written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}, {{5, 6}}}));
    EXPECT_EQ(written.text, R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(written.repairs(), 1U);
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINE, {{{5, 6}}})).text, "null");
}

TEST(Geojson, outlines_turn_counterclockwise_and_holes_clockwise) {
    const Written written(polygon({square(0, 0, 9), square(1, 1, 2, counterclockwise)}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[9,9],[0,9],[0,0]],)"
                            R"([[1,1],[1,3],[3,3],[3,1],[1,1]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, the_least_of_holes_is_turned_too) {
    const Written written(polygon({square(0, 0, 9), {{1, 1}, {1, 2}, {2, 1}, {1, 1}}}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[9,9],[0,9],[0,0]],)"
                            R"([[1,1],[1,2],[2,1],[1,1]]]})");
    EXPECT_EQ(written.lines(), Lines{"memory.shp:100: record 1 has a hole that runs clockwise"});
    const Written other(polygon({square(0, 0, 9), {{1, 1}, {2, 1}, {1, 2}, {1, 1}}}));
    EXPECT_EQ(other.text, written.text);
    EXPECT_EQ(other.repairs(), 0U);
}

TEST(Geojson, rings_that_turn_the_wrong_way_are_told_apart_by_containment) {
    const Written written(polygon({square(1, 1, 2), square(0, 0, 9, counterclockwise)}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[9,9],[0,9],[0,0]],)"
                            R"([[1,1],[1,3],[3,3],[3,1],[1,1]]]})");
    EXPECT_EQ(written.lines(), Lines{"memory.shp:100: record 1 has a hole that runs clockwise"});
    EXPECT_EQ(Written(polygon({square(0, 0, 9, counterclockwise)})).lines(),
              Lines{"memory.shp:100: record 1 has an outline that runs counterclockwise"});
}

TEST(Geojson, an_island_in_a_lake_is_a_polygon_of_its_own) {
    const Written written(
        polygon({square(4, 4, 1), square(20, 0, 1), square(2, 2, 5, counterclockwise), square(0, 0, 9)}));
    EXPECT_EQ(written.text, R"({"type":"MultiPolygon","coordinates":[[[[4,4],[5,4],[5,5],[4,5],[4,4]]],)"
                            R"([[[20,0],[21,0],[21,1],[20,1],[20,0]]],)"
                            R"([[[0,0],[9,0],[9,9],[0,9],[0,0]],[[2,2],[2,7],[7,7],[7,2],[2,2]]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, neighbours_that_share_a_side_hold_one_another_not) {
    EXPECT_TRUE(Written(polygon({square(0, 0, 2), square(2, 0, 2), square(0, 2, 2)}))
                    .text.starts_with(R"({"type":"MultiPolygon")"));
}

TEST(Geojson, rings_beside_a_greater_one_are_no_holes) {
    // Below, above, and to the north east of it, with some of its longitudes each.
    const Written written(polygon({square(0, 0, 9), square(1, -5, 2), square(1, 20, 2), square(8, 10, 3)}));
    EXPECT_EQ(written.text, R"({"type":"MultiPolygon","coordinates":[[[[0,0],[9,0],[9,9],[0,9],[0,0]]],)"
                            R"([[[1,-5],[3,-5],[3,-3],[1,-3],[1,-5]]],)"
                            R"([[[1,20],[3,20],[3,22],[1,22],[1,20]]],)"
                            R"([[[8,10],[11,10],[11,13],[8,13],[8,10]]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, a_hole_may_lie_in_line_with_a_side_of_its_outline) {
    const Path angle = {{0, 0}, {0, 9}, {5, 9}, {5, 5}, {9, 5}, {9, 0}, {0, 0}};
    const Path hole = {{2, 5}, {3, 4}, {1, 4}, {2, 5}};
    const Written written(polygon({angle, Path(hole.rbegin(), hole.rend())}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[9,5],[5,5],[5,9],[0,9],[0,0]],)"
                            R"([[2,5],[3,4],[1,4],[2,5]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, rings_that_touch_wherever_they_are_asked_hold_one_another_not) {
    // The greater one has the corners of the other, and the middles of its sides.
    const Path greater = {{0, 0}, {-2, 2}, {0, 4}, {0, 8}, {3, 6}, {4, 4}, {8, 0}, {6, -2}, {4, 0}, {0, 0}};
    const Path triangle = {{0, 0}, {0, 8}, {8, 0}, {0, 0}};
    const Written written(polygon({greater, triangle}));
    EXPECT_TRUE(written.text.starts_with(R"({"type":"MultiPolygon")")) << written.text;
    EXPECT_EQ(written.repairs(), 0U);
    // What is behind the last corner of one that is open belongs to nobody.
    const Written open(polygon({greater, {{0, 0}, {0, 8}, {8, 0}}}));
    EXPECT_EQ(open.text, written.text);
    EXPECT_EQ(open.lines(), Lines{"memory.shp:100: record 1 has a ring that is not closed, and is closed"});
}

TEST(Geojson, a_hole_may_touch_its_outline_at_corners) {
    const Path diamond = {{0, 2}, {2, 0}, {4, 2}, {2, 4}, {0, 2}};
    EXPECT_TRUE(Written(polygon({square(0, 0, 4), diamond})).text.starts_with(R"({"type":"Polygon")"));
}

// Whether the second of two rings is a hole of the first.
bool is_hole(const Path &ring, const Path &of) {
    const std::string text = Written(polygon({of, ring})).text;
    EXPECT_TRUE(text.starts_with(R"({"type":"Polygon")") || text.starts_with(R"({"type":"MultiPolygon")"));
    return text.starts_with(R"({"type":"Polygon")");
}

TEST(Geojson, a_ring_that_is_partly_beside_another_is_no_hole) {
    EXPECT_FALSE(is_hole({{5, 5}, {12, 6}, {12, 5}, {5, 5}}, square(0, 0, 9)));
    EXPECT_FALSE(is_hole({{5, 5}, {6, 12}, {5, 12}, {5, 5}}, square(0, 0, 9)));
}

TEST(Geojson, rings_of_one_size_hold_one_another_not) {
    // They cross, and the rectangle's first point lies in the diamond.
    const Path diamond = {{0, 2}, {2, 4}, {4, 2}, {2, 0}, {0, 2}};
    EXPECT_FALSE(is_hole({{1, 2}, {1, 4}, {3, 4}, {3, 0}, {1, 0}, {1, 2}}, diamond));
}

TEST(Geojson, the_side_that_closes_a_ring_counts_once) {
    const Path outline = {{9, 0}, {0, 0}, {0, 9}, {9, 9}, {9, 0}};
    EXPECT_TRUE(is_hole(square(1, 1, 2), outline));
    EXPECT_TRUE(is_hole(square(1, 1, 2), Path(outline.rbegin(), outline.rend())));
}

TEST(Geojson, corners_of_an_outline_level_with_those_of_its_hole_count_once) {
    const Path outline = {{0, 2}, {2, 4}, {4, 2}, {2, 0}, {0, 2}};
    const Path hole = {{1, 2}, {2, 3}, {3, 2}, {2, 1}, {1, 2}};
    EXPECT_TRUE(is_hole(hole, outline));
    EXPECT_TRUE(is_hole(hole, Path(outline.rbegin(), outline.rend())));
    // Both neighbours of the corner lie on one side of it.
    EXPECT_TRUE(is_hole({{1, 2}, {2, 3}, {2, 1}, {1, 2}}, {{0, 0}, {0, 4}, {6, 4}, {4, 2}, {6, 0}, {0, 0}}));
    EXPECT_TRUE(
        is_hole({{1, 2}, {2, 1}, {1, 1}, {1, 2}}, {{0, 0}, {0, 5}, {3, 5}, {4, 2}, {5, 5}, {6, 0}, {0, 0}}));
}

TEST(Geojson, holes_may_be_as_small_as_they_like) {
    EXPECT_TRUE(is_hole(square(0.125, 0.125, 0.25), square(0, 0, 0.5)));
    EXPECT_TRUE(is_hole(square(0.125, 0.125, 0.25, counterclockwise), square(0, 0, 0.5, counterclockwise)));
}

// The holes of the following touch their outlines wherever they are asked but in one place.

TEST(Geojson, every_corner_of_a_small_hole_is_asked) {
    // Its first and third corner lie on the outline, as do the middles behind them.
    const Path outline = {{0, 0}, {0, 4}, {2, 4},   {3, 2.5}, {4, 4},
                          {4, 0}, {2, 0}, {1, 1.5}, {0.5, 0}, {0, 0}};
    EXPECT_TRUE(is_hole({{0, 2}, {2, 1}, {4, 2}, {2, 3}, {0, 2}}, outline));
}

TEST(Geojson, the_first_corner_of_a_hole_is_asked) {
    const Path outline = {{0, 0}, {0, 8}, {8, 8}, {8, 3}, {6, 2}, {8, 1}, {8, 0}, {0, 0}};
    EXPECT_TRUE(is_hole({{4, 4}, {8, 0}, {0, 0}, {4, 4}}, outline));
    EXPECT_TRUE(is_hole({{4, 4}, {0, 0}, {8, 0}, {4, 4}}, outline));
}

TEST(Geojson, the_middle_of_a_side_of_a_hole_is_asked_and_of_nothing_else) {
    // The middle between the first corner and the third lies outside.
    const Path outline = {{0, 0}, {0, 8}, {2, 8}, {4, 4}, {6, 8}, {8, 8}, {8, 0}, {0, 0}};
    EXPECT_TRUE(is_hole({{0, 8}, {4, 4}, {8, 8}, {4, 0}, {0, 8}}, outline));
}

// --- Many rings, and long ones ---

// The rings of a polygon, all of which have an area.
struct Rings {
    explicit Rings(const std::vector<Path> &paths) : bytes(coordinates(paths)) {
        points = {bytes.data(), bytes.size() / detail::point_size};
        size_t first = 0;
        for (const Path &path : paths) {
            rings.push_back(detail::make_ring(points, first, path.size() - 1));
            first += path.size();
        }
    }

    // They look at the rings.
    detail::ring_nest nest() const & { return nest(detail::looks_for(points).left()); }
    detail::ring_nest nest() && = delete;
    detail::ring_nest nest(size_t looks) const & { return {points, rings, detail::look_budget(looks)}; }
    detail::ring_nest nest(size_t looks) && = delete;

    // How many looks sorting them takes.
    size_t looks() const {
        constexpr size_t plenty = size_t{1} << 40;
        return plenty - nest(plenty).looks().left();
    }

    GuardedBuffer bytes;
    point_range points;
    std::vector<detail::ring> rings;
};

Path circle(double x, double y, double radius, size_t count) {
    Path path;
    for (size_t i = 0; i < count; i++) {
        const double angle = -2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(count);
        path.emplace_back(x + radius * std::cos(angle), y + radius * std::sin(angle));
    }
    path.push_back(path.front());
    return path;
}

// Each in the one before it.
std::vector<Path> nested_squares(int count) {
    std::vector<Path> paths;
    for (int i = 0; i < count; i++)
        paths.push_back(square(i, i, 2 * (count - i), i % 2 == 0));
    return paths;
}

// A long ring, and triangles in a corner of its bounds, outside of it.
std::vector<Path> comb(size_t points, int triangles) {
    std::vector<Path> paths = {circle(0, 0, 80, points)};
    for (int i = 0; i < triangles; i++) {
        const double x = 70 + i % 100 * .09, y = 70 + i / 100 * .02;
        paths.push_back({{x, y}, {x, y + .01}, {x + .01, y + .01}, {x, y}});
    }
    return paths;
}

TEST(Geojson, boxes_tell_what_every_edge_tells_of_random_rings) {
    std::mt19937 random(1);
    // Few places, so that points lie on corners and edges, edges are level or upright, and rings cross
    // themselves; or many.
    for (const int places : {3, 8, 40, 1 << 30})
        for (const size_t count : {17U, 18U, 31U, 32U, 33U, 64U, 65U, 257U, 1000U}) {
            std::uniform_int_distribution<int> place(0, places);
            const auto anywhere = [&] { return std::pair(place(random) / 3.0, place(random) * 0.7 - 1); };
            Path path(count);
            for (auto &point : path)
                point = anywhere();
            path.push_back(path.front());
            const Rings one({path});
            const detail::ring_boxes boxes(one.points, one.rings[0]);
            detail::look_budget looks(1 << 30);
            for (int i = 0; i < 300; i++) {
                auto [x, y] = i % 3 ? anywhere() : path[static_cast<size_t>(i) % count];
                if (i % 5 == 0) x = std::nextafter(x, i % 2 ? -1e9 : 1e9);
                if (i % 7 == 0) y = std::nextafter(y, i % 2 ? -1e9 : 1e9);
                ASSERT_EQ(boxes.side_of({x, y}, looks), plain_side(one.points, one.rings[0], {x, y}))
                    << places << ' ' << count << ' ' << i;
            }
        }
}

// Walks from corner to corner in steps of 1.
Path grid_path(const Path &corners) {
    Path path;
    for (size_t i = 0; i + 1 < corners.size(); i++) {
        auto [x, y] = corners[i];
        for (; std::pair(x, y) != corners[i + 1];
             x += (corners[i + 1].first > x) - (corners[i + 1].first < x),
             y += (corners[i + 1].second > y) - (corners[i + 1].second < y))
            path.emplace_back(x, y);
    }
    path.push_back(corners.front());
    return path;
}

TEST(Geojson, boxes_tell_what_every_edge_tells_round_about_long_sides) {
    const Path corners = {{0, 0}, {0, 64}, {64, 64}, {64, 32}, {32, 32}, {32, 0}, {0, 0}};
    for (const Path &path :
         {grid_path(corners), grid_path({corners.rbegin(), corners.rend()}), circle(32, 32, 32, 100)}) {
        const Rings one({path});
        const detail::ring_boxes boxes(one.points, one.rings[0]);
        detail::look_budget looks(1 << 30);
        for (double x = -1; x <= 65; x += .5)
            for (double y = -1; y <= 65; y += .5)
                for (const double near : {x, std::nextafter(x, -9), std::nextafter(x, 99)})
                    ASSERT_EQ(boxes.side_of({near, y}, looks),
                              plain_side(one.points, one.rings[0], {near, y}))
                        << near << ' ' << y;
    }
}

TEST(Geojson, rounded_turns_of_points_close_to_a_run_count_as_they_are) {
    // Far to the west of its other corners a ring's differences are rounded, and so are its turns.
    std::mt19937 random(2);
    std::uniform_real_distribution<double> west(-1e9, -1e8), small(0, 1e-9);
    for (int i = 0; i < 200; i++) {
        Path path;
        for (int k = 0; k < 20; k++)
            path.emplace_back(k % 2 ? west(random) : small(random), small(random));
        path.push_back(path.front());
        const Rings one({path});
        const detail::ring_boxes boxes(one.points, one.rings[0]);
        detail::look_budget looks(1 << 30);
        for (int k = 0; k < 200; k++) {
            const shape_point p = {small(random) * 2, small(random)};
            ASSERT_EQ(boxes.side_of(p, looks), plain_side(one.points, one.rings[0], p)) << i << ' ' << k;
        }
    }
}

TEST(Geojson, rings_are_sorted_as_if_each_were_compared_with_every_other) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> place(0, 40), size(1, 20), points(3, 60);
    for (int round = 0; round < 100; round++) {
        std::vector<Path> paths;
        for (int i = 0; i < 60; i++) {
            const double x = place(random), y = place(random), radius = size(random) * .75;
            paths.push_back(i % 3 ? circle(x, y, radius, static_cast<size_t>(points(random)))
                                  : square(x, y, radius, i % 2));
        }
        const Rings all(paths);
        const detail::ring_nest nest = all.nest();
        const std::vector<bool> is_hole = plain_holes(all.points, all.rings);
        for (size_t i = 0; i < paths.size(); i++)
            ASSERT_EQ(nest.is_hole(i), is_hole[i]) << round << ' ' << i;
        ASSERT_EQ(nest.unsorted(), 0U);
    }
}

TEST(Geojson, coordinates_whose_products_vanish_or_overflow_are_compared_edge_by_edge) {
    for (const double scale : {0x1p-530, 0x1p480, 1.0}) {
        std::vector<Path> paths = {circle(0, 0, 80, 100), circle(0, 0, 40, 100), circle(60, 60, 4, 100)};
        for (Path &path : paths)
            for (auto &[x, y] : path)
                x *= scale, y *= scale;
        const Rings all(paths);
        EXPECT_EQ(all.nest().is_hole(1), plain_holes(all.points, all.rings)[1]);
        EXPECT_FALSE(all.nest().is_hole(2));
        EXPECT_EQ(all.looks() > 200, scale != 1) << all.looks();
    }
}

TEST(Geojson, boxes_and_edges_are_looked_at) {
    const Rings one({circle(0, 0, 80, 32)});
    detail::look_budget looks = detail::looks_for(one.points);
    EXPECT_EQ(looks.left(), 1024U * 33);
    // The box of all, those of the halves, and the edges of the southern one.
    EXPECT_EQ(detail::ring_boxes(one.points, one.rings[0]).side_of({0, -40}, looks), detail::side::inside);
    EXPECT_EQ(looks.left(), 1024U * 33 - 3 - 16);
}

TEST(Geojson, a_small_ring_beside_a_long_one_takes_few_looks) {
    const auto looks_for_one = [](size_t points) {
        return Rings(comb(points, 200)).looks() - Rings(comb(points, 100)).looks();
    };
    // The rings beside it, which are open too, are looked at as well.
    EXPECT_LE(looks_for_one(1000), 100 * (200 + 40));
    EXPECT_LE(looks_for_one(100000), looks_for_one(1000) + 100 * 40);
}

TEST(Geojson, nested_squares_take_a_look_for_each_pair) {
    constexpr int count = 400;
    const size_t looks = Rings(nested_squares(count)).looks();
    EXPECT_GE(looks, count * (count - 1) / 2);
    EXPECT_LE(looks, count * (count - 1) / 2 + 4 * count);
}

TEST(Geojson, nested_squares_are_holes_in_turn) {
    const Rings squares(nested_squares(1000));
    const detail::ring_nest nest = squares.nest();
    EXPECT_EQ(nest.unsorted(), 0U);
    const std::vector<detail::nested_polygon> polygons = nest.polygons();
    ASSERT_EQ(polygons.size(), 500U);
    for (size_t i = 0; i < polygons.size(); i++) {
        EXPECT_EQ(polygons[i].outline, 2 * i);
        EXPECT_EQ(polygons[i].holes, std::vector{2 * i + 1});
    }
}

TEST(Geojson, rings_beyond_the_looks_are_outlines) {
    const Rings squares(nested_squares(100));
    const size_t enough = squares.looks() + 1;
    EXPECT_EQ(squares.nest(enough).unsorted(), 0U);
    const detail::ring_nest nest = squares.nest(enough - 1);
    EXPECT_EQ(nest.unsorted(), 1U);
    EXPECT_FALSE(nest.is_sorted(99));
    EXPECT_FALSE(nest.is_hole(99));
    EXPECT_TRUE(nest.is_hole(97));
    EXPECT_EQ(nest.polygons().size(), 51U);
    EXPECT_EQ(squares.nest(0).polygons().size(), 100U);
}

TEST(Geojson, rings_that_take_too_long_to_sort_are_told_once_and_are_all_there) {
    constexpr int count = 9000;
    std::vector<Path> triangles;
    for (int i = 0; i < count; i++) {
        const Path path = {{i, i}, {i, 3 * count - 2 * i}, {3 * count - 2 * i, i}, {i, i}};
        triangles.push_back(i % 2 ? Path(path.rbegin(), path.rend()) : path);
    }
    const Rings all(triangles);
    const detail::ring_nest nest = all.nest();
    const size_t left = nest.unsorted();
    ASSERT_GT(left, 0U);
    ASSERT_LT(left, count / 4U);
    const Written written(polygon(triangles));
    EXPECT_EQ(written.lines(),
              Lines{"memory.shp:100: record 1 has rings that take too long to sort, and is written with " +
                    std::to_string(left) + " of them as outlines"});
    constexpr size_t positions = 4;
    const size_t lists = 1 + nest.polygons().size() + count * (1 + positions);
    EXPECT_EQ(static_cast<size_t>(std::ranges::count(written.text, '[')), lists);
}

TEST(Geojson, open_rings_are_closed) {
    const Written written(polygon({{{0, 0}, {0, 1}, {1, 0}}}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[1,0],[0,1],[0,0]]]})");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, rings_without_area_are_left_out) {
    const Written written(
        polygon({{{0, 0}, {1, 1}, {0, 0}}, square(0, 0, 1), {{0, 0}, {1, 1}, {2, 2}, {0, 0}}}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[1,0],[1,1],[0,1],[0,0]]]})");
    EXPECT_EQ(written.repairs(), 2U);
    EXPECT_EQ(Written(polygon({{{0, 0}, {1, 1}, {0, 0}}})).text, "null");
}

TEST(Geojson, points_in_one_place_are_a_closed_ring_and_a_point_is_none) {
    const std::string left_out = "memory.shp:100: record 1 has a ring without area, which is left out";
    EXPECT_EQ(Written(polygon({{{1, 1}, {1, 1}}})).lines(), Lines{left_out});
    EXPECT_EQ(Written(polygon({{{1, 1}}})).lines(),
              (Lines{"memory.shp:100: record 1 has a ring that is not closed, and is closed", left_out}));
}

TEST(Geojson, a_ring_that_is_too_large_to_be_measured_is_left_out) {
    const Written written(polygon({{{0, 0}, {5e307, 1e308}, {1e308, 5e307}, {0, 0}}}));
    EXPECT_EQ(written.text, "null");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, a_coordinate_that_is_no_number_leaves_no_shape) {
    for (const double bad : {not_a_number, std::numeric_limits<double>::infinity()}) {
        const Written written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, bad}}}));
        EXPECT_EQ(written.text, "null");
        EXPECT_EQ(written.repairs(), 1U);
    }
}

TEST(Geojson, a_height_that_is_no_number_leaves_out_all) {
    for (const auto &heights : {std::vector{5.0, not_a_number}, std::vector{not_a_number, 5.0}}) {
        const Written written(path_shape(SHAPE_POLYLINEZ, {{{1, 2}, {3, 4}}}) + extras(heights));
        EXPECT_EQ(written.text, R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
        EXPECT_EQ(written.repairs(), 1U);
    }
}

TEST(Geojson, huge_coordinates_do_not_confuse_the_nesting) {
    EXPECT_FALSE(
        Written(polygon({square(-1e308, -1e308, 1e308), square(0, 0, 1e308), square(1, 1, 1)})).text.empty());
}

TEST(Geojson, fans_and_strips_become_triangles) {
    const auto patch = [](int32_t part_type) {
        return le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(1) + le32(4) + le32(0) +
               le32(part_type) + coordinates({{{0, 0}, {1, 0}, {1, 1}, {0, 1}}}) + extras({1, 2, 3, 4});
    };
    EXPECT_EQ(Written(patch(1)).text, R"({"type":"MultiPolygon","coordinates":[)"
                                      R"([[[0,0,1],[1,0,2],[1,1,3],[0,0,1]]],)"
                                      R"([[[0,0,1],[1,1,3],[0,1,4],[0,0,1]]]]})");
    EXPECT_EQ(Written(patch(0)).text, R"({"type":"MultiPolygon","coordinates":[)"
                                      R"([[[0,0,1],[1,0,2],[1,1,3],[0,0,1]]],)"
                                      R"([[[1,0,2],[1,1,3],[0,1,4],[1,0,2]]]]})");
}

// A multipatch of parts with their types. Its heights are counted from 0 up, but that of a part's last point
// is that of its first.
std::string patch(const std::vector<std::pair<part_type, Path>> &parts) {
    std::string indexes, types;
    std::vector<Path> paths;
    std::vector<double> heights;
    for (const auto &[type, path] : parts) {
        indexes += le32(static_cast<int64_t>(heights.size()));
        types += le32(static_cast<int32_t>(type));
        paths.push_back(path);
        const auto first = static_cast<double>(heights.size());
        for (size_t i = 0; i + 1 < path.size(); i++)
            heights.push_back(first + static_cast<double>(i));
        heights.push_back(first);
    }
    return le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(static_cast<int64_t>(parts.size())) +
           le32(static_cast<int64_t>(heights.size())) + indexes + types + coordinates(paths) +
           extras(heights);
}

TEST(Geojson, inner_rings_of_a_patch_follow_their_outer_one) {
    for (const auto &[outer, inner] : {std::pair(part_type::outer_ring, part_type::inner_ring),
                                       std::pair(part_type::first_ring, part_type::ring)}) {
        const Written written(
            patch({{outer, square(0, 0, 9)}, {inner, square(1, 1, 2)}, {outer, square(20, 0, 1)}}));
        EXPECT_EQ(written.text,
                  R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[9,0,3],[9,9,2],[0,9,1],[0,0,0]],)"
                  R"([[1,1,5],[1,3,6],[3,3,7],[3,1,8],[1,1,5]]],)"
                  R"([[[20,0,10],[21,0,13],[21,1,12],[20,1,11],[20,0,10]]]]})");
        EXPECT_EQ(written.repairs(), 0U);
    }
}

TEST(Geojson, an_inner_ring_of_a_patch_without_an_outer_one_is_an_outline) {
    EXPECT_EQ(Written(patch({{part_type::inner_ring, square(0, 0, 1)}})).text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[1,0,3],[1,1,2],[0,1,1],[0,0,0]]]]})");
}

TEST(Geojson, what_is_no_surface_of_a_patch_is_left_out) {
    const Path line = {{0, 0}, {1, 1}};
    const Path there_and_back = {{0, 0}, {1, 1}, {0, 0}};
    const Written nothing(patch({{part_type::triangle_fan, line}, {part_type::ring, there_and_back}}));
    EXPECT_EQ(nothing.text, "null");
    EXPECT_EQ(nothing.repairs(), 2U);
    const Written some(
        patch({{part_type::ring, line}, {part_type::outer_ring, {{0, 0}, {1, 0}, {0, 1}, {0, 0}}}}));
    EXPECT_EQ(some.text, R"({"type":"MultiPolygon","coordinates":[[[[0,0,2],[1,0,3],[0,1,4],[0,0,2]]]]})");
    EXPECT_EQ(some.repairs(), 1U);
}

TEST(Geojson, triangles_are_turned_counterclockwise) {
    EXPECT_EQ(Written(patch({{part_type::triangle_fan, {{0, 0}, {0, 1}, {1, 0}}}})).text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[1,0,0],[0,1,1],[0,0,0]]]]})");
    EXPECT_EQ(Written(patch({{part_type::triangle_fan, {{0, 0}, {0.5, 0}, {0, 0.5}}}})).text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[0.5,0,1],[0,0.5,0],[0,0,0]]]]})");
}

TEST(Geojson, an_upright_triangle_keeps_its_direction) {
    EXPECT_EQ(Written(patch({{part_type::triangle_fan, {{0, 0}, {1, 1}, {2, 2}}}})).text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[1,1,1],[2,2,0],[0,0,0]]]]})");
}

TEST(Geojson, an_upright_surface_keeps_its_direction) {
    const Written written(patch({{part_type::outer_ring, {{0, 0}, {1, 1}, {1, 1}, {0, 0}, {0, 0}}}}));
    EXPECT_EQ(written.text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[1,1,1],[1,1,2],[0,0,3],[0,0,0]]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, a_surface_whose_heights_are_left_out_is_closed_by_its_place) {
    std::string shape = patch({{part_type::outer_ring, square(0, 0, 1)}});
    shape.replace(shape.size() - 8, 8, le_double(not_a_number));
    const Written written(shape);
    EXPECT_EQ(written.text, R"({"type":"MultiPolygon","coordinates":[[[[0,0],[1,0],[1,1],[0,1],[0,0]]]]})");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, an_upright_surface_is_open_where_it_ends_above_its_beginning) {
    const std::string open = le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(1) + le32(4) + le32(0) +
                             le32(static_cast<int32_t>(part_type::outer_ring)) +
                             coordinates({{{0, 0}, {1, 1}, {1, 1}, {0, 0}}}) + extras({0, 1, 2, 3});
    const Written written(open);
    EXPECT_EQ(written.text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0,0],[1,1,1],[1,1,2],[0,0,3],[0,0,0]]]]})");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, a_feature_bears_its_attributes) {
    OpenShapefile file(
        main_file_of(SHAPE_POINT, {point_shape(1, 2)}), "",
        table_file(
            {{"T\"", 'C', 5}, {"N", 'N', 4}, {"F", 'F', 4}, {"D", 'D', 8}, {"L", 'L', 1}, {"X", 'N', 2}},
            {std::string(" \"\\\x01\xc3\xa4  421e-319990102T**")}),
        "UTF-8");
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":)"
              R"({"T\"":"\"\\\u0001ä","N":42,"F":0.001,"D":"1999-01-02","L":true,"X":null}})");
}

TEST(Geojson, texts_are_escaped_where_json_asks_for_it) {
    std::string out;
    detail::append_text(out, std::string_view("\0\x01\x1f !\"/\\\b\f\n\r\t\x7f", 14));
    EXPECT_EQ(out, R"("\u0000\u0001\u001f !\"/\\\b\f\n\r\t)"
                   "\x7f\"");
}

TEST(Geojson, dates_have_ten_characters) {
    OpenShapefile file(main_file_of(SHAPE_NULL, {le32(SHAPE_NULL)}), "",
                       table_file({{"A", 'D', 8}, {"B", 'D', 8}}, {" 0033010920241231"}));
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":null,"properties":{"A":"0033-01-09","B":"2024-12-31"}})");
}

TEST(Geojson, logical_values_are_true_false_or_null) {
    OpenShapefile file(main_file_of(SHAPE_NULL, {le32(SHAPE_NULL)}), "",
                       table_file({{"A", 'L', 1}, {"B", 'L', 1}, {"C", 'L', 1}}, {" YN?"}));
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":null,"properties":{"A":true,"B":false,"C":null}})");
}

TEST(Geojson, repairs_need_not_be_heard) {
    const GuardedBuffer bytes(main_file_of(SHAPE_POLYGON, {polygon({{{0, 0}, {0, 1}, {1, 0}}})}));
    const shapefile file(shapefile_bytes{byte_span(bytes.data(), bytes.size())});
    EXPECT_EQ(geojson_geometry(file[0]), R"({"type":"Polygon","coordinates":[[[0,0],[1,0],[0,1],[0,0]]]})");
}

TEST(Geojson, a_feature_without_a_table_has_no_properties) {
    OpenShapefile file(main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":null})");
}

TEST(Geojson, a_feature_without_a_row_in_the_table_has_no_properties_and_one_without_fields_has_empty_ones) {
    const std::string shapes = main_file_of(SHAPE_NULL, {le32(SHAPE_NULL), le32(SHAPE_NULL)});
    OpenShapefile file(shapes, "", table_file({{"A", 'N', 1}, {"B", 'N', 1}}, {" 12"}));
    EXPECT_EQ(geojson((*file)[0]), R"({"type":"Feature","geometry":null,"properties":{"A":1,"B":2}})");
    EXPECT_EQ(geojson((*file)[1]), R"({"type":"Feature","geometry":null,"properties":null})");
    OpenShapefile empty(shapes, "", table_file({{"A", 'N', 0}}, {" "}));
    EXPECT_EQ(geojson((*empty)[0]), R"({"type":"Feature","geometry":null,"properties":{}})");
}

TEST(Geojson, a_feature_of_a_row_that_is_cut_has_all_fields) {
    const std::string table = table_file({{"A", 'N', 1}, {"B", 'N', 2}, {"C", 'N', 1}}, {" 1234"});
    OpenShapefile file(main_file_of(SHAPE_NULL, {le32(SHAPE_NULL)}), "", table.substr(0, table.size() - 3));
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":null,"properties":{"A":1,"B":null,"C":null}})");
}

TEST(Geojson, a_collection_leaves_out_what_is_deleted) {
    OpenShapefile file(main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4), le32(SHAPE_NULL)}),
                       "", table_file({{"A", 'N', 1}}, {" 1", "*2", " 3"}));
    std::ostringstream out;
    write_geojson(out, *file);
    EXPECT_EQ(out.str(),
              "{\"type\":\"FeatureCollection\",\"features\":[\n"
              R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":{"A":1}},)"
              "\n"
              R"({"type":"Feature","geometry":null,"properties":{"A":3}})"
              "\n]}\n");
}

} // namespace
} // namespace lindra::test
