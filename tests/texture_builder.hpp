// SPDX-License-Identifier: MIT
//
// Texture files made of a description: how pixels are stored, and how many elements, faces, levels and slices
// there are. Each image shows two colours of its own, so that one taken for another is seen.
#ifndef LINDRA_TESTS_TEXTURE_BUILDER_HPP
#define LINDRA_TESTS_TEXTURE_BUILDER_HPP

#include "dds_builder.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lindra::test::dds {

// --- What an image shows ---

struct Picture {
    uint32_t element, face, level, slice;
    uint32_t width, height;

    uint32_t second_is_at(uint32_t x, uint32_t y) const { return (3 * x + 5 * y + x * y) % 7 < 3; }

    // One of its two colours, 0xAARRGGBB.
    uint32_t colour(uint32_t which) const {
        const uint32_t id = (((element * 6 + face) * 8 + level) * 8 + slice) * 2 + which + 1;
        return id * 0x9e3779b1U; // scattered over all bits
    }
    uint32_t pixel(uint32_t x, uint32_t y) const { return colour(second_is_at(x, y)); }
};

inline uint32_t byte_of(uint32_t pixel, int shift) {
    return pixel >> shift & 0xff;
}

// --- How pixels are stored ---

struct Storage {
    std::function<void(Header &)> describe;
    std::function<std::string(const Picture &)> encode;
    std::function<uint32_t(uint32_t)> kept; // what a colour is when it comes back
    uint32_t dxgi = 0;                      // of the DX10 header; 0: there is none
};

inline uint32_t to_565(uint32_t pixel) {
    return byte_of(pixel, 16) >> 3 << 11 | byte_of(pixel, 8) >> 2 << 5 | byte_of(pixel, 0) >> 3;
}

// A number from 0 to greatest as one from 0 to 255.
inline uint32_t scaled(uint64_t value, uint64_t greatest) {
    return static_cast<uint32_t>(
        std::lround(static_cast<double>(value) * 255.0 / static_cast<double>(greatest)));
}

// Blocks scale by shifts, which comes out one below the rounded value for some.
inline uint32_t shifted(uint32_t value, int bits) {
    const uint32_t sum = value * 255 + (1U << (bits - 1));
    return ((sum >> bits) + sum) >> bits;
}

inline uint32_t from_565(uint32_t colour) {
    return shifted(colour >> 11, 5) << 16 | shifted(colour >> 5 & 63, 6) << 8 | shifted(colour & 31, 5);
}

inline std::string little(uint64_t number, uint32_t size) {
    std::string bytes;
    for (uint32_t i = 0; i < size; i++)
        bytes += static_cast<char>(number >> 8 * i & 0xff);
    return bytes;
}

// Two colours and for each pixel which of them; before them the alpha of kinds 3 and 5, likewise.
inline std::string block(int kind, const Picture &picture, uint32_t x, uint32_t y) {
    const uint32_t alpha[] = {byte_of(picture.colour(0), 24), byte_of(picture.colour(1), 24)};
    uint64_t alphas = kind == 5 ? alpha[0] | alpha[1] << 8 : 0;
    uint64_t colours = 0;
    for (uint32_t i = 0; i < 16; i++) {
        const uint64_t which = picture.second_is_at(x + i % 4, y + i / 4);
        colours |= which << 2 * i;
        alphas |= kind == 5 ? which << (16 + 3 * i) : uint64_t{alpha[which]} >> 4 << 4 * i;
    }
    return (kind == 1 ? "" : little(alphas, 8)) + little(to_565(picture.colour(0)), 2) +
           little(to_565(picture.colour(1)), 2) + little(colours, 4);
}

inline std::string blocks_of(int kind, const Picture &picture) {
    std::string bytes;
    for (uint32_t y = 0; y < picture.height; y += 4)
        for (uint32_t x = 0; x < picture.width; x += 4)
            bytes += block(kind, picture, x, y);
    return bytes;
}

// kind: 1, 3 or 5.
inline Storage compressed(int kind, uint32_t name) {
    return {
        [name](Header &header) { header.with(Header::format_flags, 4).with(Header::format_fourcc, name); },
        [kind](const Picture &picture) { return blocks_of(kind, picture); },
        [kind](uint32_t pixel) {
            const uint32_t alpha = byte_of(pixel, 24);
            const uint32_t kept = kind == 1 ? 255 : kind == 3 ? (alpha >> 4) * 17 : alpha;
            return kept << 24 | from_565(to_565(pixel));
        }};
}

inline Storage dxt1() {
    return compressed(1, fourcc("DXT1"));
}

// Masks of the four channels, 0 where one is not stored.
struct Masks {
    uint32_t bits;
    uint32_t red, green, blue, alpha;
};

// The highest bits of a colour's channel, as many as the mask has, from 1 to 32.
inline uint64_t cut_to(uint32_t channel, uint32_t mask) {
    return uint64_t{channel} * 0x01010101U >> (32 - std::popcount(mask));
}

inline std::string plain_pixel(const Masks &masks, uint32_t pixel) {
    uint64_t stored = 0;
    const auto put = [&](uint32_t mask, int shift) {
        if (mask) stored |= cut_to(byte_of(pixel, shift), mask) << std::countr_zero(mask) & mask;
    };
    put(masks.red, 16);
    put(masks.green, 8);
    put(masks.blue, 0);
    put(masks.alpha, 24);
    return little(stored, masks.bits / 8);
}

inline uint32_t kept_pixel(const Masks &masks, uint32_t pixel) {
    const auto kept = [&](uint32_t mask, int shift, uint32_t absent) {
        if (!mask) return absent << shift;
        const uint64_t greatest = (uint64_t{1} << std::popcount(mask)) - 1;
        return scaled(cut_to(byte_of(pixel, shift), mask), greatest) << shift;
    };
    return kept(masks.red, 16, 0) | kept(masks.green, 8, 0) | kept(masks.blue, 0, 0) |
           kept(masks.alpha, 24, 255);
}

inline Storage plain(const Masks &masks, uint32_t flags) {
    return {[=](Header &header) {
                header.with(Header::format_flags, flags).with(Header::format_fourcc, 0);
                header.with(Header::bits, masks.bits).with(Header::red, masks.red);
                header.with(Header::green, masks.green).with(Header::blue, masks.blue);
                header.with(Header::alpha, masks.alpha);
            },
            [=](const Picture &picture) {
                std::string bytes;
                for (uint32_t y = 0; y < picture.height; y++)
                    for (uint32_t x = 0; x < picture.width; x++)
                        bytes += plain_pixel(masks, picture.pixel(x, y));
                return bytes;
            },
            [=](uint32_t pixel) { return kept_pixel(masks, pixel); }};
}

inline constexpr Masks bgra = {32, 0xff0000, 0xff00, 0xff, 0xff000000};
inline constexpr uint32_t rgb = 0x40;
inline constexpr uint32_t rgba = 0x41;

// The same bytes told by the number of a DXGI format.
inline Storage numbered(Storage storage, uint32_t dxgi) {
    storage.dxgi = dxgi;
    storage.describe = [](Header &header) {
        header.with(Header::format_flags, 4).with(Header::format_fourcc, fourcc("DX10"));
    };
    return storage;
}

// --- Textures ---

inline const std::vector<uint32_t> all_faces = {0, 1, 2, 3, 4, 5};

struct Texture {
    Storage storage = dxt1();
    uint32_t width = 8, height = 8;
    uint32_t levels = 1;
    uint32_t depth = 0;            // 0: no volume
    std::vector<uint32_t> faces{}; // none: no cube
    uint32_t elements = 1;         // of a texture with a DX10 header

    Header header() const {
        Header header;
        header.sized(width, height, levels);
        storage.describe(header);
        uint32_t caps2 = depth ? 0x200000 : 0;
        for (const uint32_t face : faces)
            caps2 |= 0x200 | 0x400U << face;
        return header.with(Header::depth, depth).with(Header::caps2, caps2);
    }

    using Words10 = std::array<uint32_t, 5>;
    Words10 header10() const { return {storage.dxgi, depth ? 4U : 3U, faces.empty() ? 0U : 4U, elements, 0}; }

    // In the order of the file.
    std::vector<Picture> pictures() const {
        std::vector<Picture> all;
        const std::vector<uint32_t> one = {0};
        for (uint32_t element = 0; element < elements; element++)
            for (const uint32_t face : faces.empty() ? one : faces)
                for (uint32_t level = 0; level < levels; level++)
                    for (uint32_t slice = 0; slice < std::max(1U, depth >> level); slice++)
                        all.push_back({element, face, level, slice, std::max(1U, width >> level),
                                       std::max(1U, height >> level)});
        return all;
    }

    std::string images() const {
        std::string bytes;
        for (const Picture &picture : pictures())
            bytes += storage.encode(picture);
        return bytes;
    }

    std::string file_with(const Header &first, const Words10 &second) const {
        std::string bytes = first.bytes();
        if (storage.dxgi)
            for (const uint32_t word : second)
                bytes += le32(word);
        return bytes + images();
    }
    std::string file_with(const Header &first) const { return file_with(first, header10()); }
    std::string file() const { return file_with(header()); }
};

} // namespace lindra::test::dds

#endif
