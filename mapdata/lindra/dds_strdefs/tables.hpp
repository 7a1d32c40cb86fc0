// SPDX-License-Identifier: MIT
//
// The field tables of texture files: "Programming Guide for DDS" (Microsoft, 2018).
//
// Every field is made of words of 32 bits, little-endian. In memory a word has a slot of 64.
#ifndef LINDRA_DDS_STRDEFS_TABLES_HPP
#define LINDRA_DDS_STRDEFS_TABLES_HPP

#include "field_table.hpp"
#include "lindra.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace lindra::dds {

enum Type : int32_t {
    dword = 1,
    header = 2,
    header10 = 3,
    dxgi_format = 4,
    resource_dimension = 5,
    pixelformat = 6,
    header_flags = 7,
    pixelformat_flags = 8,
    four_characters = 9,
    capabilities = 10
};

// The bytes that one element of a type takes in the file, and in memory.
constexpr int32_t size_of(int32_t type) {
    constexpr int32_t sizes[] = {0, 4, 124, 20, 4, 4, 32, 4, 4, 4, 4};
    return sizes[type];
}

constexpr size_t memory_size_of(int32_t type) {
    constexpr size_t sizes[] = {
        0, 8, sizeof(DDS_HEADER), sizeof(DDS_HEADER10), 8, 8, sizeof(DDS_PIXELFORMAT), 8, 8, 8, 8};
    return sizes[type];
}

// A row whose member is named once.
#define FIELD(structure, member, type, count)                                                                \
    field_row(#member, type, count, offsetof(structure, member), sizeof(structure::member),                  \
              memory_size_of(type) * (count), false)

constexpr Strdef DDS_PIXELFORMAT_Strdef[] = {
    FIELD(DDS_PIXELFORMAT, dwSize, dword, 1),
    FIELD(DDS_PIXELFORMAT, dwFlags, pixelformat_flags, 1),
    FIELD(DDS_PIXELFORMAT, dwFourCC, four_characters, 1),
    FIELD(DDS_PIXELFORMAT, dwRGBBitCount, dword, 1),
    FIELD(DDS_PIXELFORMAT, dwRBitMask, dword, 1),
    FIELD(DDS_PIXELFORMAT, dwGBitMask, dword, 1),
    FIELD(DDS_PIXELFORMAT, dwBBitMask, dword, 1),
    FIELD(DDS_PIXELFORMAT, dwABitMask, dword, 1),
};
static_assert(std::size(DDS_PIXELFORMAT_Strdef) == 8);
static_assert(lies_at(DDS_PIXELFORMAT_Strdef, {0, 4, 8, 12, 16, 20, 24, 28}, size_of(pixelformat), size_of));

constexpr Strdef DDS_HEADER_Strdef[] = {
    FIELD(DDS_HEADER, dwSize, dword, 1),
    FIELD(DDS_HEADER, dwFlags, header_flags, 1),
    FIELD(DDS_HEADER, dwHeight, dword, 1),
    FIELD(DDS_HEADER, dwWidth, dword, 1),
    FIELD(DDS_HEADER, dwPitchOrLinearSize, dword, 1),
    FIELD(DDS_HEADER, dwDepth, dword, 1),
    FIELD(DDS_HEADER, dwMipMapCount, dword, 1),
    FIELD(DDS_HEADER, dwReserved, dword, 11),
    FIELD(DDS_HEADER, ddspf, pixelformat, 1),
    FIELD(DDS_HEADER, dwCaps, capabilities, 1),
    FIELD(DDS_HEADER, dwCaps2, dword, 1),
    FIELD(DDS_HEADER, dwCaps3, dword, 1),
    FIELD(DDS_HEADER, dwCaps4, dword, 1),
    FIELD(DDS_HEADER, dwReserved2, dword, 1),
};
static_assert(std::size(DDS_HEADER_Strdef) == 14);
static_assert(lies_at(DDS_HEADER_Strdef, {0, 4, 8, 12, 16, 20, 24, 28, 72, 104, 108, 112, 116, 120},
                      size_of(header), size_of));

constexpr Strdef DDS_HEADER10_Strdef[] = {
    FIELD(DDS_HEADER10, dxgiFormat, dxgi_format, 1),
    FIELD(DDS_HEADER10, resourceDimension, resource_dimension, 1),
    FIELD(DDS_HEADER10, miscFlag, dword, 1),
    FIELD(DDS_HEADER10, arraySize, dword, 1),
    FIELD(DDS_HEADER10, miscFlag2, dword, 1),
};
static_assert(std::size(DDS_HEADER10_Strdef) == 5);
static_assert(lies_at(DDS_HEADER10_Strdef, {0, 4, 8, 12, 16}, size_of(header10), size_of));

#undef FIELD

} // namespace lindra::dds

#endif
