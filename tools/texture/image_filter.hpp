// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_IMAGE_FILTER_HPP
#define LINDRA_TOOLS_IMAGE_FILTER_HPP

#include "lindra/lindra.hpp"

#include <cstdint>
#include <string>

namespace lindra::tools {

// Which images of a texture are meant, as a user says it: a number, "all", or nothing.
struct ImageChoice {
    std::string element, face, level, slice;
};

// The images of a texture that are meant.
class ImageFilter {
  public:
    enum Usual { first, all }; // what nothing stands for

    // Throws UsageError for words, and for numbers that the texture does not have.
    ImageFilter(const texture &file, const ImageChoice &choice, Usual usual);

    bool takes(const texture_image &image) const {
        return element_.takes(image.element) && face_.takes(image.face) && level_.takes(image.level) &&
               slice_.takes(image.slice);
    }

    // The parts of a name that tell an image from the others that are taken, each behind a hyphen; empty
    // where there is but one.
    std::string suffix(const texture_image &image) const;

  private:
    struct Range {
        bool all;
        uint32_t number;
        uint32_t count;

        bool takes(uint32_t index) const { return all || index == number; }
        std::string suffix(const char *name, uint32_t index) const;
    };

    static Range range(const char *name, const std::string &text, Usual usual, uint32_t count,
                       uint32_t first);

    Range element_, face_, level_, slice_;
};

} // namespace lindra::tools

#endif
