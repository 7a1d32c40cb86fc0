// SPDX-License-Identifier: MIT
//
// What memory allows: copies, sums and stores that do nothing else.
#ifndef BENCH_LIMITS_MEMORY_HPP
#define BENCH_LIMITS_MEMORY_HPP

#include "../files.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace bench {

// Reads every byte, eight at a time.
inline void sum_bytes(Bytes bytes) {
    uint64_t sum[4] = {};
    const unsigned char *at = bytes.data();
    for (size_t i = 0; i < bytes.size() / sizeof sum; i++, at += sizeof sum) {
        uint64_t words[4];
        memcpy(words, at, sizeof words);
        for (int j = 0; j < 4; j++)
            sum[j] += words[j];
    }
    benchmark::DoNotOptimize(sum);
}

// Copies to memory that the system has to give first; the block is the caller's, who frees it. Piece by
// piece: a copy of many megabytes goes past the caches, which hold the page that the system has just cleared.
// To a page's beginning: where malloc's blocks begin, 16 bytes behind it, loads wait for stores that seem to
// go to their place.
inline unsigned char *copy_to_fresh_heap(Bytes bytes) {
    constexpr size_t page = 4096, piece = 1 << 16;
    auto *copy = static_cast<unsigned char *>(aligned_alloc(page, (bytes.size() + page - 1) / page * page));
    if (!copy) throw std::bad_alloc();
    for (size_t at = 0; at < bytes.size(); at += piece)
        memcpy(copy + at, bytes.data() + at, std::min(piece, bytes.size() - at));
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    return copy;
}

// Writes every byte past the caches, where the processor can. out: aligned to 16 bytes, size a multiple.
inline void store_streaming(void *out, size_t size) {
#ifdef __x86_64__
    auto *at = static_cast<__m128i *>(out);
    const __m128i value = _mm_set1_epi32(0x7f7f7f7f);
    for (size_t i = 0; i < size / sizeof value; i++)
        _mm_stream_si128(at + i, value);
    _mm_sfence();
#else
    memset(out, 0x7f, size);
#endif
    benchmark::ClobberMemory();
}

} // namespace bench

#endif
