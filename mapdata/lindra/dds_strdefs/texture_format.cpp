// SPDX-License-Identifier: MIT
//
// How the pixels of a texture are stored. Three ways of telling have grown: four characters for the
// compressed kinds, masks for plain pixels, and behind the characters "DX10" a number for either
// ("Programming Guide for DDS" and "DXGI_FORMAT enumeration", Microsoft, 2018).

#include "dds_strdefs/texture.hpp"

#include <array>
#include <cstdint>
#include <cstdio>

namespace lindra::dds {

namespace {

constexpr uint64_t has_alphapixels = 0x1;
constexpr uint64_t has_alpha = 0x2;
constexpr uint64_t has_fourcc = 0x4;
constexpr uint64_t has_rgb = 0x40;
constexpr uint64_t has_luminance = 0x20000;

consteval uint32_t characters(const char (&name)[5]) {
    uint32_t word = 0;
    for (int i = 3; i >= 0; i--)
        word = word << 8 | static_cast<unsigned char>(name[i]);
    return word;
}

struct FourCC {
    uint32_t word;
    uint32_t format;
};

constexpr FourCC compressed[] = {
    {characters("DXT1"), LINDRA_DXT1}, {characters("DXT2"), LINDRA_DXT3}, {characters("DXT3"), LINDRA_DXT3},
    {characters("DXT4"), LINDRA_DXT5}, {characters("DXT5"), LINDRA_DXT5},
};

struct DxgiFormat {
    uint32_t number;
    uint32_t format;
    uint32_t bits;
    uint32_t red, green, blue, alpha;
};

constexpr DxgiFormat dxgi_formats[] = {
    {23, LINDRA_MASKS, 32, 0x3ff, 0xffc00, 0x3ff00000, 0xc0000000}, // R10G10B10A2_TYPELESS
    {24, LINDRA_MASKS, 32, 0x3ff, 0xffc00, 0x3ff00000, 0xc0000000}, // R10G10B10A2_UNORM
    {27, LINDRA_MASKS, 32, 0xff, 0xff00, 0xff0000, 0xff000000},     // R8G8B8A8_TYPELESS
    {28, LINDRA_MASKS, 32, 0xff, 0xff00, 0xff0000, 0xff000000},     // R8G8B8A8_UNORM
    {29, LINDRA_MASKS, 32, 0xff, 0xff00, 0xff0000, 0xff000000},     // R8G8B8A8_UNORM_SRGB
    {33, LINDRA_MASKS, 32, 0xffff, 0xffff0000, 0, 0},               // R16G16_TYPELESS
    {35, LINDRA_MASKS, 32, 0xffff, 0xffff0000, 0, 0},               // R16G16_UNORM
    {48, LINDRA_MASKS, 16, 0xff, 0xff00, 0, 0},                     // R8G8_TYPELESS
    {49, LINDRA_MASKS, 16, 0xff, 0xff00, 0, 0},                     // R8G8_UNORM
    {53, LINDRA_MASKS, 16, 0xffff, 0, 0, 0},                        // R16_TYPELESS
    {56, LINDRA_MASKS, 16, 0xffff, 0, 0, 0},                        // R16_UNORM
    {60, LINDRA_MASKS, 8, 0xff, 0, 0, 0},                           // R8_TYPELESS
    {61, LINDRA_MASKS, 8, 0xff, 0, 0, 0},                           // R8_UNORM
    {65, LINDRA_MASKS, 8, 0, 0, 0, 0xff},                           // A8_UNORM
    {70, LINDRA_DXT1, 0, 0, 0, 0, 0},                               // BC1_TYPELESS
    {71, LINDRA_DXT1, 0, 0, 0, 0, 0},                               // BC1_UNORM
    {72, LINDRA_DXT1, 0, 0, 0, 0, 0},                               // BC1_UNORM_SRGB
    {73, LINDRA_DXT3, 0, 0, 0, 0, 0},                               // BC2_TYPELESS
    {74, LINDRA_DXT3, 0, 0, 0, 0, 0},                               // BC2_UNORM
    {75, LINDRA_DXT3, 0, 0, 0, 0, 0},                               // BC2_UNORM_SRGB
    {76, LINDRA_DXT5, 0, 0, 0, 0, 0},                               // BC3_TYPELESS
    {77, LINDRA_DXT5, 0, 0, 0, 0, 0},                               // BC3_UNORM
    {78, LINDRA_DXT5, 0, 0, 0, 0, 0},                               // BC3_UNORM_SRGB
    {85, LINDRA_MASKS, 16, 0xf800, 0x7e0, 0x1f, 0},                 // B5G6R5_UNORM
    {86, LINDRA_MASKS, 16, 0x7c00, 0x3e0, 0x1f, 0x8000},            // B5G5R5A1_UNORM
    {87, LINDRA_MASKS, 32, 0xff0000, 0xff00, 0xff, 0xff000000},     // B8G8R8A8_UNORM
    {88, LINDRA_MASKS, 32, 0xff0000, 0xff00, 0xff, 0},              // B8G8R8X8_UNORM
    {90, LINDRA_MASKS, 32, 0xff0000, 0xff00, 0xff, 0xff000000},     // B8G8R8A8_TYPELESS
    {91, LINDRA_MASKS, 32, 0xff0000, 0xff00, 0xff, 0xff000000},     // B8G8R8A8_UNORM_SRGB
    {92, LINDRA_MASKS, 32, 0xff0000, 0xff00, 0xff, 0},              // B8G8R8X8_TYPELESS
    {93, LINDRA_MASKS, 32, 0xff0000, 0xff00, 0xff, 0},              // B8G8R8X8_UNORM_SRGB
    {115, LINDRA_MASKS, 16, 0xf00, 0xf0, 0xf, 0xf000},              // B4G4R4A4_UNORM
};

constexpr const char *way_out = "convert it to DXT1, DXT3, DXT5 or pixels of 8, 16, 24 or 32 bits";

// The four characters as they can be shown in a line.
std::array<char, 17> shown(uint32_t fourcc) {
    std::array<char, 17> text{};
    size_t at = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const unsigned c = fourcc >> shift & 0xff;
        const bool printable = c >= ' ' && c <= '~' && c != '"' && c != '\\';
        at += static_cast<size_t>(
            snprintf(text.data() + at, text.size() - at, printable ? "%c" : "\\x%02x", c));
    }
    return text;
}

bool find_compressed(LindraTexture &texture, const Report &report) {
    const auto fourcc = static_cast<uint32_t>(texture.header.ddspf.dwFourCC);
    for (const FourCC &each : compressed)
        if (each.word == fourcc) {
            texture.format = each.format;
            return true;
        }
    return report.refuse(format_place("dwFourCC"), "has pixels of the kind \"%s\", which is not read; %s",
                         shown(fourcc).data(), way_out);
}

bool find_dxgi(LindraTexture &texture, const Report &report) {
    const auto number = static_cast<uint32_t>(texture.header10.dxgiFormat);
    for (const DxgiFormat &each : dxgi_formats)
        if (each.number == number) {
            texture.format = each.format;
            texture.bits = each.bits;
            texture.red = each.red;
            texture.green = each.green;
            texture.blue = each.blue;
            texture.alpha = each.alpha;
            return true;
        }
    return report.refuse(header10_place("dxgiFormat"), "has pixels of DXGI format %u, which is not read; %s",
                         number, way_out);
}

// A mask's bits beyond the pixel are dropped.
uint32_t mask(const LindraTexture &texture, uint64_t word, uint64_t place, const Report &report) {
    const auto told = static_cast<uint32_t>(word);
    const uint32_t cut = told & static_cast<uint32_t>((uint64_t{1} << texture.bits) - 1);
    if (cut != told)
        report(place, "has the mask 0x%x for pixels of %u bits, read as 0x%x", told, texture.bits, cut);
    return cut;
}

bool find_masks(LindraTexture &texture, const Report &report) {
    const DDS_PIXELFORMAT &told = texture.header.ddspf;
    texture.format = LINDRA_MASKS;
    texture.bits = static_cast<uint32_t>(told.dwRGBBitCount);
    if (texture.bits != 8 && texture.bits != 16 && texture.bits != 24 && texture.bits != 32)
        return report.refuse(format_place("dwRGBBitCount"), "has pixels of %u bits, which are not read; %s",
                             texture.bits, way_out);
    if (told.dwFlags & (has_rgb | has_luminance))
        texture.red = mask(texture, told.dwRBitMask, format_place("dwRBitMask"), report);
    if (told.dwFlags & has_rgb) {
        texture.green = mask(texture, told.dwGBitMask, format_place("dwGBitMask"), report);
        texture.blue = mask(texture, told.dwBBitMask, format_place("dwBBitMask"), report);
    } else {
        texture.green = texture.blue = texture.red;
    }
    if (told.dwFlags & (has_alphapixels | has_alpha))
        texture.alpha = mask(texture, told.dwABitMask, format_place("dwABitMask"), report);
    if (texture.red | texture.green | texture.blue | texture.alpha) return true;
    const bool coloured = told.dwFlags & (has_rgb | has_luminance);
    return report.refuse(coloured ? format_place("dwRBitMask") : format_place("dwABitMask"),
                         "has no masks for its pixels of %u bits; %s", texture.bits, way_out);
}

} // namespace

bool has_header10(const LindraTexture &texture) {
    const DDS_PIXELFORMAT &format = texture.header.ddspf;
    return (format.dwFlags & has_fourcc) && format.dwFourCC == characters("DX10");
}

bool find_format(LindraTexture &texture, const Report &report) {
    const uint64_t flags = texture.header.ddspf.dwFlags;
    if (has_header10(texture)) return find_dxgi(texture, report);
    if (flags & has_fourcc) return find_compressed(texture, report);
    if (flags & (has_rgb | has_luminance | has_alpha)) return find_masks(texture, report);
    return report.refuse(format_place("dwFlags"),
                         "has pixel format flags 0x%x, which tell no format that is read; %s",
                         static_cast<uint32_t>(flags), way_out);
}

} // namespace lindra::dds
