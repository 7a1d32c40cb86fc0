// SPDX-License-Identifier: MIT
//
// Longitudes by whole turns.
#ifndef LINDRA_GSHHSMAP_TURNS_HPP
#define LINDRA_GSHHSMAP_TURNS_HPP

#include <algorithm>
#include <cmath>

namespace lindra::gshhs {

inline constexpr double far_away = 16 * 360;

// What to add to x, far below limit, in place of many steps of 360: the steps that stay below zero, or inside
// one binade, are all free of rounding, so that their sum gives the same bits. A damaged file can wind a
// polygon round the globe a million times; this keeps the walk over it linear.
inline double many_turns(double x, double limit) {
    const double edge = x < 0 ? 0 : std::ldexp(1, std::ilogb(x) + 1);
    const double turns = std::floor((std::min(limit, edge) - x) / 360) - 1;
    return 360 * std::max(turns, 1.0);
}

// While limit is greater than x, add 360.
inline double raised(double x, double limit) {
    while (limit > x)
        x += limit - x > far_away ? many_turns(x, limit) : 360;
    return x;
}

// While x is greater than limit, subtract 360.
inline double lowered(double x, double limit) {
    while (x > limit)
        x -= x - limit > far_away ? many_turns(-x, -limit) : 360;
    return x;
}

// In the 360 degrees from lonref.
inline double framed(double x, double lonref) {
    return lowered(raised(x, lonref), lonref + 360);
}

// Within half a turn of previous.
inline double continued(double x, double previous) {
    return raised(lowered(x, previous + 180), previous - 180);
}

// As many steps of 360 as turns says, up or down.
inline double turned(double x, int turns) {
    for (; turns > 0; turns--)
        x += 360;
    for (; turns < 0; turns++)
        x -= 360;
    return x;
}

} // namespace lindra::gshhs

#endif
