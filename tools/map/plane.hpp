// SPDX-License-Identifier: MIT
//
// Points and lines on the projection plane (metres, y to the north) or on the page (pixels, y down).
#ifndef LINDRA_TOOLS_PLANE_HPP
#define LINDRA_TOOLS_PLANE_HPP

#include <vector>

namespace lindra::tools {

struct PlanePoint {
    double x, y;
};

// Open as a line; closed, without its first point repeated, as a ring of an area (even-odd rule).
using PlaneLine = std::vector<PlanePoint>;
using PlaneLines = std::vector<PlaneLine>;

struct PlaneBox {
    double left, top, right, bottom; // left <= right, top <= bottom

    double width() const { return right - left; }
    double height() const { return bottom - top; }
    bool overlaps(const PlaneBox &other) const {
        return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
    }
    bool holds(const PlaneBox &other) const {
        return left <= other.left && other.right <= right && top <= other.top && other.bottom <= bottom;
    }
};

// The box of all points; of nothing it is 0, 0, 0, 0.
PlaneBox box_of(const PlaneLines &lines);

} // namespace lindra::tools

#endif
