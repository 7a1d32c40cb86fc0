// SPDX-License-Identifier: MIT
//
// Strokes of so many points that they are made in pieces, which is not to be seen.

#include "picture.hpp"

#include "map/canvas.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace lindra::test;
using namespace lindra::tools;

namespace {

constexpr Colour black = {0, 0, 0, 1};
constexpr int side = 200;

// From left to right, its points on its way.
PlaneLine straight_line(size_t points) {
    PlaneLine line;
    for (size_t i = 0; i < points; i++)
        line.push_back({10.25 + 179.5 * static_cast<double>(i) / static_cast<double>(points - 1), 100});
    return line;
}

Picture stroked(const PlaneLines &lines, const Stroke &stroke) {
    Canvas canvas(FileType::png, side, side);
    canvas.trace_box({0, 0, side, side});
    canvas.fill(black);
    canvas.stroke_lines(lines, stroke, 1);
    return Picture(canvas.finish());
}

int apart(Pixel a, Pixel b) {
    return std::abs(static_cast<int>(a & 0xff) - static_cast<int>(b & 0xff));
}

// most: of 255 shades that a pixel may differ by.
void expect_as_of_two_points(const Stroke &stroke, int most = 2) {
    const Picture few = stroked({straight_line(2)}, stroke);
    const Picture many = stroked({straight_line(30'001)}, stroke);
    for (int y = 80; y < 120; y++)
        for (int x = 0; x < side; x++)
            ASSERT_LE(apart(few.at(x, y), many.at(x, y)), most) << x << ' ' << y;
}

} // namespace

TEST(Canvas, long_line_is_stroked_as_a_short_one) {
    expect_as_of_two_points({{1, 1, 1, 1}, 20});
}

TEST(Canvas, pieces_of_a_line_that_is_seen_through_are_not_seen) {
    expect_as_of_two_points({{1, 1, 1, 0.5}, 20});
}

TEST(Canvas, dashes_run_on_from_piece_to_piece) {
    // Where a piece ends within a dash, two flat ends meet within a pixel.
    expect_as_of_two_points({{1, 1, 1, 1}, 10, 17.5, 6}, 64);
}

TEST(Canvas, many_lines_that_are_seen_through_paint_nothing_twice) {
    const Stroke stroke = {{1, 1, 1, 0.5}, 20};
    const PlaneLines lines(3000, straight_line(2));
    EXPECT_EQ(stroked(lines, stroke).at(100, 100), stroked({lines.front()}, stroke).at(100, 100));
}

TEST(Canvas, lines_of_no_points_and_of_one_are_no_fault) {
    const Picture picture = stroked({{}, {{50, 50}}, straight_line(5001)}, {{1, 1, 1, 1}, 10});
    EXPECT_EQ(picture.at(100, 100), Pixel{0xffffff});
    EXPECT_EQ(picture.at(50, 80), Pixel{0});
}
