// SPDX-License-Identifier: MIT
//
// Lines and rings that run round the globe, many times, and what of them a window takes: the same, bit for
// bit, as of whole copies.

#include "map/clip.hpp"
#include "map/copies.hpp"
#include "map/pieces.hpp"

#include <gtest/gtest.h>

#include <random>

using namespace lindra::tools;

namespace lindra::tools {

bool operator==(const Point &a, const Point &b) {
    return a.lon == b.lon && a.lat == b.lat;
}

} // namespace lindra::tools

namespace {

using Random = std::mt19937_64;

double between(Random &random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

// Longitudes run on by up to half a turn; whole tens meet the borders of windows, and each other.
Line winding(Random &random, bool whole) {
    const size_t count = 1 + random() % 60;
    Line line;
    double lon = between(random, -700, 700);
    const double bias = between(random, -180, 180);
    for (size_t i = 0; i < count; i++) {
        const Point point = {lon, between(random, -90, 90)};
        line.push_back(whole ? Point{10 * std::round(point.lon / 10), 10 * std::round(point.lat / 10)}
                             : point);
        lon += between(random, std::min(bias, 0.0), std::max(bias, 0.0)) + between(random, -60, 60);
    }
    return line;
}

Window any_window(Random &random, bool whole) {
    double west = between(random, -370, 360), width = between(random, 1, 375);
    double south = between(random, -90, 70), height = between(random, 1, 90);
    if (whole) {
        west = 10 * std::round(west / 10), width = 10 * std::ceil(width / 10);
        south = 10 * std::round(south / 10), height = 10 * std::ceil(height / 10);
    }
    return {west, west + width, south, south + height};
}

template <class Clip>
std::vector<Line> of_whole_copies(const Line &line, const Window &window, Clip clip) {
    std::vector<Line> pieces;
    const Turns turns = turns_to(line, window);
    for (int turn = turns.first; turn <= turns.last; turn++)
        for (Line &piece : clip(shifted(line, 360.0 * turn), window))
            pieces.push_back(std::move(piece));
    return pieces;
}

size_t points_of(const std::vector<Line> &lines) {
    size_t count = 0;
    for (const Line &line : lines)
        count += line.size();
    return count;
}

constexpr int rounds = 5000;

} // namespace

TEST(Copies, pieces_are_those_of_whole_copies) {
    Random random(1);
    size_t pieces = 0;
    for (int round = 0; round < rounds; round++) {
        const bool whole = round % 2 != 0;
        const Line line = winding(random, whole);
        const Window window = any_window(random, whole);
        const Polygon polygon = {0, 1, line, 0};
        ASSERT_EQ(line_pieces(line, window), of_whole_copies(line, window, clip_line)) << round;
        ASSERT_EQ(shore_pieces(polygon, window), of_whole_copies(line, window, clip_outline)) << round;
        ASSERT_EQ(area_pieces(polygon, window), of_whole_copies(line, window, clip_area)) << round;
        pieces += line_pieces(line, window).size();
    }
    EXPECT_GT(pieces, size_t{rounds});
}

// From the first turn to the last, and round the pole once.
TEST(Copies, shore_round_a_pole_is_that_of_whole_copies) {
    Random random(2);
    for (int round = 0; round < rounds; round++) {
        Line shore = winding(random, round % 2 != 0);
        const double end = shore.front().lon + (round % 4 < 2 ? 360 : -360);
        shore.push_back({end, shore.front().lat});
        const Window window = any_window(random, round % 2 != 0);
        const Polygon polygon = {0, 1, shore, round % 3 == 0 ? 1 : -1};
        const Turns turns = turns_to(polygon.area(), window);
        Line whole;
        for (int i = 0; i <= turns.last - turns.first; i++) {
            const Line next = shifted(shore, 360.0 * (round % 4 < 2 ? turns.first + i : turns.last - i));
            if (!whole.empty()) whole.pop_back();
            whole.insert(whole.end(), next.begin(), next.end());
        }
        ASSERT_EQ(shore_pieces(polygon, window), clip_line(whole, window)) << round;
        if (whole.empty()) continue;
        const double pole = 90.0 * polygon.pole;
        whole.insert(whole.end(), {{whole.back().lon, pole}, {whole.front().lon, pole}});
        ASSERT_EQ(area_pieces(polygon, window), clip_area(whole, window)) << round;
    }
}

TEST(Copies, line_of_many_turns_is_copied_three_times_at_most) {
    constexpr int turns = 20'000, steps = 4;
    Line line;
    for (int i = 0; i <= turns * steps; i++)
        line.push_back({360.0 / steps * i - 180, i % 2 ? 10.0 : -10.0});
    Ring ring = line; // and back, so that it closes
    for (size_t i = line.size(); i-- > 0;)
        ring.push_back({line[i].lon, line[i].lat + 5});
    for (const Window &window : {Window{-187.2, 187.2, -90, 90}, Window{10, 30, -20, 20}}) {
        const Turns all = turns_to(line, window);
        EXPECT_GE(all.last - all.first, turns - 1);
        EXPECT_LT(points_of(copies(line, all, window)), 3 * line.size() + 2 * turns);
        EXPECT_LT(points_of(ring_copies(ring, all, window)), 3 * ring.size());
        EXPECT_GE(line_pieces(line, window).size(), size_t{turns});
        EXPECT_LT(points_of(line_pieces(line, window)), 4 * line.size());
    }
}
