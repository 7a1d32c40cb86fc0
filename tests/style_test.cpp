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
              style.shore, style.graticule, style.frame, style.text})
            EXPECT_TRUE(colour.is_seen()) << name;
        for (const double width :
             {style.coast_width, style.shore_width, style.graticule_width, style.frame_width})
            EXPECT_GT(width, 0) << name;
    }
}

TEST(Style, unknown_names_are_refused_with_the_known_ones) {
    EXPECT_TRUE(says(refusal("neon"), "'neon'"));
    EXPECT_TRUE(says(refusal("neon"), "atlas, plain, night"));
    EXPECT_TRUE(says(refusal("atlas,river=#00f"), "'river'"));
    EXPECT_TRUE(says(refusal("atlas,river=#00f"), "background, sea, land, lake"));
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
