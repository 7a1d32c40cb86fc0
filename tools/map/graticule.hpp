// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_GRATICULE_HPP
#define LINDRA_TOOLS_GRATICULE_HPP

#include "map/chart.hpp"
#include "map/plane.hpp"

#include <string>
#include <vector>

namespace lindra::tools {

// A text at a point of the map.
struct Label {
    std::string text;
    PlanePoint at;      // on the plane
    PlanePoint outward; // on the page, of length 1: the label stands beyond the point; 0, 0: on the point
};

// The meridians and parallels of a chart, on the plane.
struct Graticule {
    PlaneLines lines;
    std::vector<Label> labels;
};

// metres: of the plane, about how far apart the lines are to be.
Graticule make_graticule(const Chart &chart, double metres);

// The smallest of 90, 45, 30, 15, 10, 5, 2, 1, 0.5, 0.2, 0.1, ... that is not below least; at most 90.
double nice_step(double least);

// "30°W", "0°", "180°", "2.5°E": with as many decimals as multiples of the step have.
std::string longitude_label(double longitude, double step);
std::string latitude_label(double latitude, double step);

} // namespace lindra::tools

#endif
