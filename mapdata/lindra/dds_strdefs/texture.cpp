// SPDX-License-Identifier: MIT
//
// Textures as they are met: where the images of a file lie ("Programming Guide for DDS", Microsoft, 2018).
//
// The images have no directory. Behind the headers stand the array's elements, in each its faces, in each its
// levels, in each its slices, the largest level first, without a gap: where one begins follows from the sizes
// of all before it. A chain is here the images of one face of one element; all chains have the same size.
//
// Any number in the header may be 2^32-1, so that the images of a header can need more bytes than 64 bits
// tell. What is there is always held against what is left of the file by division, never added up first.

#include "dds_strdefs/texture.hpp"
#include "bytes.hpp"
#include "fail.hpp"
#include "lindra.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace lindra::dds {

namespace {

constexpr uint32_t has_mipmapcount = 0x20000;
constexpr uint32_t has_depth = 0x800000;
constexpr uint32_t is_cube = 0x200;
constexpr uint32_t first_face = 0x400; // +x; those of the others follow
constexpr uint32_t cube_faces = 6;
constexpr uint32_t is_volume = 0x200000;
constexpr uint32_t is_cube10 = 0x4;

enum Dimension : uint32_t { line = 2, image = 3, volume = 4 };

unsigned long long number(uint64_t n) {
    return n;
}

uint32_t word(uint64_t slot) {
    return static_cast<uint32_t>(slot);
}

// A line has no text of the file but four characters.
constexpr size_t longest_line = 256;

} // namespace

// --- What is told ---

void Report::operator()(uint64_t offset, const char *format, ...) const {
    if (!tell_) return;
    char text[longest_line];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    tell_(context_, offset, text);
}

bool Report::refuse(uint64_t offset, const char *format, ...) const {
    char text[longest_line];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (tell_)
        tell_(context_, offset, text);
    else
        (void)fail(0, "lindra_unstuff_texture: byte %llu: %s.\n", number(offset), text);
    return false;
}

namespace {

// --- Headers ---

bool check_magic(const LindraTexture &texture, const Report &report) {
    constexpr std::string_view magic = "DDS ";
    const std::string_view begin(reinterpret_cast<const char *>(texture.base),
                                 std::min<uint64_t>(texture.size, magic.size()));
    if (!magic.starts_with(begin))
        return report.refuse(0, "is no texture file: it does not begin with \"DDS \"");
    if (texture.size < header_end)
        return report.refuse(texture.size, "ends in its header of %llu bytes", number(header_end));
    return true;
}

// The words of the header for DX10 are taken without the field table, whose types are not decoded.
bool read_header10(LindraTexture &texture, const Report &report) {
    if (texture.size < header10_end)
        return report.refuse(texture.size, "ends in its DX10 header, which ends at byte %llu",
                             number(header10_end));
    DDS_HEADER10 &header = texture.header10;
    header.dxgiFormat = load_le<uint32_t>(texture.base + header10_place("dxgiFormat"));
    header.resourceDimension = load_le<uint32_t>(texture.base + header10_place("resourceDimension"));
    header.miscFlag = load_le<uint32_t>(texture.base + header10_place("miscFlag"));
    header.arraySize = load_le<uint32_t>(texture.base + header10_place("arraySize"));
    header.miscFlag2 = load_le<uint32_t>(texture.base + header10_place("miscFlag2"));
    texture.data = header10_end;
    return true;
}

bool read_headers(LindraTexture &texture, const Report &report) {
    if (!check_magic(texture, report)) return false;
    unsigned char bytes[header_end - header_begin];
    memcpy(bytes, texture.base + header_begin, sizeof bytes);
    unsigned char *pos = bytes;
    void *decoded = &texture.header;
    if (dds_unstuff_stream(DDS_TYPE_HEADER, &decoded, bytes, &pos) < 0)
        return report.refuse(header_begin, "has a header that cannot be decoded");
    texture.data = header_end;
    return !has_header10(texture) || read_header10(texture, report);
}

void check_sizes(const LindraTexture &texture, const Report &report) {
    const DDS_HEADER &told = texture.header;
    if (told.dwSize != size_of(header))
        report(header_place("dwSize"), "says that its header has %u bytes, read as %d", word(told.dwSize),
               size_of(header));
    if (told.ddspf.dwSize != size_of(pixelformat))
        report(format_place("dwSize"), "says that its pixel format has %u bytes, read as %d",
               word(told.ddspf.dwSize), size_of(pixelformat));
}

bool find_size(LindraTexture &texture, const Report &report) {
    texture.width = word(texture.header.dwWidth);
    texture.height = word(texture.header.dwHeight);
    if (!texture.height) return report.refuse(header_place("dwHeight"), "has a height of 0");
    if (!texture.width) return report.refuse(header_place("dwWidth"), "has a width of 0");
    if (texture.format != LINDRA_MASKS && (texture.width % 4 || texture.height % 4))
        report(header_place("dwHeight"),
               "has %u x %u pixels, no multiples of 4; of the blocks at the edge a part is used",
               texture.width, texture.height);
    return true;
}

// --- Cubes, arrays and volumes ---

void find_faces(LindraTexture &texture, uint32_t bits) {
    texture.faces = 0;
    for (uint32_t face = 0; face < cube_faces; face++)
        if (bits & first_face << face) texture.face[texture.faces++] = face;
}

constexpr uint32_t every_face = (first_face << cube_faces) - first_face;

void find_depth(LindraTexture &texture, const Report &report) {
    texture.depth = word(texture.header.dwDepth);
    if (texture.depth) return;
    texture.depth = 1;
    report(header_place("dwDepth"), "is a volume of depth 0, read as 1");
}

void find_kind(LindraTexture &texture, const Report &report) {
    const uint32_t caps2 = word(texture.header.dwCaps2);
    const uint64_t place = header_place("dwCaps2");
    const bool deep = texture.header.dwFlags & has_depth && texture.header.dwDepth > 1;
    if (caps2 & is_cube) {
        find_faces(texture, caps2 & every_face ? caps2 : every_face);
        if (!(caps2 & every_face)) report(place, "is a cube without faces, read as one of six");
        if (caps2 & is_volume) report(place, "is a cube and a volume, read as a cube");
    } else if (caps2 & is_volume || deep) {
        find_depth(texture, report);
        if (!(caps2 & is_volume)) report(place, "has a depth of %u, but no volume flag", texture.depth);
    }
}

void find_array(LindraTexture &texture, const Report &report) {
    const uint64_t place = header10_place("arraySize");
    texture.elements = word(texture.header10.arraySize);
    if (!texture.elements) report(place, "is an array of 0 elements, read as 1");
    if (texture.header10.resourceDimension == volume && texture.elements > 1)
        report(place, "is an array of %u volumes, which there is not; read as 1", texture.elements);
    if (!texture.elements || texture.header10.resourceDimension == volume) texture.elements = 1;
}

void find_kind10(LindraTexture &texture, const Report &report) {
    const uint32_t dimension = word(texture.header10.resourceDimension);
    const uint64_t place = header10_place("resourceDimension");
    const bool cube = texture.header10.miscFlag & is_cube10;
    find_array(texture, report);
    if (dimension < line || dimension > volume)
        report(place, "has resource dimension %u, read as %u, images", dimension, image);
    if (dimension == volume) find_depth(texture, report);
    if (cube && dimension == volume)
        report(header10_place("miscFlag"), "is a cube and a volume, read as a volume");
    else if (cube)
        find_faces(texture, every_face);
    const uint32_t caps2 = word(texture.header.dwCaps2);
    if (caps2 & is_cube && !cube)
        report(header_place("dwCaps2"), "is a cube that its DX10 header does not know, read as none");
    if (caps2 & is_volume && dimension != volume)
        report(header_place("dwCaps2"), "is a volume that its DX10 header does not know, read as none");
}

// --- Images ---

struct Level {
    uint32_t width, height, slices;
    uint64_t size; // of a slice
};

uint32_t halved(uint32_t n, uint32_t times) {
    return std::max<uint32_t>(1, n >> times);
}

Level level_of(const LindraTexture &texture, uint32_t level) {
    const uint32_t width = halved(texture.width, level);
    const uint32_t height = halved(texture.height, level);
    return {width, height, halved(texture.depth, level), image_size(texture, width, height)};
}

uint64_t images_in_chain(const LindraTexture &texture) {
    uint64_t count = halved(texture.depth, 0);
    for (uint32_t level = 1; level < texture.levels; level++)
        count += halved(texture.depth, level);
    return count;
}

uint64_t chains(const LindraTexture &texture) {
    return uint64_t{texture.elements} * texture.faces;
}

uint64_t room(const LindraTexture &texture) {
    return texture.size - texture.data;
}

// Images one after the other.
struct Run {
    uint64_t images;
    uint64_t size; // bytes
};

// The images of a chain, from the largest, that fit in so many bytes.
Run fitting(const LindraTexture &texture, uint64_t bytes) {
    Run run{};
    for (uint32_t level = 0; level < texture.levels; level++) {
        const Level at = level_of(texture, level);
        const uint64_t slices = std::min<uint64_t>(at.slices, (bytes - run.size) / at.size);
        run.images += slices;
        run.size += slices * at.size;
        if (slices < at.slices) break;
    }
    return run;
}

// The images of the texture that are whole in the file.
Run whole_images(const LindraTexture &texture) {
    const Run chain = fitting(texture, room(texture));
    const uint64_t images = images_in_chain(texture);
    if (chain.images < images) return chain;
    const uint64_t whole = std::min(chains(texture), room(texture) / chain.size);
    const Run run{whole * images, whole * chain.size};
    if (whole == chains(texture)) return run;
    const Run cut = fitting(texture, room(texture) - run.size);
    return {run.images + cut.images, run.size + cut.size};
}

// Whether the file ends right behind the first levels.
bool has_first_levels_only(LindraTexture texture) {
    texture.levels = 1;
    const Run run = whole_images(texture);
    return run.size == room(texture) && run.images / texture.depth == chains(texture);
}

void find_levels(LindraTexture &texture, const Report &report) {
    const uint32_t told = word(texture.header.dwMipMapCount);
    const bool flag = texture.header.dwFlags & has_mipmapcount;
    const auto most =
        static_cast<uint32_t>(std::bit_width(std::max({texture.width, texture.height, texture.depth})));
    const uint64_t place = header_place("dwMipMapCount");
    texture.levels = std::clamp<uint32_t>(told, 1, most);
    if (flag && !told) report(place, "has a mip-map count of 0, read as 1");
    if (flag && told > most)
        report(place, "has a mip-map count of %u, read as %u, the levels of a texture of its size", told,
               most);
    if (flag || told <= 1) return;
    // Some writers forget the flag, others the count; the size of the file knows which.
    if (has_first_levels_only(texture)) texture.levels = 1;
    report(header_place("dwFlags"), "has no mip-map flag, but a mip-map count of %u; read as %u", told,
           texture.levels);
}

// Only images before this one, and chains before its own, are added up; they are whole in the file.
LindraImage image_at(const LindraTexture &texture, uint64_t index) {
    const uint64_t chain = index / images_in_chain(texture);
    uint64_t slice = index % images_in_chain(texture);
    uint64_t offset = texture.data + chain * fitting(texture, room(texture)).size;
    uint32_t level = 0;
    Level at = level_of(texture, level);
    while (slice >= at.slices) {
        slice -= at.slices;
        offset += at.slices * at.size;
        at = level_of(texture, ++level);
    }
    return {offset + slice * at.size,
            at.size,
            static_cast<uint32_t>(chain / texture.faces),
            texture.face[chain % texture.faces],
            level,
            static_cast<uint32_t>(slice),
            at.width,
            at.height};
}

bool find_images(LindraTexture &texture, const Report &report) {
    const Run run = whole_images(texture);
    const uint64_t left = room(texture) - run.size;
    texture.nimages = run.images;
    if (!run.images)
        return report.refuse(texture.data, "holds no whole image: the first, of %u x %u pixels, is cut",
                             texture.width, texture.height);
    const uint64_t images = images_in_chain(texture);
    const bool all = run.images % images == 0 && run.images / images == chains(texture);
    if (!all) {
        const LindraImage cut = image_at(texture, run.images);
        report(cut.offset,
               "ends in image %llu, of element %u, face %u, level %u, slice %u; it is left out with all "
               "after it",
               number(run.images), cut.element, cut.face, cut.level, cut.slice);
    } else if (left) {
        report(texture.data + run.size, "has %llu bytes behind its last image, which are not read",
               number(left));
    }
    return true;
}

bool find_texture(LindraTexture &texture, const Report &report) {
    if (!read_headers(texture, report)) return false;
    check_sizes(texture, report);
    if (!find_format(texture, report) || !find_size(texture, report)) return false;
    texture.depth = texture.faces = texture.elements = 1;
    if (has_header10(texture))
        find_kind10(texture, report);
    else
        find_kind(texture, report);
    find_levels(texture, report);
    return find_images(texture, report);
}

} // namespace

uint64_t image_size(const LindraTexture &texture, uint32_t width, uint32_t height) {
    const bool plain = texture.format == LINDRA_MASKS;
    const uint64_t block = texture.format == LINDRA_DXT1 ? 8 : 16;
    const uint64_t row = plain ? uint64_t{width} * (texture.bits / 8) : (uint64_t{width} + 3) / 4 * block;
    const uint64_t rows = plain ? height : (uint64_t{height} + 3) / 4;
    uint64_t size;
    return __builtin_mul_overflow(row, rows, &size) ? UINT64_MAX : size;
}

} // namespace lindra::dds

int lindra_unstuff_texture(LindraTexture *texture, const unsigned char *base, uint64_t size, LindraTell *tell,
                           void *context) {
    *texture = {};
    texture->base = base;
    texture->size = size;
    if (lindra::dds::find_texture(*texture, {tell, context})) return 0;
    *texture = {};
    return -1;
}

int lindra_texture_image(const LindraTexture *texture, uint64_t index, LindraImage *image) {
    if (index >= texture->nimages) return -1;
    *image = lindra::dds::image_at(*texture, index);
    return 0;
}
