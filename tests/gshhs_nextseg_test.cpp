// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "gshhs_builder.hpp"
#include "leak_allowed.hpp"
#include "plain_delivery.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <utility>

using namespace lindra::test;

namespace {

// Delivers all that is selected beside the plain routine; returns the number of points.
size_t compare_with_plain(Coast &coast) {
    size_t points = 0;
    for (int i = 0; i < coast.gs->nsegs; i++) {
        Delivered got = coast.next();
        PlainDelivery expected = plain_delivery(coast.gs, coast.gs->segs[i]);
        EXPECT_EQ(got.status, 1);
        EXPECT_EQ(got.npts, static_cast<int>(expected.out_lon.size()));
        if (!same_bits(got.lon, expected.out_lon) || !same_bits(got.lat, expected.out_lat)) {
            ADD_FAILURE() << "polygon " << i << " in window " << coast.gs->west << "/" << coast.gs->east;
            return points;
        }
        if (got.npts > 0) {
            EXPECT_EQ(got.inside,
                      gshhsmap_inside_eo(got.npts, expected.out_lon.data(), expected.out_lat.data(),
                                         static_cast<float>(coast.gs->antilon),
                                         static_cast<float>(coast.gs->antilat)));
        }
        points += got.lon.size();
    }
    EXPECT_EQ(coast.next().status, 0);
    return points;
}

using Floats = std::vector<float>;

struct GshhsNextseg : testing::Test {
    GshhsData data;
    Coast coast;
};

// Boxed as the globe, so that every window selects it.
RawPolygon boundless(Degrees points, int level = 1) {
    RawPolygon polygon{std::move(points), level};
    polygon.box = {micro(-180), micro(180), micro(-90), micro(90)};
    return polygon;
}

RawPolygon ring_of(int n) {
    Degrees points;
    for (int i = 0; i < n; i++)
        points.emplace_back(20 + std::cos(i * 2 * M_PI / n), 20 + std::sin(i * 2 * M_PI / n));
    return boundless(points);
}

} // namespace

TEST_F(GshhsNextseg, polygon_inside_the_window_is_delivered_point_for_point) {
    data.put({square(12, 13)});
    coast.select("f:0", "c", 10, 20, 10, 20);
    const Delivered out = coast.next();
    EXPECT_EQ(out.status, 1);
    EXPECT_EQ(out.npts, 5);
    EXPECT_EQ(out.lon, (Floats{12, 13, 13, 12, 12}));
    EXPECT_EQ(out.lat, (Floats{13, 13, 14, 14, 13}));
    EXPECT_EQ(out.level, 1);
    EXPECT_EQ(coast.next().status, 0);
}

TEST_F(GshhsNextseg, polygon_is_shifted_by_whole_turns_to_the_window) {
    data.put({square(350, 13)});
    coast.select("f:0", "c", -15, -5, 10, 20);
    EXPECT_EQ(coast.next().lon, (Floats{-10, -9, -9, -10, -10}));
}

TEST_F(GshhsNextseg, polygon_across_180_has_no_jump) {
    data.put({boundless({{179, 0}, {-179, 0}, {-179, 1}, {179, 1}})});
    coast.select("f:0", "c", 170, 190, -10, 10);
    EXPECT_EQ(coast.next().lon, (Floats{179, 181, 181, 179}));
}

TEST_F(GshhsNextseg, window_beyond_180_receives_its_points_beyond_180) {
    data.put({square(-175, 0)});
    coast.select("f:0", "c", 160, 190, -10, 10);
    EXPECT_EQ(coast.next().lon, (Floats{185, 186, 186, 185, 185}));
}

TEST_F(GshhsNextseg, one_point_below_the_window_is_delivered_clamped_and_clamped_again) {
    data.put({boundless({{12, 12}, {13, 5}, {14, 12}})});
    coast.select("f:0", "c", 10, 20, 10, 20);
    const Delivered out = coast.next();
    EXPECT_EQ(out.lon, (Floats{12, 13, 13, 13, 14}));
    EXPECT_EQ(out.lat, (Floats{12, 5, 10, 10, 12}));
}

TEST_F(GshhsNextseg, run_in_one_outer_region_ends_with_its_last_real_point) {
    data.put({boundless({{12, 12}, {13, 5}, {14, 4}, {15, 6}, {16, 12}})});
    coast.select("f:0", "c", 10, 20, 10, 20);
    const Delivered out = coast.next();
    EXPECT_EQ(out.lon, (Floats{12, 13, 13, 15, 16}));
    EXPECT_EQ(out.lat, (Floats{12, 5, 10, 6, 12}));
}

TEST_F(GshhsNextseg, each_outer_region_entered_gives_one_border_point) {
    // In, south, south-east, east, north-east, north, north-west, west, south-west, in.
    data.put({boundless(
        {{15, 15}, {15, 5}, {25, 5}, {25, 15}, {25, 25}, {15, 25}, {5, 25}, {5, 15}, {5, 5}, {15, 15}})});
    coast.select("f:0", "c", 10, 20, 10, 20);
    const Delivered out = coast.next();
    EXPECT_EQ(out.lon, (Floats{15, 15, 15, 20, 20, 20, 15, 10, 10, 10, 10, 15}));
    EXPECT_EQ(out.lat, (Floats{15, 5, 10, 10, 15, 20, 20, 20, 15, 10, 10, 15}));
}

TEST_F(GshhsNextseg, first_point_is_delivered_as_it_is) {
    data.put({boundless({{12, 5}, {13, 5}, {14, 12}})});
    coast.select("f:0", "c", 10, 20, 10, 20);
    const Delivered out = coast.next();
    EXPECT_EQ(out.lon, (Floats{12, 13, 14}));
    EXPECT_EQ(out.lat, (Floats{5, 5, 12}));
}

TEST_F(GshhsNextseg, west_is_judged_by_the_folded_longitude_and_east_by_the_unfolded) {
    // -1 folds to 359 and is not west of 10: it counts as inside.
    data.put({boundless({{12, 12}, {5, 12}, {-1, 12}, {12, 13}})});
    coast.select("f:0", "c", 10, 20, 10, 20);
    EXPECT_EQ(coast.next().lon, (Floats{12, 5, 10, 10, -1, 12}));
    // A window with a negative west is not clipped in the west at all.
    data.put({boundless({{-5, 12}, {-60, 12}, {-5, 13}})});
    Coast other;
    other.select("f:0", "c", -10, 10, 10, 20);
    EXPECT_EQ(other.next().lon, (Floats{-5, -60, -5}));
}

TEST_F(GshhsNextseg, first_of_the_points_nearest_the_centre_decides_the_shift) {
    // 10 and -170 (190) are equally near the centre 100, from below and from above.
    data.put({boundless({{10, 0}, {100 - 190, 0}, {-170, 0}})});
    coast.select("f:0", "c", 90, 110, -10, 10);
    EXPECT_EQ(coast.next().lon.front(), 10.0F);
    data.put({boundless({{-170, 0}, {-90, 0}, {10, 0}})});
    Coast other;
    other.select("f:0", "c", 90, 110, -10, 10);
    EXPECT_EQ(other.next().lon.front(), 190.0F);
}

TEST_F(GshhsNextseg, arrays_grow_by_doubling_from_100) {
    data.put({ring_of(150), ring_of(450), ring_of(10)});
    coast.select_globe();
    EXPECT_EQ(coast.next().npts, 150);
    EXPECT_EQ(coast.nalloc, 200);
    EXPECT_EQ(coast.next().npts, 450);
    EXPECT_EQ(coast.nalloc, 800);
    EXPECT_EQ(coast.next().npts, 10);
    EXPECT_EQ(coast.nalloc, 800);
}

TEST_F(GshhsNextseg, polygon_of_100_points_needs_the_first_100_places_only) {
    data.put({ring_of(100), ring_of(101)});
    coast.select_globe();
    Delivered out;
    char type[2];
    {
        const AllocationWatch watch;
        gshhsmap_nextseg(coast.gs, &out.npts, &coast.nalloc, &coast.lon, &coast.lat, type, &out.level,
                         &out.inside);
        EXPECT_EQ(watch.count(), 2);
    }
    EXPECT_EQ(coast.nalloc, 100);
    coast.next();
    EXPECT_EQ(coast.nalloc, 200);
}

TEST_F(GshhsNextseg, letter_and_level_follow_layer_and_polygon) {
    data.put({square(12, 12, 1, 1), square(12, 12, 1, 2), square(12, 12, 1, 3), square(12, 12, 1, 4)});
    coast.select_globe("f:0 c:0");
    std::string types;
    std::vector<int> levels;
    for (int i = 0; i < 8; i++) {
        const Delivered out = coast.next();
        types += out.type;
        levels.push_back(out.level);
    }
    EXPECT_EQ(types, "lwlwcccc");
    EXPECT_EQ(levels, (std::vector<int>{1, 2, 3, 4, 1, 2, 3, 4}));
}

TEST_F(GshhsNextseg, other_kinds_leave_the_letter) {
    data.put({square(12, 12)});
    coast.select_globe();
    coast.gs->segs[0].kind = 3;
    EXPECT_EQ(coast.next().type, "?");
}

TEST_F(GshhsNextseg, polygon_without_points_sets_its_count_and_nothing_else) {
    data.put({boundless({}), square(12, 12)});
    coast.select_globe();
    const Delivered out = coast.next();
    EXPECT_EQ(out.status, 1);
    EXPECT_EQ(out.npts, 0);
    EXPECT_EQ(out.level, -7);
    EXPECT_EQ(out.inside, -7);
    EXPECT_EQ(out.type, "?");
    EXPECT_EQ(coast.nalloc, 0);
    EXPECT_EQ(coast.lon, nullptr);
    EXPECT_EQ(coast.gs->iseg, 1);
    EXPECT_EQ(coast.next().npts, 5);
}

TEST_F(GshhsNextseg, end_of_the_selection_writes_nothing) {
    data.put({square(12, 12)});
    coast.select_globe();
    coast.next();
    for (int i = 0; i < 2; i++) {
        const Delivered out = coast.next();
        EXPECT_EQ(out.status, 0);
        EXPECT_EQ(out.npts, -7);
        EXPECT_EQ(out.level, -7);
        EXPECT_EQ(out.type, "?");
    }
}

TEST_F(GshhsNextseg, polygon_round_the_opposite_of_the_reference_point_is_told) {
    data.put({square(100, 20, 10), square(120, 20, 10)});
    coast.select("f:0", "c", 0, 360, -90, 90, -75, -25);
    EXPECT_EQ(coast.next().inside, 1);
    EXPECT_EQ(coast.next().inside, 0);
}

TEST_F(GshhsNextseg, capacity_of_0_with_arrays_does_not_hang) {
    data.put({boundless({{12, 12}}), square(12, 12)});
    coast.select_globe();
    coast.lon = static_cast<float *>(malloc(sizeof(float)));
    coast.lat = static_cast<float *>(malloc(sizeof(float)));
    EXPECT_EQ(coast.next().npts, 1);
    EXPECT_EQ(coast.nalloc, 1);
    EXPECT_EQ(coast.next().npts, 5);
    EXPECT_EQ(coast.nalloc, 8);
}

TEST_F(GshhsNextseg, failed_first_allocation_names_the_polygons_points_times_4) {
    data.put({ring_of(150)});
    for (int nth : {1, 2}) {
        Coast fresh;
        fresh.select_globe();
        Delivered out;
        {
            const AllocationWatch watch(nth);
            out = fresh.next();
        }
        EXPECT_EQ(out.status, -1);
        EXPECT_EQ(out.npts, -7);
        EXPECT_EQ(fresh.nalloc, 0);
        EXPECT_EQ(fresh.gs->iseg, 0);
        EXPECT_EQ(data.log.take(), Lines{nth == 1 ? "1 gshhs_nextseg: malloc(lon,600) error.\n"
                                                  : "1 gshhs_nextseg: malloc(lat,600) error.\n"});
        EXPECT_EQ(fresh.lat, nullptr);
        EXPECT_EQ(fresh.lon == nullptr, nth == 1);
        EXPECT_EQ(fresh.next().npts, 150);
    }
}

TEST_F(GshhsNextseg, allocation_replaces_a_lone_array) {
    data.put({ring_of(150)});
    for (bool lone_lon : {true, false}) {
        Coast fresh;
        fresh.select_globe();
        (lone_lon ? fresh.lon : fresh.lat) = static_cast<float *>(malloc(8));
        fresh.nalloc = 2;
        EXPECT_EQ(fresh.next().npts, 150);
        EXPECT_EQ(fresh.nalloc, 200);
    }
}

TEST_F(GshhsNextseg, failed_allocation_leaves_the_other_pointer_on_freed_storage) {
    data.put({ring_of(150)});
    coast.select_globe();
    coast.lat = static_cast<float *>(malloc(8));
    const float *freed = coast.lat;
    Delivered out;
    {
        const AllocationWatch watch(1);
        out = coast.next();
    }
    EXPECT_EQ(out.status, -1);
    EXPECT_EQ(coast.lon, nullptr);
    EXPECT_EQ(coast.lat, freed);
    coast.lat = nullptr;
    EXPECT_EQ(coast.next().npts, 150);
}

TEST_F(GshhsNextseg, failed_growth_leaves_null_the_polygon_next_and_the_capacity) {
    data.put({ring_of(100), ring_of(150)});
    for (int nth : {1, 2}) {
        Coast fresh;
        fresh.select_globe();
        fresh.next();
        float *old_lon = fresh.lon;
        float *old_lat = fresh.lat;
        Delivered out;
        {
            const AllocationWatch watch(nth);
            out = fresh.next();
        }
        EXPECT_EQ(out.status, -1);
        EXPECT_EQ(out.npts, -7);
        EXPECT_EQ(fresh.nalloc, 100);
        EXPECT_EQ(fresh.gs->iseg, 1);
        EXPECT_EQ(data.log.take(), Lines{nth == 1 ? "1 gshhs_nextseg: realloc(lon,600) error.\n"
                                                  : "1 gshhs_nextseg: realloc(lat,600) error.\n"});
        EXPECT_EQ(fresh.lon == nullptr, nth == 1);
        EXPECT_EQ(fresh.lat == nullptr, nth == 2);
        free(nth == 1 ? old_lon : old_lat);
    }
}

TEST_F(GshhsNextseg, failed_growth_leaves_the_capacity_of_the_step_before) {
    const LeakAllowed storage_of_lon_is_lost;
    data.put({ring_of(450)});
    for (int step = 0; step < 3; step++) {
        coast.select_globe();
        Delivered out;
        {
            const AllocationWatch watch(3 + 2 * step);
            out = coast.next();
        }
        EXPECT_EQ(out.status, -1);
        EXPECT_EQ(coast.nalloc, 100 << step);
        EXPECT_EQ(coast.lon, nullptr);
        ASSERT_NE(coast.lat, nullptr);
        coast.lat[coast.nalloc - 1] = 0;
        free(std::exchange(coast.lat, nullptr));
        coast.nalloc = 0;
        EXPECT_EQ(data.log.take(), Lines{"1 gshhs_nextseg: realloc(lon,1800) error.\n"});
    }
}

TEST_F(GshhsNextseg, random_polygons_agree_with_the_plain_routine_bit_for_bit) {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> size(1, 60), step(-100, 100);
    std::uniform_real_distribution<double> longitude(0, 360), latitude(-90, 90), west(-400, 400),
        span(0.1, 370);
    size_t points = 0;
    for (int round = 0; round < 300; round++) {
        std::vector<RawPolygon> polygons;
        for (int k = 0; k < 10; k++) {
            Degrees ring;
            double lon = longitude(random), lat = latitude(random);
            for (int i = size(random); i > 0; i--) {
                ring.emplace_back(k % 2 ? std::fmod(lon + 3600, 360) : longitude(random), lat);
                lon += step(random) * 0.3;
                lat = std::clamp(lat + step(random) * 0.1, -90.0, 90.0);
            }
            polygons.push_back(boundless(ring));
        }
        data.put(polygons);
        Coast fresh;
        const double w = west(random), s = latitude(random), n = latitude(random);
        fresh.select("f:0", "c", w, w + span(random), std::min(s, n), std::max(s, n));
        EXPECT_GT(fresh.gs->nsegs, 0);
        points += compare_with_plain(fresh);
    }
    EXPECT_GT(points, 10000U);
}

TEST_F(GshhsNextseg, polygons_and_windows_on_a_grid_agree_with_the_plain_routine_bit_for_bit) {
    // Neighbours half a turn apart and points on the very borders of window and frame come up all the time.
    std::mt19937 random(13);
    std::uniform_int_distribution<int> column(-12, 24), row(-3, 3), size(1, 30), speck(-1, 1);
    for (int round = 0; round < 600; round++) {
        std::vector<RawPolygon> polygons;
        for (int k = 0; k < 10; k++) {
            Degrees ring;
            for (int i = size(random); i > 0; i--)
                ring.emplace_back(column(random) * 30 + speck(random) * 1e-6,
                                  row(random) * 30 + speck(random) * 1e-6);
            polygons.push_back(boundless(ring));
        }
        data.put(polygons);
        Coast fresh;
        const int west = column(random) * 30, south = row(random) * 30;
        fresh.select("f:0", "c", west, west + 30 * (1 + round % 12), south, south + 60);
        compare_with_plain(fresh);
    }
}

TEST_F(GshhsNextseg, points_are_multiplied_by_a_millionth_before_they_are_judged) {
    data.put({boundless({{1, 1}, {1, 5e-6}, {2, 1}})});
    coast.select("f:0", "c", 0, 20, 5 * 1e-6, 20);
    EXPECT_EQ(coast.next().npts, 3);
    coast.select("f:0", "c", 0, 20, std::nextafter(5 * 1e-6, 1), 20);
    EXPECT_EQ(coast.next().npts, 5);
}

TEST_F(GshhsNextseg, polygons_wound_often_round_the_globe_agree_with_the_plain_routine) {
    std::mt19937 random(12);
    std::uniform_real_distribution<double> jitter(0, 30), anywhere(-2147, 2147);
    for (double stride : {100.0, -100.0, 170.0, -130.0}) {
        Degrees ring;
        for (int i = 0; i < 20000; i++)
            ring.emplace_back(std::fmod(i * stride + jitter(random) + 1e8 * 360, 360), 10);
        Degrees wild;
        for (int i = 0; i < 2000; i++)
            wild.emplace_back(anywhere(random), anywhere(random) / 30);
        data.put({boundless(ring), boundless(wild)});
        Coast fresh;
        fresh.select("f:0", "c", -30, 40, -20, 60);
        ASSERT_EQ(fresh.gs->nsegs, 2);
        EXPECT_GT(compare_with_plain(fresh), 1000U);
    }
}

TEST_F(GshhsNextseg, polygon_wound_half_a_million_times_is_walked_in_one_go) {
    // One step of 360 after the other would take a quarter of a million million of them.
    Degrees ring;
    for (int i = 0; i < 1000000; i++)
        ring.emplace_back(std::fmod(i * 170.0, 360), 10);
    data.put({boundless(ring)});
    coast.select_globe();
    const Delivered out = coast.next();
    EXPECT_EQ(out.status, 1);
    EXPECT_EQ(out.level, 1);
    EXPECT_GE(out.npts, 4);
    EXPECT_LT(out.npts, 100);
}

TEST(GshhsRealFile, crude_coastline_agrees_with_the_plain_routine_in_many_windows) {
    const Environment no_own("LINDRA_DATA", nullptr);
    const double windows[][4] = {{0, 360, -90, 90},  {-180, 179.999, -90, 90}, {0, 90, 0, 60},
                                 {270, 350, 10, 80}, {-15, 40, 34, 72},        {160, 190, -50, -30},
                                 {-180, 0, -90, 0},  {120, 300, -60, 60},      {-195, -15, -40, 40},
                                 {355, 5, 50, 60},   {10, 15, 55, 60},         {-75, -74, 40, 41}};
    for (const auto &w : windows) {
        Coast coast;
        ASSERT_GE(coast.select("f:0 c:1", "c", w[0], w[1], w[2], w[3]), 1);
        EXPECT_GT(compare_with_plain(coast), 10U);
    }
}

TEST(GshhsRealFile, globe_holds_every_polygon_but_the_ice_front) {
    const Environment no_own("LINDRA_DATA", nullptr);
    Coast coast;
    ASSERT_EQ(coast.select_globe(), 1781 - 5);
    int land = 0;
    for (Delivered out = coast.next(); out.status == 1; out = coast.next())
        land += out.level == 1;
    EXPECT_EQ(land, 738 + 20);
}
