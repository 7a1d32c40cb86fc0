// SPDX-License-Identifier: MIT
//
// The points of polygons as they are stored, many at a time: pairs of big-endian 32-bit words, longitude and
// latitude in micro-degrees.
#ifndef LINDRA_GSHHSMAP_POINTS_HPP
#define LINDRA_GSHHSMAP_POINTS_HPP

#include "bytes.hpp"

#include <cstddef>
#include <cstdint>
#include <span>

namespace lindra::gshhs {

inline constexpr double degrees = 1e-6; // of a micro-degree
inline constexpr size_t point_size = 8;

// Micro-degrees, as in headers and points.
struct Box {
    int32_t west, east, south, north;
};

// In degrees.
struct Point {
    double lon, lat;
};

inline double stored_longitude(const unsigned char *point) {
    return load_be<int32_t>(point) * degrees;
}

inline double stored_latitude(const unsigned char *point) {
    return load_be<int32_t>(point + 4) * degrees;
}

// What is done to a stored longitude before it is delivered: turns steps of 360, then one sum.
struct Placing {
    int turns;
    double shift;
};

// One way of reading points; all ways give the same bits.
struct Path {
    Box (*box)(const unsigned char *points, size_t count); // of one point at least
    void (*deliver)(const unsigned char *points, size_t count, Placing placing, float *lon, float *lat);
};

// The ways that this processor has, the fastest first; the last one runs on any.
std::span<const Path> paths();

#ifdef __x86_64__
extern const Path avx2;
#endif

} // namespace lindra::gshhs

#endif
