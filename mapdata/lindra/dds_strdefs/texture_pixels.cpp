// SPDX-License-Identifier: MIT
//
// The pixels of one image of a texture, as 0xAARRGGBB.

#include "dds_strdefs/texture.hpp"
#include "lindra.h"
#include "s3tc.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace lindra::dds {

namespace {

// One channel of pixels that are stored plain. A mask with gaps counts from its lowest bit to its highest.
class Channel {
  public:
    Channel(uint32_t mask, uint32_t absent)
        : mask_(mask), shift_(std::countr_zero(mask) & 31), greatest_(mask >> shift_), absent_(absent) {}

    uint32_t operator()(uint32_t pixel) const {
        const uint32_t value = (pixel & mask_) >> shift_;
        if (greatest_ == 255) return value;
        if (!mask_) return absent_;
        return static_cast<uint32_t>((uint64_t{value} * 255 + greatest_ / 2) / greatest_);
    }

  private:
    uint32_t mask_;
    int shift_; // 0 without a mask
    uint32_t greatest_;
    uint32_t absent_;
};

uint32_t load_pixel(const unsigned char *from, uint32_t bits) {
    uint32_t pixel = 0;
    for (uint32_t shift = 0; shift < bits; shift += 8)
        pixel |= static_cast<uint32_t>(*from++) << shift;
    return pixel;
}

void expand_masks(const LindraTexture &texture, const LindraImage &image, uint32_t *pixels) {
    const Channel red(texture.red, 0);
    const Channel green(texture.green, 0);
    const Channel blue(texture.blue, 0);
    const Channel alpha(texture.alpha, 255);
    const unsigned char *from = texture.base + image.offset;
    const unsigned char *end = from + image.size;
    for (; from != end; from += texture.bits / 8) {
        const uint32_t pixel = load_pixel(from, texture.bits);
        *pixels++ = PackARGB(alpha(pixel), red(pixel), green(pixel), blue(pixel));
    }
}

// Whether the image has the bytes in the file that its size asks for.
bool is_whole(const LindraTexture &texture, const LindraImage &image) {
    const uint64_t left = texture.size - std::min(image.offset, texture.size);
    return texture.nimages && image.width && image.height && image.size <= left &&
           image.size == image_size(texture, image.width, image.height);
}

} // namespace

} // namespace lindra::dds

int lindra_expand_image(const LindraTexture *texture, const LindraImage *image, uint32_t *pixels) {
    using namespace lindra;
    if (!dds::is_whole(*texture, *image)) return -1;
    const unsigned char *blocks = texture->base + image->offset;
    const uint64_t width = image->width;
    const uint64_t height = image->height;
    switch (texture->format) {
    case LINDRA_DXT1:
        s3tc::expand_dxt1(width, height, height, blocks, pixels);
        return 0;
    case LINDRA_DXT3:
        s3tc::expand_dxt3(width, height, height, blocks, pixels);
        return 0;
    case LINDRA_DXT5:
        s3tc::expand_dxt5(width, height, height, blocks, pixels);
        return 0;
    default:
        dds::expand_masks(*texture, *image, pixels);
        return 0;
    }
}
