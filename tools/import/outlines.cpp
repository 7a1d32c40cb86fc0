// SPDX-License-Identifier: MIT
//
// A segment that leaves its bin goes on in the neighbouring bin at the very same place of the common side:
// the two copies of a point on a border are equal to the last bit. So the segment that follows is found by
// polygon, bin, side and position along the side, and nothing is ever matched by nearness.

#include "import/outlines.hpp"

#include <algorithm>
#include <compare>
#include <numeric>

namespace lindra::tools {

namespace {

// Where a polygon comes into a bin.
struct Place {
    int32_t polygon;
    int32_t bin;
    Side side;
    uint16_t position;
    auto operator<=>(const Place &) const = default;
};

struct Entry {
    Place place;
    int32_t segment;
};

uint16_t position_along(const BinnedFile &file, Side side, int32_t point) {
    const auto index = static_cast<size_t>(point);
    return side == Side::south || side == Side::north ? file.x[index] : file.y[index];
}

Place entry_of(const BinnedFile &file, const Segment &segment) {
    return {segment.polygon, segment.bin, segment.entry,
            position_along(file, segment.entry, segment.first_point)};
}

// Where the polygon must come in after the segment. Beyond a pole there is no bin and never an entry.
Place continuation_of(const BinnedFile &file, const Segment &segment) {
    return {segment.polygon, file.grid.neighbour(segment.bin, segment.exit), opposite(segment.exit),
            position_along(file, segment.exit, segment.first_point + segment.point_count - 1)};
}

class Entries {
  public:
    explicit Entries(const BinnedFile &file) : file_(file) {
        for (size_t i = 0; i < file.segments.size(); i++)
            if (file.segments[i].entry != Side::none)
                sorted_.push_back({entry_of(file, file.segments[i]), static_cast<int32_t>(i)});
        std::ranges::sort(sorted_, {}, &Entry::place);
        const auto twice = std::ranges::adjacent_find(sorted_, {}, &Entry::place);
        if (twice != sorted_.end())
            file.fail(static_cast<size_t>(twice->place.polygon),
                      "cannot be joined: it enters a bin twice at one point");
    }

    // The segment after the given one.
    int32_t next(int32_t segment) const {
        const Segment &from = file_.segments[static_cast<size_t>(segment)];
        const Place place = continuation_of(file_, from);
        const auto found = std::ranges::lower_bound(sorted_, place, {}, &Entry::place);
        if (found == sorted_.end() || found->place != place)
            file_.fail(static_cast<size_t>(from.polygon),
                       "cannot be joined: it leaves a bin and enters no other");
        return found->segment;
    }

  private:
    const BinnedFile &file_;
    std::vector<Entry> sorted_;
};

// Puts the segments of one polygon, not whole in a bin, into the order of its outline.
void order(const BinnedFile &file, const Entries &entries, size_t polygon, std::span<int32_t> segments) {
    const int32_t start = segments.front();
    int32_t current = start;
    for (size_t i = 0; i < segments.size(); i++) {
        if (i > 0 && current == start) file.fail(polygon, "cannot be joined: it makes more than one ring");
        segments[i] = current;
        current = entries.next(current);
    }
    if (current != start) file.fail(polygon, "cannot be joined: its segments make no ring");
}

} // namespace

Outlines::Outlines(const BinnedFile &file) {
    group(file);
    const Entries entries(file);
    const auto whole = [&](int32_t i) { return file.segments[static_cast<size_t>(i)].entry == Side::none; };
    for (size_t polygon = 0; polygon < file.polygon_count(); polygon++) {
        const std::span segments(segments_.data() + first_[polygon], first_[polygon + 1] - first_[polygon]);
        if (segments.empty()) file.fail(polygon, "cannot be joined: it has no segments");
        if (segments.size() == 1 && whole(segments.front())) continue;
        if (std::ranges::any_of(segments, whole))
            file.fail(polygon, "cannot be joined: it makes more than one ring");
        order(file, entries, polygon, segments);
    }
}

// Gathers each polygon's segments, in file order, by counting them first.
void Outlines::group(const BinnedFile &file) {
    first_.assign(file.polygon_count() + 1, 0);
    for (const Segment &segment : file.segments)
        first_[static_cast<size_t>(segment.polygon) + 1]++;
    std::partial_sum(first_.begin(), first_.end(), first_.begin());
    segments_.resize(file.segments.size());
    std::vector<size_t> next = first_;
    for (size_t i = 0; i < file.segments.size(); i++)
        segments_[next[static_cast<size_t>(file.segments[i].polygon)]++] = static_cast<int32_t>(i);
}

std::span<const int32_t> Outlines::of(size_t polygon) const {
    return {segments_.data() + first_[polygon], first_[polygon + 1] - first_[polygon]};
}

} // namespace lindra::tools
