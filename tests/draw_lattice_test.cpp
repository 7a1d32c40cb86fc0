// SPDX-License-Identifier: MIT
//
// Every window of a 15-degree lattice draws what the map of the world, cut to the window, shows. Under
// sanitizers, which are many times slower, it is one window in seventeen.

#include "picture.hpp"
#include "sanitized.hpp"

#include <gtest/gtest.h>

namespace {

using namespace lindra::test;
using lindra::tools::Coastline;
using lindra::tools::Window;

#if defined(LINDRA_ADDRESS_SANITIZER) || defined(LINDRA_THREAD_SANITIZER)
constexpr int areas_stride = 17;
constexpr int coasts_stride = 97;
#else
constexpr int areas_stride = 1;
constexpr int coasts_stride = 11;
#endif

constexpr int step = 15; // degrees; a degree is a pixel

Coastline &crude() {
    static Coastline coastline('c');
    return coastline;
}

constexpr const char *areas = "land,lakes,islands,ponds";
constexpr const char *areas_and_coasts = "coast,land,lakes,islands,ponds";

Picture draw(const Window &window, const char *layers) {
    const Wanted wanted = {
        .window = window, .size = {static_cast<int>(window.east - window.west), 0}, .layers = layers};
    return Map(wanted, crude()).picture();
}

Picture draw_world(const char *layers) {
    return draw({-180, 180, -90, 90}, layers);
}

// Pixels that hold a bit of coast or lie beside one may differ in shade: where the line is thinned depends on
// the window.
int count_differences(const Picture &part, const Picture &world, const Window &window) {
    int differences = 0;
    for (int y = 0; y < part.height(); y++)
        for (int x = 0; x < part.width(); x++) {
            const int world_x = (static_cast<int>(window.west) + 180 + x + 720) % 360;
            const int world_y = 90 - static_cast<int>(window.north) + y;
            if (part.at(x, y) != world.at(world_x, world_y) && world.is_plain(world_x, world_y))
                differences++;
        }
    return differences;
}

template <class Compare>
void for_every_window(int west, int stride, Compare compare) {
    int number = west / step;
    for (int east = west + step; east <= west + 360; east += step)
        for (int south = -90; south < 90; south += step)
            for (int north = south + step; north <= 90; north += step)
                if (number++ % stride == 0)
                    compare({static_cast<double>(west), static_cast<double>(east), static_cast<double>(south),
                             static_cast<double>(north)});
}

class Lattice : public testing::TestWithParam<int> {
  protected:
    void expect_parts_of_world(const char *layers, int stride) const {
        const Picture world = draw_world(layers);
        for_every_window(GetParam(), stride, [&](const Window &window) {
            const Picture part = draw(window, layers);
            ASSERT_EQ(part.height(), window.north - window.south);
            EXPECT_EQ(count_differences(part, world, window), 0)
                << window.west << "/" << window.east << "/" << window.south << "/" << window.north;
        });
    }
};

class LatticeWest : public Lattice {};

TEST_P(LatticeWest, every_window_shows_its_part_of_the_world) {
    expect_parts_of_world(areas, areas_stride);
}

// Coasts take several times as long.
TEST_P(LatticeWest, one_window_in_eleven_shows_the_coasts_of_its_part) {
    expect_parts_of_world(areas_and_coasts, coasts_stride);
}

INSTANTIATE_TEST_SUITE_P(Draw, LatticeWest, testing::Range(-180, 180, step));

class LatticeTurn : public Lattice {};

TEST_P(LatticeTurn, windows_of_other_turns_show_their_part_of_the_world) {
    expect_parts_of_world(areas_and_coasts, coasts_stride);
}

INSTANTIATE_TEST_SUITE_P(Draw, LatticeTurn, testing::Values(-360, -195, 180, 360));

TEST(DrawLattice, world_has_enough_plain_pixels_to_compare) {
    const Picture world = draw_world(areas_and_coasts);
    int plain = 0;
    for (int y = 0; y < world.height(); y++)
        for (int x = 0; x < world.width(); x++)
            plain += world.is_plain(x, y);
    EXPECT_GT(plain, 360 * 180 / 2);
}

} // namespace
