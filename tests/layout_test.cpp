// SPDX-License-Identifier: MIT

#include "common/errors.hpp"
#include "map/furniture.hpp"
#include "map/graticule.hpp"
#include "map/page.hpp"

#include "refusal.hpp"
#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace {

using lindra::test::refusal;
using namespace lindra::tools;

std::string quoted(const std::string &text) {
    return std::string(1, '\'').append(text).append(1, '\'');
}

// --- Pages -----------------------------------------------------------------------------------------------

TEST(Page, size_may_leave_a_side_out) {
    const auto expect_size = [](const char *text, int width, int height) {
        const PageSize size = parse_size(text);
        EXPECT_EQ(size.width, width) << text;
        EXPECT_EQ(size.height, height) << text;
    };
    expect_size("1200x800", 1200, 800);
    expect_size("1200x", 1200, 0);
    expect_size("x800", 0, 800);
    expect_size("1200", 1200, 0);
    expect_size("20000x1", 20000, 1);
}

TEST(Page, impossible_sizes_are_refused) {
    for (const char *text :
         {"", "x", "0", "0x5", "20001", "5x20001", "-5", "5x5x5", "5.5", "5 x 5", "axb", "99999999999999"})
        EXPECT_NE(refusal([&] { parse_size(text); }).find(quoted(text)), std::string::npos) << text;
}

TEST(Page, side_that_follows_keeps_the_shape_of_the_map) {
    const PlaneBox region = {0, 0, 200, 100};
    const Page page(region, {440, 0}, {20, 10, 20, 30});
    EXPECT_EQ(page.width(), 440);
    EXPECT_EQ(page.height(), 240);
    EXPECT_EQ(page.map().left, 20);
    EXPECT_EQ(page.map().right, 420);
    EXPECT_EQ(page.map().top, 10);
    EXPECT_EQ(page.map().bottom, 210);
}

TEST(Page, map_stands_in_the_middle_of_a_page_of_another_shape) {
    const Page page({0, 0, 200, 100}, {400, 400}, {0, 0, 0, 0});
    EXPECT_EQ(page.map().top, 100);
    EXPECT_EQ(page.map().bottom, 300);
    EXPECT_EQ(page.at(PlanePoint{0, 100}).y, 100);
    EXPECT_EQ(page.at(PlanePoint{200, 0}).x, 400);
}

TEST(Page, side_that_would_be_endless_is_refused) {
    EXPECT_NE(refusal([] { Page({0, 0, 1, 1000}, {1200, 0}, {0, 0, 0, 0}); }), "");
    EXPECT_EQ(refusal([] { Page({0, 0, 1, 1000}, {1200, 800}, {0, 0, 0, 0}); }), "");
}

TEST(Page, usual_page_has_a_longer_side_of_1200) {
    for (const PlaneBox &region :
         {PlaneBox{0, 0, 200, 100}, PlaneBox{0, 0, 100, 200}, PlaneBox{0, 0, 100, 100},
          PlaneBox{0, 0, 100, 101}, PlaneBox{0, 0, 1, 1e6}, PlaneBox{0, 0, 1e6, 1}}) {
        const Page page = usual_page(region, {40, 10, 20, 30});
        EXPECT_EQ(std::max(page.width(), page.height()), 1200);
    }
}

// --- Graticules ------------------------------------------------------------------------------------------

TEST(Graticule, steps_are_round) {
    EXPECT_EQ(nice_step(1000), 90);
    EXPECT_EQ(nice_step(31), 45);
    EXPECT_EQ(nice_step(30), 30);
    EXPECT_EQ(nice_step(11), 15);
    EXPECT_EQ(nice_step(2.5), 5);
    EXPECT_EQ(nice_step(0.6), 1);
    EXPECT_NEAR(nice_step(0.3), 0.5, 1e-12);
    EXPECT_NEAR(nice_step(0.021), 0.05, 1e-12);
    EXPECT_NEAR(nice_step(0.0002), 0.0002, 1e-12);
}

TEST(Graticule, labels_name_the_side) {
    EXPECT_EQ(longitude_label(30, 10), "30°E");
    EXPECT_EQ(longitude_label(-30, 10), "30°W");
    EXPECT_EQ(longitude_label(0, 10), "0°");
    EXPECT_EQ(longitude_label(190, 10), "170°W");
    EXPECT_EQ(longitude_label(-190, 10), "170°E");
    EXPECT_EQ(longitude_label(540, 10), "180°");
    EXPECT_EQ(longitude_label(-180, 10), "180°");
    EXPECT_EQ(longitude_label(10.25, 0.25), "10.25°E");
    EXPECT_EQ(latitude_label(-45, 5), "45°S");
    EXPECT_EQ(latitude_label(0, 5), "0°");
    EXPECT_EQ(latitude_label(62, 0.5), "62.0°N");
}

// --- Everything on the page ------------------------------------------------------------------------------

struct Case {
    const char *projection;
    Window window;
    std::optional<Point> centre;
    std::optional<PageSize> size;
};

const Case cases[] = {
    {"plate-carree", {-180, 180, -90, 90}, {}, {}},
    {"plate-carree", {-180, 180, -90, 90}, {}, PageSize{300, 300}},
    {"plate-carree", {-180, 180, -90, 90}, {}, PageSize{4000, 0}},
    {"plate-carree", {170, 190, -20, 20}, {}, {}},
    {"plate-carree", {5, 5.01, 60, 60.01}, {}, {}},
    {"plate-carree", {-76, -66, -56, -17}, {}, {}},
    {"mercator", {-180, 180, -85, 85}, {}, {}},
    {"robinson", {-180, 180, -90, 90}, {}, {}},
    {"robinson", {100, 200, -50, 30}, {}, {}},
    {"orthographic", {-180, 180, -90, 90}, {}, {}},
    {"orthographic", {-180, 180, -90, 90}, Point{0, 90}, PageSize{500, 0}},
    {"orthographic", {-100, 100, -90, 60}, Point{0, 0}, {}},
    {"lambert-azimuthal", {-180, 180, -90, 90}, {}, {}},
    {"lambert-azimuthal", {-15, 40, 34, 72}, {}, {}},
    {"lambert-azimuthal", {-60, 200, -40, 80}, {}, {}},
    {"azimuthal-equidistant", {-180, 180, -90, 90}, Point{120, -90}, {}},
    {"polar-stereographic", {-180, 180, 60, 90}, {}, {}},
    {"polar-stereographic", {-180, 180, -90, -60}, {}, PageSize{0, 600}},
    {"polar-stereographic", {-30, 60, 60, 90}, {}, {}},
};

Layout layout_of(const Case &wanted, const std::string &title = "") {
    const auto chart = make_chart(find_projection(wanted.projection), wanted.window, wanted.centre);
    return lay_out(*chart, wanted.size, parse_style(""), title);
}

std::string name_of(const Case &wanted) {
    const Window &window = wanted.window;
    char text[100];
    snprintf(text, sizeof text, "%s %g/%g/%g/%g", wanted.projection, window.west, window.east, window.south,
             window.north);
    return text;
}

TEST(Layout, texts_overlap_neither_each_other_nor_the_edge_of_the_page) {
    for (const Case &wanted : cases) {
        const Layout layout = layout_of(wanted, "A title over the map");
        const auto &texts = layout.furniture.inscriptions;
        EXPECT_GE(texts.size(), 4u) << name_of(wanted);
        for (size_t i = 0; i < texts.size(); i++) {
            EXPECT_TRUE(layout.page.box().holds(texts[i].box)) << name_of(wanted) << ": " << texts[i].text;
            for (size_t j = 0; j < i; j++)
                EXPECT_FALSE(texts[i].box.overlaps(texts[j].box))
                    << name_of(wanted) << ": " << texts[i].text << " and " << texts[j].text;
        }
    }
}

TEST(Layout, rectangular_maps_keep_their_texts_off_the_map) {
    for (const Case &wanted : cases) {
        if (find_projection(wanted.projection).bends) continue;
        const Layout layout = layout_of(wanted, "Title");
        for (const Inscription &text : layout.furniture.inscriptions)
            EXPECT_FALSE(text.box.overlaps(layout.page.map())) << name_of(wanted) << ": " << text.text;
    }
}

TEST(Layout, world_has_all_its_labels) {
    const Layout layout = layout_of(cases[0]);
    std::vector<std::string> texts;
    for (const Inscription &text : layout.furniture.inscriptions)
        texts.push_back(text.text);
    for (const char *text : {"180°", "150°W", "30°W", "30°E", "150°E", "90°N", "60°N", "60°S", "90°S"})
        EXPECT_EQ(std::count(texts.begin(), texts.end(), text), text == std::string("180°") ? 2 : 1) << text;
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "0°"), 2);
}

TEST(Layout, meridians_of_a_polar_map_are_labelled_round_the_circle) {
    const Layout layout = layout_of({"polar-stereographic", {-180, 180, -90, -60}, {}, {}});
    const PlaneBox &map = layout.page.map();
    int outside = 0;
    for (const Inscription &text : layout.furniture.inscriptions) {
        const double x = (text.box.left + text.box.right - map.left - map.right) / 2;
        const double y = (text.box.top + text.box.bottom - map.top - map.bottom) / 2;
        outside += std::hypot(x, y) > map.width() / 2;
    }
    EXPECT_EQ(outside, 12);
}

TEST(Layout, page_too_small_for_texts_has_the_map_alone) {
    const Layout layout = layout_of({"plate-carree", {-180, 180, -90, 90}, {}, PageSize{60, 40}}, "Title");
    EXPECT_TRUE(layout.furniture.inscriptions.empty());
    EXPECT_EQ(layout.page.map().width(), 60);
}

TEST(Layout, wide_title_is_written_smaller) {
    const std::string title(200, 'm');
    const Layout layout = layout_of(cases[0], title);
    ASSERT_FALSE(layout.furniture.inscriptions.empty());
    EXPECT_EQ(layout.furniture.inscriptions[0].text, title);
}

TEST(Layout, title_that_is_not_text_is_refused) {
    EXPECT_NE(refusal([] { layout_of(cases[0], "\xff\xfe"); }).find("UTF-8"), std::string::npos);
}

// --- Scale bars ------------------------------------------------------------------------------------------

std::string bar_text(const Layout &layout) {
    for (const Inscription &text : layout.furniture.inscriptions)
        if (text.text.find("m") != std::string::npos) return text.text;
    return "";
}

TEST(ScaleBar, has_the_length_that_it_names) {
    const Layout layout = layout_of({"plate-carree", {10, 20, -5, 5}, {}, {}});
    ASSERT_TRUE(layout.furniture.scale_bar);
    EXPECT_EQ(bar_text(layout), "200 km");
    const double pixels =
        layout.furniture.scale_bar->right_half.right - layout.furniture.scale_bar->left_half.left;
    const double kilometres = 10 * 111.195 * pixels / layout.page.map().width();
    EXPECT_NEAR(kilometres, 200, 2);
}

TEST(ScaleBar, says_where_it_holds) {
    EXPECT_EQ(bar_text(layout_of({"mercator", {5, 15, 55, 65}, {}, {}})), "100 km at 60°N");
    EXPECT_EQ(bar_text(layout_of({"plate-carree", {5, 15, 60, 65}, {}, {}})),
              "100 km east to west at 62.5°N");
    EXPECT_EQ(bar_text(layout_of({"plate-carree", {5, 5.02, 0, 0.01}, {}, {}})), "200 m");
}

TEST(ScaleBar, wide_maps_have_none) {
    EXPECT_FALSE(layout_of(cases[0]).furniture.scale_bar);
    EXPECT_FALSE(layout_of({"mercator", {-60, 60, 0, 60}, {}, {}}).furniture.scale_bar);
}

} // namespace
