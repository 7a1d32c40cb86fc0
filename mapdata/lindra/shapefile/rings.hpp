// SPDX-License-Identifier: MIT
//
// Which ring is a hole of which: a shapefile lists the rings of a polygon in any order and tells holes by the
// way they turn, which many writers get wrong. Here containment tells: a ring in no other is an outline, one
// directly in an outline is a hole of it, one directly in a hole is an outline again.
#ifndef LINDRA_SHAPEFILE_RINGS_HPP
#define LINDRA_SHAPEFILE_RINGS_HPP

#include "shape_record.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

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

// An outline and its holes, as numbers of rings.
struct nested_polygon {
    size_t outline;
    std::vector<size_t> holes;
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

inline shape_box bounds_of(point_range points, const ring &of) {
    constexpr double far = std::numeric_limits<double>::infinity();
    shape_box bounds{far, far, -far, -far};
    for (size_t i = of.first; i < of.first + of.count; i++) {
        const shape_point p = points[i];
        bounds = {std::min(bounds.xmin, p.x), std::min(bounds.ymin, p.y), std::max(bounds.xmax, p.x),
                  std::max(bounds.ymax, p.y)};
    }
    return bounds;
}

inline ring make_ring(point_range points, size_t first, size_t count) {
    ring made{first, count, {}, {}};
    made.bounds = bounds_of(points, made);
    made.twice_area = twice_signed_area(points, made);
    return made;
}

enum class side { inside, outside, on };

inline bool is_between(double value, double one, double other) {
    return value >= std::min(one, other) && value <= std::max(one, other);
}

inline side side_of(shape_point p, point_range points, const ring &of) {
    bool is_inside = false;
    shape_point a = points[of.first + of.count - 1];
    for (size_t i = 0; i < of.count; i++) {
        const shape_point b = points[of.first + i];
        const double turn = cross(a, b, p);
        if (turn == 0 && is_between(p.x, a.x, b.x) && is_between(p.y, a.y, b.y)) return side::on;
        const bool is_above = b.y > p.y;
        if ((a.y > p.y) != is_above && std::signbit(turn) != is_above) is_inside = !is_inside;
        a = b;
    }
    return is_inside ? side::inside : side::outside;
}

// Whether the inner ring lies in the outer one, whose bounds hold it; rings that cross are left aside. Points
// that lie on the outer ring tell nothing; some points, and some middles between two, are asked until one
// tells.
inline bool holds(point_range points, const ring &outer, const ring &inner) {
    constexpr size_t most = 16;
    const size_t step = std::max<size_t>(1, inner.count / most);
    for (const bool middle : {false, true})
        for (size_t i = 0; i < inner.count; i += step) {
            const shape_point a = points[inner.first + i];
            const shape_point b = middle ? points[inner.first + (i + 1) % inner.count] : a;
            const side where = side_of({a.x + (b.x - a.x) / 2, a.y + (b.y - a.y) / 2}, points, outer);
            if (where != side::on) return where == side::inside;
        }
    return false;
}

// Walks the rings from west to east; those that reach as far east as the current one begins are open to hold
// it.
class ring_nest {
  public:
    static constexpr size_t none = static_cast<size_t>(-1);

    ring_nest(point_range points, const std::vector<ring> &rings)
        : points_(points), rings_(rings), holder_(rings.size(), none), is_hole_(rings.size()) {
        for (const size_t i : from_west()) {
            std::erase_if(open_, [&](size_t j) { return rings_[j].bounds.xmax < rings_[i].bounds.xmin; });
            holder_[i] = smallest_holder(i);
            is_hole_[i] = holder_[i] != none && !is_hole_[holder_[i]];
            open_.push_back(i);
        }
    }

    bool is_hole(size_t i) const { return is_hole_[i]; }

    // In the order of the outlines in the file.
    std::vector<nested_polygon> polygons() const {
        std::vector<nested_polygon> result;
        std::vector<size_t> slot(rings_.size());
        for (const size_t i : numbers())
            if (!is_hole_[i]) {
                slot[i] = result.size();
                result.push_back({i, {}});
            }
        for (const size_t i : numbers())
            if (is_hole_[i]) result[slot[holder_[i]]].holes.push_back(i);
        return result;
    }

  private:
    // Of all rings.
    std::vector<size_t> numbers() const {
        std::vector<size_t> all(rings_.size());
        std::iota(all.begin(), all.end(), size_t{0});
        return all;
    }

    double size(size_t i) const { return std::abs(rings_[i].twice_area); }

    // A ring comes before those it may hold.
    std::vector<size_t> from_west() const {
        std::vector<size_t> order = numbers();
        std::ranges::sort(order, {},
                          [this](size_t i) { return std::tuple(rings_[i].bounds.xmin, -size(i), i); });
        return order;
    }

    // Of an open ring, which begins no further east.
    static bool surrounds(const shape_box &open, const shape_box &box) {
        return open.ymin <= box.ymin && open.xmax >= box.xmax && open.ymax >= box.ymax;
    }

    size_t smallest_holder(size_t i) const {
        std::vector<size_t> candidates;
        for (const size_t j : open_)
            if (size(j) > size(i) && surrounds(rings_[j].bounds, rings_[i].bounds)) candidates.push_back(j);
        std::ranges::sort(candidates, {}, [this](size_t j) { return size(j); });
        for (const size_t j : candidates)
            if (holds(points_, rings_[j], rings_[i])) return j;
        return none;
    }

    point_range points_;
    const std::vector<ring> &rings_;
    std::vector<size_t> holder_;
    std::vector<bool> is_hole_;
    std::vector<size_t> open_;
};

} // namespace lindra::detail

#endif
