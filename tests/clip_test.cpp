// SPDX-License-Identifier: MIT

#include "map/clip.hpp"

#include "plain_geometry.hpp"

#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace {

using namespace lindra::test;
using lindra::tools::clip_area;
using lindra::tools::clip_line;
using lindra::tools::clip_outline;

constexpr Window unit = {0, 10, 0, 10};

using Pairs = std::vector<std::pair<double, double>>;

Pairs pairs(const Line &line) {
    Pairs result;
    for (const Point &point : line)
        result.emplace_back(point.lon, point.lat);
    return result;
}

// The same ring whatever point it begins with and whichever way it runs.
Pairs normal(const Ring &ring) {
    Pairs points = pairs(ring);
    std::rotate(points.begin(), std::min_element(points.begin(), points.end()), points.end());
    if (points.size() > 1 && points[1] > points.back()) std::reverse(points.begin() + 1, points.end());
    return points;
}

std::vector<Pairs> normal(const std::vector<Ring> &rings) {
    std::vector<Pairs> result;
    for (const Ring &ring : rings)
        result.push_back(normal(ring));
    std::sort(result.begin(), result.end());
    return result;
}

double length(const Line &line) {
    double sum = 0;
    for (size_t i = 1; i < line.size(); i++)
        sum += std::hypot(line[i].lon - line[i - 1].lon, line[i].lat - line[i - 1].lat);
    return sum;
}

// --- Areas by example -------------------------------------------------------------------------------------

TEST(ClipArea, ring_inside_the_window_is_unchanged) {
    const Ring ring = {{1, 1}, {4, 2}, {3, 5}};
    const std::vector<Ring> pieces = clip_area(ring, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pairs(pieces[0]), pairs(ring));
}

TEST(ClipArea, ring_outside_the_window_leaves_nothing) {
    EXPECT_TRUE(clip_area({{11, 1}, {14, 2}, {13, 5}}, unit).empty());
    EXPECT_TRUE(clip_area({{-5, 12}, {20, 14}, {13, 25}}, unit).empty());
}

TEST(ClipArea, ring_round_a_corner_outside_the_window_leaves_nothing) {
    EXPECT_TRUE(clip_area({{-3, 8}, {-3, 13}, {2, 13}, {-1, 11}}, unit).empty());
}

TEST(ClipArea, ring_round_the_window_leaves_the_window) {
    const auto pieces = normal(clip_area({{-5, -5}, {25, -7}, {25, 30}, {-9, 19}}, unit));
    const std::vector<Pairs> expected = {{{0, 0}, {0, 10}, {10, 10}, {10, 0}}};
    EXPECT_EQ(pieces, expected);
}

TEST(ClipArea, ring_that_leaves_twice_becomes_two_rings) {
    const Ring horseshoe = {{5, 1}, {15, 1}, {15, 9}, {5, 9}, {5, 7}, {12, 7}, {12, 3}, {5, 3}};
    const auto pieces = normal(clip_area(horseshoe, unit));
    const std::vector<Pairs> expected = {{{5, 1}, {5, 3}, {10, 3}, {10, 1}},
                                         {{5, 7}, {5, 9}, {10, 9}, {10, 7}}};
    EXPECT_EQ(pieces, expected);
}

TEST(ClipArea, direction_of_the_ring_is_kept) {
    const Ring counter_clockwise = {{5, 1}, {15, 1}, {15, 9}, {5, 9}};
    EXPECT_GT(signed_area(clip_area(counter_clockwise, unit).at(0)), 0);
    EXPECT_LT(signed_area(clip_area(Ring(counter_clockwise.rbegin(), counter_clockwise.rend()), unit).at(0)),
              0);
}

TEST(ClipArea, ring_that_touches_the_border_from_outside_leaves_nothing) {
    EXPECT_TRUE(clip_area({{10, 5}, {15, 1}, {15, 9}}, unit).empty()) << "by a point";
    EXPECT_TRUE(clip_area({{10, 2}, {15, 2}, {15, 9}, {10, 9}}, unit).empty()) << "by an edge";
    EXPECT_TRUE(clip_area({{10, 10}, {15, 11}, {12, 15}}, unit).empty()) << "at the corner";
}

TEST(ClipArea, ring_that_touches_the_border_from_inside_is_unchanged) {
    for (const Ring &ring :
         {Ring{{10, 5}, {3, 1}, {3, 9}}, Ring{{10, 2}, {5, 2}, {5, 9}, {10, 9}},
          Ring{{0, 0}, {10, 0}, {10, 10}, {0, 10}}, Ring{{10, 5}, {3, 9}, {10, 6}, {4, 10}}})
        EXPECT_EQ(normal(clip_area(ring, unit)), normal(std::vector<Ring>{ring}));
}

TEST(ClipArea, ring_that_touches_the_border_from_inside_and_crosses_it_elsewhere_is_one_ring) {
    const Ring ring = {{10, 5}, {3, 1}, {1, 11}, {3, 9}};
    const auto pieces = clip_area(ring, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_NEAR(area_of(pieces), std::fabs(signed_area(reentrant_clip(ring, unit))), 1e-12);
}

TEST(ClipArea, notch_that_reaches_the_border_parts_the_ring) {
    const auto notched = [](double depth) { return Ring{{14, 1}, {14, 9}, {6, 9}, {depth, 5}, {6, 1}}; };
    EXPECT_EQ(clip_area(notched(9), unit).size(), 1u);
    EXPECT_EQ(clip_area(notched(10), unit).size(), 2u);
    EXPECT_EQ(clip_area(notched(11), unit).size(), 2u);
}

TEST(ClipArea, edge_along_the_border_with_area_on_both_sides_is_no_crossing) {
    // Up along the border at 10 from 3 to 6, coming from inside and going on outside.
    const Ring ring = {{5, 3}, {10, 3}, {10, 6}, {14, 6}, {14, 9}, {5, 9}};
    const auto pieces = clip_area(ring, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(normal(pieces[0]), (Pairs{{5, 3}, {5, 9}, {10, 9}, {10, 3}}));
}

TEST(ClipArea, crossing_points_lie_on_the_border_exactly) {
    const Window window = {0.1, 7.3, -0.7, 9.9};
    for (const Ring &piece : clip_area({{-3.3, 4.7}, {3.1, -8.9}, {11.7, 5.1}, {2.9, 17.3}}, window))
        for (const Point &point : piece)
            EXPECT_TRUE(contains(window, point)) << point.lon << " " << point.lat;
}

TEST(ClipArea, what_has_no_area_leaves_nothing) {
    EXPECT_TRUE(clip_area({}, unit).empty());
    EXPECT_TRUE(clip_area({{5, 5}}, unit).empty());
    EXPECT_TRUE(clip_area({{5, 5}, {15, 5}}, unit).empty());
    EXPECT_TRUE(clip_area({{0, 1}, {0, 5}, {0, 9}}, unit).empty()) << "all along the border";
}

// --- Areas against plain answers --------------------------------------------------------------------------

using Random = std::mt19937_64;

constexpr int rounds = 10000;

double between(Random &random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

int whole_between(Random &random, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
}

// Any points in any order: crosses itself over and over.
Ring tangled_ring(Random &random) {
    Ring ring(static_cast<size_t>(whole_between(random, 3, 30)));
    for (Point &point : ring)
        point = {between(random, -10, 20), between(random, -10, 20)};
    return ring;
}

// The same on whole numbers: repeated points, edges on top of each other, points and edges on the border.
Ring tangled_grid_ring(Random &random) {
    Ring ring(static_cast<size_t>(whole_between(random, 3, 30)));
    for (Point &point : ring)
        point = {1.0 * whole_between(random, -3, 7), 1.0 * whole_between(random, -3, 7)};
    return ring;
}

// Long thin spikes round a middle; does not cross itself.
Ring spiky_ring(Random &random) {
    const int count = whole_between(random, 3, 60);
    const Point middle = {between(random, -5, 15), between(random, -5, 15)};
    Ring ring;
    for (int i = 0; i < count; i++) {
        const double angle = 2 * std::numbers::pi * i / count;
        const double radius = std::exp(between(random, -2, 3));
        ring.push_back({middle.lon + radius * std::cos(angle), middle.lat + radius * std::sin(angle)});
    }
    return ring;
}

// Towers of whole heights over a common ground, above and below it; does not cross itself, and touches itself
// nowhere.
Ring towers_ring(Random &random) {
    const int count = whole_between(random, 1, 12);
    Ring top, bottom;
    for (int i = 0; i < count; i++) {
        const double up = whole_between(random, 5, 9);
        const double down = whole_between(random, 0, 4);
        top.insert(top.end(), {{-1.0 + i, up}, {0.0 + i, up}});
        bottom.insert(bottom.end(), {{-1.0 + i, down}, {0.0 + i, down}});
    }
    top.insert(top.end(), bottom.rbegin(), bottom.rend());
    return top;
}

Window any_window(Random &random) {
    const double west = between(random, -8, 15);
    const double south = between(random, -8, 15);
    return {west, west + between(random, 0.1, 12), south, south + between(random, 0.1, 12)};
}

Window grid_window(Random &random) {
    const int west = whole_between(random, -3, 9);
    const int south = whole_between(random, -3, 8);
    return {1.0 * west, 1.0 * west + whole_between(random, 1, 6), 1.0 * south,
            1.0 * south + whole_between(random, 1, 6)};
}

using MakeRing = Ring (*)(Random &);
using MakeWindow = Window (*)(Random &);

// Returns whether the pieces are the ring's area within the window and nothing outside it.
bool is_right_by_probes(const Ring &ring, const Window &window, Random &random) {
    const std::vector<Ring> pieces = clip_area(ring, window);
    for (const Ring &piece : pieces)
        for (const Point &point : piece)
            if (!contains(window, point)) return false;
    for (int i = 0; i < 40; i++) {
        const Point probe = {between(random, window.west, window.east),
                             between(random, window.south, window.north)};
        if (distance(probe, ring) > 1e-9 && contains(ring, probe) != contains(pieces, probe)) return false;
    }
    return true;
}

void compare_by_probes(MakeRing make_ring, MakeWindow make_window) {
    Random random(1);
    for (int i = 0; i < rounds; i++)
        ASSERT_TRUE(is_right_by_probes(make_ring(random), make_window(random), random)) << "ring " << i;
}

TEST(ClipArea, tangled_rings_keep_their_even_odd_area) {
    compare_by_probes(tangled_ring, any_window);
}

TEST(ClipArea, tangled_rings_on_a_grid_keep_their_even_odd_area) {
    compare_by_probes(tangled_grid_ring, grid_window);
}

TEST(ClipArea, spiky_rings_keep_their_even_odd_area) {
    compare_by_probes(spiky_ring, any_window);
}

TEST(ClipArea, towers_on_a_grid_keep_their_even_odd_area) {
    compare_by_probes(towers_ring, grid_window);
}

// The pieces of a ring that does not cross itself neither overlap nor cross: their areas add up.
void compare_areas(MakeRing make_ring, MakeWindow make_window) {
    Random random(2);
    for (int i = 0; i < rounds; i++) {
        const Ring ring = make_ring(random);
        const Window window = make_window(random);
        const double expected = std::fabs(signed_area(reentrant_clip(ring, window)));
        ASSERT_NEAR(area_of(clip_area(ring, window)), expected, 1e-9) << "ring " << i;
    }
}

TEST(ClipArea, pieces_of_spiky_rings_add_up) {
    compare_areas(spiky_ring, any_window);
}

TEST(ClipArea, pieces_of_towers_add_up) {
    compare_areas(towers_ring, grid_window);
}

TEST(ClipArea, windows_that_tile_the_plane_share_the_area_out) {
    Random random(3);
    for (int i = 0; i < 500; i++) {
        const Ring ring = spiky_ring(random);
        double sum = 0;
        for (int west = -40; west < 40; west += 8)
            for (int south = -40; south < 40; south += 8)
                sum += area_of(clip_area(ring, {west * 1.0, west + 8.0, south * 1.0, south + 8.0}));
        ASSERT_NEAR(sum, std::fabs(signed_area(ring)), 1e-9);
    }
}

TEST(ClipArea, towers_become_as_many_rings_as_stand_in_the_window) {
    const Ring towers = {{0, 0}, {7, 0}, {7, 5}, {6, 5}, {6, 1}, {5, 1},
                         {5, 9}, {3, 9}, {3, 1}, {1, 1}, {1, 9}, {0, 9}};
    const Window above = {-5, 15, 4, 20};
    EXPECT_EQ(clip_area(towers, above).size(), 3u);
    const Window higher = {-5, 15, 5, 20}; // the first tower ends on the border
    EXPECT_EQ(clip_area(towers, higher).size(), 2u);
}

TEST(ClipArea, comb_of_a_million_points_is_cut_in_one_sweep) {
    constexpr int teeth = 300'000;
    Ring comb = {{0, -5}};
    for (int i = 0; i < teeth; i++) {
        const double x = 10.0 * i / teeth;
        const double step = 10.0 / teeth;
        comb.insert(comb.end(), {{x, 0}, {x, 20}, {x + step / 2, 20}, {x + step / 2, 0}});
    }
    comb.push_back({10, -5});
    const std::vector<Ring> pieces = clip_area(comb, {0, 10, 5, 10});
    EXPECT_EQ(pieces.size(), static_cast<size_t>(teeth));
    EXPECT_NEAR(area_of(pieces), 25, 1e-6);
}

// --- Outlines and lines -----------------------------------------------------------------------------------

TEST(ClipOutline, outline_inside_the_window_ends_in_its_first_point) {
    const auto pieces = clip_outline({{1, 1}, {4, 2}, {3, 5}}, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pairs(pieces[0]), (Pairs{{1, 1}, {4, 2}, {3, 5}, {1, 1}}));
}

TEST(ClipOutline, nothing_runs_along_the_border) {
    const Ring ring = {{5, 5}, {15, 5}, {15, 8}, {5, 8}};
    const auto pieces = clip_outline(ring, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pairs(pieces[0]), (Pairs{{10, 8}, {5, 8}, {5, 5}, {10, 5}}))
        << "one piece through the first point";
}

TEST(ClipOutline, outline_round_the_window_leaves_nothing) {
    EXPECT_TRUE(clip_outline({{-5, -5}, {25, -7}, {25, 30}, {-9, 19}}, unit).empty());
}

TEST(ClipOutline, last_edge_is_clipped_too) {
    const auto pieces = clip_outline({{-5, 4}, {-5, 20}, {20, 20}, {20, 4}}, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pairs(pieces[0]), (Pairs{{10, 4}, {0, 4}}));
}

TEST(ClipLine, line_that_comes_and_goes_falls_into_pieces) {
    const auto pieces = clip_line({{-5, 5}, {15, 5}, {15, 7}, {5, 7}, {5, 15}}, unit);
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pairs(pieces[0]), (Pairs{{0, 5}, {10, 5}}));
    EXPECT_EQ(pairs(pieces[1]), (Pairs{{10, 7}, {5, 7}, {5, 10}}));
}

TEST(ClipLine, line_along_the_border_lies_in_the_window) {
    const auto pieces = clip_line({{0, -5}, {0, 15}}, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pairs(pieces[0]), (Pairs{{0, 0}, {0, 10}}));
}

TEST(ClipLine, line_that_touches_the_window_in_one_point_leaves_nothing) {
    EXPECT_TRUE(clip_line({{-5, 5}, {0, 5}, {-5, 8}}, unit).empty());
    EXPECT_TRUE(clip_line({{-5, 5}, {5, -5}}, {0, 10, 0, 10}).empty()) << "at the corner";
    EXPECT_TRUE(clip_line({}, unit).empty());
    EXPECT_TRUE(clip_line({{5, 5}}, unit).empty());
}

TEST(ClipLine, touching_the_border_from_inside_does_not_break_the_line) {
    const auto pieces = clip_line({{5, 5}, {10, 5}, {5, 8}}, unit);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pairs(pieces[0]), (Pairs{{5, 5}, {10, 5}, {5, 8}}));
}

// The length of a line in a window, edge by edge, by the parameters where it enters and leaves.
double plain_length(const Line &line, const Window &window) {
    double sum = 0;
    for (size_t i = 1; i < line.size(); i++) {
        const Point a = line[i - 1];
        const double dx = line[i].lon - a.lon;
        const double dy = line[i].lat - a.lat;
        double from = 0, to = 1;
        const auto cut = [&](double start, double step, double low, double high) {
            if (step == 0) {
                if (start < low || start > high) to = -1;
                return;
            }
            from = std::max(from, std::min((low - start) / step, (high - start) / step));
            to = std::min(to, std::max((low - start) / step, (high - start) / step));
        };
        cut(a.lon, dx, window.west, window.east);
        cut(a.lat, dy, window.south, window.north);
        if (to > from) sum += (to - from) * std::hypot(dx, dy);
    }
    return sum;
}

void compare_lengths(MakeRing make_line, MakeWindow make_window) {
    Random random(4);
    for (int i = 0; i < rounds; i++) {
        const Ring ring = make_line(random);
        const Window window = make_window(random);
        double sum = 0, closed_sum = 0;
        for (const Line &piece : clip_line(ring, window))
            sum += length(piece);
        for (const Line &piece : clip_outline(ring, window))
            closed_sum += length(piece);
        Line closed = ring;
        closed.push_back(ring.front());
        ASSERT_NEAR(sum, plain_length(ring, window), 1e-9) << "line " << i;
        ASSERT_NEAR(closed_sum, plain_length(closed, window), 1e-9) << "ring " << i;
    }
}

TEST(ClipLine, pieces_are_as_long_as_the_line_in_the_window) {
    compare_lengths(tangled_ring, any_window);
    compare_lengths(tangled_grid_ring, grid_window);
}

} // namespace
