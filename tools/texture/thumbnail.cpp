// SPDX-License-Identifier: MIT

#include "texture/thumbnail.hpp"

#include <algorithm>

namespace lindra::tools {

namespace {

// Sums of channels.
struct Sum {
    uint64_t alpha = 0, red = 0, green = 0, blue = 0, count = 0;

    void add(uint32_t pixel) {
        alpha += pixel >> 24;
        red += pixel >> 16 & 0xff;
        green += pixel >> 8 & 0xff;
        blue += pixel & 0xff;
        count++;
    }

    uint32_t pixel() const { return mean(alpha) << 24 | mean(red) << 16 | mean(green) << 8 | mean(blue); }

  private:
    uint32_t mean(uint64_t sum) const { return static_cast<uint32_t>((sum + count / 2) / count); }
};

// Where the piece that index, of pieces, covers begins along a side.
uint32_t piece(uint32_t index, uint32_t pieces, uint32_t side) {
    return static_cast<uint32_t>(uint64_t{index} * side / pieces);
}

Sum sum_of(const PixelImage &image, uint32_t left, uint32_t right, uint32_t top, uint32_t bottom) {
    Sum sum;
    for (uint32_t y = top; y < bottom; y++)
        for (uint32_t x = left; x < right; x++)
            sum.add(image.pixels[size_t{y} * image.width + x]);
    return sum;
}

uint32_t scaled(uint32_t length, uint32_t longest, uint32_t side) {
    if (longest <= side) return length * (side / longest);
    return std::max<uint32_t>(1, piece(length, longest, side));
}

} // namespace

PixelImage thumbnail(const PixelImage &image, uint32_t side) {
    const uint32_t longest = std::max(image.width, image.height);
    PixelImage small = {scaled(image.width, longest, side), scaled(image.height, longest, side), {}};
    small.pixels.reserve(size_t{small.width} * small.height);
    for (uint32_t y = 0; y < small.height; y++) {
        const uint32_t top = piece(y, small.height, image.height);
        const uint32_t bottom = std::max(top + 1, piece(y + 1, small.height, image.height));
        for (uint32_t x = 0; x < small.width; x++) {
            const uint32_t left = piece(x, small.width, image.width);
            const uint32_t right = std::max(left + 1, piece(x + 1, small.width, image.width));
            small.pixels.push_back(sum_of(image, left, right, top, bottom).pixel());
        }
    }
    return small;
}

} // namespace lindra::tools
