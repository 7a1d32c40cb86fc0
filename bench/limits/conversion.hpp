// SPDX-License-Identifier: MIT
//
// Numbers of map files to floats, as plainly as a loop can say it, and by AVX2 where there is.
#ifndef BENCH_LIMITS_CONVERSION_HPP
#define BENCH_LIMITS_CONVERSION_HPP

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace bench {

inline uint32_t load_be32(const unsigned char *at) {
    uint32_t value;
    memcpy(&value, at, sizeof value);
    return std::endian::native == std::endian::big ? value : __builtin_bswap32(value);
}

inline uint16_t load_be16(const unsigned char *at) {
    uint16_t value;
    memcpy(&value, at, sizeof value);
    return std::endian::native == std::endian::big ? value : __builtin_bswap16(value);
}

// n points of two big-endian 32-bit numbers, micro-degrees, through double.
void convert_points(const unsigned char *points, size_t n, float *lon, float *lat);

// The same with AVX2; see has_avx2.
void convert_points_avx2(const unsigned char *points, size_t n, float *lon, float *lat);
bool has_avx2();

// n big-endian 16-bit numbers, parts of a bin's width from its edge, through double.
void convert_offsets(const unsigned char *offsets, size_t n, double edge, double width, float *out);

} // namespace bench

#endif
