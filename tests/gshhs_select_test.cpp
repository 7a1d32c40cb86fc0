// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "gshhs_builder.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace lindra::test;

namespace {

struct GshhsSelection : testing::Test {
    GshhsData data;
    Coast coast;

    // The identifiers of the selected polygons.
    std::vector<int> ids() {
        std::vector<int> all;
        for (int i = 0; i < coast.gs->nsegs; i++)
            all.push_back(coast.gs->segs[i].hdr.id);
        return all;
    }
    // The first one of them, boxed as given and seen through the window.
    bool meets(std::vector<double> box, double west, double east, double south = -90, double north = 90) {
        RawPolygon polygon = square(0, 0);
        polygon.box = {micro(box[0]), micro(box[1]), micro(box[2]), micro(box[3])};
        data.put({polygon});
        Coast fresh;
        return fresh.select("f:0", "c", west, east, south, north) == 1;
    }
};

using Ids = std::vector<int>;

RawPolygon numbered(int id, int level = 1) {
    RawPolygon polygon = square(10, 10, 1, level);
    polygon.id = id;
    return polygon;
}

} // namespace

TEST(GshhsOpen, null_handle_is_made_and_an_old_one_keeps_its_storage) {
    GshhsData data;
    data.put({numbered(1)});
    GshhsMap *gs = nullptr;
    ASSERT_EQ(gshhsmap_open(&gs), 0);
    EXPECT_EQ(gs->nselect, 0);
    EXPECT_EQ(gs->segs, nullptr);
    EXPECT_EQ(gshhsmap_select(gs, "f:0", "c", 0, 360, -90, 90, 0, 0), 1);
    gs->iseg = 1;
    const GshhsSeg *storage = gs->segs;
    const GshhsMap *handle = gs;
    ASSERT_EQ(gshhsmap_open(&gs), 0);
    EXPECT_EQ(gs, handle);
    EXPECT_EQ(gs->segs, storage);
    EXPECT_EQ(gs->segs_alloc, 2000);
    EXPECT_NE(gs->cache_data[0], nullptr);
    EXPECT_EQ(gs->select[0].data, nullptr);
    EXPECT_EQ(gs->select[1].data, nullptr);
    EXPECT_EQ(gs->nselect, 0);
    EXPECT_EQ(gs->nsegs, 0);
    EXPECT_EQ(gs->iseg, 0);
    lindra_free_gshhsmap(gs);
    lindra_free_gshhsmap(nullptr);
}

TEST(GshhsOpen, handle_is_all_that_is_asked_for) {
    GshhsMap *gs = nullptr;
    {
        const AllocationWatch watch;
        EXPECT_EQ(gshhsmap_open(&gs), 0);
        EXPECT_EQ(watch.requested(), sizeof(GshhsMap));
    }
    lindra_free_gshhsmap(gs);
}

TEST(GshhsOpen, exhausted_memory_is_one_message) {
    LogCapture log;
    GshhsMap *gs = nullptr;
    {
        const AllocationWatch watch(1);
        EXPECT_EQ(gshhsmap_open(&gs), -1);
    }
    EXPECT_EQ(gs, nullptr);
    EXPECT_EQ(log.take(), Lines{"1 gshhsmap_open: malloc(gshhsmap) error.\n"});
}

TEST_F(GshhsSelection, window_west_of_180_is_brought_back) {
    data.put({});
    EXPECT_EQ(coast.select("f:0", "c", -200, -170, -10, 20), 0);
    EXPECT_EQ(coast.gs->west, 160);
    EXPECT_EQ(coast.gs->east, 190);
    EXPECT_EQ(coast.gs->lonref, -5);
    EXPECT_EQ(coast.gs->south, -10);
    EXPECT_EQ(coast.gs->north, 20);
}

TEST_F(GshhsSelection, window_that_begins_right_beyond_180_is_brought_back) {
    data.put({});
    coast.select("f:0", "c", -180.5, -170, -10, 20);
    EXPECT_EQ(coast.gs->west, 179.5);
    EXPECT_EQ(coast.gs->east, 190);
    coast.select("f:0", "c", 180.5, 190, -10, 20);
    EXPECT_EQ(coast.gs->west, -179.5);
    EXPECT_EQ(coast.gs->east, -170);
}

TEST_F(GshhsSelection, span_of_360_or_more_is_the_globe) {
    data.put({});
    for (auto [west, east] : {std::pair{0.0, 360.0}, {-180.0, 180.0}, {-500.0, 500.0}}) {
        coast.select("f:0", "c", west, east, -90, 90);
        EXPECT_EQ(coast.gs->west, 0);
        EXPECT_EQ(coast.gs->east, 360);
        EXPECT_EQ(coast.gs->lonref, 0);
    }
}

TEST_F(GshhsSelection, east_follows_the_west) {
    data.put({});
    const double windows[][4] = {{170, -170, 170, 190}, {190, 200, -170, -160},   {180, 190, 180, 190},
                                 {-180, 0, -180, 0},    {10, 10, 10, 10},         {100, -900, 100, 180},
                                 {725, 730, 5, 10},     {1e9 - 5, 1e9, -85, -80}, {190, 190.5, -170, -169.5}};
    for (const auto &w : windows) {
        coast.select("f:0", "c", w[0], w[1], -90, 90);
        EXPECT_EQ(coast.gs->west, w[2]);
        EXPECT_EQ(coast.gs->east, w[3]);
    }
}

TEST_F(GshhsSelection, opposite_of_the_reference_point_lies_in_the_frame) {
    data.put({});
    coast.select("f:0", "c", 160, 190, -10, 10, 170, 33);
    EXPECT_EQ(coast.gs->lonref, -5);
    EXPECT_EQ(coast.gs->antilon, 350);
    EXPECT_EQ(coast.gs->antilat, -33);
    coast.select("f:0", "c", -40, -20, -10, 10, -30, 0);
    EXPECT_EQ(coast.gs->lonref, -210);
    EXPECT_EQ(coast.gs->antilon, 150);
    coast.select("f:0", "c", -40, -20, -10, 10, 700, 0);
    EXPECT_EQ(coast.gs->antilon, -200);
}

TEST_F(GshhsSelection, resolution_is_its_first_letter) {
    for (char letter : {'c', 'l', 'i', 'h', 'f'})
        data.put({numbered(letter)}, letter);
    const std::pair<const char *, const char *> words[] = {
        {"c", "crude"},   {"crude", "crude"},    {"low", "low"},       {"i", "intermediate"}, {"hi", "high"},
        {"full", "full"}, {"x", "intermediate"}, {"", "intermediate"}, {"C", "intermediate"}};
    for (auto [word, name] : words) {
        ASSERT_EQ(coast.select_globe("f:0", word), 1);
        EXPECT_STREQ(coast.gs->resolution, name);
        EXPECT_EQ(ids(), Ids{name[0]});
    }
    EXPECT_EQ(coast.select_globe("f:0", nullptr), 1);
    EXPECT_STREQ(coast.gs->resolution, "intermediate");
}

TEST_F(GshhsSelection, only_the_first_two_layers_are_taken) {
    data.put({numbered(1, 1), numbered(2, 2)});
    coast.gs->select[0].type[1] = coast.gs->select[1].type[1] = 'x';
    EXPECT_EQ(coast.select_globe("c:1 f:0 c:2"), 3);
    EXPECT_EQ(coast.gs->nselect, 2);
    EXPECT_STREQ(coast.gs->select[0].type, "c");
    EXPECT_EQ(coast.gs->select[0].kind, 2);
    EXPECT_EQ(coast.gs->select[0].levels, 1);
    EXPECT_STREQ(coast.gs->select[1].type, "f");
    EXPECT_EQ(coast.gs->select[1].kind, 1);
    EXPECT_EQ(coast.gs->select[1].levels, 0);
    EXPECT_EQ(ids(), (Ids{1, 1, 2}));
    EXPECT_EQ(coast.gs->segs[0].kind, 2);
    EXPECT_EQ(coast.gs->segs[0].select, &coast.gs->select[0]);
    EXPECT_EQ(coast.gs->segs[1].kind, 1);
    EXPECT_EQ(coast.gs->segs[1].select, &coast.gs->select[1]);
}

TEST_F(GshhsSelection, other_items_are_ignored) {
    data.put({numbered(1)});
    EXPECT_EQ(coast.select_globe("p:1, xf:0 coast:1"),
              1); // "coast:1" begins with c; its mask begins at "ast"
    EXPECT_EQ(coast.gs->select[0].levels, 0);
}

TEST_F(GshhsSelection, list_without_usable_item_selects_nothing_and_maps_no_file) {
    EXPECT_EQ(coast.select_globe("p:1 r:2"), 0);
    EXPECT_EQ(coast.select_globe(""), 0);
    EXPECT_EQ(coast.gs->cache_data[0], nullptr);
    EXPECT_EQ(data.log.take(), Lines{});
}

TEST_F(GshhsSelection, mask_is_the_number_from_the_third_character) {
    data.put({numbered(1, 1), numbered(2, 2), numbered(3, 3), numbered(4, 4)});
    const std::pair<const char *, Ids> masks[] = {{"c:1", {1}}, {"c:3", {1, 2}},     {"c:0", {1, 2, 3, 4}},
                                                  {"c/8", {4}}, {"c", {1, 2, 3, 4}}, {"c:", {1, 2, 3, 4}},
                                                  {"c12", {2}}, {"c:5x", {1, 3}},    {"c:-1", {1, 2, 3, 4}}};
    for (const auto &[item, expected] : masks) {
        coast.select_globe(item);
        EXPECT_EQ(ids(), expected) << item;
    }
}

TEST_F(GshhsSelection, ice_front_is_dropped_and_grounding_line_is_land) {
    data.put({numbered(1, 5), numbered(2, 6), numbered(3, 7)});
    EXPECT_EQ(coast.select_globe("f:0"), 2);
    EXPECT_EQ(ids(), (Ids{2, 3}));
    EXPECT_EQ(coast.select_globe("f:1"), 1);
    EXPECT_EQ(ids(), (Ids{2}));
    EXPECT_EQ(coast.select_globe("f:16"), 0);
}

TEST_F(GshhsSelection, level_without_a_bit_is_damage_only_under_a_mask) {
    data.put({numbered(1, 1), numbered(2, 0), numbered(3, 33), numbered(4, 32)});
    EXPECT_EQ(coast.select_globe("f:0"), 4);
    EXPECT_EQ(coast.select_globe("f:1"), -1);
    EXPECT_EQ(ids(), Ids{1});
    EXPECT_EQ(data.log.take(), Lines{"0 gshhsmap_select: polygon 2 has level 0, must be 1 to 32.\n"});
    data.put({numbered(1, 1), numbered(3, 33)});
    Coast other;
    EXPECT_EQ(other.select_globe("f:1"), -1);
    EXPECT_EQ(data.log.take(), Lines{"0 gshhsmap_select: polygon 3 has level 33, must be 1 to 32.\n"});
}

TEST_F(GshhsSelection, level_32_is_the_last_bit_of_the_mask) {
    data.put({numbered(1, 1), numbered(4, 32)});
    EXPECT_EQ(coast.select_globe("f:-2147483648"), 1);
    EXPECT_EQ(ids(), Ids{4});
    EXPECT_EQ(coast.select_globe("f:1"), 1);
    EXPECT_EQ(ids(), Ids{1});
}

TEST_F(GshhsSelection, level_of_a_polygon_outside_the_window_is_not_looked_at) {
    data.put({numbered(1, 0)});
    EXPECT_EQ(coast.select("f:1", "c", 100, 110, -10, 10), 0);
    EXPECT_EQ(data.log.take(), Lines{});
}

TEST_F(GshhsSelection, latitudes_that_only_touch_are_kept) {
    EXPECT_TRUE(meets({0, 1, 20, 30}, 0, 360, 0, 20));
    EXPECT_TRUE(meets({0, 1, 20, 30}, 0, 360, 30, 40));
    EXPECT_FALSE(meets({0, 1, 20.000001, 30}, 0, 360, 0, 20));
    EXPECT_FALSE(meets({0, 1, 20, 29.999999}, 0, 360, 30, 40));
}

TEST_F(GshhsSelection, longitudes_are_compared_in_the_windows_frame) {
    EXPECT_TRUE(meets({350, 352, 0, 1}, -15, -5));
    EXPECT_TRUE(meets({-10, -8, 0, 1}, -15, -5));
    EXPECT_FALSE(meets({-4, -3, 0, 1}, -15, -5));
    EXPECT_TRUE(meets({-175, -170, 0, 1}, 160, 190));
    EXPECT_TRUE(meets({190, 195, 0, 1}, 160, 190));
    EXPECT_FALSE(meets({191, 195, 0, 1}, 160, 190));
}

TEST_F(GshhsSelection, box_that_passes_360_is_compared_one_turn_less) {
    // Great Britain, -6 to 2, meets the window 100 to 358 but is looked for at -6 to 2.
    EXPECT_FALSE(meets({-6, 2, 50, 58}, 100, 358));
    EXPECT_FALSE(meets({354, 362, 50, 58}, 100, 358));
    EXPECT_TRUE(meets({-6, 2, 50, 58}, 0, 360));
    // The end of the frame is no limit: at 355 to 359 the same window has it.
    EXPECT_TRUE(meets({355, 359, 50, 58}, 100, 358));
}

TEST_F(GshhsSelection, window_whose_east_lies_beyond_360_loses_what_begins_after_its_own_end) {
    // -195 to -15 becomes 165 to 345; Africa, -17 to 51, is looked for at -17 to 51 and lost.
    EXPECT_FALSE(meets({-17, 51, -35, 37}, -195, -15));
    EXPECT_TRUE(meets({-17, 51, -35, 37}, -180, -15));
}

TEST_F(GshhsSelection, boxes_that_only_touch_the_frame_or_the_window_are_kept) {
    EXPECT_TRUE(meets({0, 360, 0, 1}, 10, 20));
    EXPECT_TRUE(meets({-165, -160, 0, 1}, 10, 20) == meets({195, 200, 0, 1}, 10, 20));
    EXPECT_TRUE(meets({20, 30, 0, 1}, 10, 20));
    EXPECT_TRUE(meets({0, 10, 0, 1}, 10, 20));
    EXPECT_FALSE(meets({20.000001, 30, 0, 1}, 10, 20));
    // The frame of this window ends at 355: what begins behind it is looked for a turn less, and ends at 0.
    EXPECT_TRUE(meets({355.5, 360, 0, 1}, 0, 350));
    EXPECT_FALSE(meets({355.5, 359.5, 0, 1}, 0, 350));
    EXPECT_TRUE(meets({359.6, 360.5, 0, 1}, 0, 359.5));
    EXPECT_FALSE(meets({350.5, 352, 0, 1}, -20, -10));
    EXPECT_FALSE(meets({0, 9.999999, 0, 1}, 10, 20));
}

TEST_F(GshhsSelection, micro_degrees_are_multiplied_by_a_millionth) {
    // 5 * 1e-6 is less than 5 / 1e6, and 3 * 1e-6 is more than 3 / 1e6 by a bit: the box is judged by the
    // product.
    RawPolygon polygon = square(0, 0);
    polygon.box = {0, 1000000, -1000000, 5};
    data.put({polygon});
    EXPECT_EQ(coast.select("f:0", "c", 0, 20, 5 * 1e-6, 20), 1);
    EXPECT_EQ(coast.select("f:0", "c", 0, 20, std::nextafter(5 * 1e-6, 1), 20), 0);
    polygon.box = {0, 5, 0, 1000000};
    data.put({polygon});
    Coast other;
    EXPECT_EQ(other.select("f:0", "c", 5 * 1e-6, 20, 0, 20), 1);
    EXPECT_EQ(other.select("f:0", "c", std::nextafter(5 * 1e-6, 1), 20, 0, 20), 0);
}

namespace {

// The choice of one polygon once more, step by step.
bool plain_choice(const GshhsMap *gs, const RawPolygon &polygon, int mask) {
    if (polygon.level == 5) return false;
    if (polygon.box[2] * 1e-6 > gs->north || gs->south > polygon.box[3] * 1e-6) return false;
    double w = polygon.box[0] * 1e-6, e = polygon.box[1] * 1e-6;
    while (gs->lonref > w) {
        w += 360;
        e += 360;
    }
    while (w > gs->lonref + 360 || e > 360) {
        w -= 360;
        e -= 360;
    }
    if (w > gs->east || gs->west > e) return false;
    const int level = polygon.level == 6 ? 1 : polygon.level;
    return mask == 0 || (mask & 1 << (level - 1)) != 0;
}

} // namespace

TEST_F(GshhsSelection, random_boxes_and_windows_agree_with_a_plain_choice) {
    std::mt19937 random(21);
    std::uniform_int_distribution<int> grid(-24, 48), thin(0, 24), row(-6, 6), level(1, 7), mask(0, 63);
    int chosen = 0;
    for (int round = 0; round < 400; round++) {
        std::vector<RawPolygon> polygons;
        for (int i = 0; i < 40; i++) {
            RawPolygon polygon = square(0, 0);
            const int west = grid(random) * 15, south = row(random) * 15;
            polygon.box = {micro(west), micro(west + thin(random) * 15), micro(south),
                           micro(std::min(90, south + thin(random) * 15))};
            polygon.level = level(random);
            polygon.id = i;
            polygons.push_back(polygon);
        }
        data.put(polygons);
        Coast fresh;
        const int wanted = mask(random), west = grid(random) * 15, south = row(random) * 15;
        fresh.select(("f:" + std::to_string(wanted)).c_str(), "c", west, west + thin(random) * 15, south,
                     south + thin(random) * 15);
        Ids expected, got;
        for (const RawPolygon &polygon : polygons)
            if (plain_choice(fresh.gs, polygon, wanted)) expected.push_back(polygon.id);
        for (int i = 0; i < fresh.gs->nsegs; i++)
            got.push_back(fresh.gs->segs[i].hdr.id);
        ASSERT_EQ(got, expected) << round;
        chosen += static_cast<int>(got.size());
    }
    EXPECT_GT(chosen, 500);
}

TEST_F(GshhsSelection, polygon_2001_doubles_the_index) {
    std::vector<RawPolygon> polygons(2001, square(10, 10));
    data.put(std::vector<RawPolygon>(polygons.begin(), polygons.end() - 1), 'c');
    data.put(polygons, 'l');
    EXPECT_EQ(coast.select_globe("f:0", "c"), 2000);
    EXPECT_EQ(coast.gs->segs_alloc, 2000);
    EXPECT_EQ(coast.select_globe("f:0", "l"), 2001);
    EXPECT_EQ(coast.gs->segs_alloc, 4000);
    EXPECT_EQ(coast.select_globe("f:0", "c"), 2000);
    EXPECT_EQ(coast.gs->segs_alloc, 4000);
    EXPECT_EQ(coast.select_globe("f:0 c:0", "l"), 4002);
    EXPECT_EQ(coast.gs->segs_alloc, 8000);
}

TEST_F(GshhsSelection, second_selection_at_a_resolution_maps_nothing_new) {
    const std::string path = data.put({numbered(1)});
    coast.select_globe();
    const unsigned char *mapped = coast.gs->select[0].data;
    std::filesystem::remove(path);
    EXPECT_EQ(coast.select("c:0 f:0", "c", 0, 20, 0, 20), 2);
    EXPECT_EQ(coast.gs->select[0].data, mapped);
    EXPECT_EQ(coast.gs->select[1].data, mapped);
}

TEST_F(GshhsSelection, first_selection_of_two_layers_maps_the_file_twice) {
    const std::string path = data.put({numbered(1)});
    EXPECT_EQ(coast.select_globe("c:1 f:0"), 2);
    EXPECT_NE(coast.gs->select[0].data, coast.gs->select[1].data);
    EXPECT_EQ(coast.gs->cache_data[0], coast.gs->select[1].data);
    EXPECT_EQ(coast.gs->cache_size[0], coast.gs->select[1].size);
    const unsigned char *kept = coast.gs->cache_data[0];
    std::filesystem::remove(path);
    EXPECT_EQ(coast.select_globe("c:1 f:0"), 2);
    EXPECT_EQ(coast.gs->select[0].data, kept);
    EXPECT_EQ(coast.gs->select[1].data, kept);
}

TEST_F(GshhsSelection, index_points_at_the_points_in_the_file) {
    data.put({numbered(1), numbered(2)});
    coast.select_globe();
    const GshhsMap *gs = coast.gs;
    EXPECT_EQ(gs->segs[0].pts, gs->select[0].data + 44);
    EXPECT_EQ(gs->segs[1].pts, gs->select[0].data + 2 * 44 + 5 * 8);
    EXPECT_EQ(gs->segs[1].hdr.n, 5);
    EXPECT_EQ(gs->segs[1].hdr.area_full, 5678);
}

TEST_F(GshhsSelection, files_of_the_old_short_headers_are_read) {
    RawPolygon old = numbered(1);
    old.version = 3;
    data.put({old, numbered(2), old});
    EXPECT_EQ(coast.select_globe(), 3);
    EXPECT_EQ(coast.gs->segs[0].hdr.source, 2);
}

TEST_F(GshhsSelection, missing_file_is_named_as_it_was_looked_for) {
    const Environment no_system("XDG_DATA_DIRS", "/nonexistent");
    EXPECT_EQ(coast.select_globe("f:0", "h"), -1);
    EXPECT_EQ(data.log.take(), Lines{"0 gshhs_select: datafile(maps/lindra/gshhs_h.b) error.\n"});
}

TEST_F(GshhsSelection, file_that_cannot_be_mapped_is_named_by_its_path) {
    const std::string path = data.put({numbered(1)});
    // The file is found, and then the process has no descriptor left to open it with.
    std::vector<int> taken;
    for (int descriptor; (descriptor = dup(0)) >= 0;)
        taken.push_back(descriptor);
    EXPECT_EQ(coast.select_globe(), -1);
    for (int descriptor : taken)
        close(descriptor);
    EXPECT_EQ(data.log.take(), Lines{"0 gshhsmap_select: mapfile(" + path + ") error.\n"});
    EXPECT_EQ(coast.select_globe(), 1);
}

TEST_F(GshhsSelection, file_over_2_GiB_is_refused) {
    const std::string path = data.put({numbered(1)});
    std::filesystem::resize_file(path, uint64_t{1} << 31);
    EXPECT_EQ(coast.select_globe(), -1);
    EXPECT_EQ(data.log.take(),
              Lines{"0 gshhsmap_select: " + path + " has 2147483648 bytes, must be less than 2147483648.\n"});
    EXPECT_EQ(coast.gs->cache_data[0], nullptr);
}

TEST_F(GshhsSelection, file_of_one_byte_less_is_read) {
    RawPolygon endless = numbered(1);
    endless.n = -1;
    std::filesystem::resize_file(data.put({endless}), (uint64_t{1} << 31) - 1);
    EXPECT_EQ(coast.select_globe(), -1);
    EXPECT_EQ(data.log.take().front(), "0 gshhs_skip_pts: polygon 1 has -1 points, 2147483603 bytes left.\n");
    EXPECT_EQ(coast.gs->cache_size[0], INT32_MAX);
}

TEST_F(GshhsSelection, longitudes_out_of_range_are_refused) {
    data.put({numbered(1)});
    for (double wrong : {std::numeric_limits<double>::infinity(), -1e300, 1.1e9})
        for (int which : {0, 1, 2}) {
            // East and west together, so that their span stays below 360.
            const double west = which == 0 ? wrong : 0, east = which == 1 ? -std::fabs(wrong) : west + 20;
            const double clon = which == 2 ? wrong : 0;
            EXPECT_EQ(coast.select("f:0", "c", west, east, 0, 20, clon, 0), -1);
            char expected[100];
            snprintf(expected, sizeof expected,
                     "0 gshhsmap_select: longitude %g is not between -1e9 and 1e9.\n",
                     which == 1 ? east : wrong);
            EXPECT_EQ(data.log.take(), Lines{expected});
        }
    EXPECT_EQ(coast.select("f:0", "c", 1e9 - 20, 1e9, 0, 20, -1e9, 0), 0);
}

TEST_F(GshhsSelection, other_angles_may_be_anything) {
    data.put({numbered(1)});
    const double infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(coast.select("f:0", "c", -1e300, 1e300, -infinite, infinite, 0, 1e10), 1);
    EXPECT_EQ(coast.gs->west, 0);
    EXPECT_EQ(coast.gs->east, 360);
    EXPECT_EQ(coast.gs->north, infinite);
    EXPECT_EQ(coast.gs->antilat, -1e10);
    EXPECT_EQ(coast.select("x", "c", std::nan(""), 0, 0, 20), 0);
    EXPECT_EQ(coast.select("f:0", "c", std::nan(""), std::nan(""), std::nan(""), std::nan("")), 1);
    EXPECT_EQ(data.log.take(), Lines{});
}

TEST_F(GshhsSelection, every_truncation_ends_in_its_messages_with_the_polygons_before_it) {
    RawPolygon old = numbered(2);
    old.version = 0;
    const std::vector<RawPolygon> polygons = {numbered(1), old, numbered(3)};
    const std::string whole = file_of(polygons);
    std::vector<size_t> ends = {0};
    for (const RawPolygon &polygon : polygons)
        ends.push_back(ends.back() + polygon.bytes().size());

    for (size_t size = 0; size <= whole.size(); size++) {
        data.put('c', whole.substr(0, size));
        Coast fresh;
        const int status = fresh.select_globe();
        const auto complete = std::upper_bound(ends.begin(), ends.end(), size) - ends.begin() - 1;
        const Lines lines = data.log.take();
        EXPECT_EQ(fresh.gs->nsegs, complete) << size;
        if (std::find(ends.begin(), ends.end(), size) != ends.end()) {
            EXPECT_EQ(status, complete);
            EXPECT_EQ(lines, Lines{});
            continue;
        }
        EXPECT_EQ(status, -1);
        ASSERT_EQ(lines.size(), 2U);
        const size_t header = complete == 1 ? 36 : 44;
        const bool in_header = size - ends[static_cast<size_t>(complete)] < header;
        EXPECT_EQ(lines[0].substr(2, 14), in_header ? "gshhs_unstuff_" : "gshhs_skip_pts");
        EXPECT_EQ(lines[1], in_header ? "0 gshhsmap_select: gshhs_unstuff_hdr() error.\n"
                                      : "0 gshhsmap_select: gshhs_skip_pts() error.\n");
    }
}

TEST_F(GshhsSelection, impossible_point_counts_end_in_messages_without_large_allocations) {
    for (int32_t n : {-1, INT32_MIN, INT32_MAX, 6, 0x20000000}) {
        RawPolygon damaged = numbered(2);
        damaged.n = n;
        data.put({numbered(1), damaged});
        Coast fresh;
        size_t requested;
        {
            const AllocationWatch watch;
            EXPECT_EQ(fresh.select_globe(), -1);
            requested = watch.requested();
        }
        EXPECT_LT(requested, 2000 * sizeof(GshhsSeg) + 65536);
        EXPECT_EQ(fresh.gs->nsegs, 1);
        EXPECT_EQ(data.log.take(),
                  (Lines{"0 gshhs_skip_pts: polygon 2 has " + std::to_string(n) + " points, 40 bytes left.\n",
                         "0 gshhsmap_select: gshhs_skip_pts() error.\n"}));
    }
}

TEST_F(GshhsSelection, empty_file_selects_nothing) {
    data.put({});
    EXPECT_EQ(coast.select_globe(), 0);
    EXPECT_EQ(data.log.take(), Lines{});
}

TEST_F(GshhsSelection, each_failing_allocation_is_reported_and_leaves_the_handle_usable) {
    data.put(std::vector<RawPolygon>(2001, square(10, 10)));
    const std::string index_size = std::to_string(2000 * sizeof(GshhsSeg));
    const std::string grown_size = std::to_string(4000 * sizeof(GshhsSeg));
    const Lines known = {"0 gshhsmap_select: splitlist() error.\n",
                         "0 gshhs_select: datafile(maps/lindra/gshhs_c.b) error.\n",
                         "1 gshhsmap_select: lindra_bound(" + data.directory.path().string() +
                             "/maps/lindra/gshhs_c.b) error.\n",
                         "1 gshhs_select: malloc(gs->segs," + index_size + ").\n",
                         "1 gshhs_select: realloc(gmt->segs," + grown_size + ").\n"};
    std::vector<bool> seen(known.size());
    for (int nth = 1;; nth++) {
        const Environment no_system("XDG_DATA_DIRS", "/nonexistent");
        Coast fresh;
        bool failed;
        int status;
        {
            const AllocationWatch watch(nth, AllocationWatch::from_then_on);
            status = fresh.select_globe();
            failed = watch.failed();
        }
        const Lines lines = data.log.take();
        if (!failed) {
            EXPECT_EQ(status, 2001);
            break;
        }
        EXPECT_EQ(status, -1);
        ASSERT_EQ(lines.size(), 1U);
        const auto which = std::find(known.begin(), known.end(), lines[0]);
        ASSERT_NE(which, known.end()) << lines[0];
        seen[static_cast<size_t>(which - known.begin())] = true;
        EXPECT_EQ(fresh.gs->nsegs, which == known.end() - 1 ? 2000 : 0);
        EXPECT_EQ(fresh.gs->segs_alloc, which >= known.end() - 2 ? 2000 : 0);
        EXPECT_EQ(fresh.select_globe(), 2001);
        EXPECT_EQ(fresh.gs->segs_alloc, 4000);
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), static_cast<int>(known.size()));
}

TEST_F(GshhsSelection, reset_begins_again_without_selecting) {
    data.put({numbered(1), numbered(2)});
    coast.select_globe();
    coast.next();
    EXPECT_EQ(coast.gs->iseg, 1);
    EXPECT_EQ(gshhsmap_reset(coast.gs), 2);
    EXPECT_EQ(coast.gs->iseg, 0);
}
