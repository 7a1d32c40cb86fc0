// SPDX-License-Identifier: MIT
//
// A ring of a polygon: where it is in its record, its bounds and its area.
#ifndef LINDRA_SHAPEFILE_RING_HPP
#define LINDRA_SHAPEFILE_RING_HPP

#include "shape_record.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace lindra::detail {

// A closed line through count points of a record from first on; the first one is not repeated at the end.
struct ring {
    size_t first;
    size_t count;
    shape_box bounds;
    double twice_area; // above 0: counterclockwise

    // Of a ring that has an area.
    bool is_clockwise() const { return std::signbit(twice_area); }
};

inline double cross(shape_point a, shape_point b, shape_point c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

// Measured from the first point, which keeps small rings far from the origin exact.
inline double twice_signed_area(point_range points, const ring &of) {
    const shape_point origin = points[of.first];
    double twice = 0;
    for (size_t i = 1; i + 1 < of.count; i++)
        twice += cross(origin, points[of.first + i], points[of.first + i + 1]);
    return std::isnan(twice) ? 0 : twice;
}

inline shape_box united(const shape_box &one, const shape_box &other) {
    return {std::min(one.xmin, other.xmin), std::min(one.ymin, other.ymin), std::max(one.xmax, other.xmax),
            std::max(one.ymax, other.ymax)};
}

// Of the points first to last - 1.
inline shape_box bounds_of(point_range points, size_t first, size_t last) {
    constexpr double far = std::numeric_limits<double>::infinity();
    shape_box bounds{far, far, -far, -far};
    for (size_t i = first; i < last; i++) {
        const shape_point p = points[i];
        bounds = united(bounds, {p.x, p.y, p.x, p.y});
    }
    return bounds;
}

inline ring make_ring(point_range points, size_t first, size_t count) {
    ring made{first, count, {}, {}};
    made.bounds = bounds_of(points, first, first + count);
    made.twice_area = twice_signed_area(points, made);
    return made;
}

} // namespace lindra::detail

#endif
