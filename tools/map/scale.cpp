// SPDX-License-Identifier: MIT

#include "map/scale.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace lindra::tools {

namespace {

// Metres of the plane for each degree, by a short way.
std::optional<double> per_degree(const Chart &chart, Point from, Point to) {
    const std::optional<PlanePoint> a = chart.place(from);
    const std::optional<PlanePoint> b = chart.place(to);
    if (!a || !b) return std::nullopt;
    return std::hypot(b->x - a->x, b->y - a->y) / (to.lon - from.lon + to.lat - from.lat);
}

} // namespace

Point typical_place(const Chart &chart) {
    const Window &window = chart.window();
    const Point middle = {(window.west + window.east) / 2, (window.south + window.north) / 2};
    return chart.place(middle) ? middle : chart.centre();
}

std::optional<Scale> scale_at(const Chart &chart, Point place) {
    const Window &window = chart.window();
    const double lon_way = (window.east - window.west) / 1000;
    const double lat_way = (window.north - window.south) / 1000;
    const double lat = std::clamp(place.lat, -89.9, 89.9); // at a pole there is no way to the east
    const auto east = per_degree(chart, {place.lon - lon_way, lat}, {place.lon + lon_way, lat});
    const auto north = per_degree(chart, {place.lon, lat - lat_way}, {place.lon, lat + lat_way});
    if (!east || !north) return std::nullopt;
    return Scale{*east / (metres_per_degree * std::cos(lat * radians)), *north / metres_per_degree};
}

double prevailing_scale(const Chart &chart) {
    constexpr int parts = 20;
    const Window &window = chart.window();
    std::vector<double> scales;
    for (int column = 1; column < parts; column++)
        for (int row = 1; row < parts; row++) {
            const Point place = {std::lerp(window.west, window.east, column / static_cast<double>(parts)),
                                 std::lerp(window.south, window.north, row / static_cast<double>(parts))};
            if (const std::optional<Scale> scale = scale_at(chart, place))
                scales.push_back(std::min(scale->east, scale->north));
        }
    if (scales.empty()) return 1;
    std::sort(scales.begin(), scales.end());
    return scales[scales.size() * 9 / 10];
}

} // namespace lindra::tools
