// SPDX-License-Identifier: MIT

#include "map/style.hpp"

#include "common/errors.hpp"

#include <gtest/gtest.h>

namespace {

using namespace lindra::tools;

std::string refusal(const std::string &style) {
    try {
        parse_style(style);
    } catch (const UsageError &error) {
        return error.what();
    }
    return "";
}

std::string quoted(const std::string &text) {
    return std::string(1, '\'').append(text).append(1, '\'');
}

bool says(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

void expect_colour(const Colour &colour, double red, double green, double blue, double alpha) {
    EXPECT_NEAR(colour.red, red, 0.003);
    EXPECT_NEAR(colour.green, green, 0.003);
    EXPECT_NEAR(colour.blue, blue, 0.003);
    EXPECT_NEAR(colour.alpha, alpha, 0.003);
}

TEST(Style, colours_are_hexadecimal_or_named) {
    expect_colour(parse_colour("#ff8000"), 1, 0.5, 0, 1);
    expect_colour(parse_colour("#F80"), 1, 0.533, 0, 1);
    expect_colour(parse_colour("#00000080"), 0, 0, 0, 0.5);
    expect_colour(parse_colour("navy"), 0, 0, 0.5, 1);
    EXPECT_FALSE(parse_colour("none").is_seen());
}

TEST(Style, settings_change_the_preset_before_them) {
    const Style night = parse_style("night");
    const Style changed = parse_style("night,coast=#ff0000,coast-width=2.5");
    expect_colour(changed.coast, 1, 0, 0, 1);
    EXPECT_EQ(changed.coast_width, 2.5);
    EXPECT_EQ(changed.sea.red, night.sea.red);
}

TEST(Style, without_a_preset_it_is_atlas) {
    const Style atlas = parse_style("atlas");
    EXPECT_EQ(parse_style("").land.red, atlas.land.red);
    EXPECT_EQ(parse_style("coast=red").land.red, atlas.land.red);
}

TEST(Style, every_preset_sets_everything) {
    for (const char *name : {"atlas", "plain", "night"}) {
        const Style style = parse_style(name);
        for (const Colour &colour :
             {style.background, style.sea, style.land, style.lake, style.island, style.pond, style.coast,
              style.shore, style.border, style.state_border, style.marine_border, style.river,
              style.intermittent_river, style.canal, style.graticule, style.frame, style.text})
            EXPECT_TRUE(colour.is_seen()) << name;
        for (const double width :
             {style.coast_width, style.shore_width, style.border_width, style.state_border_width,
              style.marine_border_width, style.river_width, style.intermittent_river_width, style.canal_width,
              style.graticule_width, style.frame_width})
            EXPECT_GT(width, 0) << name;
    }
}

TEST(Style, borders_have_a_colour_and_a_width_for_each_level) {
    const Style style = parse_style("border=#f00,border-width=5,state-border=#0f0,state-border-width=4,"
                                    "marine-border=#00f,marine-border-width=3");
    const auto stroke = [&](int level) { return line_stroke(style, LineKind::border, level); };
    expect_colour(stroke(1).colour, 1, 0, 0, 1);
    expect_colour(stroke(2).colour, 0, 1, 0, 1);
    expect_colour(stroke(3).colour, 0, 0, 1, 1);
    for (int level = 1; level <= 3; level++)
        EXPECT_EQ(stroke(level).width, 6 - level);
    EXPECT_EQ(stroke(1).dash, 0);
    EXPECT_EQ(stroke(2).dash, 0);
    EXPECT_GT(stroke(3).dash, 0);
}

TEST(Style, rivers_grow_thinner_by_level_and_intermittent_ones_and_canals_are_dashed) {
    const Style style = parse_style("river=#f00,river-width=5,intermittent-river=#0f0,"
                                    "intermittent-river-width=4,canal=#00f,canal-width=3");
    const auto stroke = [&](int level) { return line_stroke(style, LineKind::river, level); };
    EXPECT_EQ(stroke(1).width, 5);
    EXPECT_EQ(stroke(5).width, 4);
    EXPECT_EQ(stroke(8).width, 3);
    for (int level : {2, 3, 4, 6, 7, 9, 10})
        EXPECT_LT(stroke(level).width, stroke(level - 1).width) << level;
    for (int level = 1; level <= 10; level++)
        EXPECT_EQ(stroke(level).dash > 0, level >= 5) << level;
    expect_colour(stroke(4).colour, 1, 0, 0, 1);
    expect_colour(stroke(7).colour, 0, 1, 0, 1);
    expect_colour(stroke(10).colour, 0, 0, 1, 1);
}

TEST(Style, unknown_names_are_refused_with_the_known_ones) {
    EXPECT_TRUE(says(refusal("neon"), "'neon'"));
    EXPECT_TRUE(says(refusal("neon"), "atlas, plain, night"));
    EXPECT_TRUE(says(refusal("atlas,road=#00f"), "'road'"));
    EXPECT_TRUE(says(refusal("atlas,road=#00f"), "background, sea, land, lake"));
    EXPECT_TRUE(says(refusal("coast=mauvish"), "'mauvish'"));
    EXPECT_TRUE(says(refusal("coast=mauvish"), "black, white"));
}

TEST(Style, malformed_colours_are_refused) {
    for (const char *colour :
         {"", "#", "#12", "#12345", "#1234567", "#123456789", "#gg0000", "#-10000", "ff0000", "#ff 000"})
        EXPECT_TRUE(says(refusal("sea=" + std::string(colour)), quoted(colour))) << colour;
}

TEST(Style, malformed_numbers_are_refused_with_their_range) {
    for (const char *number : {"", "-1", "nan", "inf", "51", "1e9", "2px"}) {
        const std::string text = refusal("coast-width=" + std::string(number));
        EXPECT_TRUE(says(text, "coast-width")) << number;
        EXPECT_TRUE(says(text, "0 to 50")) << number;
    }
}

} // namespace
