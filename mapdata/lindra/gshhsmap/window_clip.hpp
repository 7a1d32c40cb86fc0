// SPDX-License-Identifier: MIT
//
// Replaces runs of points outside the window by points on its border, so that what is filled inside it stays
// right. Regions are 3 x latitude class + longitude class, each 0 below, 1 within, 2 beyond the window: 4 is
// inside.
#ifndef LINDRA_GSHHSMAP_WINDOW_CLIP_HPP
#define LINDRA_GSHHSMAP_WINDOW_CLIP_HPP

#include "lindra.h"
#include "outline.hpp"
#include "point_arrays.hpp"

#include <optional>

namespace lindra::gshhs {

// Where the points of a stretch lie, in degrees as they are delivered.
struct Bounds {
    double west, east, south, north;
};

Bounds bounds_of(const Stretch &stretch, double shift);

// The region that a stretch lies in as a whole, where it lies in one.
std::optional<int> region_of(const GshhsMap *gs, const Bounds &bounds);

class WindowClip {
  public:
    WindowClip(const GshhsMap *gs, double shift, PointArrays &out) : gs_(gs), shift_(shift), out_(out) {}

    // All points of an outline. Returns 0, or -1 when there is no room for them.
    int add(const Outline &outline);

  private:
    static constexpr int none = -1;

    // 1, or 0 when the stretch lies in no one region, or -1.
    int add_whole(const Stretch &stretch, Points &points);
    int add_in_region(int region, const Stretch &stretch, Points &points);
    int add_each(const Stretch &stretch, Points &points);
    int add(Point point);
    void clamp(Point &point, int region) const;

    const GshhsMap *gs_;
    double shift_;
    PointArrays &out_;
    int previous_region_ = none;
    Point previous_ = {};
};

} // namespace lindra::gshhs

#endif
