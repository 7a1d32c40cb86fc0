// SPDX-License-Identifier: MIT

#include "map/densify.hpp"

#include <algorithm>
#include <cmath>

namespace lindra::tools {

Point between(Point from, Point to, double share) {
    return {std::lerp(from.lon, to.lon, share), std::lerp(from.lat, to.lat, share)};
}

Line densified(const Line &line, double step) {
    Line result;
    result.reserve(line.size());
    for (const Point &to : line) {
        const Point from = result.empty() ? to : result.back();
        const double longest = std::max(std::fabs(to.lon - from.lon), std::fabs(to.lat - from.lat));
        const int parts = static_cast<int>(std::ceil(longest / step));
        for (int part = 1; part < parts; part++)
            result.push_back(between(from, to, part / static_cast<double>(parts)));
        result.push_back(to);
    }
    return result;
}

double distance_between(Point from, Point to) {
    const double lat = std::sin((to.lat - from.lat) * radians / 2);
    const double lon = std::sin((to.lon - from.lon) * radians / 2);
    const double chord = lat * lat + std::cos(from.lat * radians) * std::cos(to.lat * radians) * lon * lon;
    return 2 * std::asin(std::sqrt(std::min(chord, 1.0))) / radians;
}

Line closed(const Ring &ring) {
    Line line = ring;
    if (!ring.empty()) line.push_back(ring.front());
    return line;
}

} // namespace lindra::tools
