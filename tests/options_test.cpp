// SPDX-License-Identifier: MIT

#include "map/options.hpp"
#include "map/resolution.hpp"

#include "common/errors.hpp"

#include "refusal.hpp"
#include "temporary_directory.hpp"

#include <gtest/gtest.h>

namespace {

using namespace lindra::test;
using lindra::tools::choose_resolution;
using lindra::tools::Layers;
using lindra::tools::Levels;
using lindra::tools::MapFile;
using lindra::tools::parse_layers;
using lindra::tools::parse_window;
using lindra::tools::resolution_name;
using lindra::tools::UsageError;
using lindra::tools::Window;

std::string window_refusal(const std::string &text) {
    return refusal([&] { parse_window(text); });
}

bool says(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

void expect_window(const std::string &text, const Window &expected) {
    const Window window = parse_window(text);
    EXPECT_EQ(window.west, expected.west) << text;
    EXPECT_EQ(window.east, expected.east) << text;
    EXPECT_EQ(window.south, expected.south) << text;
    EXPECT_EQ(window.north, expected.north) << text;
}

TEST(ParseWindow, takes_decimal_degrees) {
    expect_window("5/15/45/50", {5, 15, 45, 50});
    expect_window("-10.5/-3.25/-90/90", {-10.5, -3.25, -90, 90});
    expect_window("-360/0/-1e1/.5", {-360, 0, -10, 0.5});
}

TEST(ParseWindow, east_below_west_is_across_the_antimeridian) {
    expect_window("170/-170/-50/-10", {170, 190, -50, -10});
    expect_window("350/10/0/10", {350, 370, 0, 10});
}

TEST(ParseWindow, window_beyond_one_turn_keeps_its_longitudes) {
    expect_window("350/370/0/10", {350, 370, 0, 10});
    expect_window("-195/-15/0/10", {-195, -15, 0, 10});
    expect_window("0/360/-90/90", {0, 360, -90, 90});
}

TEST(ParseWindow, says_which_number_is_wrong_and_how) {
    EXPECT_TRUE(says(window_refusal("5/15/45"), "four numbers are needed, not 3"));
    EXPECT_TRUE(says(window_refusal("5/15/45/50/60"), "four numbers are needed, not 5"));
    EXPECT_TRUE(says(window_refusal(""), "four numbers are needed, not 1"));
    EXPECT_TRUE(says(window_refusal("5/x/45/50"), "east is 'x', which is not a number"));
    EXPECT_TRUE(says(window_refusal("5/15/45/"), "north is '', which is not a number"));
    EXPECT_TRUE(says(window_refusal("5W/15/45/50"), "west is '5W', which is not a number"));
    EXPECT_TRUE(says(window_refusal("5/15/nan/50"), "south is 'nan', which is not a number"));
    EXPECT_TRUE(says(window_refusal("inf/15/45/50"), "west is 'inf', which is not a number"));
    EXPECT_TRUE(says(window_refusal("5/15/45/1e999"), "north is '1e999', which is not a number"));
    EXPECT_TRUE(says(window_refusal("-361/15/45/50"), "west is -361, which is outside -360 to 720"));
    EXPECT_TRUE(says(window_refusal("5/721/45/50"), "east is 721, which is outside -360 to 720"));
    EXPECT_TRUE(says(window_refusal("5/15/-90.1/50"), "south is -90.1, which is outside -90 to 90"));
    EXPECT_TRUE(says(window_refusal("5/15/45/91"), "north is 91, which is outside -90 to 90"));
}

TEST(ParseWindow, refuses_what_is_no_window) {
    EXPECT_TRUE(says(window_refusal("5/5/45/50"), "the same meridian"));
    EXPECT_TRUE(says(window_refusal("180/-180/45/50"), "the same meridian"));
    EXPECT_TRUE(says(window_refusal("0/361/45/50"), "more than 360 degrees apart"));
    EXPECT_TRUE(says(window_refusal("700/-100/45/50"), "more than 360 degrees apart"));
    EXPECT_TRUE(says(window_refusal("5/15/50/45"), "south is not below north"));
    EXPECT_TRUE(says(window_refusal("5/15/45/45"), "south is not below north"));
    EXPECT_TRUE(says(window_refusal("5/15/50/45"), "W/E/S/N"));
}

TEST(ParseLayers, each_layer_is_a_level) {
    for (const auto &[name, level] : {std::pair{"land", 1}, {"lakes", 2}, {"islands", 3}, {"ponds", 4}})
        for (int i = 0; i <= 6; i++)
            EXPECT_EQ(parse_layers(name).has_level(i), i == level) << name << i;
}

TEST(ParseLayers, takes_a_list) {
    const Layers layers = parse_layers("coast,ponds,land");
    EXPECT_TRUE(layers.coast && layers.land && layers.ponds);
    EXPECT_FALSE(layers.lakes || layers.islands);
}

TEST(ParseLayers, names_the_unknown_layer_and_the_known_ones) {
    EXPECT_EQ(
        refusal([] { parse_layers("land,roads"); }),
        "there is no layer 'roads'; the layers are coast, land, lakes, islands, ponds, borders, rivers");
    EXPECT_TRUE(says(refusal([] { parse_layers(""); }), "no layer ''"));
    EXPECT_TRUE(says(refusal([] { parse_layers("land,"); }), "no layer ''"));
}

std::string levels_text(const Levels &levels) {
    std::string text;
    for (int level = -1; level <= 33; level++)
        if (levels.has(level)) text.append(1, ' ').append(std::to_string(level));
    return text;
}

std::string border_levels_of(const std::string &layers) {
    return levels_text(parse_layers(layers).borders);
}

std::string river_levels_of(const std::string &layers) {
    return levels_text(parse_layers(layers).rivers);
}

TEST(ParseLayers, borders_and_rivers_are_whole_without_levels) {
    EXPECT_EQ(border_levels_of("borders"), " 1 2 3");
    EXPECT_EQ(river_levels_of("rivers"), " 1 2 3 4 5 6 7 8 9 10");
    EXPECT_FALSE(parse_layers("land").borders.any());
    EXPECT_FALSE(parse_layers("land").rivers.any());
}

TEST(ParseLayers, levels_are_numbers_ranges_and_names) {
    EXPECT_EQ(border_levels_of("coast,borders:1,rivers:1-4"), " 1");
    EXPECT_EQ(river_levels_of("coast,borders:1,rivers:1-4"), " 1 2 3 4");
    EXPECT_EQ(river_levels_of("rivers:1-2+6+9-10"), " 1 2 6 9 10");
    EXPECT_EQ(border_levels_of("borders:national+marine"), " 1 3");
    EXPECT_EQ(border_levels_of("borders:state"), " 2");
    EXPECT_EQ(river_levels_of("rivers:permanent"), " 1 2 3 4");
    EXPECT_EQ(river_levels_of("rivers:intermittent+canals"), " 5 6 7 8 9 10");
}

TEST(ParseLayers, layer_named_twice_has_the_levels_of_both) {
    EXPECT_EQ(river_levels_of("rivers:1,land,rivers:3-4"), " 1 3 4");
}

TEST(ParseLayers, names_the_unknown_level_and_the_known_ones) {
    EXPECT_EQ(refusal([] { parse_layers("borders:4"); }),
              "borders have no level '4'; the levels are 1 to 3, national, state, marine, and several are "
              "joined, such as borders:1-2+marine");
    EXPECT_EQ(
        refusal([] { parse_layers("rivers:1+11"); }),
        "rivers have no level '11'; the levels are 1 to 10, permanent, intermittent, canals, and several "
        "are joined, such as rivers:1-2+canals");
    for (const char *levels : {"", "0", "-1", "1-", "-2", "3-2", "1-11", "1+", "+1", "1,5", "1-2-3", "x",
                               "national", "99999999999", "1 "})
        EXPECT_FALSE(refusal([&] { parse_layers("rivers:" + std::string(levels)); }).empty()) << levels;
    EXPECT_EQ(refusal([] { parse_layers("land:1"); }),
              "the layer land has no levels; only borders and rivers have");
}

TEST(ParseLayers, level_behind_a_comma_is_told_how_levels_are_joined) {
    EXPECT_EQ(refusal([] { parse_layers("rivers:1,2"); }),
              "there is no layer '2'; levels are joined by +, such as rivers:1+2");
}

TEST(ParseLayers, know_the_files_that_hold_them) {
    using Files = std::vector<MapFile>;
    EXPECT_EQ(parse_layers("coast").files(), Files{MapFile::coast});
    EXPECT_EQ(parse_layers("ponds").files(), Files{MapFile::coast});
    EXPECT_EQ(parse_layers("rivers,borders:1").files(), (Files{MapFile::borders, MapFile::rivers}));
}

// --- Resolution -------------------------------------------------------------------------------------------

const std::vector<MapFile> coast = {MapFile::coast};

TEST(Resolution, has_a_name) {
    EXPECT_STREQ(resolution_name('c'), "crude");
    EXPECT_STREQ(resolution_name('f'), "full");
}

TEST(Resolution, letters_and_names_are_taken_as_asked) {
    for (const char *text : {"c", "l", "i", "h", "f", "crude", "low", "intermediate", "high", "full"})
        EXPECT_EQ(choose_resolution(text, 1, coast), text[0]);
}

TEST(Resolution, unknown_one_is_refused) {
    for (const char *text : {"", "x", "C", "lo", "auto "})
        EXPECT_TRUE(says(refusal([&] { choose_resolution(text, 1, coast); }),
                         std::string("no resolution '") + text + "'"));
}

// Data directories with the given resolutions, and the crude one that comes with the source.
class Installed {
  public:
    explicit Installed(const std::string &coasts, const std::string &rivers = "") {
        for (char letter : coasts)
            scratch_.write(std::string("maps/lindra/gshhs_") + letter + ".b", "");
        for (char letter : rivers)
            scratch_.write(std::string("maps/lindra/binned_river_") + letter + ".cdf", "");
    }

  private:
    TemporaryDirectory scratch_;
    Environment own_{"LINDRA_DATA", scratch_.path().c_str()};
    Environment home_{"XDG_DATA_HOME", "/nowhere/home"};
    Environment system_{"XDG_DATA_DIRS", "/nowhere/system"};
};

TEST(AutomaticResolution, is_the_coarsest_whose_error_is_below_a_pixel) {
    const Installed all("clihf");
    EXPECT_EQ(choose_resolution("auto", 40, coast), 'c');
    EXPECT_EQ(choose_resolution("auto", 25, coast), 'l');
    EXPECT_EQ(choose_resolution("auto", 5.1, coast), 'l');
    EXPECT_EQ(choose_resolution("auto", 5, coast), 'i');
    EXPECT_EQ(choose_resolution("auto", 0.9, coast), 'h');
    EXPECT_EQ(choose_resolution("auto", 0.2, coast), 'f');
    EXPECT_EQ(choose_resolution("auto", 0.001, coast), 'f');
}

TEST(AutomaticResolution, takes_the_next_finer_one_that_is_installed_and_says_so) {
    const Installed some("h");
    testing::internal::CaptureStderr();
    EXPECT_EQ(choose_resolution("auto", 10, coast), 'h');
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "lindra: the low resolution is not installed (`./dev data` or `lindra import` gets it), the "
              "high one is taken\n");
}

TEST(AutomaticResolution, takes_the_next_coarser_one_where_no_finer_one_is_installed) {
    const Installed some("i");
    testing::internal::CaptureStderr();
    EXPECT_EQ(choose_resolution("auto", 0.1, coast), 'i');
    EXPECT_TRUE(says(testing::internal::GetCapturedStderr(), "the full resolution is not installed"));
}

TEST(AutomaticResolution, says_nothing_when_what_it_wants_is_installed) {
    const Installed some("h");
    testing::internal::CaptureStderr();
    EXPECT_EQ(choose_resolution("auto", 40, coast), 'c');
    EXPECT_EQ(choose_resolution("auto", 0.5, coast), 'h');
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(AutomaticResolution, has_every_file_that_is_to_be_read) {
    const Installed some("lih", "h");
    testing::internal::CaptureStderr();
    EXPECT_EQ(choose_resolution("auto", 10, coast), 'l');
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(choose_resolution("auto", 10, {MapFile::coast, MapFile::rivers}), 'h');
    EXPECT_TRUE(says(testing::internal::GetCapturedStderr(), "the low resolution is not installed"));
}

} // namespace
