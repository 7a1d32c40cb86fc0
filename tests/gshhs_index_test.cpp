// SPDX-License-Identifier: MIT
//
// Selections of a large file that has been read before, beside walks over the same bytes in the host's
// memory, which nothing is remembered of.

#include "allocations.hpp"
#include "gshhs_builder.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

using namespace lindra::test;

namespace {

double between(std::mt19937 &random, double low, double high) {
    return std::uniform_real_distribution(low, high)(random);
}

// Over a megabyte of small boxes everywhere, across Greenwich and 180 and at the poles, some of them large.
std::string many_polygons() {
    std::mt19937 random(3);
    std::vector<RawPolygon> polygons;
    for (int i = 0; i < 16000; i++) {
        const double size = i % 50 == 0 ? between(random, 0, 60) : between(random, 0, 1.1);
        RawPolygon polygon = square(between(random, -180, 360), between(random, -91, 90), size, i % 7);
        polygon.id = i;
        if (i % 100 == 0) std::swap(polygon.points[0].first, polygon.points[1].first);
        if (i % 40 == 1) polygon.points[2].second = between(random, -90, 90); // narrow and high
        polygons.push_back(polygon);
    }
    for (const double corner : {-180.0, -1.0, 0.0, 359.0, 360.0, 10.0, 11.0})
        for (const double latitude : {-90.0, -1.0, 0.0, 50.0, 89.0, 90.0})
            polygons.push_back(square(corner, latitude, latitude < 90 ? 1 : 0));
    return file_of(polygons);
}

struct GshhsIndex : testing::Test {
    GshhsIndex() {
        data.put('c', bytes);
        remembering.select_globe();
        walking.gs->cache_data[0] = reinterpret_cast<unsigned char *>(bytes.data());
        walking.gs->cache_size[0] = static_cast<int32_t>(bytes.size());
        lindra_bound(bytes.data(), bytes.size());
    }
    ~GshhsIndex() override { lindra_unbound(bytes.data()); }

    void expect_the_same(double west, double east, double south, double north, const char *list = "f:0") {
        const int expected = walking.select(list, "c", west, east, south, north);
        const int got = remembering.select(list, "c", west, east, south, north);
        ASSERT_EQ(got, expected) << west << '/' << east << '/' << south << '/' << north;
        ASSERT_EQ(remembering.gs->nsegs, walking.gs->nsegs);
        for (int i = 0; i < walking.gs->nsegs; i++) {
            const GshhsSeg &a = remembering.gs->segs[i];
            const GshhsSeg &b = walking.gs->segs[i];
            ASSERT_EQ(memcmp(&a.hdr, &b.hdr, sizeof a.hdr), 0);
            ASSERT_EQ(a.pts - remembering.gs->cache_data[0], b.pts - walking.gs->cache_data[0]);
        }
        selected += walking.gs->nsegs;
    }

    GshhsData data;
    std::string bytes = many_polygons();
    Coast remembering, walking;
    int selected = 0;
};

} // namespace

TEST_F(GshhsIndex, windows_select_what_a_walk_selects) {
    std::mt19937 random(4);
    for (int i = 0; i < 2000; i++) {
        const double west = between(random, -400, 400), south = between(random, -95, 95);
        expect_the_same(west, west + between(random, 0, 12), south, south + between(random, 0, 12),
                        i % 3 == 0 ? "f:1 c:2" : "f:0");
    }
    EXPECT_GT(selected, 10000);
}

TEST_F(GshhsIndex, windows_that_begin_or_end_where_polygons_do_select_what_a_walk_selects) {
    for (const double west :
         {-180.0, -2.0, -1.0, 0.0, 1.0, 10.0, 11.0, 12.0, 179.0, 180.0, 358.0, 359.0, 360.0})
        for (const double south : {-90.0, -1.0, 0.0, 1.0, 49.0, 50.0, 51.0, 89.0, 90.0, 91.0})
            for (const double size : {0.0, 1.0, 5.0})
                expect_the_same(west, west + size, south, south + size);
}

TEST_F(GshhsIndex, windows_of_no_size_or_sense_select_what_a_walk_selects) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double far = std::numeric_limits<double>::max();
    expect_the_same(10, 5, 0, 10);
    expect_the_same(0, 10, 20, 10);
    expect_the_same(nan, 10, 0, 10);
    expect_the_same(0, nan, 0, 10);
    expect_the_same(0, 10, nan, 10);
    expect_the_same(0, 10, 0, nan);
    expect_the_same(0, 10, -far, far);
    expect_the_same(0, 360, -90, 90);
    expect_the_same(1e8, 1e8 + 3, 10, 20);
}

TEST_F(GshhsIndex, level_that_no_mask_has_ends_the_selection_at_the_same_polygon) {
    // Level 0 is at every seventh polygon.
    expect_the_same(0, 12, 0, 12, "f:1");
    EXPECT_EQ(remembering.gs->nsegs, walking.gs->nsegs);
    EXPECT_FALSE(data.log.take().empty());
}

TEST_F(GshhsIndex, part_of_a_file_is_walked) {
    GSHHSHdr first;
    auto *hdr = &first;
    auto *behind = walking.gs->cache_data[0];
    ASSERT_EQ(gshhs_unstuff_hdr(&hdr, &behind), 0);
    ASSERT_EQ(gshhs_skip_pts(hdr, &behind), 0);
    const auto size = behind - walking.gs->cache_data[0];
    for (const Coast *coast : {&remembering, &walking}) {
        coast->gs->cache_data[0] += size;
        coast->gs->cache_size[0] -= static_cast<int32_t>(size);
    }
    expect_the_same(5, 10, 5, 10);
}

TEST_F(GshhsIndex, file_without_its_end_is_walked) {
    const auto last = static_cast<int32_t>(file_of({square(10, 90, 0)}).size());
    for (const Coast *coast : {&remembering, &walking})
        coast->gs->cache_size[0] -= last;
    expect_the_same(5, 12, 85, 90);
}

// Of a file that a host unmaps: another one may come to lie where it lay.
TEST_F(GshhsIndex, goes_with_the_extent_of_the_file) {
    const int others = walking.select("f:0", "c", 5, 10, 5, 10);
    for (const bool is_near : {false, true, false}) {
        Coast coast;
        data.put('c', file_of({is_near ? square(6, 6, 1) : square(50, 50, 1)}) + bytes);
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(coast.select("f:0", "c", 5, 10, 5, 10), others + is_near);
        lindra_unbound(coast.gs->cache_data[0]);
        lindra_unmapfile(reinterpret_cast<char *>(coast.gs->cache_data[0]), coast.gs->cache_size[0]);
    }
}

TEST_F(GshhsIndex, is_done_without_where_memory_lacks) {
    for (int nth = 1;; nth++) {
        Coast coast;
        bool failed;
        int got[2];
        {
            const AllocationWatch watch(nth);
            for (int &count : got)
                count = coast.select("f:0", "c", 5, 10, 5, 10);
            failed = watch.failed();
        }
        for (const int count : got)
            EXPECT_TRUE(count == walking.select("f:0", "c", 5, 10, 5, 10) || (failed && count == -1)) << nth;
        if (!failed) break;
    }
}
