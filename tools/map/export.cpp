// SPDX-License-Identifier: MIT

#include "map/export.hpp"

#include "map/pieces.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace lindra::tools {

namespace {

constexpr int units_per_degree = 1'000'000;
constexpr size_t written_point_size = 24; // about, in characters

// Micro-degrees.
struct RoundedPoint {
    int64_t lon, lat;

    bool operator==(const RoundedPoint &) const = default;
};

using RoundedRing = std::vector<RoundedPoint>;

// --- Rounding ---------------------------------------------------------------------------------------------

int64_t to_units(double degrees) {
    return std::llround(degrees * units_per_degree);
}

// Twice the area, positive when the ring runs counter-clockwise. Exact for the small rings whose area may be
// 0.
double doubled_area(const RoundedRing &ring) {
    const RoundedPoint origin = ring.front();
    double sum = 0;
    for (size_t i = 1; i + 1 < ring.size(); i++) {
        const RoundedPoint a = {ring[i].lon - origin.lon, ring[i].lat - origin.lat};
        const RoundedPoint b = {ring[i + 1].lon - origin.lon, ring[i + 1].lat - origin.lat};
        sum += static_cast<double>(a.lon * b.lat - a.lat * b.lon);
    }
    return sum;
}

// Closed and counter-clockwise; empty when no area is left.
RoundedRing rounded_ring(const Ring &ring) {
    RoundedRing result;
    result.reserve(ring.size() + 1);
    for (const Point &point : ring) {
        const RoundedPoint next = {to_units(point.lon), to_units(point.lat)};
        if (result.empty() || next != result.back()) result.push_back(next);
    }
    const double area = result.empty() ? 0 : doubled_area(result);
    if (area == 0) return {};
    if (area < 0) std::reverse(result.begin(), result.end());
    if (result.front() != result.back()) result.push_back(result.front());
    return result;
}

std::vector<RoundedRing> rounded_rings(const std::vector<Ring> &rings) {
    std::vector<RoundedRing> result;
    for (const Ring &ring : rings)
        if (RoundedRing next = rounded_ring(ring); !next.empty()) result.push_back(std::move(next));
    return result;
}

// --- Text -------------------------------------------------------------------------------------------------

const char *kind_of(int level) {
    constexpr const char *kinds[] = {"land", "lake", "island", "pond"};
    return level >= 1 && level <= static_cast<int>(std::size(kinds)) ? kinds[level - 1] : "unknown";
}

void append(std::string &text, std::string_view part) {
    text += part;
}

void append_degrees(std::string &text, int64_t value) {
    const auto size = static_cast<uint64_t>(std::abs(value));
    if (value < 0) text += '-';
    append(text, fmt::format_int(size / units_per_degree).c_str());
    uint64_t rest = size % units_per_degree;
    if (rest == 0) return;
    text += '.';
    for (uint64_t place = units_per_degree / 10; rest > 0; rest %= place, place /= 10)
        text += static_cast<char>('0' + rest / place);
}

void append_point(std::string &text, RoundedPoint point, char separator) {
    append_degrees(text, point.lon);
    text += separator;
    append_degrees(text, point.lat);
}

// A GeoJSON polygon without holes: an array of one ring.
void append_polygon(std::string &text, const RoundedRing &ring) {
    text += "[[";
    for (size_t i = 0; i < ring.size(); i++) {
        text += i == 0 ? "[" : ",[";
        append_point(text, ring[i], ',');
        text += ']';
    }
    text += "]]";
}

void append_geometry(std::string &text, const std::vector<RoundedRing> &rings) {
    if (rings.size() == 1) {
        text += R"({"type":"Polygon","coordinates":)";
        append_polygon(text, rings.front());
        text += '}';
        return;
    }
    text += R"({"type":"MultiPolygon","coordinates":)";
    for (size_t i = 0; i < rings.size(); i++) {
        text += i == 0 ? '[' : ',';
        append_polygon(text, rings[i]);
    }
    text += "]}";
}

size_t written_size(const std::vector<RoundedRing> &rings) {
    size_t points = 0;
    for (const RoundedRing &ring : rings)
        points += ring.size() + 4;
    return points * written_point_size;
}

// --- The globe cut at the antimeridian --------------------------------------------------------------------

// The part of a window that lies in one turn of the globe, and how far that turn is from -180..180.
struct Part {
    Window window;
    double turn;
};

std::vector<Part> parts_in_turns(Window window) {
    if (window.east - window.west >= 360) {
        window.west = -180;
        window.east = 180;
    }
    std::vector<Part> parts;
    const auto first = static_cast<int>(std::floor((window.west + 180) / 360));
    for (int i = first; 360.0 * i - 180 < window.east; i++) {
        const double turn = 360.0 * i;
        const double west = std::max(window.west, turn - 180);
        const double east = std::min(window.east, turn + 180);
        parts.push_back({{west, east, window.south, window.north}, turn});
    }
    return parts;
}

std::vector<Ring> geographic_pieces(const Polygon &polygon, const Window &window) {
    std::vector<Ring> pieces;
    for (const Part &part : parts_in_turns(window))
        for (const Ring &ring : area_pieces(polygon, part.window))
            pieces.push_back(shifted(ring, -part.turn));
    return pieces;
}

} // namespace

std::string to_text(const Polygon &polygon, const Window &window) {
    const std::vector<RoundedRing> rings = rounded_rings(area_pieces(polygon, window));
    std::string text;
    text.reserve(written_size(rings));
    for (const RoundedRing &ring : rings) {
        fmt::format_to(std::back_inserter(text), "> id={} level={} kind={} points={}\n", polygon.id,
                       polygon.level, kind_of(polygon.level), ring.size());
        for (const RoundedPoint &point : ring) {
            append_point(text, point, ' ');
            text += '\n';
        }
    }
    return text;
}

std::string to_feature(const Polygon &polygon, const Window &window) {
    const std::vector<RoundedRing> rings = rounded_rings(geographic_pieces(polygon, window));
    if (rings.empty()) return {};
    std::string text;
    text.reserve(written_size(rings));
    fmt::format_to(std::back_inserter(text),
                   R"({{"type":"Feature","properties":{{"id":{},"level":{},"kind":"{}"}},"geometry":)",
                   polygon.id, polygon.level, kind_of(polygon.level));
    append_geometry(text, rings);
    text += '}';
    return text;
}

} // namespace lindra::tools
