// SPDX-License-Identifier: MIT

#include "shapes/shape_window.hpp"

#include "common/errors.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <sstream>

namespace lindra::tools {

namespace {

[[noreturn]] void refuse(const std::string &text, const std::string &why) {
    throw UsageError("the window " + text + ": " + why +
                     "; give it as W/E/S/N in the unit of the shapefiles, such as 5/15/45/50");
}

double parse_edge(const std::string &window, const std::string &text) {
    double value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        refuse(window, "'" + text + "' is not a number");
    return value;
}

} // namespace

bool is_in_degrees(const ShapeWindow &window) {
    return std::fabs(window.west) <= 360 && std::fabs(window.east) <= 360 && window.south >= -90 &&
           window.north <= 90;
}

std::vector<ShapeWindow> parse_shape_window(const std::string &text) {
    std::istringstream items(text);
    std::vector<double> edges;
    for (std::string item; std::getline(items, item, '/');)
        edges.push_back(parse_edge(text, item));
    if (edges.size() != 4 || text.ends_with('/')) refuse(text, "four numbers are needed");
    const ShapeWindow window = {edges[0], edges[1], edges[2], edges[3]};
    if (window.south > window.north) refuse(text, "south is above north");
    if (window.west <= window.east) return {window};
    if (!is_in_degrees(window)) refuse(text, "east is below west, which is for degrees only");
    return {{window.west, window.east + 360, window.south, window.north},
            {window.west - 360, window.east, window.south, window.north}};
}

} // namespace lindra::tools
