// SPDX-License-Identifier: MIT
//
// Plain answers to compare the tools' geometry with, written for the eye and not for speed.
#ifndef LINDRA_TESTS_PLAIN_GEOMETRY_HPP
#define LINDRA_TESTS_PLAIN_GEOMETRY_HPP

#include "map/geometry.hpp"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace lindra::test {

using tools::Line;
using tools::Point;
using tools::Ring;
using tools::Window;

// Positive when the ring runs counter-clockwise.
inline double signed_area(const Ring &ring) {
    double sum = 0;
    for (size_t i = 0; i < ring.size(); i++) {
        const Point a = ring[i];
        const Point b = ring[(i + 1) % ring.size()];
        sum += (a.lon - ring[0].lon) * (b.lat - ring[0].lat) - (b.lon - ring[0].lon) * (a.lat - ring[0].lat);
    }
    return sum / 2;
}

inline double area_of(const std::vector<Ring> &rings) {
    double sum = 0;
    for (const Ring &ring : rings)
        sum += std::fabs(signed_area(ring));
    return sum;
}

inline double perimeter(const Ring &ring) {
    double sum = 0;
    for (size_t i = 0; i < ring.size(); i++) {
        const Point a = ring[i];
        const Point b = ring[(i + 1) % ring.size()];
        sum += std::hypot(b.lon - a.lon, b.lat - a.lat);
    }
    return sum;
}

// Even-odd rule.
inline bool contains(const Ring &ring, Point p) {
    bool odd = false;
    for (size_t i = 0; i < ring.size(); i++) {
        const Point a = ring[i];
        const Point b = ring[(i + 1) % ring.size()];
        if ((a.lat > p.lat) == (b.lat > p.lat)) continue;
        if (p.lon < a.lon + (p.lat - a.lat) / (b.lat - a.lat) * (b.lon - a.lon)) odd = !odd;
    }
    return odd;
}

inline bool contains(const std::vector<Ring> &rings, Point p) {
    bool odd = false;
    for (const Ring &ring : rings)
        odd ^= contains(ring, p);
    return odd;
}

inline bool contains(const Window &window, Point p) {
    return window.west <= p.lon && p.lon <= window.east && window.south <= p.lat && p.lat <= window.north;
}

inline double distance(Point p, Point a, Point b) {
    const double length = std::hypot(b.lon - a.lon, b.lat - a.lat);
    if (length == 0) return std::hypot(p.lon - a.lon, p.lat - a.lat);
    double t = ((p.lon - a.lon) * (b.lon - a.lon) + (p.lat - a.lat) * (b.lat - a.lat)) / (length * length);
    t = std::fmin(1, std::fmax(0, t));
    return std::hypot(p.lon - a.lon - t * (b.lon - a.lon), p.lat - a.lat - t * (b.lat - a.lat));
}

inline double distance(Point p, const Ring &ring) {
    double least = std::numeric_limits<double>::infinity();
    for (size_t i = 0; i < ring.size(); i++)
        least = std::fmin(least, distance(p, ring[i], ring[(i + 1) % ring.size()]));
    return least;
}

// The part of a ring in a window as one ring that may run to and fro along the border (Sutherland and
// Hodgman, "Reentrant polygon clipping", Communications of the ACM 17, 1974). Of a ring that does not cross
// itself the signed area of that part is right.
inline Ring reentrant_clip(Ring ring, const Window &window) {
    struct Side {
        double Point::*across;
        double Point::*along;
        double at, sign;
    };
    const Side sides[] = {{&Point::lon, &Point::lat, window.west, 1},
                          {&Point::lon, &Point::lat, window.east, -1},
                          {&Point::lat, &Point::lon, window.south, 1},
                          {&Point::lat, &Point::lon, window.north, -1}};
    for (const Side &side : sides) {
        Ring kept;
        for (size_t i = 0; i < ring.size(); i++) {
            const Point a = ring[i];
            const Point b = ring[(i + 1) % ring.size()];
            const double da = side.sign * (a.*side.across - side.at);
            const double db = side.sign * (b.*side.across - side.at);
            if (da >= 0) kept.push_back(a);
            if ((da < 0) == (db < 0)) continue;
            Point crossing;
            crossing.*side.across = side.at;
            crossing.*side.along = a.*side.along + da / (da - db) * (b.*side.along - a.*side.along);
            kept.push_back(crossing);
        }
        ring = kept;
    }
    return ring;
}

} // namespace lindra::test

#endif
