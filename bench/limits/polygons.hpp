// SPDX-License-Identifier: MIT
//
// What reading a GSHHS file takes at least: one pass over the headers; all points, converted.
#ifndef BENCH_LIMITS_POLYGONS_HPP
#define BENCH_LIMITS_POLYGONS_HPP

#include "../files.hpp"
#include "../works.hpp"
#include "conversion.hpp"

#include <benchmark/benchmark.h>
#include <vector>

namespace bench {

// Hands each polygon's points and their number to take. The files that lindra imports have headers of 44
// bytes.
template <class Take>
Delivered walk_polygons(Bytes file, Take take) {
    constexpr size_t header_size = 44, point_size = 8, n_offset = 4;
    Delivered sum;
    for (size_t at = 0; at + header_size <= file.size();) {
        const uint32_t n = load_be32(file.data() + at + n_offset);
        at += header_size;
        take(file.data() + at, n);
        at += size_t{n} * point_size;
        sum.records++;
        sum.points += n;
    }
    return sum;
}

// Every word of each header is looked at, as a reader that judges it must.
inline Delivered walk_headers(Bytes file) {
    uint32_t sum = 0;
    const Delivered count = walk_polygons(file, [&](const unsigned char *points, uint32_t) {
        for (int word = 1; word <= 11; word++)
            sum += load_be32(points - 4 * word);
    });
    benchmark::DoNotOptimize(sum);
    return count;
}

// Converts the points of each polygon to the same two arrays of floats.
template <class Convert>
Delivered convert_polygons(Bytes file, Convert convert) {
    static std::vector<float> lon, lat;
    return walk_polygons(file, [&](const unsigned char *points, uint32_t n) {
        if (lon.size() < n) {
            lon.resize(n);
            lat.resize(n);
        }
        convert(points, n, lon.data(), lat.data());
        benchmark::ClobberMemory();
    });
}

} // namespace bench

#endif
