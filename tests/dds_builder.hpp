// SPDX-License-Identifier: MIT
//
// Texture files, word by word.
#ifndef LINDRA_TESTS_DDS_BUILDER_HPP
#define LINDRA_TESTS_DDS_BUILDER_HPP

#include "little_endian.hpp"

#include <array>
#include <cstdint>
#include <string>

namespace lindra::test::dds {

inline uint32_t fourcc(const char (&name)[5]) {
    return static_cast<uint32_t>(name[0]) | static_cast<uint32_t>(name[1]) << 8 |
           static_cast<uint32_t>(name[2]) << 16 | static_cast<uint32_t>(name[3]) << 24;
}

// The words of a header by their places. As it is made it describes a mip-mapped DXT1 texture of 4 x 4
// pixels.
struct Header {
    enum Place {
        size,
        flags,
        height,
        width,
        pitch,
        depth,
        mipmaps,
        reserved,
        format_size = 18,
        format_flags,
        format_fourcc,
        bits,
        red,
        green,
        blue,
        alpha,
        caps,
        caps2,
        caps3,
        caps4,
        reserved2
    };

    std::array<uint32_t, 31> words{};

    Header() {
        words[size] = 124;
        words[flags] = 0x21007; // caps, height, width, pixel format, mip-map count
        words[height] = words[width] = 4;
        words[mipmaps] = 1;
        words[format_size] = 32;
        words[format_flags] = 4;
        words[format_fourcc] = fourcc("DXT1");
        words[caps] = 0x401008;
    }
    Header &with(Place place, uint32_t word) {
        words[place] = word;
        return *this;
    }
    Header &sized(uint32_t w, uint32_t h, uint32_t levels) {
        return with(width, w).with(height, h).with(mipmaps, levels);
    }

    std::string bytes() const {
        std::string text = "DDS ";
        for (uint32_t word : words)
            text += le32(word);
        return text;
    }
};

// A block of one colour, of 5, 6 and 5 bits.
inline std::string plain_block(int colour) {
    return le16(colour) + le16(colour) + le32(0);
}

} // namespace lindra::test::dds

#endif
