// SPDX-License-Identifier: MIT
//
// Points and lines in degrees of longitude and latitude, as the drawing and exporting subcommands pass them
// on.
#ifndef LINDRA_TOOLS_GEOMETRY_HPP
#define LINDRA_TOOLS_GEOMETRY_HPP

#include <numbers>
#include <vector>

namespace lindra::tools {

constexpr double radians = std::numbers::pi / 180; // of a degree

// Where boxes begin that grow by what they hold, or end that hold everything.
constexpr double beyond_everything = 1e9;

struct Point {
    double lon, lat;
};

// Longitudes run on without jumps, whatever range that takes.
using Line = std::vector<Point>;

// A closed line: the last point is joined to the first and does not repeat it.
using Ring = std::vector<Point>;

// What a user asked for, in the user's own longitudes: west < east <= west + 360, south < north.
struct Window {
    double west, east, south, north;
};

} // namespace lindra::tools

#endif
