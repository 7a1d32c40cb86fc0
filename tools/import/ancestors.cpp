// SPDX-License-Identifier: MIT

#include "import/ancestors.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace lindra::tools {

namespace {

bool before(const Ancestors::Ancestor &one, const Ancestors::Ancestor &other) {
    return std::pair(one.level, one.area) < std::pair(other.level, other.area);
}

int64_t distance(const Box &one, const Box &other) {
    const auto apart = [](int32_t from, int32_t to) { return int64_t{std::abs(short_step_udeg(from, to))}; };
    return apart(one.west, other.west) + apart(one.east, other.east) + apart(one.south, other.south) +
           apart(one.north, other.north);
}

} // namespace

void Ancestors::sort() {
    std::stable_sort(polygons_.begin(), polygons_.end(), before);
}

const Ancestors::Ancestor *Ancestors::find(int32_t level, double area, const Box &box) const {
    const Ancestor wanted{level, area, -1, box};
    const auto [first, end] = std::equal_range(polygons_.begin(), polygons_.end(), wanted, before);
    const auto nearest = std::min_element(first, end, [&](const Ancestor &one, const Ancestor &other) {
        return distance(one.box, box) < distance(other.box, box);
    });
    return nearest == end ? nullptr : &*nearest;
}

} // namespace lindra::tools
