// SPDX-License-Identifier: MIT
//
// Which ring is a hole of which: a shapefile lists the rings of a polygon in any order and tells holes by the
// way they turn, which many writers get wrong. Here containment tells: a ring in no other is an outline, one
// directly in an outline is a hole of it, one directly in a hole is an outline again.
#ifndef LINDRA_SHAPEFILE_RINGS_HPP
#define LINDRA_SHAPEFILE_RINGS_HPP

#include "ring_side.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <memory>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

namespace lindra::detail {

// An outline and its holes, as numbers of rings.
struct nested_polygon {
    size_t outline;
    std::vector<size_t> holes;
};

// Sorting takes time linear in the points, whatever the rings are like.
inline look_budget looks_for(point_range points) {
    return look_budget(1024 * points.size());
}

// Tells whether rings hold one another. A ring gets its boxes when it is first asked.
class ring_sides {
  public:
    ring_sides(point_range points, const std::vector<ring> &rings)
        : points_(points), rings_(rings), boxes_(rings.size()), are_ordinary_(are_ordinary(points)) {}

    // Whether the inner ring lies in the outer one, whose bounds hold it; rings that cross are left aside.
    // Points that lie on the outer ring tell nothing; some points, and some middles between two, are asked
    // until one tells.
    bool holds(size_t outer, const ring &inner, look_budget &looks) {
        constexpr size_t most = 16;
        const size_t step = std::max<size_t>(1, inner.count / most);
        for (const bool middle : {false, true})
            for (size_t i = 0; i < inner.count; i += step) {
                const shape_point a = points_[inner.first + i];
                const shape_point b = middle ? points_[inner.first + (i + 1) % inner.count] : a;
                const side where = side_of({a.x + (b.x - a.x) / 2, a.y + (b.y - a.y) / 2}, outer, looks);
                if (where != side::on) return where == side::inside;
            }
        return false;
    }

  private:
    side side_of(shape_point p, size_t i, look_budget &looks) {
        const ring &of = rings_[i];
        if (of.count <= ring_boxes::short_run || !are_ordinary_) {
            looks.take(of.count);
            return side_of_edges(p, points_, of, 0, of.count);
        }
        if (!boxes_[i]) boxes_[i] = std::make_unique<ring_boxes>(points_, of);
        return boxes_[i]->side_of(p, looks);
    }

    point_range points_;
    const std::vector<ring> &rings_;
    std::vector<std::unique_ptr<ring_boxes>> boxes_;
    bool are_ordinary_;
};

// Walks the rings from west to east; those that reach as far east as the current one begins are open to hold
// it. When the looks are used up, the rings that are left are outlines.
class ring_nest {
  public:
    ring_nest(point_range points, const std::vector<ring> &rings, look_budget looks)
        : rings_(rings), sides_(points, rings), looks_(looks), holder_(rings.size(), unknown),
          is_hole_(rings.size()) {
        for (const size_t i : from_west()) {
            std::erase_if(open_, [&](size_t j) { return rings_[j].bounds.xmax < rings_[i].bounds.xmin; });
            const size_t holder = smallest_holder(i);
            if (looks_.is_used_up()) break;
            holder_[i] = holder;
            is_hole_[i] = holder != none && !is_hole_[holder];
            open_.push_back(i);
        }
    }

    bool is_hole(size_t i) const { return is_hole_[i]; }
    bool is_sorted(size_t i) const { return holder_[i] != unknown; }
    size_t unsorted() const { return static_cast<size_t>(std::ranges::count(holder_, unknown)); }

    // What is left of those it was made with.
    const look_budget &looks() const { return looks_; }

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

    // Of each open ring whose bounds hold the ring, its size and where it stands among the open ones.
    std::vector<std::pair<double, size_t>> candidates_for(size_t i) const {
        std::vector<std::pair<double, size_t>> candidates;
        for (size_t k = 0; k < open_.size(); k++) {
            const size_t j = open_[k];
            if (size(j) > size(i) && surrounds(rings_[j].bounds, rings_[i].bounds))
                candidates.emplace_back(size(j), k);
        }
        return candidates;
    }

    size_t smallest_holder(size_t i) {
        looks_.take(open_.size());
        auto candidates = candidates_for(i);
        std::ranges::make_heap(candidates, std::greater{});
        while (!candidates.empty() && !looks_.is_used_up()) {
            const size_t smallest = open_[candidates.front().second];
            if (sides_.holds(smallest, rings_[i], looks_)) return smallest;
            std::ranges::pop_heap(candidates, std::greater{});
            candidates.pop_back();
        }
        return none;
    }

    static constexpr size_t none = static_cast<size_t>(-1);
    static constexpr size_t unknown = static_cast<size_t>(-2);

    const std::vector<ring> &rings_;
    ring_sides sides_;
    look_budget looks_;
    std::vector<size_t> holder_;
    std::vector<bool> is_hole_;
    std::vector<size_t> open_;
};

} // namespace lindra::detail

#endif
