// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PNG_FILE_HPP
#define LINDRA_TOOLS_PNG_FILE_HPP

#include <cstdint>
#include <string>
#include <vector>

namespace lindra::tools {

// Pixels 0xAARRGGBB, row by row from the top; colours are not multiplied with alpha.
struct PixelImage {
    uint32_t width, height;
    std::vector<uint32_t> pixels;
};

// libpng writes none that is wider or higher.
inline constexpr uint32_t longest_side_of_png = 1'000'000; // pixels

// Writes the image as a PNG file of colours and alpha. Throws DataError.
void write_png(const PixelImage &image, const std::string &path);

} // namespace lindra::tools

#endif
