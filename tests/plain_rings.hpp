// SPDX-License-Identifier: MIT
//
// Plain answers to compare the nesting of rings with: every edge of every ring is looked at.
#ifndef LINDRA_TESTS_PLAIN_RINGS_HPP
#define LINDRA_TESTS_PLAIN_RINGS_HPP

#include "lindra/lindra.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace lindra::test {

inline detail::side plain_side(point_range points, const detail::ring &of, shape_point p) {
    bool is_inside = false;
    for (size_t i = 0; i < of.count; i++) {
        const shape_point a = points[of.first + i];
        const shape_point b = points[of.first + (i + 1) % of.count];
        const double turn = (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
        const bool is_level = std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y);
        const bool is_above_or_below = std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x);
        if (turn == 0 && is_level && is_above_or_below) return detail::side::on;
        const bool goes_up = a.y <= p.y && b.y > p.y;
        const bool goes_down = b.y <= p.y && a.y > p.y;
        if ((goes_up && !std::signbit(turn)) || (goes_down && std::signbit(turn))) is_inside = !is_inside;
    }
    return is_inside ? detail::side::inside : detail::side::outside;
}

// Asks as many places of the inner ring as the library does, and the same.
inline bool plain_holds(point_range points, const detail::ring &outer, const detail::ring &inner) {
    std::vector<shape_point> corners, middles;
    for (size_t i = 0; i < inner.count; i += std::max<size_t>(1, inner.count / 16)) {
        const shape_point a = points[inner.first + i];
        const shape_point b = points[inner.first + (i + 1) % inner.count];
        corners.push_back(a);
        middles.push_back({a.x + (b.x - a.x) / 2, a.y + (b.y - a.y) / 2});
    }
    for (const auto &asked : {corners, middles})
        for (const shape_point p : asked)
            if (const detail::side where = plain_side(points, outer, p); where != detail::side::on)
                return where == detail::side::inside;
    return false;
}

// The smallest ring that holds ring i.
inline std::optional<size_t> plain_holder(point_range points, const std::vector<detail::ring> &rings,
                                          size_t i) {
    const shape_box in = rings[i].bounds;
    std::optional<size_t> smallest;
    for (size_t j = 0; j < rings.size(); j++) {
        const shape_box out = rings[j].bounds;
        const double size = std::abs(rings[j].twice_area);
        if (size <= std::abs(rings[i].twice_area)) continue;
        if (smallest && size >= std::abs(rings[*smallest].twice_area)) continue;
        if (out.xmin > in.xmin || out.ymin > in.ymin || out.xmax < in.xmax || out.ymax < in.ymax) continue;
        if (plain_holds(points, rings[j], rings[i])) smallest = j;
    }
    return smallest;
}

// Which rings lie in an odd number of others, each directly in the next.
inline std::vector<bool> plain_holes(point_range points, const std::vector<detail::ring> &rings) {
    std::vector<bool> holes;
    for (size_t i = 0; i < rings.size(); i++) {
        bool is_hole = false;
        for (auto holder = plain_holder(points, rings, i); holder;
             holder = plain_holder(points, rings, *holder))
            is_hole = !is_hole;
        holes.push_back(is_hole);
    }
    return holes;
}

} // namespace lindra::test

#endif
