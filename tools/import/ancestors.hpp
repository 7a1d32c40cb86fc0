// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_ANCESTORS_HPP
#define LINDRA_TOOLS_ANCESTORS_HPP

#include "import/extent.hpp"

#include <cstdint>
#include <vector>

namespace lindra::tools {

// The polygons of the full resolution, to be found again by those of the reduced ones.
class Ancestors {
  public:
    struct Ancestor {
        int32_t level;
        double area; // as in the binned file
        int32_t id;
        Box box;
    };

    // Polygons are added in rising order of id, all of them before the first is looked for.
    void add(const Ancestor &polygon) { polygons_.push_back(polygon); }
    void sort();

    bool empty() const { return polygons_.empty(); }

    // The polygon that one of a reduced file was reduced from, or null. The reduced file repeats the area of
    // its ancestor to the last bit; among several of one level and area it is the one with the nearest box.
    const Ancestor *find(int32_t level, double area, const Box &box) const;

  private:
    std::vector<Ancestor> polygons_;
};

} // namespace lindra::tools

#endif
