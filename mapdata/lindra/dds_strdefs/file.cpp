// SPDX-License-Identifier: MIT
//
// Texture files: "Programming Guide for DDS" (Microsoft, 2018).
//
// Four bytes of magic number, a header of 124, a further one of 20 when the pixel format's four characters
// are "DX10", and the images, the largest first. Only DXT1 images are expanded here, and only those whose
// header counts them with its mip-map flag; texture.cpp reads the others.
//
// Width and height are halved without a lower limit and may reach 0, where the image has no pixels but still
// takes a block.

#include "lindra.h"

#include "allocate.hpp"
#include "dds_strdefs/registry.hpp"
#include "fail.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace lindra::dds {

namespace {

constexpr uint64_t has_pixelformat = 0x1000;
constexpr uint64_t has_mipmapcount = 0x20000;
constexpr uint64_t has_fourcc = 0x4;
constexpr uint32_t dx10 = 0x30315844;
constexpr uint32_t dxt1 = 0x31545844;

constexpr uint64_t block_size = 8;
constexpr uint64_t most_shown = 10; // pixels of an image

bool is_kind(const DDS_PIXELFORMAT &format, uint32_t fourcc) {
    return (format.dwFlags & has_fourcc) && static_cast<uint32_t>(format.dwFourCC) == fourcc;
}

bool has_images(const DDS_HEADER &header) {
    return (header.dwFlags & has_pixelformat) && (header.dwFlags & has_mipmapcount) &&
           is_kind(header.ddspf, dxt1);
}

// One image of the chain. Width and height have 32 bits at most, so that their products fit.
struct Level {
    uint64_t width;
    uint64_t height;

    uint64_t pixels() const { return width * height; }
    uint64_t size() const { return blocks(width) * blocks(height) * block_size; }
    Level next() const { return {width >> 1, height >> 1}; }

    // Deliberate: twice the bytes that the pixels need; and room for whole blocks, which that is too little
    // for where the image is one pixel high. Negative when no number can tell it.
    int64_t room() const {
        const uint64_t rows = std::max(2 * height, (height + 3) / 4 * 4);
        if (width && rows > static_cast<uint64_t>(INT64_MAX) / sizeof(uint32_t) / width) return INT64_MIN;
        return static_cast<int64_t>(width * rows * sizeof(uint32_t));
    }

  private:
    static uint64_t blocks(uint64_t n) { return std::max<uint64_t>(1, (n + 3) / 4); }
};

// Expands the level at the position into a block of at least least bytes, which begins with that many zeros.
// Returns it, or null when memory is exhausted.
uint32_t *expand(const Level &level, const unsigned char *blocks, int64_t least) {
    const int64_t room = level.room();
    auto *image = static_cast<uint32_t *>(allocate(room < 0 ? room : std::max(room, least)));
    if (!image) return nullptr;
    memset(image, 0, static_cast<size_t>(least));
    BlockDecompressImageDXT1(level.width, level.height, blocks, image);
    return image;
}

int expand_into(DdsFile &file, const Level &level, const unsigned char *blocks, int64_t least) {
    uint32_t *image = expand(level, blocks, least);
    if (!image) return fail(1, "dds_decode_file: malloc() error.\n");
    if (settbl(file.mipmaps, -1, image) < 0) {
        free(image);
        return fail(0, "dds_decode_file: settbl() error.\n");
    }
    return 0;
}

// Which images are expanded: the one of a level, or all.
struct Wanted {
    std::optional<uint64_t> level;

    bool has(uint64_t i) const { return !level || *level == i; }

    // A level alone is printed with the size of the largest one, and must have the pixels that shows.
    int64_t least() const { return level ? most_shown * sizeof(uint32_t) : 0; }
};

int decode_images(DdsFile &file, Wanted wanted, Stream &stream) {
    Level level = {file.header.dwWidth, file.header.dwHeight};
    for (uint64_t i = 0; i < file.header.dwMipMapCount; i++) {
        const unsigned char *blocks = stream.peek(level.size());
        if (!blocks)
            return fail(0, "dds_decode_file: mipmap %llu has %llu bytes, %zu bytes left.\n",
                        static_cast<unsigned long long>(i), static_cast<unsigned long long>(level.size()),
                        stream.left());
        if (wanted.has(i) && expand_into(file, level, blocks, wanted.least()) < 0) return -1;
        stream.skip(level.size());
        level = level.next();
    }
    return 0;
}

// Room for the images that the header counts. Sides of 32 bits are halved 33 times at most; a list that is
// longer, in a file that counts more, grows as they are found.
Tbl *new_list(const DdsFile &file, const Wanted &wanted) {
    constexpr uint64_t longest_chain = 33;
    return newtbl(wanted.level ? 1 : static_cast<int>(std::min(file.header.dwMipMapCount, longest_chain)));
}

Wanted wanted_of(const DdsFile &file, int mipmap) {
    if (mipmap < 0) return {};
    return {std::min<uint64_t>(static_cast<uint64_t>(mipmap), file.header.dwMipMapCount - 1)};
}

bool decode_header(DdsFile &file, Source &source) {
    void *header = &file.header;
    if (Engine::unstuff(DDS_TYPE_HEADER, &header, source) < 0) return false;
    void *header10 = &file.header10;
    return !is_kind(file.header.ddspf, dx10) || Engine::unstuff(DDS_TYPE_HEADER10, &header10, source) >= 0;
}

// Deliberate: the magic number is kept, but never looked at.
int decode_file(DdsFile &file, int mipmap, Source &source) {
    if (dds2h4(&file.magic, source.stream, 1, 0) < 0)
        return fail(0, "dds_decode_file: magic number is cut, %zu bytes left.\n", source.stream.left());
    if (!decode_header(file, source)) return fail(0, "dds_decode_file: dds_unstuff_stream() error.\n");
    // Deliberate: a DXT1 file without the mip-map flag, and every other kind, gives its headers only.
    if (!has_images(file.header)) return 0;
    const Wanted wanted = wanted_of(file, mipmap);
    file.mipmaps = new_list(file, wanted);
    if (!file.mipmaps) return fail(0, "dds_decode_file: newtbl() error.\n");
    return decode_images(file, wanted, source.stream);
}

void print_image(const char *prefix, int index, const Level &level, const uint32_t *pixels) {
    printf("%smipmap[%d] = %lux%lu", prefix, index, static_cast<unsigned long>(level.width),
           static_cast<unsigned long>(level.height));
    for (uint64_t i = 0; i < std::min(most_shown, level.pixels()); i++)
        printf(" %8.8x", pixels[i]);
    printf("\n");
}

} // namespace

} // namespace lindra::dds

using namespace lindra::dds;

int dds_decode_file(DdsFile **file, int mipmap, unsigned char *base, unsigned char **stream) {
    if (!*file) *file = static_cast<DdsFile *>(calloc(1, sizeof(DdsFile)));
    if (!*file) return lindra::fail(1, "dds_decode_file: malloc() error.\n");
    freetbl((*file)->mipmaps, free);
    memset(*file, 0, sizeof(DdsFile));
    lindra::Source source(base, stream);
    return decode_file(**file, mipmap, source);
}

void dds_print_file(const char *prefix, DdsFile *file) {
    dds_print_file_callback(prefix, file);
}

void dds_print_file_callback(const char *prefix, DdsFile *file) {
    Engine::print(prefix, DDS_TYPE_HEADER, &file->header);
    if (is_kind(file->header.ddspf, dx10)) Engine::print(prefix, DDS_TYPE_HEADER10, &file->header10);
    // Deliberate: sizes are those of the place in the list, also where one level was chosen for it.
    Level level = {file->header.dwWidth, file->header.dwHeight};
    for (int i = 0; i < counttbl(file->mipmaps); i++, level = level.next())
        print_image(prefix, i, level, static_cast<uint32_t *>(gettbl(file->mipmaps, i)));
}

void lindra_free_dds(DdsFile *file) {
    if (file) freetbl(file->mipmaps, free);
    free(file);
}
