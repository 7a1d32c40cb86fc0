// SPDX-License-Identifier: MIT

#include "map/joined.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace {

using lindra::tools::joined;
using lindra::tools::Line;
using lindra::tools::Point;

// "0,0 1,0 2,0" for each line, in the order of the lines.
std::string text_of(const std::vector<Line> &lines) {
    std::string text;
    for (const Line &line : lines) {
        for (const Point &point : line)
            text += std::to_string(static_cast<int>(point.lon)) + "," +
                    std::to_string(static_cast<int>(point.lat)) + " ";
        text += "| ";
    }
    return text;
}

TEST(Joined, two_pieces_that_meet_are_one_line) {
    EXPECT_EQ(text_of(joined({{{0, 0}, {1, 0}}, {{1, 0}, {2, 5}}})), "0,0 1,0 2,5 | ");
}

TEST(Joined, pieces_are_turned_round_as_needed) {
    EXPECT_EQ(text_of(joined({{{0, 0}, {1, 0}}, {{2, 5}, {1, 0}}})), "0,0 1,0 2,5 | ");
    EXPECT_EQ(text_of(joined({{{1, 0}, {0, 0}}, {{1, 0}, {2, 5}}})), "2,5 1,0 0,0 | ");
}

TEST(Joined, pieces_that_do_not_meet_stay_as_they_are_and_in_order) {
    EXPECT_EQ(text_of(joined({{{5, 5}, {6, 6}}, {{0, 0}, {1, 0}}})), "5,5 6,6 | 0,0 1,0 | ");
    EXPECT_TRUE(joined({}).empty());
}

TEST(Joined, lines_end_where_three_meet) {
    const std::vector<Line> fork = {{{0, 0}, {1, 0}}, {{1, 0}, {2, 0}}, {{1, 0}, {2, 1}}};
    EXPECT_EQ(joined(fork).size(), 3u);
}

TEST(Joined, closed_lines_stay_closed) {
    EXPECT_EQ(text_of(joined({{{0, 0}, {1, 0}, {1, 1}, {0, 0}}})), "0,0 1,0 1,1 0,0 | ");
    EXPECT_EQ(text_of(joined({{{0, 0}, {1, 0}}, {{1, 1}, {0, 0}}, {{1, 0}, {1, 1}}})), "0,0 1,0 1,1 0,0 | ");
}

TEST(Joined, two_pieces_with_the_same_ends_are_one_loop) {
    EXPECT_EQ(text_of(joined({{{0, 0}, {1, 1}, {2, 0}}, {{0, 0}, {1, -1}, {2, 0}}})),
              "0,0 1,1 2,0 1,-1 0,0 | ");
}

TEST(Joined, a_long_line_comes_together_from_shuffled_pieces) {
    std::mt19937 random(3);
    std::vector<Line> pieces;
    for (int i = 0; i < 500; i++) {
        Line piece = {{1.0 * i, 0}, {i + 0.5, 1}, {i + 1.0, 0}};
        if (random() % 2) std::reverse(piece.begin(), piece.end());
        pieces.push_back(piece);
    }
    std::shuffle(pieces.begin(), pieces.end(), random);
    const std::vector<Line> lines = joined(pieces);
    ASSERT_EQ(lines.size(), 1u);
    Line line = lines[0];
    if (line.front().lon > line.back().lon) std::reverse(line.begin(), line.end());
    ASSERT_EQ(line.size(), 1001u);
    for (size_t i = 0; i < line.size(); i++)
        ASSERT_EQ(line[i].lon, static_cast<double>(i) / 2);
}

} // namespace
