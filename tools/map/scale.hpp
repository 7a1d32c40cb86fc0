// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SCALE_HPP
#define LINDRA_TOOLS_SCALE_HPP

#include "map/chart.hpp"

#include <optional>

namespace lindra::tools {

// How many metres of the plane a metre on the Earth takes at a place.
struct Scale {
    double east, north;
};

// At the place that stands for the whole map: the window's middle, or the centre of the projection where that
// is not seen.
Point typical_place(const Chart &chart);

// Nothing when the place or its surroundings are not seen.
std::optional<Scale> scale_at(const Chart &chart, Point place);

// The scale that nine tenths of the window do not exceed, in the direction in which it is smaller.
double prevailing_scale(const Chart &chart);

} // namespace lindra::tools

#endif
