// SPDX-License-Identifier: MIT

#include "map/options.hpp"

#include "common/errors.hpp"
#include "map/named_rows.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <span>
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

struct LevelName {
    const char *name;
    int first, last;
};

constexpr LevelName border_names[] = {{"national", 1, 1}, {"state", 2, 2}, {"marine", 3, 3}};
constexpr LevelName river_names[] = {{"permanent", 1, 4}, {"intermittent", 5, 7}, {"canals", 8, 10}};

struct LineLayer {
    const char *name;
    Levels Layers::*levels;
    int most;
    std::span<const LevelName> names;
};

constexpr LineLayer line_layers[] = {{"borders", &Layers::borders, border_levels, border_names},
                                     {"rivers", &Layers::rivers, river_levels, river_names}};

[[noreturn]] void refuse_levels(const LineLayer &layer, const std::string &text) {
    std::string names;
    for (const LevelName &level : layer.names)
        names += ", " + std::string(level.name);
    throw UsageError(std::string(layer.name) + " have no level '" + text + "'; the levels are 1 to " +
                     std::to_string(layer.most) + names + ", and several are joined, such as " + layer.name +
                     ":1-2+" + layer.names.back().name);
}

// 0 for what is not a level.
int parse_level(const std::string &text, int most) {
    int level = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, level);
    return error == std::errc() && stop == end && level <= most ? std::max(level, 0) : 0;
}

void add_levels(Levels &levels, const LineLayer &layer, const std::string &text) {
    if (const auto named = find_row(layer.names, text); named != layer.names.end())
        return levels.add(named->first, named->last);
    const size_t dash = text.find('-');
    const int first = parse_level(text.substr(0, dash), layer.most);
    const int last = dash == std::string::npos ? first : parse_level(text.substr(dash + 1), layer.most);
    if (first == 0 || last < first) refuse_levels(layer, text);
    levels.add(first, last);
}

[[noreturn]] void refuse_layer(const std::string &name) {
    std::string known;
    for (const LayerName &layer : layer_names)
        known += std::string(layer.name) + ", ";
    for (const LineLayer &layer : line_layers)
        known += std::string(layer.name) + ", ";
    throw UsageError("there is no layer '" + name + "'; the layers are " + known.substr(0, known.size() - 2));
}

// "rivers:1,2" is meant as "rivers:1+2".
[[noreturn]] void refuse_level_as_layer(const std::string &text) {
    throw UsageError("there is no layer '" + text + "'; levels are joined by +, such as rivers:1+2");
}

void add_area_layer(Layers &layers, const std::string &name, bool has_levels) {
    if (!name.empty() && std::isdigit(static_cast<unsigned char>(name[0]))) refuse_level_as_layer(name);
    const auto layer = find_row(layer_names, name);
    if (layer == std::end(layer_names)) refuse_layer(name);
    if (has_levels) throw UsageError("the layer " + name + " has no levels; only borders and rivers have");
    layers.*layer->wanted = true;
}

// "NAME" or "NAME:LEVELS".
void add_layer(Layers &layers, const std::string &text) {
    const size_t colon = text.find(':');
    const bool has_levels = colon != std::string::npos;
    const std::string name = text.substr(0, colon);
    const auto layer = find_row(line_layers, name);
    if (layer == std::end(line_layers)) return add_area_layer(layers, name, has_levels);
    Levels &levels = layers.*layer->levels;
    if (!has_levels) return levels.add(1, layer->most);
    for (const std::string &item : split(text.substr(colon + 1), '+'))
        add_levels(levels, *layer, item);
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

std::vector<MapFile> Layers::files() const {
    std::vector<MapFile> files;
    if (coast || has_areas()) files.push_back(MapFile::coast);
    if (borders.any()) files.push_back(MapFile::borders);
    if (rivers.any()) files.push_back(MapFile::rivers);
    return files;
}

Layers parse_layers(const std::string &text) {
    Layers layers;
    for (const std::string &item : split(text, ','))
        add_layer(layers, item);
    return layers;
}

const char *levels_help() {
    return R"(LEVELS of borders and rivers are numbers, ranges and names joined by +, such as
borders:national+marine or rivers:1-2+6. Without them all are taken.
  borders  1 national, 2 state, 3 marine
  rivers   1 to 4 permanent, from major to minor; 5 to 7 intermittent; 8 to 10
           canals: major, minor, irrigation. Wide rivers are among the lakes too
)";
}

} // namespace lindra::tools
