// SPDX-License-Identifier: MIT
//
// `lindra texture`: its pictures are read by libpng, pixel by pixel.

#include "command.hpp"
#include "dds_builder.hpp"

#include "common/errors.hpp"
#include "program.hpp"
#include "texture/sheet.hpp"
#include "texture/thumbnail.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <png.h>
#include <stdexcept>
#include <vector>

namespace {

using namespace lindra::test;
using namespace lindra::tools;
using dds::Header;
using dds::plain_block;

constexpr uint32_t red = 0xffff0000;
constexpr uint32_t green = 0xff00ff00;
constexpr uint32_t blue = 0xff0000ff;

// As it stands in the file, 0xAARRGGBB.
PixelImage read_png(const std::filesystem::path &path) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&header, path.c_str())) throw std::runtime_error(header.message);
    header.format = PNG_FORMAT_BGRA;
    PixelImage image = {header.width, header.height, {}};
    image.pixels.resize(size_t{image.width} * image.height);
    if (!png_image_finish_read(&header, nullptr, image.pixels.data(), 0, nullptr))
        throw std::runtime_error(header.message);
    return image;
}

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

std::string blocks(std::initializer_list<int> colours) {
    std::string bytes;
    for (int colour : colours)
        bytes += plain_block(colour);
    return bytes;
}

constexpr int red565 = 0xf800, green565 = 0x7e0, blue565 = 0x1f;

// 8 x 4 red, 4 x 2 green, 2 x 1 blue, 1 x 1 red.
std::string four_levels() {
    return Header().sized(8, 4, 4).bytes() + blocks({red565, red565, green565, blue565, red565});
}

// Faces of 4 x 4 pixels, blue growing with the face, of those whose bits are given.
std::string cube(uint32_t face_bits, int faces) {
    std::string bytes = Header().with(Header::flags, 0x1007).with(Header::caps2, 0x200 | face_bits).bytes();
    for (int i = 0; i < faces; i++)
        bytes += plain_block(i);
    return bytes;
}

// Numbers of 32 bits, alpha highest.
std::string plain_pixels(uint32_t width, uint32_t height, const std::vector<uint32_t> &pixels) {
    Header header =
        Header().sized(width, height, 0).with(Header::flags, 0x1007).with(Header::format_flags, 0x41);
    header.with(Header::bits, 32).with(Header::red, 0xff0000).with(Header::green, 0xff00);
    header.with(Header::blue, 0xff).with(Header::alpha, 0xff000000);
    std::string bytes = header.bytes();
    for (uint32_t pixel : pixels)
        bytes += le32(pixel);
    return bytes;
}

struct TextureCommand : testing::Test {
    TemporaryDirectory directory;

    std::filesystem::path at(const std::string &name) const { return directory.path() / name; }

    Result texture(const std::string &bytes, const std::string &options) const {
        directory.write("brick.dds", bytes);
        return run_lindra("texture " + at("brick.dds").string() + " " + options);
    }

    Result texture_to(const std::string &bytes, const std::string &output,
                      const std::string &options = "") const {
        return texture(bytes, options + " -o " + at(output).string());
    }

    // How many files there are beside the texture.
    size_t written() const {
        return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(directory.path()), {})) -
               1;
    }

    void expect_refusal(const std::string &bytes, const std::string &options, int code,
                        const std::string &complaint) const {
        const Result result = texture_to(bytes, "out.png", options);
        EXPECT_EQ(result.code, code) << options;
        EXPECT_TRUE(has(result.errors, complaint)) << result.errors;
        EXPECT_EQ(written(), 0U);
    }
};

} // namespace

TEST_F(TextureCommand, largest_image_is_written_where_none_is_chosen) {
    const Result result = texture_to(four_levels(), "out.png");
    ASSERT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "lindra: " + at("out.png").string() + ": 8 x 4\n");
    const PixelImage image = read_png(at("out.png"));
    EXPECT_EQ(image.width, 8U);
    EXPECT_EQ(image.height, 4U);
    EXPECT_EQ(image.pixels, std::vector<uint32_t>(32, red));
}

TEST_F(TextureCommand, levels_are_chosen_by_number) {
    ASSERT_EQ(texture_to(four_levels(), "out.png", "--level 2").code, 0);
    const PixelImage image = read_png(at("out.png"));
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.pixels, std::vector<uint32_t>(2, blue));
}

TEST_F(TextureCommand, all_levels_have_their_numbers_in_their_names) {
    const Result result = texture_to(four_levels(), "out.png", "--level all");
    ASSERT_EQ(result.code, 0);
    EXPECT_EQ(written(), 4U);
    EXPECT_EQ(read_png(at("out-level0.png")).pixels.front(), red);
    EXPECT_EQ(read_png(at("out-level1.png")).pixels.front(), green);
    EXPECT_EQ(read_png(at("out-level2.png")).pixels.front(), blue);
    EXPECT_EQ(read_png(at("out-level3.png")).width, 1U);
}

TEST_F(TextureCommand, all_of_one_is_named_as_one) {
    ASSERT_EQ(texture_to(Header().bytes() + plain_block(red565), "out.png", "--level all --face all").code,
              0);
    EXPECT_EQ(written(), 1U);
    EXPECT_EQ(read_png(at("out.png")).pixels.front(), red);
}

TEST_F(TextureCommand, picture_is_named_after_the_texture) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    EXPECT_EQ(texture(four_levels(), "").code, 0);
    EXPECT_EQ(texture(four_levels(), "--level all").code, 0);
    std::filesystem::current_path(before);
    EXPECT_EQ(read_png(at("brick.png")).width, 8U);
    EXPECT_EQ(read_png(at("brick-level1.png")).width, 4U);
}

TEST_F(TextureCommand, nothing_is_replaced_that_was_not_named) {
    const std::string before = four_levels();
    directory.write("brick.png", before);
    const std::filesystem::path directory_before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const Result usual = texture(before, "");
    const Result itself = run_lindra("texture brick.png -o ./brick.png");
    std::filesystem::current_path(directory_before);
    EXPECT_EQ(usual.code, 2);
    EXPECT_TRUE(has(usual.errors, "brick.png exists; name it with -o")) << usual.errors;
    EXPECT_EQ(itself.code, 2);
    EXPECT_TRUE(has(itself.errors, "./brick.png is the texture itself")) << itself.errors;
    EXPECT_EQ(read_file(at("brick.png").string()), before);
    EXPECT_EQ(texture_to(before, "brick.png").code, 0);
    EXPECT_EQ(read_png(at("brick.png")).width, 8U);
}

TEST_F(TextureCommand, faces_of_a_cube_are_chosen_by_their_direction) {
    const std::string three = cube(0x800 | 0x1000 | 0x8000, 3); // -x, +y, -z
    ASSERT_EQ(texture_to(three, "first.png").code, 0);
    EXPECT_EQ(read_png(at("first.png")).pixels[0] & 0xff, 0U);
    ASSERT_EQ(texture_to(three, "out.png", "--face 5").code, 0);
    EXPECT_EQ(read_png(at("out.png")).pixels[0] & 0xff, 16U); // 2 of 31
    ASSERT_EQ(texture_to(three, "all.png", "--face all").code, 0);
    EXPECT_EQ(read_png(at("all-face2.png")).pixels[0] & 0xff, 8U);
    EXPECT_FALSE(std::filesystem::exists(at("all-face0.png")));
}

TEST_F(TextureCommand, cube_of_one_face_is_known_by_it) {
    const std::string one = cube(0x1000, 1); // +y
    EXPECT_EQ(texture_to(one, "out.png", "--face 2").code, 0);
    const Result other = texture_to(one, "other.png", "--face 0");
    EXPECT_EQ(other.code, 1);
    EXPECT_TRUE(has(other.errors, "holds no such image")) << other.errors;
}

TEST_F(TextureCommand, colours_are_not_multiplied_with_alpha) {
    const std::vector<uint32_t> pixels = {0x00ffffff, 0x01fe8040, 0x80804020, 0xff010203};
    ASSERT_EQ(texture_to(plain_pixels(4, 1, pixels), "out.png").code, 0);
    EXPECT_EQ(read_png(at("out.png")).pixels, pixels);
}

TEST_F(TextureCommand, what_the_texture_lacks_cannot_be_chosen) {
    const char *only = "; the texture has only 0";
    expect_refusal(four_levels(), "--level 4", 2, "there is no level 4; the texture has 0 to 3");
    expect_refusal(four_levels(), "--level 99999999999", 2, "there is no level 99999999999; ");
    expect_refusal(four_levels(), "--face 1", 2, std::string("there is no face 1") + only);
    expect_refusal(four_levels(), "--element 1", 2, std::string("there is no element 1") + only);
    expect_refusal(four_levels(), "--slice 1", 2, std::string("there is no slice 1") + only);
    expect_refusal(four_levels(), "--level some", 2, "--level is a number from 0 or 'all', not 'some'");
    expect_refusal(four_levels(), "--level 1x", 2, "--level is a number from 0 or 'all', not '1x'");
    expect_refusal(cube(0x400, 1), "--face 6", 2, "there is no face 6; the texture has ");
}

TEST_F(TextureCommand, images_that_are_cut_are_told_and_not_written) {
    const std::string cut = four_levels().substr(0, 128 + 16 + 8);
    const Result all = texture_to(cut, "out.png", "--level all");
    EXPECT_EQ(all.code, 1);
    EXPECT_TRUE(has(all.errors, "brick.dds is cut: 2 of 4 images are there")) << all.errors;
    EXPECT_EQ(written(), 2U);
    EXPECT_TRUE(has(all.errors, "brick.dds: byte 152: ")) << all.errors;
}

TEST_F(TextureCommand, image_with_a_side_that_no_png_has_is_told_with_what_can_be_done) {
    const auto wide = [](uint32_t levels) { return Header().sized(1'000'001, 4, levels).bytes(); };
    const std::string one_level = wide(1) + std::string(size_t{8} * 250'001, '\0');
    const std::string two_levels = wide(2) + std::string(size_t{8} * (250'001 + 125'000), '\0');
    const std::string told =
        "brick.dds: level 0 is 1000001 x 4 pixels, and a PNG file has at most 1000000 to a "
        "side; ";
    expect_refusal(two_levels, "", 1, told + "ask for --level 1, or see it reduced with --sheet\n");
    expect_refusal(one_level, "", 1, told + "see it reduced with --sheet\n");
    EXPECT_EQ(texture_to(two_levels, "out.png", "--level 1").code, 0);
    EXPECT_EQ(read_png(at("out.png")).width, 500'000U);
    // The leak check would make an exit status of its own of what fontconfig loses.
    const Result sheet = texture_to(two_levels, "sheet.png", "--sheet");
    EXPECT_TRUE(has(sheet.errors, "sheet.png: 2 levels, 1 row")) << sheet.errors;
    EXPECT_GT(read_png(at("sheet.png")).width, 256U);
}

TEST_F(TextureCommand, image_that_is_cut_cannot_be_chosen) {
    expect_refusal(four_levels().substr(0, 128 + 16 + 8), "--level 3", 1, "holds no such image");
}

TEST_F(TextureCommand, what_is_no_texture_is_refused) {
    expect_refusal("", "", 1, "brick.dds");
    expect_refusal("DDS", "", 1, "brick.dds: byte 3: ");
    expect_refusal(Header().bytes(), "", 1, "brick.dds: byte 128: ");
    expect_refusal("some text", "", 1, "brick.dds: byte 0: ");
    const Result missing = run_lindra("texture " + at("absent.dds").string());
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(has(missing.errors, "absent.dds")) << missing.errors;
}

TEST_F(TextureCommand, pictures_are_png_files) {
    const Result result = texture_to(four_levels(), "out.jpg");
    EXPECT_EQ(result.code, 2);
    EXPECT_TRUE(has(result.errors, "out.jpg' does not end in .png")) << result.errors;
    EXPECT_EQ(written(), 0U);
}

TEST_F(TextureCommand, picture_that_cannot_be_written_leaves_nothing) {
    const Result result = texture_to(four_levels(), "absent/out.png");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(written(), 0U);
}

// --- Sheets: made here, because fonts leak in a process of their own ---------------------------------------

TEST(Sheet, images_stand_in_columns_and_rows) {
    const TemporaryDirectory directory;
    Sheet sheet(2, 2);
    sheet.add(0, 0, {4, 4, std::vector<uint32_t>(16, red)}, "0");
    sheet.add(1, 0, {2, 2, std::vector<uint32_t>(4, green)}, "1");
    sheet.add(0, 1, {512, 256, std::vector<uint32_t>(512 * 256, blue)}, "2");
    sheet.write((directory.path() / "sheet.png").string());
    const PixelImage page = read_png(directory.path() / "sheet.png");
    const auto pixel = [&](uint32_t x, uint32_t y) { return page.pixels[size_t{y} * page.width + x]; };
    EXPECT_EQ(page.width, 2U * 272 + 16);
    EXPECT_EQ(page.height, 2U * 296 + 16);
    EXPECT_EQ(pixel(16, 16), red);
    EXPECT_EQ(pixel(271, 271), red);
    EXPECT_EQ(pixel(288, 16), green);
    EXPECT_EQ(pixel(16, 312), blue);
    EXPECT_EQ(pixel(271, 439), blue);
    EXPECT_EQ(pixel(271, 441), 0xffeeeeee);
    EXPECT_EQ(pixel(8, 8), 0xffeeeeee);
}

TEST(Sheet, colours_are_shown_without_alpha) {
    const TemporaryDirectory directory;
    Sheet sheet(1, 1);
    sheet.add(0, 0, {1, 1, {0x00ff0000}}, "0");
    sheet.write((directory.path() / "sheet.png").string());
    const PixelImage page = read_png(directory.path() / "sheet.png");
    EXPECT_EQ(page.pixels[20 * page.width + 20], red);
}

namespace {

// The sheet of a texture, as the command draws it.
PixelImage sheet_of(const std::string &bytes, const std::vector<std::string> &options = {}) {
    const TemporaryDirectory directory;
    const std::string output = (directory.path() / "sheet.png").string();
    std::vector<std::string> words{"texture", directory.write("brick.dds", bytes), "--sheet", "-o", output};
    words.insert(words.end(), options.begin(), options.end());
    obey(words);
    return read_png(output);
}

uint32_t pixel(const PixelImage &page, uint32_t column, uint32_t row) {
    return page.pixels[size_t{16 + 296 * row} * page.width + 16 + 272 * column];
}

} // namespace

TEST(Sheet, levels_stand_side_by_side) {
    const PixelImage page = sheet_of(four_levels());
    EXPECT_EQ(page.width, 4U * 272 + 16);
    EXPECT_EQ(page.height, 1U * 296 + 16);
    EXPECT_EQ(pixel(page, 0, 0), red);
    EXPECT_EQ(pixel(page, 1, 0), green);
    EXPECT_EQ(pixel(page, 2, 0), blue);
    EXPECT_EQ(pixel(page, 3, 0), red);
}

TEST(Sheet, faces_have_a_row_each) {
    const PixelImage page = sheet_of(cube(0xfc00, 6));
    EXPECT_EQ(page.height, 6U * 296 + 16);
    EXPECT_EQ(pixel(page, 0, 5) & 0xff, 41U); // 5 of 31
    EXPECT_EQ(sheet_of(cube(0xfc00, 6), {"--face", "5"}).height, 1U * 296 + 16);
}

TEST(Sheet, alpha_has_a_row_of_greys) {
    const PixelImage page = sheet_of(plain_pixels(1, 1, {0x40ff0000}));
    EXPECT_EQ(page.height, 2U * 296 + 16);
    EXPECT_EQ(pixel(page, 0, 0), red);
    EXPECT_EQ(pixel(page, 0, 1), 0xff404040);
}

TEST(Sheet, rows_without_end_are_refused) {
    const std::vector<uint32_t> pixels(101, red);
    std::string slices = plain_pixels(1, 1, pixels);
    slices.replace(4 + 4 * Header::depth, 4, le32(101)).replace(4 + 4 * Header::caps2, 4, le32(0x200000));
    EXPECT_THROW(sheet_of(slices), UsageError);
    EXPECT_EQ(sheet_of(slices, {"--slice", "100"}).height, 2U * 296 + 16);
}

// --- Thumbnails -------------------------------------------------------------------------------------------

TEST(Thumbnail, small_images_are_enlarged_by_a_whole_number) {
    const PixelImage image = thumbnail({3, 1, {red, green, blue}}, 8);
    EXPECT_EQ(image.width, 6U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_EQ(image.pixels, (std::vector<uint32_t>{red, red, green, green, blue, blue, red, red, green, green,
                                                   blue, blue}));
}

TEST(Thumbnail, large_images_are_reduced_to_means_of_each_channel) {
    const PixelImage image = thumbnail({4,
                                        2,
                                        {0xff000000, 0xff0000ff, 0xffffffff, 0x00ffffff, //
                                         0xff00ff00, 0xffff0000, 0x00ffffff, 0xffffff01}},
                                       2);
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.height, 1U);
    EXPECT_EQ(image.pixels, (std::vector<uint32_t>{0xff404040, 0x80ffffc0}));
}

TEST(Thumbnail, long_images_keep_a_pixel_across) {
    const PixelImage image = thumbnail({1000, 1, std::vector<uint32_t>(1000, red)}, 10);
    EXPECT_EQ(image.width, 10U);
    EXPECT_EQ(image.height, 1U);
    EXPECT_EQ(image.pixels, std::vector<uint32_t>(10, red));
}
