// SPDX-License-Identifier: MIT

#include "map/disc.hpp"

#include "map/densify.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

namespace lindra::tools {

namespace {

constexpr double pi = std::numbers::pi;
constexpr double rim_step = radians;

double azimuth_between(double east, double north, double to_east, double to_north) {
    return std::atan2(east * to_north - north * to_east, east * to_east + north * to_north);
}

} // namespace

Disc::Disc(Point centre, double radius, double step)
    : centre_(centre), sine_(std::sin(centre.lat * radians)), cosine_(std::cos(centre.lat * radians)),
      radius_(radius * radians), rim_up_(std::cos(radius_)), step_(step) {}

Disc::Sight Disc::sight(Point place) const {
    const double lon = (place.lon - centre_.lon) * radians;
    const double lat = place.lat * radians;
    const double east = std::cos(lat) * std::sin(lon);
    const double to_axis = std::cos(lat) * std::cos(lon);
    const double axis = std::sin(lat);
    return {place, east, cosine_ * axis - sine_ * to_axis, sine_ * axis + cosine_ * to_axis};
}

std::vector<Disc::Sight> Disc::sights(const Line &line) const {
    std::vector<Sight> result;
    for (const Point &point : densified(line, step_))
        result.push_back(sight(point));
    return result;
}

bool Disc::holds(Point place) const {
    return is_inside(sight(place));
}

// The last point inside, to the precision of the coordinates.
Disc::Sight Disc::crossing(const Sight &inside, const Sight &outside) const {
    Sight low = inside;
    Point high = outside.place;
    for (int halving = 0; halving < 50; halving++) {
        const Sight middle = sight(between(low.place, high, 0.5));
        if (is_inside(middle))
            low = middle;
        else
            high = middle.place;
    }
    return low;
}

// Azimuth: clockwise from north.
Point Disc::rim_point(double azimuth) const {
    const double east = std::sin(radius_) * std::sin(azimuth);
    const double north = std::sin(radius_) * std::cos(azimuth);
    const double axis = sine_ * rim_up_ + cosine_ * north;
    const double to_axis = cosine_ * rim_up_ - sine_ * north;
    return {centre_.lon + std::atan2(east, to_axis) / radians,
            std::atan2(axis, std::hypot(east, to_axis)) / radians};
}

Line Disc::rim() const {
    Line line;
    const int parts = static_cast<int>(std::ceil(2 * pi / rim_step));
    for (int part = 0; part <= parts; part++)
        line.push_back(rim_point(2 * pi * part / parts));
    return line;
}

// On the far half of the sphere a short edge can turn through a wide angle, which its projection bends.
void Disc::append_edge(Line &line, const Sight &from, const Sight &to) const {
    constexpr double widest = 3 * radians;
    constexpr double shortest = 1e-7;
    const double length =
        std::max(std::fabs(from.place.lon - to.place.lon), std::fabs(from.place.lat - to.place.lat));
    const bool wide = from.up < 0 && length > shortest &&
                      std::fabs(azimuth_between(from.east, from.north, to.east, to.north)) > widest;
    if (wide) {
        const Sight middle = sight(between(from.place, to.place, 0.5));
        append_edge(line, from, middle);
        append_edge(line, middle, to);
    } else {
        line.push_back(to.place);
    }
}

std::vector<Line> Disc::pieces(const Line &line) const {
    std::vector<Line> result;
    const std::vector<Sight> points = sights(line);
    const Sight *before = nullptr;
    for (const Sight &point : points) {
        const bool inside = is_inside(point);
        const bool was_inside = before && is_inside(*before);
        if (inside && !was_inside) result.push_back({before ? crossing(point, *before).place : point.place});
        if (inside && before)
            append_edge(result.back(), was_inside ? *before : sight(result.back().front()), point);
        if (!inside && was_inside) append_edge(result.back(), *before, crossing(*before, point));
        before = &point;
    }
    return result;
}

// --- Areas -----------------------------------------------------------------------------------------------

// One direction, that of the reference, is the zero of azimuths here. An edge between the two sides of the
// axis through the reference and the centre meets it either in front, on the side of the reference, or
// behind. Both the turns round the centre and the crossings between the reference and the point opposite the
// centre are counted from that one decision: they cannot contradict each other, however the numbers are
// rounded.
class Disc::AreaCut {
  public:
    AreaCut(const Disc &disc, Point reference, bool reference_inside)
        : disc_(disc), has_rim_(reference_inside) {
        const Sight seen = disc.sight(reference);
        reference_up_ = seen.up;
        reference_front_ = std::hypot(seen.east, seen.north);
        if (reference_front_ > 0) axis_ = {seen.east / reference_front_, seen.north / reference_front_};
    }

    void add(const Line &ring) {
        std::vector<Sight> points = disc_.sights(ring);
        if (points.size() < 2) return;
        points.pop_back();
        const auto inside =
            std::find_if(points.begin(), points.end(), [&](const Sight &s) { return disc_.is_inside(s); });
        const bool seen = inside != points.end();
        std::rotate(points.begin(), inside, points.end());
        points.push_back(points.front());
        run_on(points);
        if (seen)
            walk(points);
        else
            walk_outside(points);
    }

    std::vector<Line> finish() {
        if (has_rim_) rings_.push_back(disc_.rim());
        return std::move(rings_);
    }

  private:
    double front(const Sight &sight) const { return sight.east * axis_[0] + sight.north * axis_[1]; }
    double side(const Sight &sight) const { return sight.east * axis_[1] - sight.north * axis_[0]; }

    // Adding 0 turns -0 into 0, so that the sign is the one by which pass decides.
    double azimuth(const Sight &sight) const { return std::atan2(side(sight) + 0.0, front(sight)); }

    // Where a ring round a pole begins, its longitudes jump by a whole turn.
    static void run_on(std::vector<Sight> &points) {
        for (size_t i = 1; i < points.size(); i++) {
            double &lon = points[i].place.lon;
            lon -= 360 * std::round((lon - points[i - 1].place.lon) / 360);
        }
    }

    // Counts an edge; returns how many whole turns the azimuth jumps along it, 1 or -1 where it meets the
    // axis behind.
    int pass(const Sight &from, const Sight &to) {
        const double from_side = side(from);
        const double to_side = side(to);
        if ((from_side >= 0) == (to_side >= 0)) return 0;
        const double weight = std::fabs(to_side);
        const double to_weight = std::fabs(from_side);
        const double met_front = weight * front(from) + to_weight * front(to);
        const double met_up = weight * from.up + to_weight * to.up;
        if (met_front <= 0) return from_side >= 0 ? 1 : -1;
        if (met_front * reference_up_ > met_up * reference_front_) has_rim_ = !has_rim_;
        return 0;
    }

    // The first point and the last, which is the same, lie inside.
    void walk(const std::vector<Sight> &points) {
        Line ring = {points.front().place};
        Sight left{};  // where the ring left the disc
        int turns = 0; // since then
        for (size_t i = 1; i < points.size(); i++) {
            const Sight &from = points[i - 1];
            const Sight &to = points[i];
            const bool was_inside = disc_.is_inside(from);
            const bool inside = disc_.is_inside(to);
            if (was_inside && inside) {
                pass(from, to);
                disc_.append_edge(ring, from, to);
            } else if (was_inside) {
                left = disc_.crossing(from, to);
                pass(from, left);
                disc_.append_edge(ring, from, left);
                turns = pass(left, to);
            } else if (!inside) {
                turns += pass(from, to);
            } else {
                const Sight entered = disc_.crossing(to, from);
                turns += pass(from, entered);
                append_arc(ring, azimuth(left), azimuth(entered) + 2 * pi * turns);
                ring.push_back(entered.place);
                pass(entered, to);
                disc_.append_edge(ring, entered, to);
            }
        }
        rings_.push_back(std::move(ring));
    }

    void walk_outside(const std::vector<Sight> &points) {
        int turns = 0;
        for (size_t i = 1; i < points.size(); i++)
            turns += pass(points[i - 1], points[i]);
        if (turns % 2 != 0) has_rim_ = !has_rim_;
    }

    void append_arc(Line &ring, double from, double to) const {
        const double zero = std::atan2(axis_[0], axis_[1]);
        const int parts = static_cast<int>(std::ceil(std::fabs(to - from) / rim_step));
        for (int part = 1; part < parts; part++)
            ring.push_back(disc_.rim_point(zero + std::lerp(from, to, part / static_cast<double>(parts))));
    }

    const Disc &disc_;
    std::array<double, 2> axis_ = {0, 1}; // east and north of the direction to the reference
    double reference_front_, reference_up_;
    bool has_rim_; // as one more ring: the point opposite the centre lies in the area, or a ring runs round
                   // the disc
    std::vector<Line> rings_;
};

std::vector<Line> Disc::area(const std::vector<Line> &rings, Point reference, bool reference_inside) const {
    AreaCut cut(*this, reference, reference_inside);
    for (const Line &ring : rings)
        cut.add(ring);
    return cut.finish();
}

} // namespace lindra::tools
