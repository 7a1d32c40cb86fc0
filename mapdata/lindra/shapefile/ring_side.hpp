// SPDX-License-Identifier: MIT
//
// On which side of a ring a point lies. Boxes round the runs of a long ring leave out those that tell
// nothing; what is found is what a look at every edge would find, to the bit.
#ifndef LINDRA_SHAPEFILE_RING_SIDE_HPP
#define LINDRA_SHAPEFILE_RING_SIDE_HPP

#include "ring.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace lindra::detail {

// How many edges, boxes and rings may still be looked at.
class look_budget {
  public:
    explicit look_budget(size_t looks) : left_(looks) {}

    void take(size_t looks) { left_ -= std::min(looks, left_); }
    size_t left() const { return left_; }
    bool is_used_up() const { return left_ == 0; }

  private:
    size_t left_;
};

enum class side { inside, outside, on };

inline bool is_between(double value, double one, double other) {
    return value >= std::min(one, other) && value <= std::max(one, other);
}

// Where edges beyond first to last - 1 are left aside: inside means east of an odd number of them. Edge i
// leads to point i of the ring.
inline side side_of_edges(shape_point p, point_range points, const ring &of, size_t first, size_t last) {
    bool is_inside = false;
    shape_point a = points[of.first + (first ? first : of.count) - 1];
    for (size_t i = first; i < last; i++) {
        const shape_point b = points[of.first + i];
        const double turn = cross(a, b, p);
        if (turn == 0 && is_between(p.x, a.x, b.x) && is_between(p.y, a.y, b.y)) return side::on;
        const bool is_above = b.y > p.y;
        if ((a.y > p.y) != is_above && std::signbit(turn) != is_above) is_inside = !is_inside;
        a = b;
    }
    return is_inside ? side::inside : side::outside;
}

// Whether the products of differences of such coordinates neither vanish nor grow beyond all numbers.
inline bool is_ordinary(double coordinate) {
    const double size = std::abs(coordinate);
    return size == 0 || (size >= 1e-120 && size <= 1e120);
}

inline bool are_ordinary(point_range points) {
    return std::ranges::all_of(points, [](shape_point p) { return is_ordinary(p.x) && is_ordinary(p.y); });
}

// A tree of boxes round the runs of a ring that is not short: each is halved until it is. All coordinates
// must be ordinary.
class ring_boxes {
  public:
    static constexpr size_t short_run = 16;

    // Halves of a run that is not short have eight edges or more.
    ring_boxes(point_range points, const ring &of) : points_(points), ring_(of), boxes_(of.count / 4) {
        measure(all());
    }

    side side_of(shape_point p, look_budget &looks) const { return side_of_run(p, all(), looks); }

  private:
    // Node n of the tree: edges first to last - 1.
    struct run {
        size_t node, first, last;

        bool is_short() const { return last - first <= short_run; }
        run one_half() const { return {2 * node, first, first + (last - first) / 2}; }
        run other_half() const { return {2 * node + 1, first + (last - first) / 2, last}; }
    };

    run all() const { return {1, 0, ring_.count}; }

    // Where edge i begins.
    shape_point before(size_t i) const { return points_[ring_.first + (i ? i : ring_.count) - 1]; }

    shape_box box_of_edges(run of) const {
        const shape_point start = before(of.first);
        return united(bounds_of(points_, ring_.first + of.first, ring_.first + of.last),
                      {start.x, start.y, start.x, start.y});
    }

    // Makes the boxes of a run and of its halves. Those that are kept are wider by so much that what lies
    // beyond their sides is on the right side of each edge however its turn is rounded.
    shape_box measure(run of) {
        const shape_box box =
            of.is_short() ? box_of_edges(of) : united(measure(of.one_half()), measure(of.other_half()));
        const double more = (box.xmax - box.xmin) * 1e-12;
        boxes_[of.node] = {box.xmin - more, box.ymin, box.xmax + more, box.ymax};
        return box;
    }

    // A run that is east of the point as a whole is crossed as often as a line from its beginning to its end,
    // but for an even number.
    side side_of_run(shape_point p, run of, look_budget &looks) const {
        looks.take(1);
        const shape_box &box = boxes_[of.node];
        if (p.y < box.ymin || p.y > box.ymax || p.x > box.xmax) return side::outside;
        if (p.x < box.xmin) {
            const bool is_crossed = (before(of.first).y > p.y) != (before(of.last).y > p.y);
            return is_crossed ? side::inside : side::outside;
        }
        if (of.is_short()) {
            looks.take(of.last - of.first);
            return side_of_edges(p, points_, ring_, of.first, of.last);
        }
        const side one = side_of_run(p, of.one_half(), looks);
        if (one == side::on) return one;
        const side other = side_of_run(p, of.other_half(), looks);
        if (other == side::on) return other;
        return one == other ? side::outside : side::inside;
    }

    point_range points_;
    ring ring_;
    std::vector<shape_box> boxes_;
};

} // namespace lindra::detail

#endif
