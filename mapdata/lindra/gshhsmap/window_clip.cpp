// SPDX-License-Identifier: MIT

#include "window_clip.hpp"

#include <limits>

namespace lindra::gshhs {

namespace {

constexpr int inside = 4;

int latitude_class(const GshhsMap *gs, double lat) {
    return gs->south > lat ? 0 : lat > gs->north ? 2 : 1;
}

int longitude_class(const GshhsMap *gs, double lon) {
    // Deliberate: the west is judged by the longitude folded to be positive, the east by the longitude as it
    // is.
    const double folded = lon < 0 ? lon + 360 : lon;
    return gs->west > folded ? 0 : lon > gs->east ? 2 : 1;
}

int region_of_point(const GshhsMap *gs, Point point) {
    return 3 * latitude_class(gs, point.lat) + longitude_class(gs, point.lon);
}

// From one longitude to another the class never falls, but where the sign changes.
std::optional<int> longitude_class_of(const GshhsMap *gs, double from, double to) {
    constexpr double below_zero = -std::numeric_limits<double>::denorm_min();
    const int first = longitude_class(gs, from);
    const bool one_sign = from >= 0 || to < 0;
    const bool same =
        longitude_class(gs, to) == first &&
        (one_sign || (longitude_class(gs, below_zero) == first && longitude_class(gs, 0) == first));
    return same ? std::optional(first) : std::nullopt;
}

} // namespace

Bounds bounds_of(const Stretch &stretch, double shift) {
    const auto placed = [&](int32_t lon) { return turned(lon * degrees, stretch.turns) + shift; };
    return {placed(stretch.box.west), placed(stretch.box.east), stretch.box.south * degrees,
            stretch.box.north * degrees};
}

std::optional<int> region_of(const GshhsMap *gs, const Bounds &bounds) {
    const int lat_class = latitude_class(gs, bounds.south);
    if (latitude_class(gs, bounds.north) != lat_class) return {};
    const std::optional<int> lon_class = longitude_class_of(gs, bounds.west, bounds.east);
    if (!lon_class) return {};
    return 3 * lat_class + *lon_class;
}

void WindowClip::clamp(Point &point, int region) const {
    if (region % 3 == 0) point.lon = gs_->west;
    if (region % 3 == 2) point.lon = gs_->east;
    if (region / 3 == 0) point.lat = gs_->south;
    if (region / 3 == 2) point.lat = gs_->north;
}

int WindowClip::add(Point point) {
    const int region = region_of_point(gs_, point);
    bool add_current = true;
    bool add_previous = false;
    if (previous_region_ != none) {
        if (region == inside) {
            add_previous = previous_region_ != inside;
        } else {
            if (previous_region_ == inside) {
                previous_ = point;
                add_previous = true;
            }
            if (region != previous_region_)
                clamp(point, region);
            else
                add_current = false;
        }
    }
    if (out_.make_room(add_current + add_previous) < 0) return -1;
    if (add_previous) out_.append(previous_);
    if (add_current) out_.append(point);
    previous_region_ = region;
    previous_ = point;
    return 0;
}

int WindowClip::add_each(const Stretch &stretch, Points &points) {
    return points.each(stretch, [this](Point point) { return add({point.lon + shift_, point.lat}); });
}

// Of points in one region that the one before lies in, too: inside they are delivered as they are, outside
// they are dropped.
int WindowClip::add_in_region(int region, const Stretch &stretch, Points &points) {
    if (region == inside) {
        if (out_.make_room_for_run(stretch.count) < 0) return -1;
        out_.append(points.at(stretch.first), stretch.count, {stretch.turns, shift_});
    }
    const Point last = points.pass(stretch);
    previous_ = {last.lon + shift_, last.lat};
    return 0;
}

int WindowClip::add_whole(const Stretch &stretch, Points &points) {
    if (!stretch.level) return 0;
    const std::optional<int> region = region_of(gs_, bounds_of(stretch, shift_));
    if (!region) return 0;
    Stretch rest = stretch;
    if (*region != previous_region_) {
        if (add_each(stretch.beginning(1), points) < 0) return -1;
        rest = stretch.behind(1);
    }
    return rest.count > 0 && add_in_region(*region, rest, points) < 0 ? -1 : 1;
}

int WindowClip::add(const Outline &outline) {
    Points points(outline.points);
    return outline.visit([&](const Stretch &stretch) { return add_whole(stretch, points); },
                         [&](const Stretch &stretch) { return add_each(stretch, points); });
}

} // namespace lindra::gshhs
