// SPDX-License-Identifier: MIT

#include "import/extent.hpp"

#include <algorithm>
#include <cstdlib>

namespace lindra::tools {

namespace {

using Vertices = std::vector<Vertex>;

bool jumps(const Vertices &ring) {
    return std::ranges::adjacent_find(ring, [](const Vertex &one, const Vertex &next) {
               return std::abs(next.lon_udeg - one.lon_udeg) > half_turn_udeg;
           }) != ring.end();
}

// The eastern end of the widest gap between the longitudes of a polygon that crosses Greenwich: from there on
// they count from Greenwich to the west.
int32_t end_of_widest_gap(const Vertices &ring) {
    std::vector<int32_t> longitudes(ring.size());
    std::ranges::transform(ring, longitudes.begin(), &Vertex::lon_udeg);
    std::ranges::sort(longitudes);
    size_t widest = 1;
    const auto gap = [&](size_t i) { return longitudes[i] - longitudes[i - 1]; };
    for (size_t i = 2; i < longitudes.size(); i++)
        if (gap(i) > gap(widest)) widest = i;
    return longitudes[widest];
}

Box box_of(const Vertices &ring, int32_t shifted_from_udeg) {
    Box box{full_turn_udeg, -full_turn_udeg, half_turn_udeg, -half_turn_udeg};
    for (const Vertex &vertex : ring) {
        const int32_t lon = vertex.lon_udeg - (vertex.lon_udeg >= shifted_from_udeg ? full_turn_udeg : 0);
        box = {std::min(box.west, lon), std::max(box.east, lon), std::min(box.south, vertex.lat_udeg),
               std::max(box.north, vertex.lat_udeg)};
    }
    return box;
}

Extent polar_extent(const Vertices &ring) {
    const int32_t north = std::ranges::max(ring, {}, &Vertex::lat_udeg).lat_udeg;
    return {{-half_turn_udeg, half_turn_udeg, -half_turn_udeg / 2, north},
            crosses_greenwich | crosses_dateline};
}

} // namespace

Extent extent_of(const NativePolygon &polygon) {
    if (polygon.polar) return polar_extent(polygon.vertices);
    const bool greenwich = jumps(polygon.vertices);
    const int32_t shifted_from = greenwich ? end_of_widest_gap(polygon.vertices) : full_turn_udeg + 1;
    const Box box = box_of(polygon.vertices, shifted_from);
    const bool dateline = box.west < half_turn_udeg && box.east > half_turn_udeg;
    return {box, (greenwich ? crosses_greenwich : 0U) | (dateline ? crosses_dateline : 0U)};
}

} // namespace lindra::tools
