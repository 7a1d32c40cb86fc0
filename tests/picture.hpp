// SPDX-License-Identifier: MIT
//
// Maps drawn in a test, and their pixels.
#ifndef LINDRA_TESTS_PICTURE_HPP
#define LINDRA_TESTS_PICTURE_HPP

#include "map/chart.hpp"
#include "map/drawing.hpp"
#include "map/map_lines.hpp"
#include "map/options.hpp"
#include "map/projection.hpp"
#include "map/style.hpp"

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <png.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace lindra::test {

// 0xRRGGBB.
using Pixel = uint32_t;

class Picture {
  public:
    explicit Picture(const std::string &file) {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_memory(&image, file.data(), file.size()))
            throw std::runtime_error(image.message);
        image.format = PNG_FORMAT_RGB;
        bytes_.resize(PNG_IMAGE_SIZE(image));
        width_ = static_cast<int>(image.width);
        height_ = static_cast<int>(image.height);
        if (!png_image_finish_read(&image, nullptr, bytes_.data(), 0, nullptr))
            throw std::runtime_error(image.message);
    }

    int width() const { return width_; }
    int height() const { return height_; }

    Pixel at(int x, int y) const {
        const size_t start =
            3 * (static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x));
        return static_cast<Pixel>(bytes_.at(start) << 16 | bytes_.at(start + 1) << 8 | bytes_.at(start + 2));
    }

    // The pixel that covers a point of the page; at the right and lower edge the last one.
    Pixel at(tools::PlanePoint point) const {
        return at(std::min(static_cast<int>(std::floor(point.x)), width_ - 1),
                  std::min(static_cast<int>(std::floor(point.y)), height_ - 1));
    }

    // Whether the pixel and its neighbours have one colour.
    bool is_plain(int x, int y) const {
        for (int row = std::max(y - 1, 0); row <= std::min(y + 1, height_ - 1); row++)
            for (int column = std::max(x - 1, 0); column <= std::min(x + 1, width_ - 1); column++)
                if (at(column, row) != at(x, y)) return false;
        return true;
    }

  private:
    int width_, height_;
    std::vector<unsigned char> bytes_;
};

// A colour for each kind of surface, far from the others.
constexpr Pixel sea = 0x1030c0;
constexpr Pixel land = 0xe0c080;
constexpr Pixel lake = 0x40c0f0;
constexpr Pixel island = 0xc04020;
constexpr Pixel pond = 0xa0f0a0;

constexpr const char *surfaces = "sea=#1030c0,land=#e0c080,lake=#40c0f0,island=#c04020,pond=#a0f0a0";
constexpr const char *bare = ",text=none,graticule=none,frame=none";

inline const char *name_of(Pixel pixel) {
    switch (pixel) {
    case sea:
        return "sea";
    case land:
        return "land";
    case lake:
        return "lake";
    case island:
        return "island";
    case pond:
        return "pond";
    default:
        return "no surface";
    }
}

// The window without a margin of texts and lines, unless a style is given.
struct Wanted {
    std::string projection = "plate-carree";
    std::optional<tools::Window> window = std::nullopt;
    std::optional<tools::Point> centre = std::nullopt;
    tools::PageSize size = {1200, 0};
    std::string style = bare;
    std::string layers = "coast,land,lakes,islands,ponds";
};

class Map {
  public:
    Map(const Wanted &wanted, tools::Coastline &coastline) : drawing_(chart(wanted), request(wanted)) {
        coastline.visit(drawing_.surroundings(),
                        [&](const tools::Polygon &polygon) { drawing_.add(polygon); });
        for (const tools::MapLine &line :
             tools::read_lines('c', tools::parse_layers(wanted.layers), drawing_.surroundings()))
            drawing_.add(line);
        picture_ = std::make_unique<Picture>(drawing_.paint(tools::FileType::png));
    }

    const tools::Drawing &drawing() const { return drawing_; }
    const Picture &picture() const { return *picture_; }

    // Nothing when the map does not show the place.
    std::optional<Pixel> at(tools::Point place) const {
        const std::optional<tools::PlanePoint> point = drawing_.pixel(place);
        return point ? std::optional(picture_->at(*point)) : std::nullopt;
    }

  private:
    static std::unique_ptr<tools::Chart> chart(const Wanted &wanted) {
        const tools::ProjectionKind &kind = tools::find_projection(wanted.projection);
        const tools::Window window =
            wanted.window ? *wanted.window : tools::default_window(kind, wanted.centre);
        return tools::make_chart(kind, window, wanted.centre);
    }
    static tools::MapRequest request(const Wanted &wanted) {
        return {wanted.size, tools::parse_layers(wanted.layers), tools::parse_style(surfaces + wanted.style),
                ""};
    }

    tools::Drawing drawing_;
    std::unique_ptr<Picture> picture_;
};

} // namespace lindra::test

#endif
