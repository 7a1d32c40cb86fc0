// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_EXTENT_HPP
#define LINDRA_TOOLS_EXTENT_HPP

#include "import/polygon.hpp"

#include <cstdint>

namespace lindra::tools {

// Micro-degrees. West is negative for a polygon that crosses Greenwich.
struct Box {
    int32_t west, east, south, north;
};

// What the flag word of a native header says of a polygon's longitudes, as bits.
enum Crossing : uint32_t { crosses_greenwich = 1, crosses_dateline = 2 };

struct Extent {
    Box box;
    uint32_t crossings;
};

Extent extent_of(const NativePolygon &polygon);

} // namespace lindra::tools

#endif
