// SPDX-License-Identifier: MIT

#include "outline.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

namespace lindra::gshhs {

namespace {

constexpr uint32_t points_of_each = 64;

// Less than half a turn by so much that no rounding can bring a jump about.
constexpr int64_t widest_without_a_jump = 179'900'000;

// More would not be the same steps of 360 for all points.
constexpr int most_turns = 3;

bool is_narrow(const Box &box) {
    return static_cast<int64_t>(box.east) - box.west < widest_without_a_jump;
}

Box box_of(const unsigned char *points, size_t count) {
    return paths().front().box(points, count);
}

Box joined(const Box &a, const Box &b) {
    return {std::min(a.west, b.west), std::max(a.east, b.east), std::min(a.south, b.south),
            std::max(a.north, b.north)};
}

int turns_between(double stored, double continuous) {
    const double turns = std::round((continuous - stored) / 360);
    return static_cast<int>(std::clamp<double>(turns, -most_turns, most_turns));
}

// Moves from over the stretch, which is level when each point is the stored one, to the bit, as many turns
// away as the first.
Stretch levelled(Points &from, Stretch stretch) {
    const unsigned char *at = from.at(stretch.first);
    std::optional<int> turns;
    bool level = true;
    from.each(stretch, [&](Point point) {
        const double stored = stored_longitude(at);
        if (!turns) turns = turns_between(stored, point.lon);
        level = level && point.lon == turned(stored, *turns);
        at += point_size;
        return 0;
    });
    stretch.turns = static_cast<int8_t>(turns.value_or(0));
    stretch.level = level;
    return stretch;
}

Stretch joined(std::span<const Stretch> parts) {
    Stretch whole = parts.front();
    for (const Stretch &part : parts.subspan(1)) {
        whole.count += part.count;
        whole.box = joined(whole.box, part.box);
        whole.level = whole.level && part.level && part.turns == whole.turns;
    }
    return whole;
}

} // namespace

Stretch whole_stretch(const GshhsSeg &seg) {
    const auto count = static_cast<uint32_t>(seg.hdr.n);
    const Box box = box_of(seg.pts, count);
    return {0, count, box, 0, is_narrow(box)};
}

Stretches::Stretches(const GshhsSeg &seg) : points_(seg.pts), count_(seg.hdr.n) {
    const auto count = static_cast<uint32_t>(seg.hdr.n);
    Points from(points_);
    fine_.reserve((count + points_of_each - 1) / points_of_each);
    for (uint32_t first = 0; first < count; first += points_of_each) {
        const uint32_t here = std::min(points_of_each, count - first);
        const Box box = box_of(points_ + first * point_size, here);
        fine_.push_back(levelled(from, {first, here, box, 0, false}));
    }
    for (size_t first = 0; first < fine_.size(); first += fine_of_each)
        coarse_.push_back(joined(
            std::span<const Stretch>(fine_).subspan(first, std::min(fine_of_each, fine_.size() - first))));
}

} // namespace lindra::gshhs
