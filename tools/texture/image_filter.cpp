// SPDX-License-Identifier: MIT

#include "texture/image_filter.hpp"

#include "common/errors.hpp"

#include <charconv>
#include <system_error>

namespace lindra::tools {

namespace {

constexpr uint32_t cube_faces = 6; // told by their numbers, also where some are missing

// A cube with +x alone is as good as an image that is none.
bool is_cube(const texture &file) {
    return file.faces() > 1 || (*file.images().begin()).face != 0;
}

uint32_t number_of(const char *name, const std::string &text, uint32_t count) {
    uint32_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, reason] = std::from_chars(text.data(), end, number);
    if (stop != end || reason == std::errc::invalid_argument)
        throw UsageError(std::string("--") + name + " is a number from 0 or 'all', not '" + text + "'");
    if (reason != std::errc() || number >= count)
        throw UsageError("there is no " + std::string(name) + " " + text + "; the texture has " +
                         (count == 1 ? "only 0" : "0 to " + std::to_string(count - 1)));
    return number;
}

} // namespace

ImageFilter::ImageFilter(const texture &file, const ImageChoice &choice, Usual usual)
    : element_(range("element", choice.element, usual, file.elements(), 0)),
      face_(range("face", choice.face, usual, is_cube(file) ? cube_faces : 1, (*file.images().begin()).face)),
      level_(range("level", choice.level, usual, file.levels(), 0)),
      slice_(range("slice", choice.slice, usual, file.depth(), 0)) {}

ImageFilter::Range ImageFilter::range(const char *name, const std::string &text, Usual usual, uint32_t count,
                                      uint32_t first) {
    if (text == "all" || (text.empty() && usual == all)) return {true, 0, count};
    return {false, text.empty() ? first : number_of(name, text, count), count};
}

std::string ImageFilter::Range::suffix(const char *name, uint32_t index) const {
    return all && count > 1 ? std::string("-") + name + std::to_string(index) : "";
}

std::string ImageFilter::suffix(const texture_image &image) const {
    return element_.suffix("element", image.element) + face_.suffix("face", image.face) +
           level_.suffix("level", image.level) + slice_.suffix("slice", image.slice);
}

} // namespace lindra::tools
