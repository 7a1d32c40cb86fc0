// SPDX-License-Identifier: MIT
//
// `lindra draw` by its options.

#include "common/errors.hpp"
#include "program.hpp"

#include "gshhs_builder.hpp"
#include "line_file.hpp"
#include "picture.hpp"
#include "plain_gshhs.hpp"
#include "shapefile_files.hpp"
#include "temporary_directory.hpp"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

using namespace lindra::test;
using lindra::tools::DataError;
using lindra::tools::UsageError;

class DrawCommand : public testing::Test {
  protected:
    // In the scratch directory, which is where "FILE" of an option is.
    void draw(std::vector<std::string> options) {
        options.insert(options.begin(), "draw");
        testing::internal::CaptureStderr();
        try {
            lindra::tools::obey(options);
        } catch (...) {
            said_ = testing::internal::GetCapturedStderr();
            throw;
        }
        said_ = testing::internal::GetCapturedStderr();
    }

    std::string file(const std::string &name) const { return (scratch_.path() / name).string(); }
    bool is_empty() const { return std::filesystem::is_empty(scratch_.path()); }

    template <class Error>
    void expect_refusal(std::vector<std::string> options, const std::string &part) {
        if (std::find(options.begin(), options.end(), "-o") == options.end())
            options.insert(options.end(), {"-o", file("map.png")});
        try {
            draw(options);
            ADD_FAILURE() << "not refused: " << options[1];
        } catch (const Error &error) {
            const std::string text = error.what();
            EXPECT_NE(text.find(part), std::string::npos) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << text;
        }
    }

    TemporaryDirectory scratch_;
    std::string said_;
};

TEST_F(DrawCommand, draws_the_kind_of_file_that_the_ending_says) {
    for (const auto &[name, start] :
         {std::pair{"a.png", "\x89PNG"}, {"a.svg", "<?xml"}, {"a.pdf", "%PDF"}, {"A.PNG", "\x89PNG"}}) {
        draw({"-o", file(name), "--size", "300"});
        EXPECT_TRUE(read_file(file(name)).starts_with(start)) << name;
    }
}

TEST_F(DrawCommand, page_is_1200_pixels_unless_asked_otherwise) {
    draw({"-o", file("map.png"), "--resolution", "c"});
    EXPECT_EQ(Picture(read_file(file("map.png"))).width(), 1200);
    draw({"-o", file("map.png"), "--size", "640x480"});
    EXPECT_EQ(Picture(read_file(file("map.png"))).width(), 640);
    EXPECT_EQ(Picture(read_file(file("map.png"))).height(), 480);
}

TEST_F(DrawCommand, all_options_together) {
    draw({"--output", file("map.svg"), "--window", "-15/40/34/72", "--projection", "laea", "--center",
          "10/52", "--resolution", "c", "--layers", "land,lakes,coast", "--size", "x700", "--style",
          "night,coast=#ff0000,coast-width=0.8", "--title", "Europe"});
    const std::string svg = read_file(file("map.svg"));
    EXPECT_NE(svg.find("height=\"700px\""), std::string::npos);
    EXPECT_NE(svg.find("rgb(100%,0%,0%)"), std::string::npos);
}

TEST_F(DrawCommand, layers_left_out_are_not_painted) {
    const std::string style = std::string(surfaces) + bare;
    const auto caspian = [&](const char *layers) {
        draw({"-o", file("map.png"), "--resolution", "c", "--size", "720", "--layers", layers, "--style",
              style});
        return Picture(read_file(file("map.png"))).at((51 + 180) * 2, (90 - 42) * 2);
    };
    EXPECT_EQ(caspian("land,lakes"), lake);
    EXPECT_EQ(caspian("land,coast"), land);
    EXPECT_EQ(caspian("lakes"), lake);
    EXPECT_EQ(caspian("coast"), sea);
    EXPECT_EQ(caspian("ponds"), sea);
}

TEST_F(DrawCommand, coast_alone_outlines_everything) {
    const auto strokes = [&](const char *layers) {
        draw({"-o", file("map.svg"), "--resolution", "c", "--layers", layers, "--style",
              "coast=#ff0000,shore=#00ff00"});
        const std::string svg = read_file(file("map.svg"));
        return std::pair(svg.find("rgb(100%,0%,0%)") != std::string::npos,
                         svg.find("rgb(0%,100%,0%)") != std::string::npos);
    };
    EXPECT_EQ(strokes("coast"), std::pair(true, true));
    EXPECT_EQ(strokes("coast,land"), std::pair(true, false));
    EXPECT_EQ(strokes("coast,lakes"), std::pair(false, true));
    EXPECT_EQ(strokes("land,lakes"), std::pair(false, false));
}

TEST_F(DrawCommand, says_when_mercator_cuts_what_was_asked_for) {
    draw({"-o", file("map.png"), "--projection", "mercator", "--window", "0/90/60/90", "--size", "300"});
    EXPECT_NE(said_.find("latitudes 60 to 85"), std::string::npos) << said_;
    draw({"-o", file("map.png"), "--projection", "mercator", "--size", "300"});
    EXPECT_EQ(said_.find("reach"), std::string::npos) << said_;
}

TEST_F(DrawCommand, mistakes_are_refused_and_leave_nothing_behind) {
    expect_refusal<UsageError>({"--projection", "flat"}, "'flat'; the projections are plate-carree");
    expect_refusal<UsageError>({"--layers", "land,roads"}, "roads");
    expect_refusal<UsageError>({"--style", "neon"}, "atlas, plain, night");
    expect_refusal<UsageError>({"--style", "sea=wet"}, "'wet'");
    expect_refusal<UsageError>({"--size", "20001"}, "20000");
    expect_refusal<UsageError>({"--window", "0/10/50/40"}, "south");
    expect_refusal<UsageError>({"--window", "0/nan/40/50"}, "nan");
    expect_refusal<UsageError>({"--window", "0/10/86/90", "--projection", "mercator"}, "latitude 85");
    expect_refusal<UsageError>({"--window", "-10/10/-10/10", "--projection", "ortho", "--center", "180/0"},
                               "nothing of the window");
    expect_refusal<UsageError>({"--center", "12"}, "LON/LAT");
    expect_refusal<UsageError>({"--center", "12/100", "--projection", "ortho"}, "LON/LAT");
    expect_refusal<UsageError>({"--center", "12/10"}, "--center");
    expect_refusal<UsageError>({"--resolution", "x"}, "'x'");
    expect_refusal<UsageError>({"--title", "\xff"}, "UTF-8");
    EXPECT_TRUE(is_empty());
}

TEST_F(DrawCommand, unknown_ending_is_refused_with_the_known_ones) {
    expect_refusal<UsageError>({"-o", file("map.jpg")}, ".png, .svg or .pdf");
    expect_refusal<UsageError>({"-o", file("map")}, ".png, .svg or .pdf");
    EXPECT_TRUE(is_empty());
}

TEST_F(DrawCommand, file_that_cannot_be_written_is_a_data_error) {
    expect_refusal<DataError>({"-o", file("missing/map.png")}, "missing/map.png");
    std::filesystem::create_directory(scratch_.path() / "map.png");
    expect_refusal<DataError>({"-o", file("map.png"), "--size", "100"}, "map.png");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scratch_.path()), {}), 1);
}

TEST_F(DrawCommand, missing_data_is_a_data_error_and_leaves_nothing_behind) {
    const Environment data("LINDRA_DATA", scratch_.path().c_str());
    const Environment home("XDG_DATA_HOME", scratch_.path().c_str());
    const Environment system("XDG_DATA_DIRS", scratch_.path().c_str());
    expect_refusal<DataError>({"--resolution", "f"}, "gshhs_f.b");
    EXPECT_TRUE(is_empty());
}

TEST_F(DrawCommand, missing_lines_are_a_data_error_and_leave_nothing_behind) {
    const TemporaryDirectory coast;
    coast.write("maps/lindra/gshhs_f.b", file_of({square(10, 20, 1)}));
    const Environment data("LINDRA_DATA", coast.path().c_str());
    const Environment home("XDG_DATA_HOME", scratch_.path().c_str());
    const Environment system("XDG_DATA_DIRS", scratch_.path().c_str());
    expect_refusal<DataError>({"--resolution", "f"}, "binned_border_f.cdf");
    expect_refusal<DataError>({"--resolution", "f", "--layers", "land,rivers"}, "binned_river_f.cdf");
    EXPECT_TRUE(is_empty());
    draw({"-o", file("map.png"), "--resolution", "f", "--layers", "land", "--size", "100"});
    EXPECT_FALSE(is_empty());
}

TEST_F(DrawCommand, lines_alone_need_no_coast) {
    const LineData lines(LineFile().add(1, {{12, 41}, {14, 43}}));
    const Environment home("XDG_DATA_HOME", scratch_.path().c_str());
    draw({"-o", file("map.png"), "--resolution", "c", "--layers", "borders", "--size", "100"});
    EXPECT_TRUE(read_file(file("map.png")).starts_with("\x89PNG"));
}

TEST_F(DrawCommand, without_options_shows_national_borders_and_major_rivers) {
    draw({"-o", file("map.svg"), "--resolution", "c", "--style",
          "border=#ff0000,river=#00ff00,state-border=#ff00ff,marine-border=#ff00ff,"
          "intermittent-river=#ff00ff,canal=#ff00ff"});
    const std::string svg = read_file(file("map.svg"));
    EXPECT_NE(svg.find("rgb(100%,0%,0%)"), std::string::npos);
    EXPECT_NE(svg.find("rgb(0%,100%,0%)"), std::string::npos);
    EXPECT_EQ(svg.find("rgb(100%,0%,100%)"), std::string::npos);
}

// The way across a map with bent meridians gets points, of which those are kept that it bends at.
TEST_F(DrawCommand, of_a_line_the_points_are_kept_that_it_bends_at) {
    scratch_.write("line.shp",
                   main_file_of(SHAPE_POLYLINE, {path_shape(SHAPE_POLYLINE, {{{-170, -80}, {170, 80}}})}));
    const auto points_of = [&](const std::string &projection) {
        draw({file("line.shp"), "--projection", projection, "--layers", "coast", "--size", "1000x", "--style",
              "shape-line=#0f0", "-o", file("map.svg")});
        const std::string svg = read_file(file("map.svg"));
        const size_t green_line = svg.find("stroke:rgb(0%,100%,0%)");
        EXPECT_NE(green_line, svg.npos);
        const std::string line = svg.substr(green_line, svg.find("/>", green_line) - green_line);
        return std::ranges::count(line, 'L') + 1;
    };
    EXPECT_EQ(points_of("plate-carree"), 2);
    EXPECT_GT(points_of("robinson"), 5);
    EXPECT_LT(points_of("robinson"), 100);
}

TEST_F(DrawCommand, finished_file_replaces_an_older_one_and_failed_one_does_not) {
    scratch_.write("map.png", "old");
    expect_refusal<UsageError>({"-o", file("map.png"), "--projection", "flat"}, "flat");
    EXPECT_EQ(read_file(file("map.png")), "old");
    draw({"-o", file("map.png"), "--size", "100"});
    EXPECT_TRUE(read_file(file("map.png")).starts_with("\x89PNG"));
}

} // namespace
