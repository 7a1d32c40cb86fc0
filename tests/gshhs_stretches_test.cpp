// SPDX-License-Identifier: MIT
//
// Large polygons, which are delivered stretch by stretch, and the points that stretches are made of.

#include "allocations.hpp"
#include "gshhs_builder.hpp"
#include "guarded_buffer.hpp"
#include "plain_delivery.hpp"

#include "lindra/gshhsmap/points.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

using namespace lindra::test;
namespace gshhs = lindra::gshhs;

namespace {

using Random = std::mt19937;

double between(Random &random, double low, double high) {
    return std::uniform_real_distribution(low, high)(random);
}

// A line that wanders by steps of up to so many degrees from the place on; longitudes are stored in 0..360.
RawPolygon wanderer(unsigned seed, int n, double lon, double lat, double step, double drift = 0) {
    Random random(seed);
    RawPolygon polygon;
    for (int i = 0; i < n; i++) {
        polygon.points.emplace_back(lon - 360 * std::floor(lon / 360), lat);
        lon += between(random, -step, step) + drift;
        lat = std::clamp(lat + between(random, -step, step), -90.0, 90.0);
    }
    polygon.box = {micro(-180), micro(180), micro(-90), micro(90)};
    return polygon;
}

// Of 8000 points; longitude gives that of each.
template <class Longitude>
RawPolygon line(Longitude longitude) {
    RawPolygon polygon;
    for (int i = 0; i < 8000; i++)
        polygon.points.emplace_back(longitude(i), 50 + 5 * std::sin(0.01 * i));
    polygon.box = {micro(-180), micro(180), micro(-90), micro(90)};
    return polygon;
}

struct Window {
    double west, east, south, north;
};

// All of the globe, places on it, and some that lie across Greenwich, across 180 or in the west.
std::vector<Window> windows(unsigned seed) {
    Random random(seed);
    std::vector<Window> all = {
        {0, 360, -90, 90}, {-10, 10, 40, 60}, {170, 190, -20, 20}, {-180, -170, 0, 80}};
    for (int i = 0; i < 60; i++) {
        const double west = between(random, -360, 360), south = between(random, -90, 80);
        all.push_back({west, west + between(random, 0.1, 60), south, south + between(random, 0.1, 40)});
    }
    return all;
}

bool delivers_as_plain(Coast &coast, const Window &window) {
    const GshhsMap *gs = coast.gs;
    coast.select("f:0", "c", window.west, window.east, window.south, window.north, 10, -50);
    for (int i = 0; i < gs->nsegs; i++) {
        const Delivered got = coast.next();
        const PlainDelivery expected = plain_delivery(gs, gs->segs[i]);
        if (!same_bits(got.lon, expected.out_lon) || !same_bits(got.lat, expected.out_lat)) return false;
        const int inside = plain_inside(expected.out_lon, expected.out_lat, static_cast<float>(gs->antilon),
                                        static_cast<float>(gs->antilat));
        if (got.inside != inside) return false;
    }
    return gs->nsegs > 0;
}

// In every window, the second time by the stretches that are kept from the first.
void expect_delivery_as_plain(const std::vector<RawPolygon> &polygons) {
    const GshhsData data;
    data.put(polygons);
    Coast coast;
    for (int time = 0; time < 2; time++)
        for (const Window &w : windows(7))
            ASSERT_TRUE(delivers_as_plain(coast, w))
                << w.west << '/' << w.east << '/' << w.south << '/' << w.north << ", time " << time;
}

std::string random_points(Random &random, size_t count) {
    std::string points;
    for (size_t i = 0; i < count; i++)
        points += be32(static_cast<int32_t>(random())) + be32(static_cast<int32_t>(random()));
    return points;
}

} // namespace

TEST(GshhsStretches, lines_in_small_steps_are_delivered_as_plainly) {
    expect_delivery_as_plain({wanderer(1, 5000, 100, 30, 0.05), wanderer(2, 1024, 355, 50, 0.2),
                              wanderer(3, 20000, 185, 0, 0.1), wanderer(4, 1023, 2, 50, 0.2)});
}

TEST(GshhsStretches, lines_across_greenwich_and_back_are_delivered_as_plainly) {
    expect_delivery_as_plain({wanderer(5, 9000, 0, 50, 1), wanderer(6, 3000, 359, -80, 3)});
}

TEST(GshhsStretches, lines_round_the_globe_are_delivered_as_plainly) {
    expect_delivery_as_plain({wanderer(7, 4000, 0, 0, 0.5, 0.2), wanderer(8, 4000, 0, 0, 0.5, -0.7),
                              wanderer(9, 9000, 180, 70, 0.5, 1.1)});
}

TEST(GshhsStretches, lines_that_jump_are_delivered_as_plainly) {
    expect_delivery_as_plain({wanderer(10, 3000, 0, 0, 200), wanderer(11, 3000, 90, 0, 179)});
}

TEST(GshhsStretches, longitudes_beyond_a_turn_are_delivered_as_plainly) {
    RawPolygon far = wanderer(12, 3000, 10, 10, 0.3);
    for (size_t i = 0; i < far.points.size(); i++)
        far.points[i].first += i % 500 < 250 ? 1080 : -1440;
    expect_delivery_as_plain({far});
}

// Of 64 stretches together both ends lie west of the window, and what is between them is folded into it.
TEST(GshhsStretches, points_west_of_zero_are_judged_by_where_they_are_folded_to) {
    constexpr int together = 64 * 64;
    const RawPolygon polygon = line(
        [](int i) { return i < together ? -200 + 0.07 * i : std::min(172.5, 86.5 + 0.07 * (i - together)); });
    const GshhsData data;
    data.put({polygon});
    Coast coast;
    for (int time = 0; time < 2; time++)
        EXPECT_TRUE(delivers_as_plain(coast, {170, 175, 40, 60}));
}

TEST(GshhsStretches, line_that_crosses_greenwich_between_two_stretches_is_delivered_as_plainly) {
    expect_delivery_as_plain({line([](int i) { return 0.01 * (i - 640) + (i < 640 ? 360 : 0.005); })});
}

TEST(GshhsStretches, stretch_over_most_of_the_frame_and_its_end_is_looked_at_for_the_shift) {
    const GshhsData data;
    // The first points are 30 degrees from the centre, a turn away; a later one, in its place, is at it.
    data.put({line([](int i) { return i < 64 ? 430.0 - 2 * i : i < 128 ? 300.0 - 4 * (i - 64) : 48.0; })});
    Coast coast;
    for (int time = 0; time < 2; time++)
        EXPECT_TRUE(delivers_as_plain(coast, {90, 110, 40, 60})) << time;
}

TEST(GshhsStretches, polygon_of_another_count_is_delivered_as_plainly) {
    const GshhsData data;
    data.put({wanderer(1, 5000, 100, 30, 0.05)});
    Coast coast;
    coast.select("f:0", "c", 100, 101, 30, 31);
    coast.next();
    gshhsmap_reset(coast.gs);
    coast.gs->segs[0].hdr.n = 2000;
    const PlainDelivery expected = plain_delivery(coast.gs, coast.gs->segs[0]);
    EXPECT_TRUE(same_bits(coast.next().lon, expected.out_lon));
}

TEST(GshhsStretches, window_that_the_host_sets_counts) {
    const GshhsData data;
    data.put({wanderer(1, 5000, 100, 30, 0.05)});
    Coast coast;
    coast.select_globe();
    coast.gs->lonref = 200;
    coast.gs->west = 460;
    coast.gs->east = 461;
    const Delivered got = coast.next();
    const PlainDelivery expected = plain_delivery(coast.gs, coast.gs->segs[0]);
    EXPECT_TRUE(same_bits(got.lon, expected.out_lon));
    EXPECT_TRUE(same_bits(got.lat, expected.out_lat));
}

TEST(GshhsStretches, are_done_without_where_memory_lacks) {
    const GshhsData data;
    data.put({wanderer(5, 9000, 0, 50, 1)});
    for (int nth = 1;; nth++) {
        Coast coast;
        coast.nalloc = 20000; // of which nothing need be allocated
        coast.lon = static_cast<float *>(calloc(20000, sizeof(float)));
        coast.lat = static_cast<float *>(calloc(20000, sizeof(float)));
        coast.select("f:0", "c", -10, 10, 40, 60);
        int npts = 0, level = 0, inside = 0, failed = 0;
        char type[2];
        {
            const AllocationWatch watch(nth);
            EXPECT_EQ(gshhsmap_nextseg(coast.gs, &npts, &coast.nalloc, &coast.lon, &coast.lat, type, &level,
                                       &inside),
                      1);
            failed = watch.failed();
        }
        const PlainDelivery expected = plain_delivery(coast.gs, coast.gs->segs[0]);
        EXPECT_TRUE(same_bits({coast.lon, coast.lon + npts}, expected.out_lon)) << nth;
        EXPECT_TRUE(same_bits({coast.lat, coast.lat + npts}, expected.out_lat)) << nth;
        if (!failed) {
            EXPECT_GT(nth, 3);
            break;
        }
    }
}

TEST(GshhsPoints, boxes_are_the_same_by_every_path) {
    Random random(1);
    for (size_t count = 1; count < 70; count++) {
        const GuardedBuffer points(random_points(random, count));
        const gshhs::Box expected = gshhs::paths().back().box(points.data(), count);
        for (const gshhs::Path &path : gshhs::paths()) {
            const gshhs::Box box = path.box(points.data(), count);
            EXPECT_EQ(memcmp(&box, &expected, sizeof box), 0) << count;
        }
        for (size_t i = 0; i < count; i++) {
            const auto lon = static_cast<int32_t>(word(points.data() + 8 * i));
            const auto lat = static_cast<int32_t>(word(points.data() + 8 * i + 4));
            EXPECT_TRUE(expected.west <= lon && lon <= expected.east);
            EXPECT_TRUE(expected.south <= lat && lat <= expected.north);
        }
    }
}

TEST(GshhsPoints, are_delivered_with_the_same_bits_by_every_path) {
    Random random(2);
    for (size_t count = 0; count < 40; count++) {
        const GuardedBuffer points(random_points(random, count));
        const gshhs::Placing placing = {static_cast<int>(random() % 7) - 3, between(random, -720, 720)};
        std::vector<float> expected_lon, expected_lat;
        for (size_t i = 0; i < count; i++) {
            double lon = word(points.data() + 8 * i) * 1e-6;
            for (int t = 0; t < std::abs(placing.turns); t++)
                lon += placing.turns > 0 ? 360 : -360;
            expected_lon.push_back(static_cast<float>(lon + placing.shift));
            expected_lat.push_back(static_cast<float>(word(points.data() + 8 * i + 4) * 1e-6));
        }
        for (const gshhs::Path &path : gshhs::paths()) {
            const GuardedBuffer lon(std::string(count * sizeof(float), '\0'));
            const GuardedBuffer lat(std::string(count * sizeof(float), '\0'));
            auto *lons = reinterpret_cast<float *>(lon.data());
            auto *lats = reinterpret_cast<float *>(lat.data());
            path.deliver(points.data(), count, placing, lons, lats);
            EXPECT_TRUE(same_bits({lons, lons + count}, expected_lon)) << count;
            EXPECT_TRUE(same_bits({lats, lats + count}, expected_lat)) << count;
        }
    }
}
