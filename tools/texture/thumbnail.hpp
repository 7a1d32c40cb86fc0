// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_THUMBNAIL_HPP
#define LINDRA_TOOLS_THUMBNAIL_HPP

#include "texture/png_file.hpp"

#include <cstdint>

namespace lindra::tools {

// The image with a longer side of about side pixels: enlarged by a whole number, so that its pixels show as
// squares, or reduced to the mean of the pixels that a new one covers, each channel by itself.
PixelImage thumbnail(const PixelImage &image, uint32_t side);

} // namespace lindra::tools

#endif
