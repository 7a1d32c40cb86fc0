// SPDX-License-Identifier: MIT
//
// Points one by one, on any machine; points_avx2.cpp takes four at a time with the same results.

#include "points.hpp"

#include "turns.hpp"

#include <algorithm>

namespace lindra::gshhs {

namespace {

Box box_of(const unsigned char *points, size_t count) {
    const auto first_lon = load_be<int32_t>(points);
    const auto first_lat = load_be<int32_t>(points + 4);
    Box box = {first_lon, first_lon, first_lat, first_lat};
    for (const unsigned char *at = points; at < points + count * point_size; at += point_size) {
        const auto lon = load_be<int32_t>(at);
        const auto lat = load_be<int32_t>(at + 4);
        box = {std::min(box.west, lon), std::max(box.east, lon), std::min(box.south, lat),
               std::max(box.north, lat)};
    }
    return box;
}

void deliver(const unsigned char *points, size_t count, Placing placing, float *lon, float *lat) {
    for (size_t i = 0; i < count; i++, points += point_size) {
        lon[i] = static_cast<float>(turned(stored_longitude(points), placing.turns) + placing.shift);
        lat[i] = static_cast<float>(stored_latitude(points));
    }
}

constexpr Path portable = {box_of, deliver};

} // namespace

std::span<const Path> paths() {
#ifdef __x86_64__
    static const Path all[] = {avx2, portable};
    return std::span(all).subspan(__builtin_cpu_supports("avx2") ? 0 : 1);
#else
    return std::span(&portable, 1);
#endif
}

} // namespace lindra::gshhs
