// SPDX-License-Identifier: MIT

#include "map/style.hpp"

#include "common/errors.hpp"
#include "map/named_rows.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <span>
#include <sstream>

namespace lindra::tools {

namespace {

struct Preset {
    const char *name;
    const char *settings;
};

constexpr Preset presets[] = {
    {"atlas",
     "background=#ffffff,sea=#d4e6f1,land=#f3ecdb,lake=#d4e6f1,island=#f3ecdb,pond=#d4e6f1,"
     "coast=#4d7390,shore=#7fa3bd,graticule=#3c648238,frame=#2f4656,text=#2f4656,"
     "border=#a2635a,state-border=#cda793,marine-border=#8d9cb4,"
     "river=#86b1cf,intermittent-river=#86b1cf,canal=#86b1cf,"
     "border-width=0.9,state-border-width=0.6,marine-border-width=0.6,"
     "river-width=0.9,intermittent-river-width=0.7,canal-width=0.7,"
     "shape=#d9822b66,shape-line=#b3541e,shape-width=0.9,dot-size=4,"
     "coast-width=0.7,shore-width=0.5,graticule-width=0.6,frame-width=1.3,text-size=12,title-size=20"},
    {"plain",
     "background=#ffffff,sea=#ffffff,land=#dedede,lake=#ffffff,island=#dedede,pond=#ffffff,"
     "coast=#333333,shore=#777777,graticule=#00000030,frame=#000000,text=#000000,"
     "border=#555555,state-border=#8a8a8a,marine-border=#8a8a8a,"
     "river=#a0a0a0,intermittent-river=#a0a0a0,canal=#a0a0a0,"
     "border-width=0.9,state-border-width=0.5,marine-border-width=0.5,"
     "river-width=0.7,intermittent-river-width=0.6,canal-width=0.6,"
     "shape=#6f6f6f80,shape-line=#000000,shape-width=0.9,dot-size=4,"
     "coast-width=0.6,shore-width=0.4,graticule-width=0.6,frame-width=1.2,text-size=12,title-size=20"},
    {"night",
     "background=#0d1219,sea=#131c28,land=#2e3c4b,lake=#131c28,island=#2e3c4b,pond=#131c28,"
     "coast=#6fa0c4,shore=#4b7392,graticule=#a0c8e62c,frame=#5d7891,text=#a9bccd,"
     "border=#b98d62,state-border=#7a6654,marine-border=#4a5e75,"
     "river=#3f6789,intermittent-river=#3f6789,canal=#3f6789,"
     "border-width=0.9,state-border-width=0.6,marine-border-width=0.6,"
     "river-width=0.8,intermittent-river-width=0.7,canal-width=0.7,"
     "shape=#e0a03c66,shape-line=#f2c14e,shape-width=0.9,dot-size=4,"
     "coast-width=0.7,shore-width=0.5,graticule-width=0.6,frame-width=1.2,text-size=12,title-size=20"},
};

struct ColourKey {
    const char *name;
    Colour Style::*colour;
};

constexpr ColourKey colour_keys[] = {
    {"background", &Style::background},
    {"sea", &Style::sea},
    {"land", &Style::land},
    {"lake", &Style::lake},
    {"island", &Style::island},
    {"pond", &Style::pond},
    {"coast", &Style::coast},
    {"shore", &Style::shore},
    {"border", &Style::border},
    {"state-border", &Style::state_border},
    {"marine-border", &Style::marine_border},
    {"river", &Style::river},
    {"intermittent-river", &Style::intermittent_river},
    {"canal", &Style::canal},
    {"shape", &Style::shape},
    {"shape-line", &Style::shape_line},
    {"graticule", &Style::graticule},
    {"frame", &Style::frame},
    {"text", &Style::text},
};

struct NumberKey {
    const char *name;
    double Style::*number;
    double most;
};

constexpr NumberKey number_keys[] = {
    {"coast-width", &Style::coast_width, 50},
    {"shore-width", &Style::shore_width, 50},
    {"border-width", &Style::border_width, 50},
    {"state-border-width", &Style::state_border_width, 50},
    {"marine-border-width", &Style::marine_border_width, 50},
    {"river-width", &Style::river_width, 50},
    {"intermittent-river-width", &Style::intermittent_river_width, 50},
    {"canal-width", &Style::canal_width, 50},
    {"shape-width", &Style::shape_width, 50},
    {"dot-size", &Style::dot_size, 50},
    {"graticule-width", &Style::graticule_width, 50},
    {"frame-width", &Style::frame_width, 50},
    {"text-size", &Style::text_size, 200},
    {"title-size", &Style::title_size, 200},
};

struct LineLook {
    Colour Style::*colour;
    double Style::*width;
    double share; // of that width
    double dash, gap;
};

// clang-format off
constexpr LineLook border_looks[border_levels] = {
    {&Style::border,        &Style::border_width,        1, 0, 0},
    {&Style::state_border,  &Style::state_border_width,  1, 0, 0},
    {&Style::marine_border, &Style::marine_border_width, 1, 5, 3.5},
};

constexpr LineLook river_looks[river_levels] = {
    {&Style::river,              &Style::river_width,              1,    0,   0},
    {&Style::river,              &Style::river_width,              0.8,  0,   0},
    {&Style::river,              &Style::river_width,              0.6,  0,   0},
    {&Style::river,              &Style::river_width,              0.45, 0,   0},
    {&Style::intermittent_river, &Style::intermittent_river_width, 1,    3.5, 2},
    {&Style::intermittent_river, &Style::intermittent_river_width, 0.8,  3,   2},
    {&Style::intermittent_river, &Style::intermittent_river_width, 0.6,  2.5, 2},
    {&Style::canal,              &Style::canal_width,              1,    7,   1.5},
    {&Style::canal,              &Style::canal_width,              0.8,  7,   1.5},
    {&Style::canal,              &Style::canal_width,              0.6,  7,   1.5},
};
// clang-format on

struct NamedColour {
    const char *name;
    const char *value;
};

// The values of CSS (CSS Color Module Level 4, 2022).
constexpr NamedColour named_colours[] = {
    {"none", "#00000000"},  {"black", "#000000"},  {"white", "#ffffff"},     {"grey", "#808080"},
    {"gray", "#808080"},    {"silver", "#c0c0c0"}, {"red", "#ff0000"},       {"maroon", "#800000"},
    {"orange", "#ffa500"},  {"gold", "#ffd700"},   {"yellow", "#ffff00"},    {"beige", "#f5f5dc"},
    {"tan", "#d2b48c"},     {"brown", "#a52a2a"},  {"olive", "#808000"},     {"lime", "#00ff00"},
    {"green", "#008000"},   {"teal", "#008080"},   {"turquoise", "#40e0d0"}, {"lightblue", "#add8e6"},
    {"skyblue", "#87ceeb"}, {"blue", "#0000ff"},   {"navy", "#000080"},      {"purple", "#800080"},
    {"magenta", "#ff00ff"}, {"pink", "#ffc0cb"},
};

template <class Table>
std::string names_of(const Table &table) {
    std::string names;
    for (const auto &row : table)
        names += (names.empty() ? "" : ", ") + std::string(row.name);
    return names;
}

// "#rgb", "#rrggbb" or "#rrggbbaa"; else false.
bool read_hexadecimal(const std::string &text, Colour &colour) {
    std::string digits = text.substr(1);
    if (digits.size() == 3) digits = {digits[0], digits[0], digits[1], digits[1], digits[2], digits[2]};
    if (digits.size() == 6) digits += "ff";
    unsigned value = 0;
    const char *end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 8 || error != std::errc() || stop != end) return false;
    const auto channel = [&](int shift) { return (value >> shift & 255) / 255.0; };
    colour = {channel(24), channel(16), channel(8), channel(0)};
    return true;
}

double parse_number(const std::string &text, const NumberKey &key) {
    double value = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc() && stop == end && value >= 0 && value <= key.most) return value;
    throw UsageError(std::string(key.name) + " is '" + text + "'; it must be a number from 0 to " +
                     std::to_string(static_cast<int>(key.most)));
}

void set(Style &style, const std::string &name, const std::string &value) {
    const auto colour = find_row(colour_keys, name);
    const auto number = find_row(number_keys, name);
    if (colour != std::end(colour_keys))
        style.*colour->colour = parse_colour(value);
    else if (number != std::end(number_keys))
        style.*number->number = parse_number(value, *number);
    else
        throw UsageError("there is no style setting '" + name + "'; the settings are " + style_keys());
}

void apply(Style &style, const std::string &settings) {
    std::istringstream stream(settings);
    for (std::string item; std::getline(stream, item, ',');) {
        const size_t equals = item.find('=');
        const auto preset = find_row(presets, item);
        if (equals != std::string::npos)
            set(style, item.substr(0, equals), item.substr(equals + 1));
        else if (preset != std::end(presets))
            apply(style, preset->settings);
        else
            throw UsageError("there is no style '" + item + "'; the styles are " + style_names() +
                             ", and settings are given as KEY=VALUE with the keys " + style_keys());
    }
}

} // namespace

Style parse_style(const std::string &text) {
    Style style{};
    apply(style, presets[0].settings);
    apply(style, text);
    return style;
}

Stroke line_stroke(const Style &style, LineKind kind, int level) {
    const std::span<const LineLook> looks =
        kind == LineKind::border ? std::span<const LineLook>(border_looks) : river_looks;
    const LineLook &look =
        looks[static_cast<size_t>(std::clamp(level, 1, static_cast<int>(looks.size())) - 1)];
    return {style.*look.colour, style.*look.width * look.share, look.dash, look.gap};
}

Colour parse_colour(const std::string &text) {
    const auto named = find_row(named_colours, text);
    const std::string value = named == std::end(named_colours) ? text : named->value;
    Colour colour{};
    if (!value.empty() && value[0] == '#' && read_hexadecimal(value, colour)) return colour;
    throw UsageError("there is no colour '" + text + "'; give #rrggbb, #rgb, #rrggbbaa or one of " +
                     names_of(named_colours));
}

std::string style_names() {
    return names_of(presets);
}

std::string style_keys() {
    return names_of(colour_keys) + ", " + names_of(number_keys);
}

std::string colour_names() {
    return names_of(named_colours);
}

} // namespace lindra::tools
