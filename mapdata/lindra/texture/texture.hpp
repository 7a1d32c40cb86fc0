// SPDX-License-Identifier: MIT
//
// A texture file: images of several elements, faces, levels and slices, read as far as they are there
// ("Programming Guide for DDS", Microsoft, 2018). What the header has wrong and the file shows right is told
// to the caller and passed over. How: docs/decisions.
#ifndef LINDRA_TEXTURE_TEXTURE_HPP
#define LINDRA_TEXTURE_TEXTURE_HPP

#include "../face/fault_guard.hpp"
#include "../face/mapped_file.hpp"
#include "../face/report.hpp"
#include "../face/value_iterator.hpp"
#include "../lindra.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lindra {

struct texture_options {
    // Called for every repair as the file is opened. It may throw; nothing is left half-done.
    repair_handler on_repair = {};
};

// How pixels are stored.
enum class texture_format : uint32_t {
    dxt1 = LINDRA_DXT1,
    dxt3 = LINDRA_DXT3, // and DXT2
    dxt5 = LINDRA_DXT5, // and DXT4
    masks = LINDRA_MASKS
};

// One image: element, face, level, slice; width, height in pixels; offset, size in the file in bytes.
using texture_image = LindraImage;

// The images of a texture in the order of the file: array elements, in each its faces, in each its levels, in
// each its slices. Nothing is kept of them; each is worked out as it is looked at.
class texture_image_range {
  public:
    class iterator : public detail::value_iterator<iterator, texture_image> {
      public:
        iterator() = default;
        iterator(const LindraTexture &of, difference_type index) : value_iterator(index), texture_(&of) {}

      private:
        friend value_iterator;

        texture_image at(difference_type index) const {
            texture_image image{};
            lindra_texture_image(texture_, static_cast<uint64_t>(index), &image);
            return image;
        }

        const LindraTexture *texture_ = nullptr;
    };

    explicit texture_image_range(const LindraTexture &texture) : texture_(&texture) {}

    iterator begin() const { return {*texture_, 0}; }
    iterator end() const { return {*texture_, static_cast<std::ptrdiff_t>(size())}; }
    size_t size() const { return texture_->nimages; }
    bool empty() const { return size() == 0; }
    texture_image operator[](size_t i) const { return begin()[static_cast<std::ptrdiff_t>(i)]; }

  private:
    const LindraTexture *texture_;
};

// texture: an open texture file. Its images are valid while it lives; it may be moved meanwhile. A file up to
// 16 MiB is a private copy; a larger one is mapped, and one that is cut by others meanwhile is an error.
// Threads may look at one object at the same time.
class texture {
  public:
    // Opens the file at path. Throws error when it cannot be read, is no texture, is one of a format that is
    // not read, or holds no whole image, or when others cut it meanwhile.
    explicit texture(const std::string &path, const texture_options &options = {})
        : state_(std::make_unique<state>()) {
        state_->file = detail::mapped_file(path);
        guarded(*this, [&] { open(state_->file.bytes(), path, options); });
    }

    // The same of a file in memory, which outlives it. name: what errors and repairs call it.
    explicit texture(byte_span file, const texture_options &options = {},
                     const std::string &name = "memory.dds")
        : state_(std::make_unique<state>()) {
        open(file, name, options);
    }

    // The headers as they stand in the file; that of DX10 is zero where there is none.
    const DDS_HEADER &header() const { return state_->found.header; }
    const DDS_HEADER10 &header10() const { return state_->found.header10; }

    texture_format format() const { return static_cast<texture_format>(state_->found.format); }

    // Whether pixels have an alpha of their own; in other formats, DXT1 among them, it is 255 everywhere.
    bool has_alpha() const {
        return format() == texture_format::masks ? state_->found.alpha != 0
                                                 : format() != texture_format::dxt1;
    }

    // Of the first level, pixels; depth is that of a volume and 1 of any other texture.
    uint32_t width() const { return state_->found.width; }
    uint32_t height() const { return state_->found.height; }
    uint32_t depth() const { return state_->found.depth; }

    // How many levels a face has, faces an element and elements the texture; 1 at least. There may be fewer
    // images when the file is cut.
    uint32_t levels() const { return state_->found.levels; }
    uint32_t faces() const { return state_->found.faces; }
    uint32_t elements() const { return state_->found.elements; }

    // The images that are whole in the file; at least one. They look into the texture, which must have a
    // name.
    texture_image_range images() const & { return texture_image_range(state_->found); }
    texture_image_range images() const && = delete;

    // The pixels of an image, 0xAARRGGBB, row by row, width * height of them; see lindra_expand_image. Throws
    // error when the image is none of this texture's, or when the file was cut by others.
    std::vector<uint32_t> expand(const texture_image &image) const {
        return guarded(*this, [&] { return pixels_of(image); });
    }

    // The file if others can change it, for guards.
    detail::mapped_files mapped_files() const { return {state_->file.shared()}; }

  private:
    std::vector<uint32_t> pixels_of(const texture_image &image) const {
        constexpr uint64_t most_in_a_byte = 2; // of any format
        const uint64_t count = uint64_t{image.width} * image.height;
        if (count / most_in_a_byte > std::min(image.size, state_->found.size)) refuse(image);
        std::vector<uint32_t> pixels(count);
        if (lindra_expand_image(&state_->found, &image, pixels.data()) < 0) refuse(image);
        return pixels;
    }

    // Where images look, wherever the texture is moved.
    struct state {
        detail::mapped_file file;
        detail::reporter report;
        LindraTexture found{};
    };

    struct told {
        uint64_t offset;
        std::string text;
    };

    static void keep(void *all, uint64_t offset, const char *text) {
        static_cast<std::vector<told> *>(all)->push_back({offset, text});
    }

    void open(byte_span file, const std::string &name, const texture_options &options) {
        state_->report = {name, options.on_repair};
        std::vector<told> all;
        const bool refused = lindra_unstuff_texture(&state_->found, file.data(), file.size(), keep, &all) < 0;
        const told reason = refused ? all.back() : told{};
        if (refused) all.pop_back();
        for (told &each : all)
            state_->report(repair_kind::texture, each.offset, std::move(each.text));
        if (refused) state_->report.refuse(reason.offset, reason.text);
    }

    [[noreturn]] void refuse(const texture_image &image) const {
        state_->report.refuse(image.offset, "has no image of " + std::to_string(image.width) + " x " +
                                                std::to_string(image.height) + " pixels here");
    }

    std::unique_ptr<state> state_;
};

} // namespace lindra

#endif
