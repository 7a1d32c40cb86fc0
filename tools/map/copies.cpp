// SPDX-License-Identifier: MIT

#include "map/copies.hpp"

#include <algorithm>
#include <cmath>

namespace lindra::tools {

namespace {

// The fewest and the most whole turns by which a range of longitudes is to be shifted to meet another.
struct Turns {
    int first, last;
};

Turns turns(double west, double east, const Window &window) {
    return {static_cast<int>(std::ceil((window.west - east) / 360)),
            static_cast<int>(std::floor((window.east - west) / 360))};
}

} // namespace

bool meets(const Window &box, const Window &window) {
    if (box.north < window.south || box.south > window.north) return false;
    const auto [first, last] = turns(box.west, box.east, window);
    return first <= last;
}

std::vector<double> copies(const Line &line, const Window &window) {
    if (line.empty()) return {};
    const auto [west, east] =
        std::minmax_element(line.begin(), line.end(), [](Point a, Point b) { return a.lon < b.lon; });
    const auto [south, north] =
        std::minmax_element(line.begin(), line.end(), [](Point a, Point b) { return a.lat < b.lat; });
    if (north->lat < window.south || south->lat > window.north) return {};
    std::vector<double> result;
    const auto [first, last] = turns(west->lon, east->lon, window);
    for (int turn = first; turn <= last; turn++)
        result.push_back(360.0 * turn);
    return result;
}

Line shifted(const Line &line, double longitude) {
    Line result = line;
    for (Point &point : result)
        point.lon += longitude;
    return result;
}

} // namespace lindra::tools
