// SPDX-License-Identifier: MIT
#include "guarded_buffer.hpp"
#include "temporary_directory.hpp"
#include "texture_builder.hpp"

#include "lindra/lindra.hpp"

#include <gtest/gtest.h>

#include <iterator>
#include <ranges>
#include <stdexcept>
#include <utility>

namespace lindra::test {
namespace {

using dds::Header;
using dds::Picture;

static_assert(std::random_access_iterator<texture_image_range::iterator>);
static_assert(std::ranges::sized_range<texture_image_range>);
static_assert(std::is_nothrow_move_constructible_v<texture>);

// Images of a texture that ends with the statement would look into nothing.
template <class Texture>
concept has_images = requires(Texture &&file) {
    std::forward<Texture>(file).images();
};
static_assert(has_images<const texture &>);
static_assert(!has_images<texture>);

std::vector<uint32_t> shown(const dds::Texture &model, const Picture &picture) {
    std::vector<uint32_t> pixels;
    for (uint32_t y = 0; y < picture.height; y++)
        for (uint32_t x = 0; x < picture.width; x++)
            pixels.push_back(model.storage.kept(picture.pixel(x, y)));
    return pixels;
}

void expect_images(const texture &file, const dds::Texture &model) {
    const std::vector<Picture> pictures = model.pictures();
    ASSERT_EQ(file.images().size(), pictures.size());
    size_t i = 0;
    for (const texture_image &image : file.images()) {
        const Picture &picture = pictures[i++];
        EXPECT_EQ(image.element, picture.element);
        EXPECT_EQ(image.face, picture.face);
        EXPECT_EQ(image.level, picture.level);
        EXPECT_EQ(image.slice, picture.slice);
        EXPECT_EQ(file.expand(image), shown(model, picture));
    }
    EXPECT_EQ(i, pictures.size());
}

// A file in memory that ends at a page that cannot be read, and what is told of it.
class OpenTexture {
  public:
    explicit OpenTexture(const std::string &bytes)
        : bytes_(bytes), file_(byte_span(bytes_.data(), bytes_.size()),
                               {[this](const repair &told) { repairs_.push_back(told); }}) {}

    const texture &operator*() const { return file_; }
    const texture *operator->() const { return &file_; }
    const std::vector<repair> &repairs() const { return repairs_; }

  private:
    std::vector<repair> repairs_;
    GuardedBuffer bytes_;
    texture file_;
};

const dds::Texture cubes = {
    .storage = numbered(dds::dxt1(), 71), .levels = 3, .faces = dds::all_faces, .elements = 2};

TEST(TextureReader, images_come_in_the_order_of_the_file) {
    const OpenTexture file(cubes.file());
    expect_images(*file, cubes);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(TextureReader, alpha_is_known_by_the_format) {
    const auto has_alpha = [](const dds::Storage &storage) {
        return OpenTexture(dds::Texture{.storage = storage}.file())->has_alpha();
    };
    EXPECT_FALSE(has_alpha(dds::dxt1()));
    EXPECT_TRUE(has_alpha(dds::compressed(3, dds::fourcc("DXT3"))));
    EXPECT_TRUE(has_alpha(dds::compressed(5, dds::fourcc("DXT5"))));
    EXPECT_TRUE(has_alpha(dds::plain(dds::bgra, 0x41)));
    EXPECT_FALSE(has_alpha(dds::plain(dds::bgra, 0x40)));
}

TEST(TextureReader, a_file_is_opened_by_its_path) {
    const TemporaryDirectory directory;
    const dds::Texture model{.storage = plain(dds::bgra, dds::rgba), .levels = 4};
    expect_images(texture(directory.write("a.dds", model.file())), model);
}

TEST(TextureReader, the_header_is_told) {
    const OpenTexture file(cubes.file());
    EXPECT_EQ(file->header().dwWidth, 8U);
    EXPECT_EQ(file->header10().dxgiFormat, 71U);
    EXPECT_EQ(file->format(), texture_format::dxt1);
    EXPECT_EQ(file->width(), 8U);
    EXPECT_EQ(file->height(), 8U);
    EXPECT_EQ(file->depth(), 1U);
    EXPECT_EQ(file->levels(), 3U);
    EXPECT_EQ(file->faces(), 6U);
    EXPECT_EQ(file->elements(), 2U);
    const OpenTexture volume(dds::Texture{.storage = plain(dds::bgra, dds::rgb), .depth = 3}.file());
    EXPECT_EQ(volume->format(), texture_format::masks);
    EXPECT_EQ(volume->depth(), 3U);
    EXPECT_EQ(volume->header10().dxgiFormat, 0U);
}

TEST(TextureReader, images_can_be_reached_in_any_order) {
    const OpenTexture file(cubes.file());
    const texture_image_range images = file->images();
    EXPECT_FALSE(images.empty());
    EXPECT_EQ(images[35].element, 1U);
    EXPECT_EQ(images[35].face, 5U);
    EXPECT_EQ(images[35].level, 2U);
    EXPECT_EQ((images.end() - 1)[0].offset, images[35].offset);
    EXPECT_EQ(std::ranges::count_if(images, [](const texture_image &i) { return i.level == 0; }), 12);
}

TEST(TextureReader, repairs_are_told_with_their_place) {
    const dds::Texture model{.levels = 3};
    const OpenTexture file(model.file_with(model.header().with(Header::flags, 0x1007)) + "abc");
    ASSERT_EQ(file.repairs().size(), 2U);
    const repair &first = file.repairs()[0];
    EXPECT_EQ(first.kind, repair_kind::texture);
    EXPECT_EQ(first.file, "memory.dds");
    EXPECT_EQ(first.offset, 8U);
    EXPECT_EQ(first.text, "has no mip-map flag, but a mip-map count of 3; read as 3");
    EXPECT_EQ(file.repairs()[1].offset, 176U);
    expect_images(*file, model);
}

TEST(TextureReader, repairs_need_not_be_heard) {
    const std::string bytes = dds::Texture().file() + "x";
    const texture file(byte_span(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size()));
    EXPECT_EQ(file.images().size(), 1U);
    EXPECT_FALSE(file.images().empty());
}

TEST(TextureReader, a_handler_may_throw) {
    const std::string bytes = dds::Texture().file() + "x";
    const byte_span span(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
    const texture_options strict = {[](const repair &told) { throw std::runtime_error(told.text); }};
    EXPECT_THROW(texture(span, strict), std::runtime_error);
}

std::string refusal_of(const std::string &path, const texture_options &options = {}) try {
    const texture file(path, options);
    return "none";
} catch (const error &reason) {
    return reason.what();
}

TEST(TextureReader, what_is_no_texture_is_an_error_with_its_place) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("a.dds", "BM");
    EXPECT_EQ(refusal_of(path), path + ": byte 0: is no texture file: it does not begin with \"DDS \"");
    const std::string empty = directory.write("b.dds", "");
    EXPECT_EQ(refusal_of(empty), empty + ": byte 0: ends in its header of 128 bytes");
    const std::string none = (directory.path() / "c.dds").string();
    EXPECT_EQ(refusal_of(none), none + ": byte 0: No such file or directory");
    EXPECT_EQ(refusal_of(directory.path().string()),
              directory.path().string() + ": byte 0: is no regular file");
}

TEST(TextureReader, repairs_before_the_refusal_are_told) {
    const TemporaryDirectory directory;
    const dds::Texture model;
    const std::string bytes = model.file_with(model.header().with(Header::size, 0));
    const std::string path = directory.write("a.dds", bytes.substr(0, 130));
    std::vector<std::string> told;
    EXPECT_EQ(refusal_of(path, {[&](const repair &each) { told.push_back(each.text); }}),
              path + ": byte 128: holds no whole image: the first, of 8 x 8 pixels, is cut");
    EXPECT_EQ(told, std::vector<std::string>{"says that its header has 0 bytes, read as 124"});
}

TEST(TextureReader, a_texture_can_be_moved_while_its_images_are_looked_at) {
    const TemporaryDirectory directory;
    texture file(directory.write("a.dds", cubes.file()));
    const texture_image_range images = file.images();
    const texture moved = std::move(file);
    EXPECT_EQ(images.size(), 36U);
    EXPECT_EQ(moved.expand(images[7]), shown(cubes, cubes.pictures()[7]));
}

TEST(TextureReader, images_of_other_textures_are_an_error) {
    const OpenTexture file(cubes.file());
    texture_image image = file->images()[3];
    image.width = 12;
    try {
        file->expand(image);
        FAIL() << "expanded";
    } catch (const error &reason) {
        EXPECT_EQ(reason.offset(), image.offset);
        EXPECT_STREQ(reason.what(), ("memory.dds: byte " + std::to_string(image.offset) +
                                     ": has no image of 12 x 8 pixels here")
                                        .c_str());
    }
    image.width = image.height = UINT32_MAX;
    EXPECT_THROW(file->expand(image), error);
    image.size = UINT64_MAX;
    EXPECT_THROW(file->expand(image), error);
    EXPECT_THROW(file->expand({}), error);
}

} // namespace
} // namespace lindra::test
