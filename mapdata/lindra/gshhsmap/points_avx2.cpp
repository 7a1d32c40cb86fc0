// SPDX-License-Identifier: MIT
//
// Points four at a time, for x86-64 processors with AVX2. What is left over is done by the portable path, and
// by the same steps in the same order, so that the results have the same bits: a product, sums, and one
// rounding to single precision; nothing is contracted.
//
// Every function names its target, so that nothing in this file can reach another processor.

#ifdef __x86_64__

#include "points.hpp"

#include <algorithm>
#include <immintrin.h>

namespace lindra::gshhs {

namespace {

constexpr size_t at_a_time = 4;

const Path &portable() {
    return paths().back();
}

// Four points: longitude, latitude, longitude, ... as integers of this machine.
[[gnu::target("avx2")]] __m256i load_points(const unsigned char *from) {
    const __m128i other_order = _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    return _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(from)),
                               _mm256_broadcastsi128_si256(other_order));
}

[[gnu::target("avx2")]] Box joined(__m256i low, __m256i high) {
    alignas(32) int32_t least[8];
    alignas(32) int32_t most[8];
    _mm256_store_si256(reinterpret_cast<__m256i *>(least), low);
    _mm256_store_si256(reinterpret_cast<__m256i *>(most), high);
    Box box = {least[0], most[0], least[1], most[1]};
    for (int i = 2; i < 8; i += 2) {
        box.west = least[i] < box.west ? least[i] : box.west;
        box.east = most[i] > box.east ? most[i] : box.east;
        box.south = least[i + 1] < box.south ? least[i + 1] : box.south;
        box.north = most[i + 1] > box.north ? most[i + 1] : box.north;
    }
    return box;
}

// The last four points may be among those before: a box counts nothing twice.
[[gnu::target("avx2")]] Box box_of(const unsigned char *points, size_t count) {
    if (count < at_a_time) return portable().box(points, count);
    const unsigned char *last = points + (count - at_a_time) * point_size;
    __m256i low = load_points(last);
    __m256i high = low;
    for (const unsigned char *at = points; at < last; at += at_a_time * point_size) {
        const __m256i here = load_points(at);
        low = _mm256_min_epi32(low, here);
        high = _mm256_max_epi32(high, here);
    }
    return joined(low, high);
}

[[gnu::target("avx2")]] __m256d in_degrees(__m128i micro_degrees) {
    return _mm256_mul_pd(_mm256_cvtepi32_pd(micro_degrees), _mm256_set1_pd(degrees));
}

[[gnu::target("avx2")]] void deliver(const unsigned char *points, size_t count, Placing placing, float *lon,
                                     float *lat) {
    const __m256i apart = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
    const __m256d step = _mm256_set1_pd(placing.turns < 0 ? -360 : 360);
    const int steps = placing.turns < 0 ? -placing.turns : placing.turns;
    const __m256d shift = _mm256_set1_pd(placing.shift);
    size_t i = 0;
    for (; i + at_a_time <= count; i += at_a_time) {
        const __m256i sorted = _mm256_permutevar8x32_epi32(load_points(points + i * point_size), apart);
        __m256d x = in_degrees(_mm256_castsi256_si128(sorted));
        for (int s = 0; s < steps; s++)
            x = _mm256_add_pd(x, step);
        _mm_storeu_ps(lon + i, _mm256_cvtpd_ps(_mm256_add_pd(x, shift)));
        _mm_storeu_ps(lat + i, _mm256_cvtpd_ps(in_degrees(_mm256_extracti128_si256(sorted, 1))));
    }
    portable().deliver(points + i * point_size, count - i, placing, lon + i, lat + i);
}

} // namespace

const Path avx2 = {box_of, deliver};

} // namespace lindra::gshhs

#endif
