// SPDX-License-Identifier: MIT

#include "guarded_buffer.hpp"
#include "little_endian.hpp"
#include "s3tc.hpp"

#include "lindra/lindra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace lindra::s3tc;
using lindra::test::GuardedBuffer;
using lindra::test::le16;
using lindra::test::le32;
using Block = std::array<uint32_t, 16>;

constexpr uint32_t untouched = 0x01234567;

const unsigned char *bytes_of(const std::string &text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

// --- The arithmetic once more, in other words: fractions of whole numbers, pixel by pixel. ---------------

uint32_t byte_at(const std::string &block, size_t index) {
    return static_cast<unsigned char>(block[index]);
}

// count bits from bit first on, the lowest bit of the first byte being bit 0.
uint32_t bits_at(const std::string &block, size_t first, size_t count) {
    uint32_t value = 0;
    for (size_t i = 0; i < count; i++)
        value |= (byte_at(block, (first + i) / 8) >> (first + i) % 8 & 1) << i;
    return value;
}

// value * 255 / (steps - 1), the division being one by steps and a correction.
uint32_t scaled(uint32_t value, uint32_t steps) {
    const uint32_t product = value * 255 + steps / 2;
    return (product + product / steps) / steps;
}

struct Channel {
    size_t first, count; // bits of a colour
    uint32_t place;      // in a pixel
};
constexpr Channel channels[] = {{11, 5, 16}, {5, 6, 8}, {0, 5, 0}};

// A colour block's pixel without alpha. at: the block's first byte.
uint32_t plain_colour(const std::string &block, size_t at, size_t pixel, bool always_four) {
    const uint32_t c0 = bits_at(block, at * 8, 16), c1 = bits_at(block, at * 8 + 16, 16);
    const uint32_t index = bits_at(block, at * 8 + 32 + 2 * pixel, 2);
    uint32_t colour = 0;
    for (const Channel &channel : channels) {
        const uint32_t steps = 1U << channel.count;
        const uint32_t a = scaled(bits_at(block, at * 8 + channel.first, channel.count), steps);
        const uint32_t b = scaled(bits_at(block, at * 8 + 16 + channel.first, channel.count), steps);
        const bool four = always_four || c0 > c1;
        const uint32_t between = four         ? (index == 2 ? 2 * a + b : a + 2 * b) / 3
                                 : index == 2 ? (a + b) / 2
                                              : 0;
        colour |= (index == 0 ? a : index == 1 ? b : between) << channel.place;
    }
    return colour;
}

uint32_t plain_dxt5_alpha(const std::string &block, size_t pixel) {
    const uint32_t a0 = byte_at(block, 0), a1 = byte_at(block, 1);
    const uint32_t index = bits_at(block, 16 + 3 * pixel, 3);
    if (index == 0) return a0;
    if (index == 1) return a1;
    if (a0 > a1) return ((8 - index) * a0 + (index - 1) * a1) / 7;
    if (index == 6) return 0;
    if (index == 7) return 255;
    return ((6 - index) * a0 + (index - 1) * a1) / 5;
}

uint32_t plain_dxt1(const std::string &block, size_t pixel) {
    return 0xFF000000 | plain_colour(block, 0, pixel, false);
}

uint32_t plain_dxt3(const std::string &block, size_t pixel) {
    return bits_at(block, 4 * pixel, 4) * 17 << 24 | plain_colour(block, 8, pixel, true);
}

uint32_t plain_dxt5(const std::string &block, size_t pixel) {
    return plain_dxt5_alpha(block, pixel) << 24 | plain_colour(block, 8, pixel, true);
}

// --- What is compared with it. -------------------------------------------------------------------------

struct Format {
    const char *name;
    size_t block_size;
    uint32_t (*plain)(const std::string &block, size_t pixel);
    Expand *Path::*expand;
};
constexpr Format dxt1 = {"DXT1", 8, plain_dxt1, &Path::dxt1};
constexpr Format dxt3 = {"DXT3", 16, plain_dxt3, &Path::dxt3};
constexpr Format dxt5 = {"DXT5", 16, plain_dxt5, &Path::dxt5};

Block plain_block(const Format &format, const std::string &block) {
    Block pixels;
    for (size_t i = 0; i < pixels.size(); i++)
        pixels[i] = format.plain(block, i);
    return pixels;
}

Block single_dxt1(const std::string &block) {
    Block pixels;
    DecompressBlockDXT1(0, 0, 4, bytes_of(block), pixels.data());
    return pixels;
}

Block single_dxt5(const std::string &block) {
    Block pixels;
    DecompressBlockDXT5(0, 0, 4, bytes_of(block), pixels.data());
    return pixels;
}

std::string dxt1_block(int c0, int c1, uint32_t indices) {
    return le16(c0) + le16(c1) + le32(indices);
}

// Every pixel has the same alpha index.
std::string dxt5_block(int a0, int a1, uint64_t alpha_index,
                       const std::string &colours = dxt1_block(0, 0, 0)) {
    std::string block = {static_cast<char>(a0), static_cast<char>(a1)};
    uint64_t indices = 0;
    for (int i = 0; i < 16; i++)
        indices = indices << 3 | alpha_index;
    for (int i = 0; i < 6; i++)
        block += static_cast<char>(indices >> 8 * i);
    return block + colours;
}

std::string random_blocks(size_t size, uint32_t seed) {
    std::mt19937 random(seed);
    std::string blocks(size, '\0');
    std::generate(blocks.begin(), blocks.end(), [&] { return static_cast<char>(random()); });
    return blocks;
}

// Every image through every path the processor has, and through the one that is chosen.
std::vector<Path> all_paths() {
    std::vector<Path> all(paths().begin(), paths().end());
    all.push_back({"chosen", expand_dxt1, expand_dxt3, expand_dxt5});
    return all;
}

// The pixels of an image's first rows, over blocks of which none is readable past the last.
std::vector<uint32_t> plain_image(const Format &format, uint64_t width, uint64_t rows,
                                  const std::string &blocks) {
    std::vector<uint32_t> image(width * rows);
    const uint64_t across = (width + 3) / 4;
    for (uint64_t y = 0; y < rows; y++)
        for (uint64_t x = 0; x < width; x++) {
            const uint64_t block = y / 4 * across + x / 4;
            image[y * width + x] =
                format.plain(blocks.substr(block * format.block_size, format.block_size), y % 4 * 4 + x % 4);
        }
    return image;
}

// Expands into memory that ends at an unreadable page where the last of rows ends; before it stands a mark.
void expect_plain_image(const Format &format, uint64_t width, uint64_t height, uint64_t rows) {
    const size_t size = (width + 3) / 4 * ((height + 3) / 4) * format.block_size;
    const std::string blocks = random_blocks(size, static_cast<uint32_t>(width * 64 + height));
    const GuardedBuffer input(blocks);
    const std::vector<uint32_t> expected = plain_image(format, width, rows, blocks);
    for (const Path &path : all_paths()) {
        const GuardedBuffer output(std::string((width * rows + 1) * sizeof untouched, '\x5A'));
        auto *image = reinterpret_cast<uint32_t *>(output.data()) + 1;
        (path.*format.expand)(width, height, rows, input.data(), image);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), image))
            << path.name << ' ' << format.name << ' ' << width << " x " << height << ", " << rows << " rows";
        ASSERT_EQ(image[-1], 0x5A5A5A5A);
    }
}

// All of the blocks' pixels by every path, as an image many blocks wide.
void expect_plain_blocks(const Format &format, const std::string &blocks) {
    const uint64_t count = blocks.size() / format.block_size;
    const std::vector<uint32_t> expected = plain_image(format, count * 4, 4, blocks);
    for (const Path &path : all_paths()) {
        std::vector<uint32_t> image(count * 16);
        (path.*format.expand)(count * 4, 4, 4, bytes_of(blocks), image.data());
        ASSERT_TRUE(image == expected) << path.name << ' ' << format.name;
    }
}

// --- One block. -----------------------------------------------------------------------------------------

TEST(S3tc, a_pixel_is_packed_alpha_first) {
    EXPECT_EQ(PackARGB(0x12, 0x34, 0x56, 0x78), 0x12345678U);
}

TEST(S3tc, colours_are_masked_when_packed) {
    EXPECT_EQ(PackARGB(0, 0x1FF, 0x200, 0x3FE), 0x00FF00FEU);
}

TEST(S3tc, white_before_black_has_two_thirds_and_one_third_between) {
    // Indices 0, 1, 2, 3 in each row.
    const Block pixels = single_dxt1(dxt1_block(0xFFFF, 0, 0xE4E4E4E4));
    for (size_t row = 0; row < 4; row++) {
        EXPECT_EQ(pixels[4 * row], 0xFFFFFFFFU);
        EXPECT_EQ(pixels[4 * row + 1], 0xFF000000U);
        EXPECT_EQ(pixels[4 * row + 2], 0xFFAAAAAAU);
        EXPECT_EQ(pixels[4 * row + 3], 0xFF555555U);
    }
}

TEST(S3tc, black_before_white_has_grey_and_opaque_black) {
    const Block pixels = single_dxt1(dxt1_block(0, 0xFFFF, 0xE4E4E4E4));
    EXPECT_EQ(pixels[0], 0xFF000000U);
    EXPECT_EQ(pixels[1], 0xFFFFFFFFU);
    EXPECT_EQ(pixels[2], 0xFF7F7F7FU);
    EXPECT_EQ(pixels[3], 0xFF000000U);
}

TEST(S3tc, the_fourth_colour_of_equal_ones_is_opaque_black) {
    for (const uint32_t pixel : single_dxt1(dxt1_block(0xFFFF, 0xFFFF, 0xFFFFFFFF)))
        EXPECT_EQ(pixel, 0xFF000000U);
}

TEST(S3tc, channels_fill_eight_bits) {
    EXPECT_EQ(single_dxt1(dxt1_block(16 << 11 | 32 << 5 | 16, 0, 0))[0], 0xFF848284U); // 132, 130, 132
    EXPECT_EQ(single_dxt1(dxt1_block(31 << 11 | 63 << 5 | 31, 0, 0))[0], 0xFFFFFFFFU);
    EXPECT_EQ(single_dxt1(dxt1_block(0, 0, 0))[0], 0xFF000000U);
}

TEST(S3tc, four_channel_values_are_one_less_than_rounded) {
    EXPECT_EQ(single_dxt1(dxt1_block(20 << 11 | 53 << 5 | 25, 0, 0))[0], 0xFFA4D6CDU); // 164.5, 214.5, 205.6
    EXPECT_EQ(single_dxt1(dxt1_block(29 << 11, 0, 0))[0], 0xFFEE0000U);                // 238.5
    const auto rounded = [](int value, int largest) { return (2 * 255 * value + largest) / (2 * largest); };
    const auto channel = [](int colour, int place) {
        return static_cast<int>(single_dxt1(dxt1_block(colour, 0, 0))[0] >> place & 255);
    };
    for (int five = 0; five < 32; five++)
        EXPECT_EQ(channel(five << 11, 16), rounded(five, 31) - (five == 20 || five == 25 || five == 29));
    for (int six = 0; six < 64; six++)
        EXPECT_EQ(channel(six << 5, 8), rounded(six, 63) - (six == 53));
}

TEST(S3tc, six_alphas_and_both_limits) {
    EXPECT_EQ(single_dxt5(dxt5_block(0, 255, 6))[0] >> 24, 0U);
    EXPECT_EQ(single_dxt5(dxt5_block(0, 255, 7))[0] >> 24, 255U);
    EXPECT_EQ(single_dxt5(dxt5_block(0, 255, 2))[0] >> 24, 51U);
    EXPECT_EQ(single_dxt5(dxt5_block(100, 100, 6))[0] >> 24, 0U);
}

TEST(S3tc, eight_alphas) {
    EXPECT_EQ(single_dxt5(dxt5_block(255, 0, 2))[0] >> 24, 218U);
    EXPECT_EQ(single_dxt5(dxt5_block(255, 0, 7))[0] >> 24, 36U);
}

TEST(S3tc, the_sixth_alpha_index_lies_in_two_bytes) {
    // Bit 15 is the lowest bit of the index of the pixel at row 1, column 1; bits 16 and 17 are the others.
    std::string block = dxt5_block(255, 0, 0);
    block[3] = '\x80';
    block[4] = '\x01'; // index 3: (5 * 255 + 2 * 0) / 7
    const Block pixels = single_dxt5(block);
    for (size_t i = 0; i < pixels.size(); i++)
        EXPECT_EQ(pixels[i] >> 24, i == 5 ? 182U : 255U) << i;
}

TEST(S3tc, colours_after_alpha_are_four_in_any_order) {
    const Block pixels = single_dxt5(dxt5_block(9, 9, 0, dxt1_block(0, 0xFFFF, 0xE4E4E4E4)));
    EXPECT_EQ(pixels[0], 0x09000000U);
    EXPECT_EQ(pixels[1], 0x09FFFFFFU);
    EXPECT_EQ(pixels[2], 0x09555555U);
    EXPECT_EQ(pixels[3], 0x09AAAAAAU);
}

TEST(S3tc, a_single_block_is_cut_at_the_width_but_not_below) {
    const std::string block = dxt1_block(0xFFFF, 0, 0);
    for (auto *expand : {DecompressBlockDXT1, DecompressBlockDXT5}) {
        const std::string bytes = expand == DecompressBlockDXT1 ? block : dxt5_block(255, 0, 0, block);
        const GuardedBuffer input(bytes);
        std::vector<uint32_t> image(6 * 8, untouched);
        expand(4, 4, 6, input.data(), image.data());
        for (size_t i = 0; i < image.size(); i++)
            EXPECT_EQ(image[i], i / 6 >= 4 && i % 6 >= 4 ? 0xFFFFFFFF : untouched) << i;
    }
}

TEST(S3tc, a_single_block_right_of_the_image_is_not_written) {
    const std::string block = dxt1_block(0xFFFF, 0, 0);
    std::vector<uint32_t> image(32, untouched);
    DecompressBlockDXT1(4, 0, 4, bytes_of(block), image.data());
    DecompressBlockDXT1(8, 0, 4, bytes_of(block), image.data());
    EXPECT_EQ(std::count(image.begin(), image.end(), untouched), 32);
}

// --- All there is. ---------------------------------------------------------------------------------------

// Red and blue run through all pairs of 5 bits, green through all of 6, in both orders, with every index in
// every column.
TEST(S3tc, all_pairs_of_channel_values_are_as_plain_arithmetic_has_them) {
    std::string blocks, with_alpha;
    for (int a = 0; a < 64; a++)
        for (int b = 0; b < 64; b++) {
            const int c0 = a % 32 << 11 | a << 5 | b % 32, c1 = b % 32 << 11 | b << 5 | a % 32;
            for (const uint32_t indices : {0xE4E4E4E4U, 0x1B1B1B1BU, 0x4E4E4E4EU, 0xB1B1B1B1U}) {
                const std::string block = dxt1_block(c0, c1, indices);
                EXPECT_EQ(single_dxt1(block), plain_block(dxt1, block)) << c0 << ' ' << c1;
                blocks += block;
                with_alpha += dxt5_block(a, b, 0, block);
                EXPECT_EQ(single_dxt5(with_alpha.substr(with_alpha.size() - 16)),
                          plain_block(dxt5, with_alpha.substr(with_alpha.size() - 16)));
            }
        }
    expect_plain_blocks(dxt1, blocks);
    expect_plain_blocks(dxt3, with_alpha);
    expect_plain_blocks(dxt5, with_alpha);
}

// The mode is that of the whole colours, so that each channel meets both modes with each pair of values: red
// decides for green and blue, green decides for red.
TEST(S3tc, all_pairs_of_channel_values_meet_both_modes) {
    std::string blocks;
    for (int a = 0; a < 64; a++)
        for (int b = 0; b < 64; b++)
            for (const auto &[high, low] : {std::pair(0x8000, 0x0000), std::pair(0x0000, 0x8000)}) {
                blocks += dxt1_block(high | a << 5 | a % 32, low | b << 5 | b % 32, 0xE41B4EB1);
                if (a < 32 && b < 32) {
                    const int greens = high > low ? 63 << 5 : 0;
                    blocks += dxt1_block(a << 11 | greens, b << 11 | (0x7E0 ^ greens), 0xE41B4EB1);
                }
            }
    for (size_t at = 0; at < blocks.size(); at += 8)
        ASSERT_EQ(single_dxt1(blocks.substr(at, 8)), plain_block(dxt1, blocks.substr(at, 8))) << at;
    expect_plain_blocks(dxt1, blocks);
}

TEST(S3tc, all_pairs_of_alphas_are_as_plain_arithmetic_has_them) {
    std::string colours = dxt1_block(0x1234, 0xFEDC, 0xE4E4E4E4);
    for (int a0 = 0; a0 < 256; a0++) {
        std::string blocks;
        for (int a1 = 0; a1 < 256; a1++)
            for (uint64_t index = 0; index < 8; index++) {
                const std::string block = dxt5_block(a0, a1, index, colours);
                const Block single = single_dxt5(block);
                ASSERT_EQ(single[0], plain_dxt5(block, 0)) << a0 << ' ' << a1 << ' ' << index;
                ASSERT_EQ(single[15], plain_dxt5(block, 15)) << a0 << ' ' << a1 << ' ' << index;
                blocks += block;
            }
        expect_plain_blocks(dxt5, blocks);
    }
}

TEST(S3tc, every_explicit_alpha_is_seventeen_times_its_four_bits) {
    const std::string block = "\x10\x32\x54\x76\x98\xBA\xDC\xFE" + dxt1_block(0xFFFF, 0, 0);
    for (const Path &path : all_paths()) {
        Block pixels;
        path.dxt3(4, 4, 4, bytes_of(block), pixels.data());
        for (uint32_t i = 0; i < 16; i++)
            EXPECT_EQ(pixels[i], i * 17 << 24 | 0xFFFFFF) << path.name;
    }
}

TEST(S3tc, fastest_path_is_chosen) {
#ifdef __x86_64__
    EXPECT_STREQ(paths().front().name, __builtin_cpu_supports("avx2") ? "AVX2" : "portable");
#else
    EXPECT_STREQ(paths().front().name, "portable");
#endif
}

// --- Images. ----------------------------------------------------------------------------------------------

class S3tcImages : public testing::TestWithParam<Format> {};

TEST_P(S3tcImages, of_every_small_size_are_as_plain_arithmetic_has_them) {
    for (uint64_t width = 0; width <= 33; width++)
        for (uint64_t height = 0; height <= 33; height++)
            expect_plain_image(GetParam(), width, height, (height + 3) / 4 * 4);
}

TEST_P(S3tcImages, are_not_written_from_the_given_row_on) {
    for (const uint64_t width : {1U, 4U, 7U, 8U, 9U, 17U})
        for (uint64_t height = 1; height <= 13; height++)
            for (uint64_t rows = 0; rows < (height + 3) / 4 * 4; rows++)
                expect_plain_image(GetParam(), width, height, rows);
}

// Large enough to be written past the caches, where its rows allow that: begun at every place in a line of
// the cache. Two marks stand behind the last pixel.
TEST_P(S3tcImages, of_large_size_are_as_plain_arithmetic_has_them_wherever_they_begin) {
    const Format &format = GetParam();
    for (const uint64_t width : {1040U, 1037U}) {
        constexpr uint64_t height = 2047, most_rows = 2045;
        const std::string blocks = random_blocks((width + 3) / 4 * ((height + 3) / 4) * format.block_size, 1);
        const std::vector<uint32_t> expected = plain_image(format, width, most_rows, blocks);
        const GuardedBuffer input(blocks);
        std::vector<uint32_t> room(expected.size() + 64);
        auto *line = room.data();
        while (reinterpret_cast<uintptr_t>(line) % 64)
            line++;
        for (const Path &path : all_paths())
            for (uint64_t place = 0; place < 16; place++) {
                // With a part of a row of blocks at the end, and without.
                const uint64_t rows = most_rows - place / 4 % 2;
                std::fill(room.begin(), room.end(), untouched);
                (path.*format.expand)(width, height, rows, input.data(), line + place);
                const uint32_t *begin = line + place, *end = begin + width * rows;
                ASSERT_TRUE(std::equal(begin, end, expected.begin()))
                    << path.name << ' ' << format.name << ' ' << width << ' ' << place;
                ASSERT_EQ(std::count<const uint32_t *>(room.data(), begin, untouched), begin - room.data());
                ASSERT_EQ(std::count(end, end + 2, untouched), 2);
            }
    }
}

INSTANTIATE_TEST_SUITE_P(S3tc, S3tcImages, testing::Values(dxt1, dxt3, dxt5),
                         [](const auto &format) { return std::string(format.param.name); });

TEST(S3tc, an_image_is_cut_at_its_width_but_not_below) {
    const std::string block = dxt1_block(0xFFFF, 0, 0);
    for (auto *expand : {BlockDecompressImageDXT1, BlockDecompressImageDXT5}) {
        std::string blocks;
        for (int i = 0; i < 4; i++)
            blocks += expand == BlockDecompressImageDXT1 ? block : dxt5_block(255, 0, 0, block);
        const GuardedBuffer input(blocks);
        std::vector<uint32_t> image(6 * 8 + 6, untouched);
        expand(6, 6, input.data(), image.data());
        for (size_t i = 0; i < image.size(); i++)
            EXPECT_EQ(image[i], i < 48 ? 0xFFFFFFFF : untouched) << i;
    }
}

TEST(S3tc, the_blocks_of_an_image_lie_row_by_row) {
    std::string blocks;
    for (int i = 0; i < 4; i++)
        blocks += dxt1_block(i + 1, 0, 0);
    std::vector<uint32_t> image(6 * 8);
    BlockDecompressImageDXT1(6, 6, bytes_of(blocks), image.data());
    for (size_t y = 0; y < 8; y++)
        for (size_t x = 0; x < 6; x++)
            EXPECT_EQ(image[y * 6 + x],
                      0xFF000000U | scaled(static_cast<uint32_t>(y / 4 * 2 + x / 4 + 1), 32));
}

// Null pointers: the first access would end the test.
TEST(S3tc, nothing_is_read_or_written_for_an_image_without_pixels) {
    for (auto *expand : {BlockDecompressImageDXT1, BlockDecompressImageDXT5}) {
        expand(0, 0, nullptr, nullptr);
        expand(0, 16, nullptr, nullptr);
        expand(16, 0, nullptr, nullptr);
        expand(0, UINT64_MAX, nullptr, nullptr);
    }
    for (const Path &path : all_paths())
        for (auto *expand : {path.dxt1, path.dxt3, path.dxt5}) {
            expand(0, 16, 16, nullptr, nullptr);
            expand(16, 0, 0, nullptr, nullptr);
            expand(16, 16, 0, nullptr, nullptr);
        }
}

TEST(S3tc, no_more_rows_are_written_than_blocks_have) {
    const std::string block = dxt1_block(0xFFFF, 0, 0);
    for (const Path &path : all_paths()) {
        const GuardedBuffer input(block);
        std::vector<uint32_t> image(5 * 4, untouched);
        path.dxt1(4, 2, 100, input.data(), image.data());
        EXPECT_EQ(std::count(image.begin(), image.end(), 0xFFFFFFFF), 16) << path.name;
    }
}

} // namespace
