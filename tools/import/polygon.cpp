// SPDX-License-Identifier: MIT

#include "import/polygon.hpp"

#include <algorithm>
#include <cstdlib>

namespace lindra::tools {

namespace {

constexpr size_t fewest_vertices = 3;

// Cutting moves a vertex that lies on a meridian between bins by one unit, so that it lies in one bin; on 0
// and 180 degrees, where polygons begin, it is put back.
void restore_meridian(const BinGrid &grid, int32_t bin, uint16_t x, Vertex &vertex) {
    if (x == 1 && grid.western_degree(bin) % 180 == 0) vertex.lon_udeg = grid.western_degree(bin) * 1000000;
    if (x == bin_units - 1 && grid.eastern_degree(bin) % 180 == 0)
        vertex.lon_udeg = grid.eastern_degree(bin) * 1000000;
}

void append_whole(const BinnedFile &file, const Segment &segment, std::vector<Vertex> &to) {
    const BinFrame frame = file.grid.frame(segment.bin);
    const auto first = static_cast<size_t>(segment.first_point);
    const size_t end = first + static_cast<size_t>(segment.point_count);
    for (size_t i = first; i < end; i++)
        to.push_back(frame.vertex(file.x[i], file.y[i]));
}

// The first and last point of a cut segment lie on the border; cutting put them there, and they are left out.
void append_inner(const BinnedFile &file, const Segment &segment, std::vector<Vertex> &to) {
    const BinFrame frame = file.grid.frame(segment.bin);
    const auto first = static_cast<size_t>(segment.first_point);
    const size_t last = first + static_cast<size_t>(segment.point_count) - 1;
    for (size_t i = first + 1; i < last; i++) {
        to.push_back(frame.vertex(file.x[i], file.y[i]));
        restore_meridian(file.grid, segment.bin, file.x[i], to.back());
    }
}

// How often an open ring runs round the globe, positive to the east.
int turns(const std::vector<Vertex> &ring) {
    int64_t sum = short_step_udeg(ring.back().lon_udeg, ring.front().lon_udeg);
    for (size_t i = 1; i < ring.size(); i++)
        sum += short_step_udeg(ring[i - 1].lon_udeg, ring[i].lon_udeg);
    return static_cast<int>(sum / full_turn_udeg);
}

// Where a ring round the pole has a vertex on Greenwich, cutting made two of it, both in the bin to the east.
// The native file of full resolution holds both, those of the reduced ones hold one.
void drop_repeats(std::vector<Vertex> &ring) {
    ring.erase(std::unique(ring.begin(), ring.end()), ring.end());
    while (ring.size() > 1 && ring.back() == ring.front())
        ring.pop_back();
}

// Polygons begin on the antimeridian, or else on Greenwich, where they touch it.
auto native_start(auto &ring) {
    const auto antimeridian = std::ranges::find(ring, half_turn_udeg, &Vertex::lon_udeg);
    if (antimeridian != ring.end()) return antimeridian;
    const auto greenwich = std::ranges::find_if(
        ring, [](const Vertex &vertex) { return vertex.lon_udeg % full_turn_udeg == 0; });
    return greenwich != ring.end() ? greenwich : ring.begin();
}

void close_ring(std::vector<Vertex> &ring) {
    std::rotate(ring.begin(), native_start(ring), ring.end());
    for (Vertex &vertex : ring)
        vertex.lon_udeg %= full_turn_udeg;
    ring.push_back(ring.front());
}

// From the antimeridian to the antimeridian, without a jump.
void lay_open(std::vector<Vertex> &ring, bool eastward) {
    for (Vertex &vertex : ring)
        if (vertex.lon_udeg > half_turn_udeg) vertex.lon_udeg -= full_turn_udeg;
    ring.front().lon_udeg = eastward ? -half_turn_udeg : half_turn_udeg;
    ring.back().lon_udeg = -ring.front().lon_udeg;
}

void require_native_form(const BinnedFile &file, size_t id, const std::vector<Vertex> &ring, int round) {
    if (std::abs(round) > 1) file.fail(id, "runs round the globe more than once");
    if (std::ranges::max(ring, {}, &Vertex::lat_udeg).lat_udeg > 0)
        file.fail(id, "runs round the globe, but not round the south pole alone");
    if (native_start(ring)->lon_udeg != half_turn_udeg)
        file.fail(id, "runs round the south pole without a vertex on the meridian of 180 degrees");
}

} // namespace

int32_t short_step_udeg(int32_t from_udeg, int32_t to_udeg) {
    const int32_t turned = (to_udeg - from_udeg + half_turn_udeg) % full_turn_udeg;
    return (turned < 0 ? turned + full_turn_udeg : turned) - half_turn_udeg;
}

NativePolygon trace_polygon(const BinnedFile &file, std::span<const int32_t> outline, bool full_resolution) {
    const Segment &first = file.segments[static_cast<size_t>(outline.front())];
    const auto id = static_cast<size_t>(first.polygon);
    NativePolygon polygon{.level = first.level, .polar = false, .vertices = {}};
    std::vector<Vertex> &ring = polygon.vertices;
    if (first.entry == Side::none) {
        append_whole(file, first, ring);
        if (ring.front() != ring.back()) file.fail(id, "lies whole in a bin and is not closed");
        if (ring.size() <= fewest_vertices) file.fail(id, "has fewer than three vertices");
        return polygon;
    }
    for (const int32_t segment : outline)
        append_inner(file, file.segments[static_cast<size_t>(segment)], ring);
    if (ring.size() < fewest_vertices) file.fail(id, "has fewer than three vertices");
    const int round = turns(ring);
    polygon.polar = round != 0;
    if (polygon.polar) require_native_form(file, id, ring, round);
    if (polygon.polar && !full_resolution) drop_repeats(ring);
    close_ring(ring);
    if (polygon.polar) lay_open(ring, round > 0);
    return polygon;
}

} // namespace lindra::tools
