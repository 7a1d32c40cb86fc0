// SPDX-License-Identifier: MIT

#include "map/options.hpp"

#include "common/errors.hpp"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <vector>

namespace lindra::tools {

namespace {

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> items;
    for (size_t start = 0;;) {
        const size_t end = text.find(separator, start);
        items.push_back(text.substr(start, end - start));
        if (end == std::string::npos) return items;
        start = end + 1;
    }
}

[[noreturn]] void refuse_window(const std::string &text, const std::string &why) {
    throw UsageError("the window " + text + ": " + why +
                     "; give it as W/E/S/N in degrees, such as 5/15/45/50");
}

struct Bound {
    const char *name;
    double least, most;
};

// In the order of the option.
constexpr Bound bounds[] = {{"west", -360, 720}, {"east", -360, 720}, {"south", -90, 90}, {"north", -90, 90}};

double parse_bound(const std::string &window, const std::string &text, const Bound &bound) {
    double value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        refuse_window(window, std::string(bound.name) + " is '" + text + "', which is not a number");
    if (value < bound.least || value > bound.most)
        refuse_window(window, std::string(bound.name) + " is " + text + ", which is outside " +
                                  std::to_string(static_cast<int>(bound.least)) + " to " +
                                  std::to_string(static_cast<int>(bound.most)));
    return value;
}

struct LayerName {
    const char *name;
    bool Layers::*wanted;
};

constexpr LayerName layer_names[] = {{"coast", &Layers::coast},
                                     {"land", &Layers::land},
                                     {"lakes", &Layers::lakes},
                                     {"islands", &Layers::islands},
                                     {"ponds", &Layers::ponds}};

bool Layers::*find_layer(const std::string &name) {
    std::string known;
    for (const LayerName &layer : layer_names) {
        if (name == layer.name) return layer.wanted;
        known += (known.empty() ? "" : ", ") + std::string(layer.name);
    }
    throw UsageError("there is no layer '" + name + "'; the layers are " + known);
}

} // namespace

Window parse_window(const std::string &text) {
    const std::vector<std::string> items = split(text, '/');
    if (items.size() != std::size(bounds))
        refuse_window(text, "four numbers are needed, not " + std::to_string(items.size()));
    double values[std::size(bounds)];
    for (size_t i = 0; i < std::size(bounds); i++)
        values[i] = parse_bound(text, items[i], bounds[i]);

    auto [west, east, south, north] = values;
    if (east < west) east += 360;
    if (east == west) refuse_window(text, "west and east are the same meridian");
    if (east < west || east - west > 360)
        refuse_window(text, "west and east are more than 360 degrees apart");
    if (south >= north) refuse_window(text, "south is not below north");
    return {west, east, south, north};
}

bool Layers::has_level(int level) const {
    const bool wanted[] = {land, lakes, islands, ponds};
    return level >= 1 && level <= static_cast<int>(std::size(wanted)) && wanted[level - 1];
}

Layers parse_layers(const std::string &text) {
    Layers layers;
    for (const std::string &name : split(text, ','))
        layers.*find_layer(name) = true;
    return layers;
}

} // namespace lindra::tools
