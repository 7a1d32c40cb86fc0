// SPDX-License-Identifier: MIT

#include "guarded_buffer.hpp"
#include "plain_delivery.hpp"

#include "lindra/lindra.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace {

struct Shape {
    std::vector<float> lon, lat;
    int contains(float px, float py) {
        return gshhsmap_inside_eo(static_cast<int>(lon.size()), lon.data(), lat.data(), px, py);
    }
};

Shape square() {
    return {{10, 20, 20, 10}, {10, 10, 20, 20}};
}

int plain_inside(const Shape &shape, float px, float py) {
    return lindra::test::plain_inside(shape.lon, shape.lat, px, py);
}

} // namespace

TEST(GshhsInside, square_contains_its_middle_and_not_the_point_south_of_it) {
    EXPECT_EQ(square().contains(15, 15), 1);
    EXPECT_EQ(square().contains(15, 5), 0);
    EXPECT_EQ(square().contains(15, 25), 0);
    EXPECT_EQ(square().contains(5, 15), 0);
}

TEST(GshhsInside, western_side_belongs_to_the_polygon_and_the_eastern_does_not) {
    EXPECT_EQ(square().contains(10, 15), 1);
    EXPECT_EQ(square().contains(20, 15), 0);
}

TEST(GshhsInside, polygon_across_180_contains_the_point_by_either_longitude) {
    Shape jumping = {{170, -170, -170, 170}, {-10, -10, 10, 10}};
    Shape running = {{170, 190, 190, 170}, {-10, -10, 10, 10}};
    for (float lon : {-175.0F, 185.0F, 175.0F}) {
        EXPECT_EQ(jumping.contains(lon, 0), 1) << lon;
        EXPECT_EQ(running.contains(lon, 0), 1) << lon;
    }
    EXPECT_EQ(running.contains(0, 0), 0);
    EXPECT_EQ(running.contains(160, 0), 0);
}

TEST(GshhsInside, rounding_between_the_least_latitudes_counts) {
    // A step of the least latitude there is takes the crossing to 11, beyond the edge.
    Shape low = {{10, 10.7F, 10.7F}, {-1e-45F, 0, -5}};
    for (const float lon : {9.9F, 10.0F, 10.5F, 10.8F, 10.9F, 11.0F, 11.1F})
        EXPECT_EQ(low.contains(lon, 0), plain_inside(low, lon, 0)) << lon;
    EXPECT_EQ(low.contains(10.9F, 0), 1);
}

TEST(GshhsInside, numbers_far_beyond_the_globe_agree_with_the_plain_rule) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int> step(-12, 12);
    for (int i = 0; i < 2000; i++) {
        const float far = i % 2 ? 4e8F : 0; // where numbers are 32 apart
        const float scale = i % 3 ? 1 : 1e37F;
        Shape shape;
        for (int vertex = 0; vertex < 5; vertex++) {
            shape.lon.push_back(far + 32 * static_cast<float>(step(random)));
            shape.lat.push_back(scale * static_cast<float>(step(random)));
        }
        const float py = scale * static_cast<float>(step(random));
        EXPECT_EQ(shape.contains(far, py), plain_inside(shape, far, py)) << i;
    }
}

TEST(GshhsInside, no_vertices_or_one_contain_nothing) {
    EXPECT_EQ(gshhsmap_inside_eo(0, nullptr, nullptr, 0, 0), 0);
    EXPECT_EQ(gshhsmap_inside_eo(-1, nullptr, nullptr, 0, 0), 0);
    Shape one = {{5}, {5}};
    EXPECT_EQ(one.contains(5, 5), 0);
    EXPECT_EQ(one.contains(5, 0), 0);
}

TEST(GshhsInside, second_vertex_is_not_looked_for_where_there_is_none) {
    const lindra::test::GuardedBuffer memory(std::string(sizeof(float), '\0'));
    auto *one = reinterpret_cast<float *>(memory.data());
    EXPECT_EQ(gshhsmap_inside_eo(1, one, one, 5, 5), 0);
}

TEST(GshhsInside, point_at_the_pole_meets_no_edge_below_it) {
    Shape cap = {{0, 90, 180, 270}, {80, 80, 80, 80}};
    EXPECT_EQ(cap.contains(45, 90), 0);
    Shape touching = {{0, 20, 20, 0}, {80, 80, 90, 90}};
    EXPECT_EQ(touching.contains(10, 90), 1);
}

TEST(GshhsInside, horizontal_edge_at_the_points_latitude_counts_as_north) {
    EXPECT_EQ(square().contains(15, 20), 1);
    EXPECT_EQ(square().contains(15, 10), 0);
}

TEST(GshhsInside, edge_that_falls_eastward_is_judged_by_the_second_vertex) {
    // The falling edge from (0, 10) to (20, -10) has its northern part at 0 to 10. The second vertex lies
    // more than half a turn east of the point, so that the point is moved away by 360 and the edge is not
    // counted.
    Shape far_second = {{185, 186, 0, 20}, {-40, -40, 10, -10}};
    Shape near_second = {{20, 19, 0, 20}, {-40, -40, 10, -10}};
    EXPECT_EQ(far_second.contains(5, 0), plain_inside(far_second, 5, 0));
    EXPECT_NE(far_second.contains(5, 0), near_second.contains(5, 0));
}

TEST(GshhsInside, precision_of_each_step_is_as_documented) {
    // Each of these comes out otherwise when one comparison with 180 is made in single precision, or when one
    // interpolation is computed in another order.
    struct Case {
        Shape shape;
        float px, py;
        int inside;
    };
    Case cases[] = {
        {{{11.6999998F, -168.300003F, -153.300003F}, {50.5F, 21.3999996F, -89.3000031F}},
         -167.527634F,
         15.6999998F,
         0},
        {{{55.5999985F, 235.600006F, -152.5F}, {76.4000015F, -17.5F, 30.3999996F}}, 415.600037F, 6, 0},
        {{{-7.19999981F, -187.199997F, 134.899994F}, {-53.5F, -50.7999992F, -16.2999992F}},
         172.800003F,
         -56.2000008F,
         1},
        {{{-142.199997F, 37.8000031F, 17.1000004F}, {79.6999969F, 58, -45.9000015F}},
         -322.200012F,
         -58.5999985F,
         0},
        {{{-124.400002F, -152.5F, 44}, {58.2000008F, -65.3000031F, -67.1999969F}},
         29.8995247F,
         -56.7000008F,
         0},
        {{{53.2000008F, -45.2999992F, 70.1999969F}, {-9.80000019F, -86.5999985F, 83.8000031F}},
         31.1401024F,
         -27,
         0}};
    for (Case &one : cases)
        EXPECT_EQ(one.shape.contains(one.px, one.py), one.inside) << one.px;
}

TEST(GshhsInside, points_on_and_beside_edges_agree_with_the_plain_rule) {
    std::mt19937 random(8);
    std::uniform_real_distribution<float> longitude(-200, 200), latitude(-90, 90);
    std::uniform_int_distribution<int> which(0, 3);
    for (int round = 0; round < 200000; round++) {
        Shape shape;
        for (int i = 0; i < 4; i++) {
            shape.lon.push_back(std::round(longitude(random) * 10) / 10);
            shape.lat.push_back(std::round(latitude(random) * 10) / 10);
        }
        const auto i = static_cast<size_t>(which(random)), j = (i + 1) % 4;
        const float py = std::round(latitude(random) * 10) / 10;
        const float along = (py - shape.lat[i]) / (shape.lat[j] - shape.lat[i]);
        float px = shape.lon[i] + along * (shape.lon[j] - shape.lon[i]);
        if (round % 3 == 1) px = shape.lon[i] + 180;
        if (round % 3 == 2) px = shape.lon[i] - 180;
        if (round % 2) px = std::nextafter(px, longitude(random));
        ASSERT_EQ(shape.contains(px, py), plain_inside(shape, px, py)) << round;
    }
}

// There the crossing that is computed may lie beside the vertex.
TEST(GshhsInside, points_at_vertices_agree_with_the_plain_rule) {
    std::mt19937 random(9);
    std::uniform_real_distribution<float> longitude(-200, 200), latitude(-90, 90);
    for (int round = 0; round < 20000; round++) {
        Shape shape;
        for (int i = 0; i < 4; i++) {
            shape.lon.push_back(longitude(random));
            shape.lat.push_back(latitude(random));
        }
        for (size_t i = 0; i < 4; i++)
            ASSERT_EQ(shape.contains(shape.lon[i], shape.lat[i]),
                      plain_inside(shape, shape.lon[i], shape.lat[i]))
                << round;
    }
}

TEST(GshhsInside, random_polygons_agree_with_the_plain_rule) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> longitude(-400, 800), latitude(-90, 90);
    std::uniform_int_distribution<int> grid(-4, 4), size(1, 12);
    int inside = 0;
    for (int round = 0; round < 20000; round++) {
        Shape shape;
        const bool on_grid = round % 2;
        for (int i = size(random); i > 0; i--) {
            shape.lon.push_back(on_grid ? static_cast<float>(grid(random) * 45) : longitude(random));
            shape.lat.push_back(on_grid ? static_cast<float>(grid(random) * 15) : latitude(random));
        }
        const float px = on_grid ? static_cast<float>(grid(random) * 45) : longitude(random);
        const float py = on_grid ? static_cast<float>(grid(random) * 15) : latitude(random);
        const int expected = plain_inside(shape, px, py);
        ASSERT_EQ(shape.contains(px, py), expected) << round;
        inside += expected;
    }
    EXPECT_GT(inside, 2000);
}
