// SPDX-License-Identifier: MIT
#include "conversion.hpp"

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace bench {
namespace {

float degrees(const unsigned char *at) {
    return static_cast<float>(static_cast<int32_t>(load_be32(at)) * 1e-6);
}

} // namespace

void convert_points(const unsigned char *points, size_t n, float *lon, float *lat) {
    for (size_t i = 0; i < n; i++) {
        lon[i] = degrees(points + 8 * i);
        lat[i] = degrees(points + 8 * i + 4);
    }
}

void convert_offsets(const unsigned char *offsets, size_t n, double edge, double width, float *out) {
    for (size_t i = 0; i < n; i++)
        out[i] = static_cast<float>(edge + load_be16(offsets + 2 * i) * (width / 65535));
}

#ifdef __x86_64__

bool has_avx2() {
    return __builtin_cpu_supports("avx2");
}

// Four points at a time: 32 bytes of lon, lat, lon, lat, ...
__attribute__((target("avx2"))) void convert_points_avx2(const unsigned char *points, size_t n, float *lon,
                                                         float *lat) {
    const __m256i swap = _mm256_setr_epi8(3, 2, 1, 0, 11, 10, 9, 8, 7, 6, 5, 4, 15, 14, 13, 12, //
                                          3, 2, 1, 0, 11, 10, 9, 8, 7, 6, 5, 4, 15, 14, 13, 12);
    const __m256d scale = _mm256_set1_pd(1e-6);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m256i raw = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(points + 8 * i));
        // In each half: two longitudes, two latitudes; then all longitudes in the lower half.
        const __m256i pairs = _mm256_shuffle_epi8(raw, swap);
        const __m256i sorted = _mm256_permute4x64_epi64(pairs, 0xd8);
        const __m256d x = _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(sorted)), scale);
        const __m256d y = _mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(sorted, 1)), scale);
        _mm_storeu_ps(lon + i, _mm256_cvtpd_ps(x));
        _mm_storeu_ps(lat + i, _mm256_cvtpd_ps(y));
    }
    convert_points(points + 8 * i, n - i, lon + i, lat + i);
}

#else

bool has_avx2() {
    return false;
}

void convert_points_avx2(const unsigned char *points, size_t n, float *lon, float *lat) {
    convert_points(points, n, lon, lat);
}

#endif

} // namespace bench
