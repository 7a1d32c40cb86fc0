// SPDX-License-Identifier: MIT
//
// S3TC blocks two at a time, for x86-64 processors with AVX2. What the blocks mean is told in s3tc.cpp.
//
// A vector has two lanes of 16 bytes; each works on one of two neighbouring blocks, so that a row of both is
// one vector of eight pixels that follow each other in the image. In each lane:
//
//   The four colours a pixel can have fill the lane. They are made by one multiplication of bytes: each is a
//   sum of the block's two colours, times 3 and 0, 0 and 3, 2 and 1, 1 and 2, divided by 3. Alpha likewise,
//   by 7. A division is a multiplication that keeps the upper half: exact for all sums that occur. Looking up
//   is one permutation for eight pixels: it takes the lowest two bits of each index, so that the indices of
//   the next row are a shift by 8 away.
//
// This is little work for each byte written; what takes time is the memory. Images too large for the caches
// are written past them: else every line would first be read from memory to be overwritten.
//
// Every function names its target, so that nothing in this file can reach another processor: no header's
// inline function is compiled for AVX2, which the linker might choose for the whole library.

#ifdef __x86_64__

#include "s3tc.hpp"

#include <algorithm>
#include <cstring>
#include <immintrin.h>

namespace lindra::s3tc {

namespace {

// Bytes of an image from which on it is written past the caches.
constexpr uint64_t large_image = 8 << 20;
constexpr uint64_t line_size = 64;

struct Rows {
    __m256i row[4]; // eight pixels each
};

[[gnu::target("avx2")]] __m256i both_lanes(__m128i lane) {
    return _mm256_broadcastsi128_si256(lane);
}

[[gnu::target("avx2")]] __m256i load(const unsigned char *from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from));
}

// All ones where the first of two 16-bit halves is the greater one.
[[gnu::target("avx2")]] __m256i first_is_greater(__m256i halves) {
    return _mm256_cmpgt_epi32(_mm256_and_si256(halves, _mm256_set1_epi32(0xFFFF)),
                              _mm256_srli_epi32(halves, 16));
}

// b0 b1 g0 g1 r0 r1 alpha alpha of c0 c1, which stand four times in the lane; twice. Of x of 5 or 6 bits 8
// are (526 x + 32) / 64 and (259 x + 32) / 64, truncated, for every x.
[[gnu::target("avx2")]] __m256i channels(__m256i c0c1, short alpha) {
    const __m256i shifts = both_lanes(_mm_setr_epi32(0, 5, 11, 0));
    const __m256i masks = both_lanes(_mm_setr_epi16(31, 31, 63, 63, 31, 31, 0, 0));
    const __m256i factors = both_lanes(_mm_setr_epi16(526, 526, 259, 259, 526, 526, 0, 0));
    const auto opacity = static_cast<short>(64 * alpha);
    const __m256i rest = both_lanes(_mm_setr_epi16(32, 32, 32, 32, 32, 32, opacity, opacity));
    const __m256i fields = _mm256_and_si256(_mm256_srlv_epi32(c0c1, shifts), masks);
    const __m256i wide = _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(fields, factors), rest), 6);
    return _mm256_packus_epi16(wide, wide);
}

// The sums of the pairs by their weights, times factor / 65536.
[[gnu::target("avx2")]] __m256i mixed(__m256i pairs, __m256i weights, __m256i factor) {
    return _mm256_mulhi_epu16(_mm256_maddubs_epi16(pairs, weights), factor);
}

[[gnu::target("avx2")]] __m256i third() {
    return _mm256_set1_epi16(0x5556);
}

[[gnu::target("avx2")]] __m256i thirds() {
    return both_lanes(_mm_setr_epi8(2, 1, 2, 1, 2, 1, 2, 1, 1, 2, 1, 2, 1, 2, 1, 2));
}

[[gnu::target("avx2")]] __m256i the_two(__m256i channels) {
    const __m256i weights = both_lanes(_mm_setr_epi8(3, 0, 3, 0, 3, 0, 3, 0, 0, 3, 0, 3, 0, 3, 0, 3));
    return mixed(channels, weights, third());
}

[[gnu::target("avx2")]] __m256i four_colours(__m256i c0c1) {
    const __m256i pairs = channels(c0c1, 0);
    return _mm256_packus_epi16(the_two(pairs), mixed(pairs, thirds(), third()));
}

// Deliberate: the fourth colour of three is opaque black; DXT1 gives no transparent pixel.
[[gnu::target("avx2")]] __m256i three_or_four_colours(__m256i c0c1) {
    const __m256i pairs = channels(c0c1, 255);
    const __m256i four = first_is_greater(c0c1);
    const __m256i half_and_black = both_lanes(_mm_setr_epi8(1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1));
    const __m256i half = _mm256_set1_epi16(-0x8000);
    const __m256i weights = _mm256_blendv_epi8(half_and_black, thirds(), four);
    const __m256i factor = _mm256_blendv_epi8(half, third(), four);
    return _mm256_packus_epi16(the_two(pairs), mixed(pairs, weights, factor));
}

// indices: those of the block, four times in the lane.
[[gnu::target("avx2")]] Rows look_up(__m256i colours, __m256i indices) {
    const __m256 table = _mm256_castsi256_ps(colours);
    __m256i row = _mm256_srlv_epi32(indices, both_lanes(_mm_setr_epi32(0, 2, 4, 6)));
    Rows rows;
    for (__m256i &out : rows.row) {
        out = _mm256_castps_si256(_mm256_permutevar_ps(table, row));
        row = _mm256_srli_epi32(row, 8);
    }
    return rows;
}

// The eight alphas a pixel of DXT5 can have, twice.
[[gnu::target("avx2")]] __m256i alpha_table(__m256i blocks) {
    const __m256i pairs = _mm256_shuffle_epi8(blocks, _mm256_set1_epi16(0x0100));
    const __m256i eight =
        _mm256_cmpgt_epi16(_mm256_and_si256(pairs, _mm256_set1_epi16(255)), _mm256_srli_epi16(pairs, 8));
    const __m256i sevenths = both_lanes(_mm_setr_epi8(7, 0, 0, 7, 6, 1, 5, 2, 4, 3, 3, 4, 2, 5, 1, 6));
    const __m256i fifths = both_lanes(_mm_setr_epi8(5, 0, 0, 5, 4, 1, 3, 2, 2, 3, 1, 4, 0, 0, 0, 0));
    const __m256i weights = _mm256_blendv_epi8(fifths, sevenths, eight);
    const __m256i factor = _mm256_blendv_epi8(_mm256_set1_epi16(0x3334), _mm256_set1_epi16(0x2493), eight);
    const __m256i opaque = both_lanes(_mm_setr_epi16(0, 0, 0, 0, 0, 0, 0, 255));
    const __m256i wide = _mm256_or_si256(mixed(pairs, weights, factor), _mm256_andnot_si256(eight, opaque));
    return _mm256_packus_epi16(wide, wide);
}

// Two pixels stand in each 16 bits; only the lowest three bits of an index are looked at, and bit 7.
[[gnu::target("avx2")]] __m256i dxt5_alphas(__m256i blocks) {
    const __m256i where = both_lanes(_mm_setr_epi8(2, 3, 2, 3, 3, 4, 4, 5, 5, 6, 5, 6, 6, 7, 7, 8));
    const __m256i to_bit_6 = both_lanes(_mm_setr_epi16(64, 1, 4, 16, 64, 1, 4, 16));
    const __m256i twos = _mm256_mullo_epi16(_mm256_shuffle_epi8(blocks, where), to_bit_6);
    const __m256i even = _mm256_and_si256(_mm256_srli_epi16(twos, 6), _mm256_set1_epi16(0x0007));
    const __m256i odd = _mm256_and_si256(_mm256_srli_epi16(twos, 1), _mm256_set1_epi16(0x0700));
    return _mm256_shuffle_epi8(alpha_table(blocks), _mm256_or_si256(even, odd));
}

[[gnu::target("avx2")]] __m256i dxt3_alphas(__m256i blocks) {
    const __m256i where = both_lanes(_mm_setr_epi8(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7));
    const __m256i twos = _mm256_shuffle_epi8(blocks, where);
    const __m256i even = _mm256_and_si256(twos, _mm256_set1_epi16(0x000F));
    const __m256i odd = _mm256_and_si256(_mm256_srli_epi16(twos, 4), _mm256_set1_epi16(0x0F00));
    const __m256i fours = _mm256_or_si256(even, odd);
    return _mm256_or_si256(fours, _mm256_slli_epi16(fours, 4));
}

// Deliberate: a block of colours that follows alpha has always four, whatever their order.
[[gnu::target("avx2")]] Rows with_alphas(__m256i blocks, __m256i alphas) {
    Rows rows = look_up(four_colours(_mm256_shuffle_epi32(blocks, 0xAA)), _mm256_shuffle_epi32(blocks, 0xFF));
    __m256i to_byte_3 = both_lanes(_mm_setr_epi32(0x00FFFFFF, 0x01FFFFFF, 0x02FFFFFF, 0x03FFFFFF));
    for (__m256i &row : rows.row) {
        row = _mm256_or_si256(row, _mm256_shuffle_epi8(alphas, to_byte_3));
        to_byte_3 = _mm256_add_epi32(to_byte_3, _mm256_set1_epi32(0x04000000));
    }
    return rows;
}

struct Dxt1 {
    static constexpr uint64_t block_size = 8;

    [[gnu::target("avx2")]] static Rows expand(const unsigned char *two_blocks) {
        const __m256i blocks = both_lanes(_mm_loadu_si128(reinterpret_cast<const __m128i *>(two_blocks)));
        const __m256i colours = _mm256_setr_epi32(0x03020100, 0x03020100, 0x03020100, 0x03020100, 0x0B0A0908,
                                                  0x0B0A0908, 0x0B0A0908, 0x0B0A0908);
        const __m256i indices = _mm256_add_epi8(colours, _mm256_set1_epi8(4));
        return look_up(three_or_four_colours(_mm256_shuffle_epi8(blocks, colours)),
                       _mm256_shuffle_epi8(blocks, indices));
    }
};

struct Dxt3 {
    static constexpr uint64_t block_size = 16;

    [[gnu::target("avx2")]] static Rows expand(const unsigned char *two_blocks) {
        const __m256i blocks = load(two_blocks);
        return with_alphas(blocks, dxt3_alphas(blocks));
    }
};

struct Dxt5 {
    static constexpr uint64_t block_size = 16;

    [[gnu::target("avx2")]] static Rows expand(const unsigned char *two_blocks) {
        const __m256i blocks = load(two_blocks);
        return with_alphas(blocks, dxt5_alphas(blocks));
    }
};

// Pairs of blocks, four rows of 8 pixels each.
template <class Format>
[[gnu::target("avx2")]] void expand_pairs(uint64_t pairs, uint64_t width, const unsigned char *blocks,
                                          uint32_t *image) {
    for (uint64_t pair = 0; pair < pairs; pair++, blocks += 2 * Format::block_size, image += 8) {
        const Rows rows = Format::expand(blocks);
        for (uint64_t row = 0; row < 4; row++)
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(image + row * width), rows.row[row]);
    }
}

// Both are multiples of 32.
[[gnu::target("avx2")]] void copy_past_caches(const uint32_t *from, uint64_t pairs, uint32_t *to) {
    for (uint64_t i = 0; i < pairs; i++)
        _mm256_stream_si256(reinterpret_cast<__m256i *>(to) + i,
                            _mm256_load_si256(reinterpret_cast<const __m256i *>(from) + i));
}

// A stretch at a time is made in the nearest cache and copied row by row: writing a piece of each of four
// rows in turn past the caches takes more than twice as long.
template <class Format>
[[gnu::target("avx2")]] void expand_pairs_past_caches(uint64_t pairs, uint64_t width,
                                                      const unsigned char *blocks, uint32_t *image) {
    constexpr uint64_t longest = 16, stretch_width = 8 * longest;
    alignas(32) uint32_t stretch[4 * stretch_width];
    while (pairs > 0) {
        const uint64_t count = std::min(pairs, longest);
        expand_pairs<Format>(count, stretch_width, blocks, stretch);
        for (uint64_t row = 0; row < 4; row++)
            copy_past_caches(stretch + row * stretch_width, count, image + row * width);
        pairs -= count;
        blocks += 2 * Format::block_size * count;
        image += 8 * count;
    }
}

// One or two blocks, of which at most 8 columns and 4 rows are wanted.
template <class Format>
[[gnu::target("avx2")]] void expand_part(uint64_t columns, uint64_t rows, uint64_t width,
                                         const unsigned char *blocks, uint32_t *image) {
    unsigned char two_blocks[2 * Format::block_size] = {};
    memcpy(two_blocks, blocks, blocks_over(columns) * Format::block_size);
    const Rows expanded = Format::expand(two_blocks);
    for (uint64_t row = 0; row < rows; row++)
        memcpy(image + row * width, &expanded.row[row], columns * sizeof *image);
}

template <class Format>
[[gnu::target("avx2")]] void expand_parts(uint64_t columns, uint64_t rows, uint64_t width,
                                          const unsigned char *blocks, uint32_t *image) {
    for (uint64_t x = 0; x < columns; x += 8, blocks += 2 * Format::block_size)
        expand_part<Format>(std::min<uint64_t>(columns - x, 8), rows, width, blocks, image + x);
}

// Columns before the first that begins a line of the cache, as every row's does when this is asked.
uint64_t columns_before_line(const uint32_t *image) {
    return (line_size - reinterpret_cast<uintptr_t>(image) % line_size) % line_size / sizeof *image;
}

// Large, and lines begin at the same columns in all rows, where blocks begin, too.
bool goes_past_caches(uint64_t width, uint64_t rows, const uint32_t *image) {
    return rows >= large_image / sizeof *image / width && width * sizeof *image % line_size == 0 &&
           reinterpret_cast<uintptr_t>(image) % (4 * sizeof *image) == 0;
}

// Four whole rows. lead: the columns, a multiple of 4, that come before the pairs of blocks.
template <class Format, auto expand_pairs>
[[gnu::target("avx2")]] void expand_block_row(uint64_t lead, uint64_t width, const unsigned char *blocks,
                                              uint32_t *image) {
    expand_parts<Format>(lead, 4, width, blocks, image);
    const uint64_t pairs = (width - lead) / 8, tail = lead + 8 * pairs;
    expand_pairs(pairs, width, blocks + lead / 4 * Format::block_size, image + lead);
    expand_parts<Format>(width - tail, 4, width, blocks + tail / 4 * Format::block_size, image + tail);
}

template <class Format>
[[gnu::target("avx2")]] void expand_image(uint64_t width, uint64_t height, uint64_t rows,
                                          const unsigned char *blocks, uint32_t *image) {
    if (width == 0) return;
    rows = std::min(rows, 4 * blocks_over(height));
    const uint64_t row_size = blocks_over(width) * Format::block_size;
    const bool past_caches = goes_past_caches(width, rows, image);
    const uint64_t lead = past_caches ? columns_before_line(image) : 0;
    for (; rows >= 4; rows -= 4, blocks += row_size, image += 4 * width) {
        if (past_caches)
            expand_block_row<Format, expand_pairs_past_caches<Format>>(lead, width, blocks, image);
        else
            expand_block_row<Format, expand_pairs<Format>>(0, width, blocks, image);
    }
    if (rows > 0) expand_parts<Format>(width, rows, width, blocks, image);
    _mm_sfence(); // stores past the caches are not ordered with those that follow
}

} // namespace

const Path avx2 = {"AVX2", expand_image<Dxt1>, expand_image<Dxt3>, expand_image<Dxt5>};

} // namespace lindra::s3tc

#endif
