// SPDX-License-Identifier: MIT
//
// Expansion of block-compressed images, for the library's own readers of textures.
#ifndef LINDRA_S3TC_HPP
#define LINDRA_S3TC_HPP

#include <cstdint>
#include <span>

namespace lindra::s3tc {

// Expands the blocks of an image of width x height pixels (blocks row by row from the top, as many as cover
// the image) into image, rows of width pixels 0xAARRGGBB. Columns are cut at width. Rows are written as far
// as blocks reach, that is beyond height when it is no multiple of 4, but none from rows on. Nothing is read
// behind the last block.
using Expand = void(uint64_t width, uint64_t height, uint64_t rows, const unsigned char *blocks,
                    uint32_t *image);

// By the fastest path that the processor has. The colours of DXT3 are those of DXT5.
Expand expand_dxt1, expand_dxt3, expand_dxt5;

// One way to do it. All have the same results to the bit.
struct Path {
    const char *name;
    Expand *dxt1, *dxt3, *dxt5;
};

// The paths that the processor has, the fastest first; the last is the one that every processor has.
std::span<const Path> paths();

#ifdef __x86_64__
extern const Path avx2; // only for processors with AVX2
#endif

// How many blocks cover pixels of a row or of a column.
constexpr uint64_t blocks_over(uint64_t pixels) {
    return pixels / 4 + (pixels % 4 != 0);
}

} // namespace lindra::s3tc

#endif
