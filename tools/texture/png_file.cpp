// SPDX-License-Identifier: MIT

#include "texture/png_file.hpp"

#include "common/errors.hpp"
#include "common/output_file.hpp"

#include <bit>
#include <png.h>
#include <string_view>

namespace lindra::tools {

namespace {

static_assert(std::endian::native == std::endian::little, "a pixel's bytes are blue, green, red, alpha");
static_assert(longest_side_of_png == PNG_USER_WIDTH_MAX);
static_assert(longest_side_of_png == PNG_USER_HEIGHT_MAX);

// The whole file, by one pass over the pixels: its greatest possible size is known before.
std::string encoded(const PixelImage &image, const std::string &path) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = image.width;
    header.height = image.height;
    header.format = PNG_FORMAT_BGRA;
    std::string file(PNG_IMAGE_PNG_SIZE_MAX(header), '\0');
    png_alloc_size_t size = file.size();
    if (!png_image_write_to_memory(&header, file.data(), &size, 0, image.pixels.data(), 0, nullptr))
        throw DataError(path + " cannot be written: " + header.message);
    file.resize(size);
    return file;
}

} // namespace

void write_png(const PixelImage &image, const std::string &path) {
    const std::string file = encoded(image, path);
    OutputFile output(path);
    output.write(file);
    output.commit();
}

} // namespace lindra::tools
