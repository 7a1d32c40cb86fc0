// SPDX-License-Identifier: MIT
//
// Textures as they are met. Every buffer ends at an unreadable page, that of the pixels, too.

#include "allocations.hpp"
#include "guarded_buffer.hpp"
#include "log_capture.hpp"
#include "texture_builder.hpp"

#include "lindra/lindra.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <sys/mman.h>

using namespace lindra::test;
using namespace lindra::test::dds;

namespace {

struct Told {
    uint64_t offset;
    std::string text;
    friend bool operator==(const Told &, const Told &) = default;
};

void PrintTo(const Told &told, std::ostream *to) {
    *to << told.offset << ": " << told.text;
}

using AllTold = std::vector<Told>;

constexpr const char *way_out = "; convert it to DXT1, DXT3, DXT5 or pixels of 8, 16, 24 or 32 bits";

// The pixels of an image, in a buffer that has no room for more.
std::vector<uint32_t> expanded(const LindraTexture &texture, const LindraImage &image) {
    const size_t count = size_t{image.width} * image.height;
    const GuardedBuffer buffer(std::string(count * sizeof(uint32_t), '\0'));
    auto *pixels = reinterpret_cast<uint32_t *>(buffer.data());
    EXPECT_EQ(lindra_expand_image(&texture, &image, pixels), 0);
    return {pixels, pixels + count};
}

struct TextureTest : testing::Test {
    LogCapture log;
    std::unique_ptr<GuardedBuffer> file;
    AllTold told;
    LindraTexture texture{};

    static void keep(void *self, uint64_t offset, const char *text) {
        const AllocationPause pause;
        static_cast<TextureTest *>(self)->told.push_back({offset, text});
    }

    // Nothing is ever allocated or logged.
    int open(const std::string &bytes) {
        file = std::make_unique<GuardedBuffer>(bytes);
        told.clear();
        memset(&texture, 0x55, sizeof texture);
        const AllocationWatch watch;
        const int status = lindra_unstuff_texture(&texture, file->data(), file->size(), keep, this);
        EXPECT_EQ(watch.count(), 0);
        const AllocationPause pause;
        EXPECT_EQ(log.take(), Lines{});
        return status;
    }

    LindraImage image(uint64_t index) const {
        LindraImage found{};
        EXPECT_EQ(lindra_texture_image(&texture, index, &found), 0);
        return found;
    }

    void expect_refused(const std::string &bytes, uint64_t offset, const std::string &text) {
        EXPECT_EQ(open(bytes), -1);
        ASSERT_FALSE(told.empty());
        EXPECT_EQ(told.back(), (Told{offset, text}));
        const LindraTexture nothing{};
        EXPECT_EQ(memcmp(&texture, &nothing, sizeof nothing), 0);
    }

    void expect_picture(const Storage &storage, const Picture &picture, const LindraImage &found) const {
        EXPECT_EQ(found.element, picture.element);
        EXPECT_EQ(found.face, picture.face);
        EXPECT_EQ(found.level, picture.level);
        EXPECT_EQ(found.slice, picture.slice);
        ASSERT_EQ(found.width, picture.width);
        ASSERT_EQ(found.height, picture.height);
        std::vector<uint32_t> pixels;
        for (uint32_t y = 0; y < picture.height; y++)
            for (uint32_t x = 0; x < picture.width; x++)
                pixels.push_back(storage.kept(picture.pixel(x, y)));
        EXPECT_EQ(expanded(texture, found), pixels);
    }

    // The first count images are those of the model, one right behind the other.
    void expect_images(const Texture &model, size_t count) const {
        const std::vector<Picture> pictures = model.pictures();
        ASSERT_LE(count, pictures.size());
        EXPECT_EQ(texture.nimages, count);
        uint64_t offset = model.storage.dxgi ? 148 : 128;
        for (size_t i = 0; i < count; i++) {
            const LindraImage found = image(i);
            EXPECT_EQ(found.offset, offset);
            EXPECT_EQ(found.size, model.storage.encode(pictures[i]).size());
            expect_picture(model.storage, pictures[i], found);
            offset += found.size;
        }
        LindraImage none{};
        EXPECT_EQ(lindra_texture_image(&texture, count, &none), -1);
        EXPECT_EQ(lindra_texture_image(&texture, UINT64_MAX, &none), -1);
        EXPECT_EQ(none.size, 0U);
    }

    void expect_read(const Texture &model, const AllTold &departures = {}) {
        EXPECT_EQ(open(model.file()), 0);
        EXPECT_EQ(told, departures);
        expect_images(model, model.pictures().size());
    }

    // A header with one word changed, before the images of the model.
    void expect_read_with(const Texture &model, Header::Place place, uint32_t word,
                          const AllTold &departures) {
        EXPECT_EQ(open(model.file_with(model.header().with(place, word))), 0);
        EXPECT_EQ(told, departures);
        expect_images(model, model.pictures().size());
    }
};

Storage luminance(uint32_t bits, uint32_t grey, uint32_t alpha) {
    Storage storage = plain({bits, grey, 0, 0, alpha}, alpha ? 0x20001 : 0x20000);
    storage.kept = [=](uint32_t pixel) {
        const uint32_t kept = kept_pixel({bits, grey, 0, 0, alpha}, pixel);
        return (kept & 0xff000000) | byte_of(kept, 16) * 0x010101;
    };
    return storage;
}

// Plain pixels of one row, told by a DXGI number.
std::string numbered_row(uint32_t number, uint32_t width, const std::string &bytes) {
    Texture model{.storage = numbered(dxt1(), 1), .width = width, .height = 1};
    model.storage.encode = [&](const Picture &) { return bytes; };
    return model.file_with(model.header(), {number, 3, 0, 1, 0});
}

// --- Formats ---

TEST_F(TextureTest, compressed_kinds_are_told_by_four_characters) {
    expect_read({.storage = compressed(1, fourcc("DXT1")), .levels = 4});
    expect_read({.storage = compressed(3, fourcc("DXT2")), .levels = 4});
    expect_read({.storage = compressed(3, fourcc("DXT3")), .levels = 4});
    expect_read({.storage = compressed(5, fourcc("DXT4")), .levels = 4});
    expect_read({.storage = compressed(5, fourcc("DXT5")), .levels = 4});
    EXPECT_EQ(texture.format, static_cast<uint32_t>(LINDRA_DXT5));
}

TEST_F(TextureTest, dxt1_stays_opaque) {
    Texture model{.width = 4, .height = 4};
    model.storage.encode = [](const Picture &) { return plain_block(0xffff).replace(4, 4, 4, '\xff'); };
    ASSERT_EQ(open(model.file()), 0);
    EXPECT_EQ(expanded(texture, image(0)), std::vector<uint32_t>(16, 0xff000000));
}

TEST_F(TextureTest, plain_pixels_are_told_by_masks) {
    const Masks coloured[] = {
        {8, 0xe0, 0x1c, 0x03, 0},        {16, 0xf800, 0x7e0, 0x1f, 0},    {16, 0x7c00, 0x3e0, 0x1f, 0},
        {24, 0xff0000, 0xff00, 0xff, 0}, {24, 0xff, 0xff00, 0xff0000, 0}, {32, 0xff0000, 0xff00, 0xff, 0},
        {32, 0xffff, 0xffff0000, 0, 0},  {32, 0xffffffff, 0, 0, 0},       {8, 0, 0, 0x80, 0},
    };
    for (const Masks &masks : coloured)
        expect_read({.storage = plain(masks, rgb), .width = 7, .height = 5, .levels = 3});
    const Masks with_alpha[] = {
        bgra,
        {32, 0xff, 0xff00, 0xff0000, 0xff000000},
        {32, 0x3ff, 0xffc00, 0x3ff00000, 0xc0000000},
        {16, 0x7c00, 0x3e0, 0x1f, 0x8000},
        {16, 0xf00, 0xf0, 0xf, 0xf000},
        {16, 0xe0, 0x1c, 0x03, 0xff00},
    };
    for (const Masks &masks : with_alpha)
        expect_read({.storage = plain(masks, rgba), .width = 7, .height = 5, .levels = 3});
    EXPECT_EQ(texture.format, static_cast<uint32_t>(LINDRA_MASKS));
    EXPECT_EQ(texture.bits, 16U);
    EXPECT_EQ(texture.red, 0xe0U);
    EXPECT_EQ(texture.alpha, 0xff00U);
}

TEST_F(TextureTest, alpha_counts_only_with_its_flag) {
    Storage storage = plain(bgra, rgb);
    storage.kept = [](uint32_t pixel) { return pixel | 0xff000000; };
    expect_read({.storage = storage});
    EXPECT_EQ(texture.alpha, 0U);
}

TEST_F(TextureTest, luminance_is_grey) {
    expect_read({.storage = luminance(8, 0xff, 0), .width = 5});
    expect_read({.storage = luminance(16, 0xffff, 0), .width = 5});
    expect_read({.storage = luminance(16, 0xff, 0xff00), .width = 5});
    expect_read({.storage = luminance(8, 0xf, 0xf0), .width = 5});
}

TEST_F(TextureTest, alpha_alone_is_black) {
    expect_read({.storage = plain({8, 0, 0, 0, 0xff}, 2), .width = 5, .levels = 2});
    EXPECT_EQ(expanded(texture, image(0))[0] & 0xffffff, 0U);
}

TEST_F(TextureTest, a_mask_with_gaps_counts_from_its_lowest_bit_to_its_highest) {
    Texture model{.storage = plain({8, 0x81, 0, 0, 0}, rgb), .width = 4, .height = 1};
    model.storage.encode = [](const Picture &) { return std::string("\x00\x01\x80\x81", 4); };
    ASSERT_EQ(open(model.file()), 0);
    EXPECT_EQ(expanded(texture, image(0)),
              (std::vector<uint32_t>{0xff000000, 0xff020000, 0xfffd0000, 0xffff0000}));
}

TEST_F(TextureTest, dx10_headers_tell_the_format_by_number) {
    for (const uint32_t number : {70U, 71U, 72U})
        expect_read({.storage = numbered(compressed(1, 0), number), .levels = 3});
    for (const uint32_t number : {73U, 74U, 75U})
        expect_read({.storage = numbered(compressed(3, 0), number), .levels = 3});
    for (const uint32_t number : {76U, 77U, 78U})
        expect_read({.storage = numbered(compressed(5, 0), number), .levels = 3});
    EXPECT_EQ(texture.header10.dxgiFormat, 78U);
    EXPECT_EQ(texture.header10.resourceDimension, 3U);
    EXPECT_EQ(texture.header10.arraySize, 1U);
    const Texture model{.storage = numbered(dxt1(), 71)};
    EXPECT_EQ(open(model.file_with(model.header(), {71, 3, 0x80000000, 1, 7})), 0);
    EXPECT_EQ(texture.header10.miscFlag, 0x80000000U);
    EXPECT_EQ(texture.header10.miscFlag2, 7U);
}

// The bytes of the formats, lowest address first, as the names of the formats spell their channels.
TEST_F(TextureTest, plain_dx10_formats_have_their_channels_where_their_names_say) {
    const auto first = [&](uint32_t number, const std::string &bytes) {
        EXPECT_EQ(open(numbered_row(number, 1, bytes)), 0) << number;
        EXPECT_EQ(told, AllTold{}) << number;
        return expanded(texture, image(0))[0];
    };
    for (const uint32_t rgba8 : {27U, 28U, 29U})
        EXPECT_EQ(first(rgba8, "\x10\x20\x30\x40"), 0x40102030U);
    for (const uint32_t bgra8 : {87U, 90U, 91U})
        EXPECT_EQ(first(bgra8, "\x10\x20\x30\x40"), 0x40302010U);
    for (const uint32_t bgrx8 : {88U, 92U, 93U})
        EXPECT_EQ(first(bgrx8, "\x10\x20\x30\x40"), 0xff302010U);
    for (const uint32_t rgb10a2 : {23U, 24U})
        EXPECT_EQ(first(rgb10a2, le32(3U << 30 | 1023 << 20 | 512 << 10 | 0)), 0xff0080ffU);
    for (const uint32_t rg16 : {33U, 35U})
        EXPECT_EQ(first(rg16, le16(0xffff) + le16(0x8000)), 0xffff8000U);
    for (const uint32_t rg8 : {48U, 49U})
        EXPECT_EQ(first(rg8, "\x10\x20"), 0xff102000U);
    for (const uint32_t r16 : {53U, 56U})
        EXPECT_EQ(first(r16, le16(0x8000)), 0xff800000U);
    for (const uint32_t r8 : {60U, 61U})
        EXPECT_EQ(first(r8, "\x10"), 0xff100000U);
    EXPECT_EQ(first(65, "\x10"), 0x10000000U);                               // A8
    EXPECT_EQ(first(85, le16(1 << 11 | 2 << 5 | 3)), 0xff080819U);           // B5G6R5
    EXPECT_EQ(first(86, le16(1 << 10 | 2 << 5 | 3)), 0x00081019U);           // B5G5R5A1
    EXPECT_EQ(first(86, le16(0x8000)), 0xff000000U);                         // B5G5R5A1
    EXPECT_EQ(first(115, le16(4 << 12 | 1 << 8 | 2 << 4 | 3)), 0x44112233U); // B4G4R4A4
}

TEST_F(TextureTest, other_numbers_of_formats_are_refused_by_name) {
    const std::vector<uint32_t> known = {23, 24, 27, 28, 29, 33, 35, 48, 49, 53, 56, 60, 61, 65, 70, 71,
                                         72, 73, 74, 75, 76, 77, 78, 85, 86, 87, 88, 90, 91, 92, 93, 115};
    for (uint32_t number = 0; number < 200; number++) {
        const std::string bytes = numbered_row(number, 4, std::string(16, 'x'));
        if (std::ranges::find(known, number) != known.end())
            EXPECT_EQ(open(bytes), 0) << number;
        else
            expect_refused(bytes, 128,
                           "has pixels of DXGI format " + std::to_string(number) + ", which is not read" +
                               way_out);
    }
    expect_refused(numbered_row(UINT32_MAX, 1, "x"), 128,
                   std::string("has pixels of DXGI format 4294967295, which is not read") + way_out);
}

TEST_F(TextureTest, other_four_characters_are_refused_by_name) {
    const auto refused = [&](uint32_t name, const std::string &shown) {
        expect_refused(Texture{.storage = compressed(1, name)}.file(), 84,
                       "has pixels of the kind \"" + shown + "\", which is not read" + way_out);
    };
    refused(fourcc("ATI2"), "ATI2");
    refused(fourcc("dxt1"), "dxt1");
    refused(fourcc(" !}~"), " !}~");
    refused(113, "q\\x00\\x00\\x00");
    refused(0x7f0a225c, "\\x5c\\x22\\x0a\\x7f");
    refused(0xffffffff, "\\xff\\xff\\xff\\xff");
    refused(0, "\\x00\\x00\\x00\\x00");
}

TEST_F(TextureTest, pixels_of_other_bits_are_refused) {
    for (const uint32_t bits : {0U, 1U, 4U, 12U, 15U, 33U, 40U, 64U, UINT32_MAX}) {
        const Texture model{.storage = plain(bgra, rgba)};
        expect_refused(model.file_with(model.header().with(Header::bits, bits)), 88,
                       "has pixels of " + std::to_string(bits) + " bits, which are not read" + way_out);
    }
}

TEST_F(TextureTest, flags_that_tell_no_format_are_refused) {
    for (const auto &[flags, shown] : {std::pair{0U, "0x0"}, {0x200U, "0x200"}, {1U, "0x1"}})
        expect_refused(Texture{.storage = plain(bgra, flags)}.file(), 80,
                       std::string("has pixel format flags ") + shown +
                           ", which tell no format that is read" + way_out);
}

TEST_F(TextureTest, pixels_without_masks_are_refused) {
    expect_refused(Texture{.storage = plain({32, 0, 0, 0, 0xff}, rgb)}.file(), 92,
                   std::string("has no masks for its pixels of 32 bits") + way_out);
    expect_refused(Texture{.storage = plain({8, 0xff, 0xff, 0xff, 0}, 2)}.file(), 104,
                   std::string("has no masks for its pixels of 8 bits") + way_out);
}

TEST_F(TextureTest, masks_beyond_the_pixel_are_cut) {
    const Texture model{.storage = plain({16, 0xf00, 0xf0, 0xf, 0xf000}, rgba)};
    const std::string tail = " for pixels of 16 bits, read as ";
    expect_read_with(model, Header::red, 0x10f00, {{92, "has the mask 0x10f00" + tail + "0xf00"}});
    expect_read_with(model, Header::green, 0xff0000f0, {{96, "has the mask 0xff0000f0" + tail + "0xf0"}});
    expect_read_with(model, Header::blue, 0x8000000f, {{100, "has the mask 0x8000000f" + tail + "0xf"}});
    expect_read_with(model, Header::alpha, 0xff00f000, {{104, "has the mask 0xff00f000" + tail + "0xf000"}});
}

// --- What a file holds ---

TEST_F(TextureTest, levels_are_halved_down_to_one_pixel) {
    expect_read({.width = 16, .height = 4, .levels = 5});
    EXPECT_EQ(image(3).width, 2U);
    EXPECT_EQ(image(3).height, 1U);
    EXPECT_EQ(texture.levels, 5U);
    expect_read({.storage = plain(bgra, rgba), .width = 7, .height = 3, .levels = 3});
}

TEST_F(TextureTest, a_texture_without_mip_maps_needs_no_flag) {
    const Texture model;
    for (const uint32_t count : {0U, 1U}) {
        EXPECT_EQ(
            open(model.file_with(model.header().with(Header::flags, 0x1007).with(Header::mipmaps, count))),
            0);
        EXPECT_EQ(told, AllTold{});
        expect_images(model, 1);
    }
}

TEST_F(TextureTest, cubes_have_their_faces_one_after_the_other) {
    expect_read({.levels = 4, .faces = all_faces});
    EXPECT_EQ(texture.faces, 6U);
    EXPECT_EQ(image(23).face, 5U);
    expect_read({.storage = plain(bgra, rgba), .levels = 2, .faces = {1, 4}});
    EXPECT_EQ(texture.faces, 2U);
    EXPECT_EQ(texture.face[1], 4U);
}

TEST_F(TextureTest, arrays_have_their_elements_one_after_the_other) {
    expect_read({.storage = numbered(dxt1(), 71), .levels = 3, .elements = 5});
    EXPECT_EQ(texture.elements, 5U);
    expect_read({.storage = numbered(dxt1(), 71), .levels = 2, .faces = all_faces, .elements = 3});
    EXPECT_EQ(texture.nimages, 36U);
    EXPECT_EQ(image(35).element, 2U);
}

TEST_F(TextureTest, volumes_have_slices_that_are_halved_too) {
    expect_read({.levels = 4, .depth = 5});
    EXPECT_EQ(texture.nimages, 5U + 2 + 1 + 1);
    EXPECT_EQ(texture.depth, 5U);
    expect_read({.storage = numbered(plain(bgra, rgba), 87), .levels = 3, .depth = 7});
    expect_read({.width = 2, .height = 1, .levels = 3, .depth = 4},
                {{12, "has 2 x 1 pixels, no multiples of 4; of the blocks at the edge a part is used"}});
}

TEST_F(TextureTest, lines_are_images_of_one_row) {
    const Texture model{.storage = numbered(plain(bgra, rgba), 87), .width = 9, .height = 1, .elements = 2};
    EXPECT_EQ(open(model.file_with(model.header(), {87, 2, 0, 2, 0})), 0);
    EXPECT_EQ(told, AllTold{});
    expect_images(model, 2);
}

// --- What is passed over ---

TEST_F(TextureTest, wrong_sizes_of_headers_are_told) {
    expect_read_with({}, Header::size, 123, {{4, "says that its header has 123 bytes, read as 124"}});
    expect_read_with({}, Header::format_size, UINT32_MAX,
                     {{76, "says that its pixel format has 4294967295 bytes, read as 32"}});
}

TEST_F(TextureTest, a_missing_mip_map_flag_is_told_where_the_levels_are_there) {
    expect_read_with({.levels = 2}, Header::flags, 0x1007,
                     {{8, "has no mip-map flag, but a mip-map count of 2; read as 2"}});
    expect_read_with({.levels = 3}, Header::flags, 0x1007,
                     {{8, "has no mip-map flag, but a mip-map count of 3; read as 3"}});
    const Texture cube{.levels = 3, .faces = all_faces};
    expect_read_with(cube, Header::flags, 0x1007,
                     {{8, "has no mip-map flag, but a mip-map count of 3; read as 3"}});
}

TEST_F(TextureTest, a_missing_mip_map_flag_is_believed_where_the_file_ends_behind_the_first_levels) {
    for (const Texture &model : {Texture{}, Texture{.faces = all_faces}, Texture{.depth = 3}}) {
        Header header = model.header().with(Header::flags, 0x1007).with(Header::mipmaps, 3);
        EXPECT_EQ(open(model.file_with(header)), 0);
        EXPECT_EQ(told, (AllTold{{8, "has no mip-map flag, but a mip-map count of 3; read as 1"}}));
        expect_images(model, model.pictures().size());
    }
}

TEST_F(TextureTest, without_the_flag_levels_are_read_as_far_as_they_are_there) {
    const Texture model{.levels = 4};
    const std::string bytes = model.file_with(model.header().with(Header::flags, 0x1007));
    EXPECT_EQ(open(bytes.substr(0, 128 + 32 + 8)), 0);
    expect_images(model, 2);
    EXPECT_EQ(
        told,
        (AllTold{{8, "has no mip-map flag, but a mip-map count of 4; read as 4"},
                 {168, "ends in image 2, of element 0, face 0, level 2, slice 0; it is left out with all "
                       "after it"}}));
}

TEST_F(TextureTest, without_the_flag_some_of_the_first_levels_are_no_end) {
    const Texture model{.levels = 3, .faces = all_faces};
    const std::string bytes = model.file_with(model.header().with(Header::flags, 0x1007));
    EXPECT_EQ(open(bytes.substr(0, 128 + 32)), 0);
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told[0], (Told{8, "has no mip-map flag, but a mip-map count of 3; read as 3"}));
}

TEST_F(TextureTest, a_count_that_is_not_believed_is_told_once) {
    const Texture model;
    const Header header = model.header().with(Header::flags, 0x1007).with(Header::mipmaps, UINT32_MAX);
    EXPECT_EQ(open(model.file_with(header)), 0);
    EXPECT_EQ(told, (AllTold{{8, "has no mip-map flag, but a mip-map count of 4294967295; read as 1"}}));
}

TEST_F(TextureTest, a_depth_without_the_flag_of_a_volume_is_told) {
    for (const uint32_t depth : {2U, 3U}) {
        const Texture model{.depth = depth};
        const uint32_t flags = model.header().words[Header::flags] | 0x800000;
        EXPECT_EQ(open(model.file_with(model.header().with(Header::flags, flags).with(Header::caps2, 0))), 0);
        EXPECT_EQ(told, (AllTold{{112, "has a depth of " + std::to_string(depth) + ", but no volume flag"}}));
        expect_images(model, depth);
    }
}

TEST_F(TextureTest, what_a_dx10_header_does_not_know_is_told) {
    const auto told_of = [&](uint32_t caps2, const std::array<uint32_t, 5> &header10) {
        const Texture model{.storage = numbered(dxt1(), 71)};
        EXPECT_EQ(open(model.file_with(model.header().with(Header::caps2, caps2), header10)), 0);
        return told;
    };
    EXPECT_EQ(told_of(0xfe00, {71, 3, 0, 1, 0}),
              (AllTold{{112, "is a cube that its DX10 header does not know, read as none"}}));
    EXPECT_EQ(told_of(0x200000, {71, 3, 0, 1, 0}),
              (AllTold{{112, "is a volume that its DX10 header does not know, read as none"}}));
    EXPECT_EQ(texture.nimages, 1U);
}

TEST_F(TextureTest, a_mip_map_count_of_0_is_one_level) {
    expect_read_with({}, Header::mipmaps, 0, {{28, "has a mip-map count of 0, read as 1"}});
}

TEST_F(TextureTest, more_levels_than_there_can_be_are_cut) {
    const Texture model{.levels = 4};
    expect_read_with(
        model, Header::mipmaps, UINT32_MAX,
        {{28, "has a mip-map count of 4294967295, read as 4, the levels of a texture of its size"}});
    const Texture deep{.width = 2, .height = 2, .levels = 5, .depth = 16};
    expect_read_with(deep, Header::mipmaps, 6,
                     {{12, "has 2 x 2 pixels, no multiples of 4; of the blocks at the edge a part is used"},
                      {28, "has a mip-map count of 6, read as 5, the levels of a texture of its size"}});
}

TEST_F(TextureTest, sizes_that_are_no_whole_blocks_are_told) {
    for (const auto &[width, height] : {std::pair{6U, 5U}, {8U, 3U}, {1U, 4U}})
        expect_read({.width = width, .height = height},
                    {{12, "has " + std::to_string(width) + " x " + std::to_string(height) +
                              " pixels, no multiples of 4; of the blocks at the edge a part is used"}});
}

TEST_F(TextureTest, bytes_behind_the_last_image_are_told) {
    const Texture model{.levels = 2, .faces = {2}};
    EXPECT_EQ(open(model.file() + "abc"), 0);
    EXPECT_EQ(told, (AllTold{{168, "has 3 bytes behind its last image, which are not read"}}));
    expect_images(model, 2);
}

TEST_F(TextureTest, an_array_of_0_elements_is_one) {
    const Texture model{.storage = numbered(dxt1(), 71), .levels = 2};
    EXPECT_EQ(open(model.file_with(model.header(), {71, 3, 0, 0, 0})), 0);
    EXPECT_EQ(told, (AllTold{{140, "is an array of 0 elements, read as 1"}}));
    expect_images(model, 2);
}

TEST_F(TextureTest, a_cube_without_faces_has_six) {
    const Texture model{.faces = all_faces};
    expect_read_with(model, Header::caps2, 0x200, {{112, "is a cube without faces, read as one of six"}});
}

TEST_F(TextureTest, a_cube_has_six_faces_whatever_else_is_set) {
    expect_read_with({.faces = all_faces}, Header::caps2, 0xffdfffff, {});
    EXPECT_EQ(texture.faces, 6U);
}

TEST_F(TextureTest, faces_without_a_cube_are_none) {
    expect_read_with({}, Header::caps2, 0xfc00, {});
}

TEST_F(TextureTest, a_volume_without_depth_has_one_slice) {
    expect_read_with({}, Header::caps2, 0x200000, {{24, "is a volume of depth 0, read as 1"}});
    EXPECT_EQ(texture.depth, 1U);
    const Texture model{.storage = numbered(dxt1(), 71)};
    EXPECT_EQ(open(model.file_with(model.header(), {71, 4, 0, 1, 0})), 0);
    EXPECT_EQ(told, (AllTold{{24, "is a volume of depth 0, read as 1"}}));
    expect_images(model, 1);
}

TEST_F(TextureTest, a_depth_without_a_volume_is_none) {
    expect_read_with({}, Header::depth, 7, {});
    const Texture model;
    const uint32_t flags = model.header().words[Header::flags] | 0x800000;
    EXPECT_EQ(open(model.file_with(model.header().with(Header::flags, flags).with(Header::depth, 1))), 0);
    EXPECT_EQ(told, AllTold{});
    expect_images(model, 1);
}

TEST_F(TextureTest, a_cube_and_volume_is_read_as_the_header_can_tell_more_of) {
    const Texture cube{.faces = all_faces};
    expect_read_with(cube, Header::caps2, 0x20fe00, {{112, "is a cube and a volume, read as a cube"}});
    const Texture volume{.storage = numbered(dxt1(), 71), .depth = 3};
    EXPECT_EQ(open(volume.file_with(volume.header(), {71, 4, 4, 1, 0})), 0);
    EXPECT_EQ(told, (AllTold{{136, "is a cube and a volume, read as a volume"}}));
    expect_images(volume, 3);
}

TEST_F(TextureTest, an_array_of_volumes_is_one_volume) {
    const Texture model{.storage = numbered(dxt1(), 71), .depth = 3};
    EXPECT_EQ(open(model.file_with(model.header(), {71, 4, 0, 2, 0})), 0);
    EXPECT_EQ(told, (AllTold{{140, "is an array of 2 volumes, which there is not; read as 1"}}));
    expect_images(model, 3);
}

TEST_F(TextureTest, an_unknown_dimension_is_that_of_images) {
    const Texture model{.storage = numbered(dxt1(), 71)};
    for (const uint32_t dimension : {0U, 1U, 5U, UINT32_MAX}) {
        EXPECT_EQ(open(model.file_with(model.header(), {71, dimension, 0, 1, 0})), 0);
        EXPECT_EQ(told, (AllTold{{132, "has resource dimension " + std::to_string(dimension) +
                                           ", read as 3, images"}}));
        expect_images(model, 1);
    }
}

// --- What is refused ---

TEST_F(TextureTest, other_files_are_refused) {
    const std::string text = "is no texture file: it does not begin with \"DDS \"";
    expect_refused("dds " + Texture().file().substr(4), 0, text);
    expect_refused("DDX", 0, text);
    expect_refused(std::string(200, '\0'), 0, text);
}

TEST_F(TextureTest, cut_headers_are_refused) {
    const std::string bytes = Texture().file();
    for (size_t size = 0; size < 128; size++)
        expect_refused(bytes.substr(0, size), size, "ends in its header of 128 bytes");
    const std::string longer = Texture{.storage = numbered(dxt1(), 71)}.file();
    for (size_t size = 128; size < 148; size++)
        expect_refused(longer.substr(0, size), size, "ends in its DX10 header, which ends at byte 148");
}

TEST_F(TextureTest, an_empty_file_may_have_no_address) {
    EXPECT_EQ(lindra_unstuff_texture(&texture, nullptr, 0, keep, this), -1);
    EXPECT_EQ(told, (AllTold{{0, "ends in its header of 128 bytes"}}));
}

TEST_F(TextureTest, textures_without_pixels_are_refused) {
    const Texture model;
    expect_refused(model.file_with(model.header().with(Header::width, 0)), 16, "has a width of 0");
    expect_refused(model.file_with(model.header().with(Header::height, 0)), 12, "has a height of 0");
}

TEST_F(TextureTest, a_file_without_a_whole_image_is_refused) {
    const std::string bytes = Texture().file();
    for (const size_t size : {size_t{128}, bytes.size() - 1})
        expect_refused(bytes.substr(0, size), 128,
                       "holds no whole image: the first, of 8 x 8 pixels, is cut");
    expect_refused(Texture{.storage = numbered(dxt1(), 71)}.file().substr(0, 148), 148,
                   "holds no whole image: the first, of 8 x 8 pixels, is cut");
}

TEST_F(TextureTest, the_reason_is_logged_where_nobody_is_told) {
    const GuardedBuffer buffer("BMP");
    EXPECT_EQ(lindra_unstuff_texture(&texture, buffer.data(), buffer.size(), nullptr, nullptr), -1);
    EXPECT_EQ(log.take(), Lines{"0 lindra_unstuff_texture: byte 0: is no texture file: it does not begin "
                                "with \"DDS \".\n"});
    const GuardedBuffer sound(Texture().file() + "x");
    EXPECT_EQ(lindra_unstuff_texture(&texture, sound.data(), sound.size(), nullptr, nullptr), 0);
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(TextureTest, only_images_of_the_texture_are_expanded) {
    ASSERT_EQ(open(Texture{.levels = 4}.file()), 0);
    const LindraImage sound = image(1);
    std::vector<uint32_t> pixels(64, 0x12345678);
    const auto refused = [&](auto change) {
        LindraImage changed = sound;
        change(changed);
        EXPECT_EQ(lindra_expand_image(&texture, &changed, pixels.data()), -1);
    };
    refused([](LindraImage &i) { i.width = 5; });
    refused([](LindraImage &i) { i.width = 0; });
    refused([](LindraImage &i) { i.height = 0; });
    refused([](LindraImage &i) { i.width = i.height = UINT32_MAX; });
    refused([](LindraImage &i) { i.size = UINT64_MAX; });
    refused([&](LindraImage &i) { i.offset = file->size() - 7; });
    refused([](LindraImage &i) { i.offset = UINT64_MAX; });
    const LindraTexture nothing{};
    EXPECT_EQ(lindra_expand_image(&nothing, &sound, pixels.data()), -1);
    EXPECT_EQ(pixels, std::vector<uint32_t>(64, 0x12345678));
}

// --- Damage ---

// How many images are whole, and where they end, counted one by one in numbers that nothing overflows.
using Wide = unsigned __int128;

struct Count {
    uint64_t images = 0;
    Wide end = 0;
};

Wide wide_size(const LindraTexture &t, uint32_t width, uint32_t height) {
    if (t.format == LINDRA_MASKS) return Wide{width} * height * (t.bits / 8);
    const Wide across = (Wide{width} + 3) / 4;
    return across * ((Wide{height} + 3) / 4) * (t.format == LINDRA_DXT1 ? 8 : 16);
}

Count counted(const LindraTexture &t) {
    Count count{0, t.data};
    for (uint64_t chain = 0; chain < uint64_t{t.elements} * t.faces; chain++)
        for (uint32_t level = 0; level < t.levels; level++)
            for (uint32_t slice = 0; slice < std::max(1U, t.depth >> level); slice++) {
                const Wide size =
                    wide_size(t, std::max(1U, t.width >> level), std::max(1U, t.height >> level));
                if (count.end + size > t.size) return count;
                count.images++;
                count.end += size;
            }
    return count;
}

struct TextureDamage : TextureTest {
    uint64_t images = 0;

    // Opens a file and looks at everything in it.
    int read(const std::string &bytes) {
        images = 0;
        const int status = open(bytes);
        for (const Told &each : told) {
            EXPECT_LE(each.offset, bytes.size());
            EXPECT_FALSE(each.text.empty());
            EXPECT_EQ(each.text.find_first_not_of(printable), std::string::npos) << each.text;
        }
        if (status < 0) {
            EXPECT_FALSE(told.empty());
            return status;
        }
        expect_sound();
        return status;
    }

    void expect_sound() {
        const Count count = counted(texture);
        EXPECT_EQ(texture.nimages, count.images);
        EXPECT_GE(texture.nimages, 1U);
        uint64_t offset = texture.data;
        for (; images < texture.nimages; images++) {
            const LindraImage each = image(images);
            ASSERT_EQ(each.offset, offset);
            offset += each.size;
            expanded(texture, each);
        }
        EXPECT_EQ(offset, count.end);
        LindraImage none;
        EXPECT_EQ(lindra_texture_image(&texture, images, &none), -1);
    }

    static constexpr const char *printable =
        " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~";
};

std::vector<Texture> samples() {
    return {
        {.levels = 4},
        {.storage = compressed(5, fourcc("DXT5")), .levels = 4, .faces = all_faces},
        {.storage = plain({16, 0xf800, 0x7e0, 0x1f, 0}, rgb),
         .width = 5,
         .height = 3,
         .levels = 3,
         .depth = 2},
        {.storage = numbered(plain(bgra, rgba), 87), .width = 3, .height = 3, .levels = 2, .elements = 3},
        {.storage = numbered(dxt1(), 71), .levels = 2, .faces = all_faces, .elements = 2},
        {.storage = numbered(compressed(3, 0), 74), .levels = 3, .depth = 4},
    };
}

TEST_F(TextureDamage, every_cut_leaves_the_images_before_it) {
    for (const Texture &model : samples()) {
        const std::string bytes = model.file();
        const std::vector<Picture> pictures = model.pictures();
        for (size_t size = 0; size <= bytes.size(); size++) {
            const int status = read(bytes.substr(0, size));
            size_t whole = 0;
            size_t end = model.storage.dxgi ? 148 : 128;
            while (whole < pictures.size() && end + model.storage.encode(pictures[whole]).size() <= size)
                end += model.storage.encode(pictures[whole++]).size();
            EXPECT_EQ(status, whole ? 0 : -1) << size;
            EXPECT_EQ(images, whole) << size;
            if (!whole || size == bytes.size()) continue;
            ASSERT_EQ(told.size(), 1U) << size;
            EXPECT_EQ(told[0].offset, end);
        }
        EXPECT_EQ(told, AllTold{});
        expect_images(model, pictures.size());
    }
}

TEST_F(TextureDamage, every_byte_of_a_header_may_be_any) {
    size_t read_all_the_same = 0;
    for (const Texture &model : samples()) {
        const std::string bytes = model.file();
        for (size_t at = 0; at < 148; at++)
            for (const char byte : {'\x00', '\x7f', '\x80', '\xff'}) {
                std::string changed = bytes;
                changed[at] = byte;
                read_all_the_same += read(changed) == 0;
            }
    }
    EXPECT_GT(read_all_the_same, 1000U);
}

TEST_F(TextureDamage, every_bit_of_a_header_may_be_wrong) {
    for (const Texture &model : samples()) {
        const std::string bytes = model.file();
        for (size_t bit = 0; bit < size_t{148} * 8; bit++) {
            std::string changed = bytes;
            changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ 1 << bit % 8);
            read(changed);
        }
    }
}

// All numbers as large as they can be: the images would need more bytes than 64 bits tell.
TEST_F(TextureDamage, numbers_of_32_bits_overflow_nothing) {
    using Place = Header::Place;
    const std::vector<Place> numbers = {Header::width, Header::height, Header::depth, Header::mipmaps};
    for (const Texture &model : samples())
        for (const uint32_t number : {UINT32_MAX, 0x80000000U, 0x7fffffffU, 0xfffffffdU, 0x10000U, 1U})
            for (uint32_t which = 1; which < 1U << numbers.size(); which++)
                for (const uint32_t elements : {UINT32_MAX, 0x2aaaaaabU, 1U}) {
                    Header header = model.header();
                    for (size_t i = 0; i < numbers.size(); i++)
                        if (which >> i & 1) header.with(numbers[i], number);
                    Texture::Words10 words = model.header10();
                    words[3] = elements;
                    read(model.file_with(header, words));
                }
}

TEST_F(TextureDamage, images_of_one_byte_may_be_as_many_as_the_file_has_bytes) {
    Texture model{.storage = numbered(plain({8, 0xff, 0, 0, 0}, rgb), 61), .width = 1, .height = 1};
    model.storage.encode = [](const Picture &) { return std::string(1000, 'x'); };
    EXPECT_EQ(read(model.file_with(model.header(), {61, 3, 4, UINT32_MAX, 0})), 0);
    EXPECT_EQ(images, 1000U);
    EXPECT_EQ(image(999).element, 166U);
    EXPECT_EQ(image(999).face, 3U);
    EXPECT_EQ(read(model.file_with(model.header().with(Header::depth, UINT32_MAX), {61, 4, 0, 1, 0})), 0);
    EXPECT_EQ(images, 1000U);
    EXPECT_EQ(image(999).slice, 999U);
}

TEST_F(TextureDamage, random_headers_end_well) {
    std::mt19937 random(20180131);
    size_t read_all_the_same = 0;
    for (const Texture &model : samples()) {
        const std::string bytes = model.file();
        for (int round = 0; round < 3000; round++) {
            std::string changed = bytes;
            for (auto i = random() % 6; i--;)
                changed[4 + random() % 144] = static_cast<char>(random());
            read_all_the_same += read(changed) == 0;
        }
    }
    EXPECT_GT(read_all_the_same, 1000U);
}

// Nothing but the headers is looked at, so that pages never touched will do.
TEST_F(TextureDamage, images_beyond_4_gib_are_found) {
    const uint64_t size = (uint64_t{5} << 30) + (uint64_t{1} << 20);
    void *region =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(region, MAP_FAILED);
    Texture model{.storage = plain({8, 0xff, 0, 0, 0}, rgb), .width = 65536, .height = 65536, .levels = 3};
    model.storage.encode = [](const Picture &) { return std::string(); };
    const std::string header = model.file();
    memcpy(region, header.data(), header.size());
    const auto *base = static_cast<unsigned char *>(region);
    EXPECT_EQ(lindra_unstuff_texture(&texture, base, size, keep, this), 0);
    EXPECT_EQ(texture.nimages, 2U);
    EXPECT_EQ(image(1).offset, 128 + (uint64_t{4} << 30));
    const uint64_t cut = 128 + (uint64_t{5} << 30);
    EXPECT_EQ(
        told,
        (AllTold{{cut, "ends in image 2, of element 0, face 0, level 2, slice 0; it is left out with all "
                       "after it"}}));
    munmap(region, size);
}

} // namespace
