// SPDX-License-Identifier: MIT
//
// S3TC blocks: 4 x 4 pixels each ("EXT_texture_compression_s3tc", Khronos, 2013). Little-endian.
//
// A block of colours holds two of them, 5:6:5 bits, and sixteen 2-bit numbers: a pixel is the first colour,
// the second, or one of two between them. DXT1 is such blocks alone; DXT3 and DXT5 have 8 bytes of alpha
// before each, sixteen values of 4 bits, or two values and sixteen 3-bit numbers, by the same idea.
//
// The odd parts. The order of the two values is a flag: when the first is not the greater one, fewer values
// lie between them and fixed ones take the rest. Colours have this flag in DXT1 only. All divisions truncate,
// but the colours' channels are rounded from 5 or 6 bits to 8. A block is written whole to the image's lower
// border, but not to its right one, where the next row begins.
//
// What is between the two values is worked out once for each block; a pixel is then looked up. This file does
// one block at a time, on any machine; s3tc_avx2.cpp does two with the same results.

#include "s3tc.hpp"

#include "bytes.hpp"
#include "lindra.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace lindra::s3tc;
using lindra::load_le;

namespace {

struct Rgb {
    uint32_t red, green, blue;
};
using Colours = std::array<uint32_t, 4>; // of which a pixel has one
using Alphas = std::array<uint32_t, 8>;
using Pixels = std::array<uint32_t, 16>; // of a block, row by row

// 255 * five / 31.
// Deliberate: the quotient is rounded by shifts, which give 1 less for 20, 25 and 29, and for 53 of 63.
uint32_t eight_of_five_bits(uint32_t five) {
    const uint32_t t = five * 255 + 16;
    return ((t >> 5) + t) >> 5;
}

// 255 * six / 63, likewise.
uint32_t eight_of_six_bits(uint32_t six) {
    const uint32_t t = six * 255 + 32;
    return ((t >> 6) + t) >> 6;
}

Rgb rgb(uint32_t colour) {
    return {eight_of_five_bits(colour >> 11), eight_of_six_bits((colour & 0x7E0) >> 5),
            eight_of_five_bits(colour & 31)};
}

uint32_t pack(uint32_t alpha, Rgb colour) {
    return PackARGB(alpha, colour.red, colour.green, colour.blue);
}

Rgb half_way(Rgb a, Rgb b) {
    return {(a.red + b.red) / 2, (a.green + b.green) / 2, (a.blue + b.blue) / 2};
}

Rgb third_of_the_way(Rgb a, Rgb b) {
    return {(2 * a.red + b.red) / 3, (2 * a.green + b.green) / 3, (2 * a.blue + b.blue) / 3};
}

// Deliberate: the fourth colour of three is opaque black; DXT1 gives no transparent pixel.
Colours three_colours(Rgb a, Rgb b, uint32_t alpha) {
    return {pack(alpha, a), pack(alpha, b), pack(alpha, half_way(a, b)), pack(alpha, {0, 0, 0})};
}

Colours four_colours(Rgb a, Rgb b, uint32_t alpha) {
    return {pack(alpha, a), pack(alpha, b), pack(alpha, third_of_the_way(a, b)),
            pack(alpha, third_of_the_way(b, a))};
}

Alphas six_alphas(uint32_t a0, uint32_t a1) {
    Alphas alphas = {a0, a1}; // the seventh stays 0
    for (uint32_t i = 2; i < 6; i++)
        alphas[i] = ((6 - i) * a0 + (i - 1) * a1) / 5;
    alphas[7] = 255;
    return alphas;
}

Alphas eight_alphas(uint32_t a0, uint32_t a1) {
    Alphas alphas = {a0, a1};
    for (uint32_t i = 2; i < 8; i++)
        alphas[i] = ((8 - i) * a0 + (i - 1) * a1) / 7;
    return alphas;
}

void look_up(const Colours &colours, uint32_t indices, Pixels &pixels) {
    for (uint32_t &pixel : pixels) {
        pixel = colours[indices & 3];
        indices >>= 2;
    }
}

// Deliberate: a block of colours that follows alpha has always four, whatever their order.
void colours_after_alpha(const unsigned char *block, Pixels &pixels) {
    const Colours colours = four_colours(rgb(load_le<uint16_t>(block)), rgb(load_le<uint16_t>(block + 2)), 0);
    look_up(colours, load_le<uint32_t>(block + 4), pixels);
}

struct Dxt1 {
    static constexpr uint64_t block_size = 8;

    static void expand(const unsigned char *block, Pixels &pixels) {
        const uint32_t c0 = load_le<uint16_t>(block), c1 = load_le<uint16_t>(block + 2);
        const Colours colours =
            c0 <= c1 ? three_colours(rgb(c0), rgb(c1), 255) : four_colours(rgb(c0), rgb(c1), 255);
        look_up(colours, load_le<uint32_t>(block + 4), pixels);
    }
};

struct Dxt3 {
    static constexpr uint64_t block_size = 16;

    static void expand(const unsigned char *block, Pixels &pixels) {
        colours_after_alpha(block + 8, pixels);
        auto alphas = load_le<uint64_t>(block);
        for (uint32_t &pixel : pixels) {
            pixel |= static_cast<uint32_t>(alphas & 15) * 17 << 24;
            alphas >>= 4;
        }
    }
};

struct Dxt5 {
    static constexpr uint64_t block_size = 16;

    static void expand(const unsigned char *block, Pixels &pixels) {
        colours_after_alpha(block + 8, pixels);
        const uint32_t a0 = block[0], a1 = block[1];
        const Alphas alphas = a0 > a1 ? eight_alphas(a0, a1) : six_alphas(a0, a1);
        uint64_t indices = load_le<uint64_t>(block) >> 16;
        for (uint32_t &pixel : pixels) {
            pixel |= alphas[indices & 7] << 24;
            indices >>= 3;
        }
    }
};

// The first columns of each of the first rows.
void store(const Pixels &pixels, uint64_t columns, uint64_t rows, uint64_t width, uint32_t *image) {
    for (uint64_t row = 0; row < rows; row++)
        std::copy_n(&pixels[4 * row], columns, image + row * width);
}

template <class Format>
void expand_block(const unsigned char *block, uint64_t columns, uint64_t rows, uint64_t width,
                  uint32_t *image) {
    Pixels pixels;
    Format::expand(block, pixels);
    if (columns >= 4 && rows >= 4)
        store(pixels, 4, 4, width, image);
    else
        store(pixels, std::min<uint64_t>(columns, 4), std::min<uint64_t>(rows, 4), width, image);
}

// Deliberate: rows are not cut at the image's height, which is not known here.
template <class Format>
void expand_single(uint64_t x, uint64_t y, uint64_t width, const unsigned char *block, uint32_t *image) {
    if (x < width) expand_block<Format>(block, width - x, 4, width, image + y * width + x);
}

template <class Format>
void expand_image(uint64_t width, uint64_t height, uint64_t rows, const unsigned char *blocks,
                  uint32_t *image) {
    if (width == 0) return;
    const uint64_t end = std::min(rows, 4 * blocks_over(height));
    for (uint64_t y = 0; y < end; y += 4)
        for (uint64_t x = 0; x < width; x += 4, blocks += Format::block_size)
            expand_block<Format>(blocks, width - x, end - y, width, image + y * width + x);
}

constexpr Path portable = {"portable", expand_image<Dxt1>, expand_image<Dxt3>, expand_image<Dxt5>};

} // namespace

std::span<const Path> lindra::s3tc::paths() {
#ifdef __x86_64__
    static const Path all[] = {avx2, portable};
    return std::span(all).subspan(__builtin_cpu_supports("avx2") ? 0 : 1);
#else
    return std::span(&portable, 1);
#endif
}

void lindra::s3tc::expand_dxt1(uint64_t width, uint64_t height, uint64_t rows, const unsigned char *blocks,
                               uint32_t *image) {
    paths().front().dxt1(width, height, rows, blocks, image);
}

void lindra::s3tc::expand_dxt3(uint64_t width, uint64_t height, uint64_t rows, const unsigned char *blocks,
                               uint32_t *image) {
    paths().front().dxt3(width, height, rows, blocks, image);
}

void lindra::s3tc::expand_dxt5(uint64_t width, uint64_t height, uint64_t rows, const unsigned char *blocks,
                               uint32_t *image) {
    paths().front().dxt5(width, height, rows, blocks, image);
}

uint32_t PackARGB(uint32_t alpha, uint32_t red, uint32_t green, uint32_t blue) {
    return alpha << 24 | (red & 255) << 16 | (green & 255) << 8 | (blue & 255);
}

void DecompressBlockDXT1(uint64_t x, uint64_t y, uint64_t width, const unsigned char *block,
                         uint32_t *image) {
    expand_single<Dxt1>(x, y, width, block, image);
}

void BlockDecompressImageDXT1(uint64_t width, uint64_t height, const unsigned char *blocks, uint32_t *image) {
    expand_dxt1(width, height, 4 * blocks_over(height), blocks, image);
}

void DecompressBlockDXT5(uint64_t x, uint64_t y, uint64_t width, const unsigned char *block,
                         uint32_t *image) {
    expand_single<Dxt5>(x, y, width, block, image);
}

void BlockDecompressImageDXT5(uint64_t width, uint64_t height, const unsigned char *blocks, uint32_t *image) {
    expand_dxt5(width, height, 4 * blocks_over(height), blocks, image);
}
