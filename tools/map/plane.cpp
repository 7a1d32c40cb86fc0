// SPDX-License-Identifier: MIT

#include "map/plane.hpp"

#include <algorithm>
#include <limits>

namespace lindra::tools {

PlaneBox box_of(const PlaneLines &lines) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    PlaneBox box{infinite, infinite, -infinite, -infinite};
    for (const PlaneLine &line : lines)
        for (const PlanePoint &point : line)
            box = {std::min(box.left, point.x), std::min(box.top, point.y), std::max(box.right, point.x),
                   std::max(box.bottom, point.y)};
    return box.left > box.right ? PlaneBox{0, 0, 0, 0} : box;
}

} // namespace lindra::tools
