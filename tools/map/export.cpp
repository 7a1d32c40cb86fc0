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

using RoundedLine = std::vector<RoundedPoint>;
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

// No point twice on end.
RoundedLine rounded_line(const Line &line) {
    RoundedLine result;
    result.reserve(line.size() + 1);
    for (const Point &point : line) {
        const RoundedPoint next = {to_units(point.lon), to_units(point.lat)};
        if (result.empty() || next != result.back()) result.push_back(next);
    }
    return result;
}

// Closed and counter-clockwise; empty when no area is left.
RoundedRing rounded_ring(const Ring &ring) {
    RoundedRing result = rounded_line(ring);
    const double area = result.empty() ? 0 : doubled_area(result);
    if (area == 0) return {};
    if (area < 0) std::reverse(result.begin(), result.end());
    if (result.front() != result.back()) result.push_back(result.front());
    return result;
}

// round: leaves fewer than two points of what is to be left out.
template <class Round>
std::vector<RoundedLine> rounded(const std::vector<Line> &lines, Round round) {
    std::vector<RoundedLine> result;
    for (const Line &line : lines) {
        RoundedLine next = round(line);
        if (next.size() > 1) result.push_back(std::move(next));
    }
    return result;
}

// --- Text -------------------------------------------------------------------------------------------------

const char *kind_of(int level) {
    constexpr const char *kinds[] = {"land", "lake", "island", "pond"};
    return level >= 1 && level <= static_cast<int>(std::size(kinds)) ? kinds[level - 1] : "unknown";
}

const char *kind_of(LineKind kind) {
    return kind == LineKind::border ? "border" : "river";
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

void append_point_lines(std::string &text, const RoundedLine &line) {
    for (const RoundedPoint &point : line) {
        append_point(text, point, ' ');
        text += '\n';
    }
}

// A GeoJSON array of positions.
void append_positions(std::string &text, const RoundedLine &line) {
    for (size_t i = 0; i < line.size(); i++) {
        text += i == 0 ? "[[" : ",[";
        append_point(text, line[i], ',');
        text += ']';
    }
    text += ']';
}

// A GeoJSON polygon without holes: an array of one ring.
void append_polygon(std::string &text, const RoundedRing &ring) {
    text += '[';
    append_positions(text, ring);
    text += ']';
}

// name: of the geometry when there is one part; it is a Multi of that when there are more.
template <class Append>
void append_geometry(std::string &text, const char *name, const std::vector<RoundedLine> &parts,
                     Append append_part) {
    const bool multiple = parts.size() > 1;
    fmt::format_to(std::back_inserter(text), R"({{"type":"{}{}","coordinates":)", multiple ? "Multi" : "",
                   name);
    for (size_t i = 0; i < parts.size(); i++) {
        if (multiple) text += i == 0 ? '[' : ',';
        append_part(text, parts[i]);
    }
    text += multiple ? "]}" : "}";
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

// What lies in the window, in longitudes from -180 to 180. pieces: of a shape in a window.
template <class Shape, class Pieces>
std::vector<Line> geographic_pieces(const Shape &shape, const Window &window, Pieces pieces) {
    std::vector<Line> result;
    for (const Part &part : parts_in_turns(window))
        for (const Line &piece : pieces(shape, part.window))
            result.push_back(shifted(piece, -part.turn));
    return result;
}

} // namespace

std::string to_text(const Polygon &polygon, const Window &window) {
    const std::vector<RoundedRing> rings = rounded(area_pieces(polygon, window), rounded_ring);
    std::string text;
    text.reserve(written_size(rings));
    for (const RoundedRing &ring : rings) {
        fmt::format_to(std::back_inserter(text), "> id={} level={} kind={} points={}\n", polygon.id,
                       polygon.level, kind_of(polygon.level), ring.size());
        append_point_lines(text, ring);
    }
    return text;
}

std::string to_feature(const Polygon &polygon, const Window &window) {
    const std::vector<RoundedRing> rings =
        rounded(geographic_pieces(polygon, window, area_pieces), rounded_ring);
    if (rings.empty()) return {};
    std::string text;
    text.reserve(written_size(rings));
    fmt::format_to(std::back_inserter(text),
                   R"({{"type":"Feature","properties":{{"id":{},"level":{},"kind":"{}"}},"geometry":)",
                   polygon.id, polygon.level, kind_of(polygon.level));
    append_geometry(text, "Polygon", rings, append_polygon);
    text += '}';
    return text;
}

std::string to_text(const MapLine &line, const Window &window) {
    std::string text;
    for (const RoundedLine &piece : rounded(line_pieces(line.points, window), rounded_line)) {
        fmt::format_to(std::back_inserter(text), "> kind={} level={} points={}\n", kind_of(line.kind),
                       line.level, piece.size());
        append_point_lines(text, piece);
    }
    return text;
}

std::string to_feature(const MapLine &line, const Window &window) {
    const std::vector<RoundedLine> pieces =
        rounded(geographic_pieces(line.points, window, line_pieces), rounded_line);
    if (pieces.empty()) return {};
    std::string text;
    text.reserve(written_size(pieces));
    fmt::format_to(std::back_inserter(text),
                   R"({{"type":"Feature","properties":{{"level":{},"kind":"{}"}},"geometry":)", line.level,
                   kind_of(line.kind));
    append_geometry(text, "LineString", pieces, append_positions);
    text += '}';
    return text;
}

} // namespace lindra::tools
