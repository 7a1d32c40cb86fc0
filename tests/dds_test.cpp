// SPDX-License-Identifier: MIT
//
// golden/dds holds the listing of a mip-mapped texture; LINDRA_BLESS=1 writes it anew.

#include "allocations.hpp"
#include "bounded_buffer.hpp"
#include "dds_builder.hpp"
#include "log_capture.hpp"
#include "printed.hpp"

#include "dds_strdefs/registry.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <malloc.h>
#include <utility>

using namespace lindra::test;
using dds::fourcc;
using dds::Header;
using dds::plain_block;

namespace {

const std::string unstuff_error = "0 dds_decode_file: dds_unstuff_stream() error.\n";
constexpr uint32_t white = 0xffffffff;

struct Dds : testing::Test {
    LogCapture log;
    DdsFile *file = nullptr;
    ptrdiff_t consumed = 0;

    ~Dds() override { lindra_free_dds(file); }

    int decode(const std::string &bytes, int mipmap = -1) {
        const BoundedBuffer buffer(bytes);
        unsigned char *pos = buffer.data();
        const int status = dds_decode_file(&file, mipmap, buffer.data(), &pos);
        consumed = pos - buffer.data();
        return status;
    }

    int levels() const { return counttbl(file->mipmaps); }
    const uint32_t *level(int i) const { return static_cast<uint32_t *>(gettbl(file->mipmaps, i)); }
    std::string listing(const char *prefix = "") const {
        return printed([&] { dds_print_file(prefix, file); });
    }
};

// Blocks, each of another colour than the one before: 0, 1, 2 ... in the lowest bits of blue and green.
std::string blocks(int n) {
    std::string bytes;
    for (int i = 0; i < n; i++)
        bytes += plain_block(i);
    return bytes;
}

// What a block of blocks() expands to.
uint32_t pixel(int block) {
    uint32_t image[16];
    const std::string bytes = plain_block(block);
    DecompressBlockDXT1(0, 0, 4, reinterpret_cast<const unsigned char *>(bytes.data()), image);
    return image[0];
}

// 8 x 8, 4 x 4, 2 x 2: 4 + 1 + 1 blocks.
std::string three_levels() {
    return Header().sized(8, 8, 3).bytes() + blocks(6);
}

} // namespace

// --- Names ------------------------------------------------------------------------------------------------

TEST_F(Dds, structures_and_word_types_have_names) {
    const char *structures[] = {"Unknown", "File", "Header", "Header10", "PixelFormat", "Unknown"};
    for (int i = 0; i < 6; i++)
        EXPECT_STREQ(dds_get_type(i), structures[i]);
    const char *words[] = {"Unknown",     "DWord",         "Header",
                           "Header10",    "DXGIFormat",    "D3D!)ResourceDimension",
                           "Pixelformat", "HeaderDwFlags", "PixelformatDwFlags",
                           "Unknown",     "Unknown"};
    for (int i = 0; i < 11; i++)
        EXPECT_STREQ(dds_get_word_type(i), words[i]);
    EXPECT_STREQ(dds_get_type(-1), "Unknown");
    EXPECT_STREQ(dds_get_word_type(INT_MIN), "Unknown");
}

TEST_F(Dds, flags_are_named_in_the_order_of_their_tables) {
    char buf[97];
    EXPECT_EQ(dds_get_dds_bitmap(-1, buf), buf);
    EXPECT_STREQ(buf,
                 "DSD_CAPS DSD_HEIGHT DSD_WIDTH DSD_PITCH DSD_PIXELFORMAT DSD_MIPMAPCOUNT DSD_LINEARSIZE "
                 "DSD_DEPTH");
    EXPECT_EQ(strlen(buf) + 1, 97U);
    EXPECT_EQ(dds_get_pixelformat_bitmap(-1, buf), buf);
    EXPECT_STREQ(buf, "DPF_ALPHAPIXELS DPF_ALPHA DPF_FOURCC DPF_RGB DPF_YUV DPF_LUMINANCE");
    EXPECT_EQ(strlen(buf) + 1, 67U);
    EXPECT_STREQ(dds_get_ddscaps_bitmap(0x401008, buf), "DDSCAPS_COMPLEX DDSCAPS_MIPMAP DDSCAPS_TEXTURE");
    EXPECT_EQ(strlen(buf) + 1, 47U);
}

TEST_F(Dds, flags_without_a_name_are_passed_over) {
    char buf[97] = "before";
    EXPECT_STREQ(dds_get_dds_bitmap(0, buf), "");
    EXPECT_STREQ(dds_get_dds_bitmap(0x40000010, buf), "");
    EXPECT_STREQ(dds_get_dds_bitmap(0x40000012, buf), "DSD_HEIGHT");
    EXPECT_STREQ(dds_get_pixelformat_bitmap(0x48, buf), "DPF_RGB");
    EXPECT_STREQ(dds_get_ddscaps_bitmap(0x1000, buf), "DDSCAPS_TEXTURE");
}

// --- Structures -------------------------------------------------------------------------------------------

TEST_F(Dds, three_structures_are_registered) {
    EXPECT_EQ(dds_strdefs_init(), 0);
    EXPECT_EQ(dds_strdefs_init(), 0);
    int found = 0;
    for (int i = -1; i <= 512; i++)
        found += lindra::dds::Engine::find(i) != nullptr;
    EXPECT_EQ(found, 3);
}

TEST_F(Dds, unknown_structures_are_refused) {
    const BoundedBuffer buffer(Header().bytes());
    unsigned char *pos = buffer.data();
    void *out = nullptr;
    EXPECT_EQ(dds_unstuff_stream(1, &out, pos, &pos), -1);
    EXPECT_EQ(dds_unstuff_stream(512, &out, pos, &pos), -1);
    EXPECT_EQ(dds_unstuff_stream(-1, &out, pos, &pos), -1);
    EXPECT_EQ(log.take(), (Lines{"0 dds_unstuff_stream: str_type 0x1 not defined.\n",
                                 "0 dds_unstuff_stream: str_type 0x200 not defined.\n",
                                 "0 dds_unstuff_stream: str_type 0xffffffff not defined.\n"}));
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(pos, buffer.data());
}

TEST_F(Dds, header_words_stand_in_slots_and_reserved_ones_are_packed) {
    Header header;
    for (uint32_t i = 0; i < 31; i++)
        header.words[i] = 0x80000000 + i;
    const BoundedBuffer buffer(header.bytes().substr(4));
    unsigned char *pos = buffer.data();
    void *out = nullptr;
    ASSERT_EQ(dds_unstuff_stream(DDS_TYPE_HEADER, &out, pos, &pos), 0);
    EXPECT_EQ(pos, buffer.end());
    const DDS_HEADER read = *static_cast<DDS_HEADER *>(out);
    free(out);

    const uint64_t first[] = {
        read.dwSize,  read.dwFlags,      read.dwHeight, read.dwWidth, read.dwPitchOrLinearSize,
        read.dwDepth, read.dwMipMapCount};
    for (uint32_t i = 0; i < 7; i++)
        EXPECT_EQ(first[i], 0x80000000 + i);
    const DDS_PIXELFORMAT &format = read.ddspf;
    const uint64_t then[] = {format.dwSize,     format.dwFlags,    format.dwFourCC,   format.dwRGBBitCount,
                             format.dwRBitMask, format.dwGBitMask, format.dwBBitMask, format.dwABitMask,
                             read.dwCaps,       read.dwCaps2,      read.dwCaps3,      read.dwCaps4,
                             read.dwReserved2};
    for (uint32_t i = 0; i < 13; i++)
        EXPECT_EQ(then[i], 0x80000000 + 18 + i);

    uint32_t words[22];
    memcpy(words, read.dwReserved, sizeof words);
    for (uint32_t i = 0; i < 22; i++)
        EXPECT_EQ(words[i], i < 11 ? 0x80000000 + 7 + i : 0);
}

TEST_F(Dds, structures_of_the_caller_are_cleared_and_filled) {
    const BoundedBuffer buffer(Header().bytes().substr(76, 32));
    DDS_PIXELFORMAT format;
    memset(&format, 0x55, sizeof format);
    void *out = &format;
    unsigned char *pos = buffer.data();
    EXPECT_EQ(dds_unstuff_stream(DDS_TYPE_PIXELFORMAT, &out, nullptr, &pos), 0);
    EXPECT_EQ(out, &format);
    EXPECT_EQ(format.dwFourCC, fourcc("DXT1"));
    EXPECT_EQ(format.dwABitMask, 0U);
}

TEST_F(Dds, dx10_headers_are_refused_at_their_first_word) {
    const BoundedBuffer buffer(std::string(20, '\1'));
    unsigned char *pos = buffer.data();
    void *out = nullptr;
    EXPECT_EQ(dds_unstuff_stream(DDS_TYPE_HEADER10, &out, pos, &pos), -1);
    EXPECT_EQ(log.take(), Lines{"0 dds_unstuff_stream: Unknown type 4.\n"});
    EXPECT_EQ(pos, buffer.data());
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(static_cast<DDS_HEADER10 *>(out)->dxgiFormat, 0U);
    free(out);
}

TEST_F(Dds, words_of_either_byte_order_are_taken_in_runs) {
    const BoundedBuffer buffer(le32(1) + le32(2) + be32(3));
    unsigned char *pos = buffer.data();
    lindra::Stream stream(&pos);
    uint32_t words[2];
    EXPECT_EQ(lindra::dds::dds2h4(words, stream, 2, 0), 0);
    EXPECT_EQ(words[0], 1U);
    EXPECT_EQ(words[1], 2U);
    EXPECT_EQ(lindra::dds::dds2h4(words, stream, 1, 1), 0);
    EXPECT_EQ(words[0], 3U);
    EXPECT_EQ(lindra::dds::dds2h4(words, stream, 1, 0), -1);
    EXPECT_EQ(pos, buffer.end());
}

TEST_F(Dds, failures_of_the_engine_have_texts_of_their_own) {
    EXPECT_EQ(lindra::dds::Registry::fail_nested(), -1);
    EXPECT_EQ(log.take(), Lines{"1 dds_unstuff_stream: dds_unstuff_stream() error.\n"});
}

TEST_F(Dds, elements_are_stepped_over_as_they_are_packed) {
    for (int32_t type : {1, 7, 8, 9, 10}) {
        const lindra::Shown &word = *lindra::dds::Registry::shown(type);
        EXPECT_EQ(word.step, 4) << type;
        EXPECT_EQ(word.var_step, 8) << type;
        EXPECT_EQ(word.limit, 10) << type;
        EXPECT_TRUE(word.separated && word.may_vary) << type;
    }
    const lindra::Shown &format = *lindra::dds::Registry::shown(6);
    EXPECT_EQ(format.step, 0);
    EXPECT_EQ(format.var_step, static_cast<ptrdiff_t>(sizeof(DDS_PIXELFORMAT)));
    EXPECT_FALSE(format.separated);
    for (int32_t type : {0, 2, 3, 4, 5, 11})
        EXPECT_EQ(lindra::dds::Registry::shown(type), nullptr) << type;
}

TEST_F(Dds, types_are_words_or_structures_or_refused) {
    for (int32_t type : {1, 7, 8, 9, 10})
        EXPECT_EQ(lindra::dds::Registry::element(type)->size, 4U) << type;
    EXPECT_EQ(lindra::dds::Registry::element(2)->str_type, DDS_TYPE_HEADER);
    EXPECT_EQ(lindra::dds::Registry::element(3)->str_type, DDS_TYPE_HEADER10);
    EXPECT_EQ(lindra::dds::Registry::element(6)->str_type, DDS_TYPE_PIXELFORMAT);
    for (int32_t type : {-1, 0, 4, 5, 11})
        EXPECT_EQ(lindra::dds::Registry::element(type), nullptr) << type;
}

// --- Files ------------------------------------------------------------------------------------------------

TEST_F(Dds, all_levels_are_expanded_in_their_order) {
    ASSERT_EQ(decode(three_levels()), 0);
    EXPECT_EQ(consumed, 128 + 6 * 8);
    ASSERT_EQ(levels(), 3);
    EXPECT_EQ(level(0)[0], pixel(0));
    EXPECT_EQ(level(0)[7], pixel(1));
    EXPECT_EQ(level(0)[7 * 8], pixel(2));
    EXPECT_EQ(level(0)[63], pixel(3));
    for (int i = 0; i < 16; i++)
        EXPECT_EQ(level(1)[i], pixel(4));
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(level(2)[i], pixel(5));
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Dds, one_level_alone_becomes_the_first_of_the_list) {
    for (int wanted = 0; wanted < 3; wanted++) {
        ASSERT_EQ(decode(three_levels(), wanted), 0);
        EXPECT_EQ(consumed, 128 + 6 * 8);
        ASSERT_EQ(levels(), 1);
        EXPECT_EQ(level(0)[0], pixel(wanted == 0 ? 0 : wanted + 3));
    }
}

TEST_F(Dds, level_past_the_chain_means_the_last) {
    for (int wanted : {3, 7, INT_MAX}) {
        ASSERT_EQ(decode(three_levels(), wanted), 0);
        ASSERT_EQ(levels(), 1);
        EXPECT_EQ(level(0)[0], pixel(5));
    }
}

TEST_F(Dds, magic_number_is_kept_and_not_looked_at) {
    std::string bytes = three_levels();
    ASSERT_EQ(decode(bytes), 0);
    EXPECT_EQ(file->magic, fourcc("DDS "));
    bytes.replace(0, 4, "\xff\xfe\x01\x02");
    ASSERT_EQ(decode(bytes), 0);
    EXPECT_EQ(file->magic, 0x0201feffU);
    EXPECT_EQ(levels(), 3);
}

TEST_F(Dds, images_need_both_flags_and_the_format_dxt1) {
    const Header without[] = {
        Header().with(Header::flags, 0x20000),                // pixel format
        Header().with(Header::flags, 0x1000),                 // mip-map count
        Header().with(Header::format_flags, 0x40),            // four characters
        Header().with(Header::format_fourcc, fourcc("DXT5")), // another kind
        Header().with(Header::format_fourcc, fourcc("DXT1") + 1),
    };
    for (const Header &header : without) {
        ASSERT_EQ(decode(header.bytes() + blocks(4)), 0);
        EXPECT_EQ(consumed, 128);
        EXPECT_EQ(file->mipmaps, nullptr);
        EXPECT_EQ(file->header.dwWidth, 4U);
    }
    ASSERT_EQ(decode(Header().with(Header::flags, 0x21000).bytes() + blocks(1)), 0);
    EXPECT_EQ(levels(), 1);
}

TEST_F(Dds, dx10_files_are_refused) {
    const Header header = Header().with(Header::format_fourcc, fourcc("DX10"));
    EXPECT_EQ(decode(header.bytes() + std::string(20, '\1') + blocks(1)), -1);
    EXPECT_EQ(log.take(), (Lines{"0 dds_unstuff_stream: Unknown type 4.\n", unstuff_error}));
    EXPECT_EQ(consumed, 128);
    EXPECT_EQ(file->header.dwWidth, 4U);
    EXPECT_EQ(file->header10.dxgiFormat, 0U);
    EXPECT_EQ(file->header10.miscFlag2, 0U);
    EXPECT_EQ(file->mipmaps, nullptr);
}

TEST_F(Dds, dx10_without_the_flag_of_four_characters_is_another_kind) {
    const Header header = Header().with(Header::format_fourcc, fourcc("DX10")).with(Header::format_flags, 0);
    EXPECT_EQ(decode(header.bytes()), 0);
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Dds, no_levels_are_an_empty_list) {
    for (int wanted : {-1, 0, 5}) {
        ASSERT_EQ(decode(Header().sized(4, 4, 0).bytes() + blocks(1), wanted), 0);
        EXPECT_EQ(consumed, 128);
        ASSERT_NE(file->mipmaps, nullptr);
        EXPECT_EQ(levels(), 0);
    }
}

TEST_F(Dds, sides_are_halved_without_a_lower_limit) {
    // 256 x 64: levels 7 and 8 are 2 x 0 and 1 x 0, and still take a block each.
    const int sizes[] = {64 * 16, 32 * 8, 16 * 4, 8 * 2, 4, 2, 1, 1, 1};
    int n = 0;
    for (int size : sizes)
        n += size;
    ASSERT_EQ(decode(Header().sized(256, 64, 9).bytes() + blocks(n)), 0);
    EXPECT_EQ(consumed, 128 + n * 8);
    ASSERT_EQ(levels(), 9);
    EXPECT_EQ(level(6)[0], pixel(n - 3));
    EXPECT_NE(level(7), nullptr);
    EXPECT_NE(level(8), nullptr);
}

namespace {

// Memory that is asked for to decode the first level, without that of the record and of the list with its one
// entry.
size_t room_of(uint32_t width, uint32_t height, int wanted) {
    const BoundedBuffer buffer(Header().sized(width, height, 1).bytes() + blocks(4));
    unsigned char *pos = buffer.data();
    DdsFile *record = nullptr;
    const AllocationWatch watch;
    EXPECT_EQ(dds_decode_file(&record, wanted, pos, &pos), 0);
    lindra_free_dds(record);
    return watch.requested() - sizeof(DdsFile) - 2 * sizeof(int) - 2 * sizeof(void *);
}

} // namespace

TEST_F(Dds, levels_have_room_for_twice_their_pixels_and_for_whole_blocks) {
    EXPECT_EQ(room_of(8, 8, -1), 8U * 8 * 4 * 2);
    EXPECT_EQ(room_of(4, 5, -1), 4U * 5 * 4 * 2);
    EXPECT_EQ(room_of(4, 3, -1), 4U * 3 * 4 * 2);
    EXPECT_EQ(room_of(4, 2, -1), 4U * 4 * 4);
    EXPECT_EQ(room_of(9, 1, -1), 9U * 4 * 4);
}

TEST_F(Dds, level_alone_has_room_for_ten_pixels) {
    EXPECT_EQ(room_of(8, 8, 0), 8U * 8 * 4 * 2);
    for (const uint32_t side : {0U, 1U, 2U})
        EXPECT_EQ(room_of(side, 1, 0), 10U * 4) << side;
    EXPECT_EQ(room_of(4, 0, 0), 10U * 4);
}

TEST_F(Dds, levels_without_pixels_take_a_block_and_a_byte) {
    const BoundedBuffer buffer(Header().sized(2, 0, 2).bytes() + blocks(2));
    unsigned char *pos = buffer.data();
    const AllocationWatch watch;
    ASSERT_EQ(dds_decode_file(&file, -1, pos, &pos), 0);
    EXPECT_EQ(pos, buffer.end());
    const size_t list = 2 * sizeof(int) + 3 * sizeof(void *);
    EXPECT_EQ(watch.requested(), sizeof(DdsFile) + list + 2);
}

// Under the address sanitizer this writes past nothing.
TEST_F(Dds, levels_lower_than_a_block_have_room_for_its_rows) {
    ASSERT_EQ(decode(Header().sized(9, 1, 4).bytes() + blocks(3 + 1 + 1 + 1)), 0);
    ASSERT_EQ(levels(), 4);
    EXPECT_EQ(level(0)[8], pixel(2));
    EXPECT_EQ(level(0)[9 * 3 + 8], pixel(2));
}

TEST_F(Dds, file_records_are_reused) {
    ASSERT_EQ(decode(three_levels()), 0);
    DdsFile *before = file;
    file->header10.miscFlag = 7;
    ASSERT_EQ(decode(Header().with(Header::flags, 0).bytes()), 0);
    EXPECT_EQ(file, before);
    EXPECT_EQ(file->mipmaps, nullptr);
    EXPECT_EQ(file->header10.miscFlag, 0U);
}

TEST_F(Dds, positions_in_no_known_extent_are_trusted) {
    std::string bytes = three_levels();
    auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
    EXPECT_EQ(dds_decode_file(&file, -1, nullptr, &pos), 0);
    EXPECT_EQ(pos, reinterpret_cast<unsigned char *>(bytes.data()) + bytes.size());
    EXPECT_EQ(levels(), 3);
}

// --- Damage -----------------------------------------------------------------------------------------------

TEST_F(Dds, cut_at_every_byte_gives_a_message_and_the_levels_before) {
    const std::string whole = three_levels();
    for (size_t size = 0; size < whole.size(); size++) {
        ASSERT_EQ(decode(whole.substr(0, size)), -1) << size;
        const Lines said = log.take();
        if (size < 4) {
            EXPECT_EQ(said, Lines{"0 dds_decode_file: magic number is cut, " + std::to_string(size) +
                                  " bytes left.\n"});
        } else if (size < 128) {
            ASSERT_EQ(said.size(), 2U) << size;
            EXPECT_EQ(said[1], unstuff_error);
        } else {
            EXPECT_EQ(said.size(), 1U) << size;
            EXPECT_EQ(levels(), size < 160 ? 0 : size < 168 ? 1 : 2);
            EXPECT_EQ(consumed, size < 160 ? 128 : size < 168 ? 160 : 168);
        }
    }
    decode(whole.substr(0, 163));
    EXPECT_EQ(log.take(), Lines{"0 dds_decode_file: mipmap 1 has 8 bytes, 3 bytes left.\n"});
}

TEST_F(Dds, cut_pixel_format_is_told_by_its_field) {
    EXPECT_EQ(decode(three_levels().substr(0, 76 + 31)), -1);
    EXPECT_EQ(log.take(),
              (Lines{"0 dds_unstuff_stream: ddspf has 1 elements, 31 bytes left.\n", unstuff_error}));
    EXPECT_EQ(consumed, 76);
    EXPECT_EQ(file->header.dwMipMapCount, 3U);
}

TEST_F(Dds, numbers_out_of_proportion_ask_for_no_memory) {
    constexpr uint32_t most = 0xffffffff;
    const Header headers[] = {
        Header().sized(most, most, most), Header().sized(0x80000000, 0x80000000, 1),
        Header().sized(most, 1, 1),       Header().sized(1, most, 1),
        Header().sized(4, 4, most),       Header().sized(0, 0, most),
        Header().sized(most, 0, 33),
    };
    for (const Header &header : headers) {
        for (int wanted : {-1, 0, 31}) {
            // Where a file ends, and where one block is there.
            for (int there : {0, 1}) {
                lindra_free_dds(file);
                file = nullptr;
                const AllocationWatch watch;
                EXPECT_EQ(decode(header.bytes() + blocks(there), wanted), -1);
                EXPECT_LT(watch.requested(), 4096U);
                EXPECT_EQ(log.take().size(), 1U);
            }
        }
    }
}

TEST_F(Dds, count_out_of_proportion_costs_nothing_where_a_level_is_there) {
    const std::string bytes = Header().sized(64, 64, 0xffffffff).bytes() + blocks(256);
    const AllocationWatch watch;
    EXPECT_EQ(decode(bytes), -1);
    EXPECT_EQ(levels(), 1);
    EXPECT_LE(watch.requested(), 16 * bytes.size() + 1024);
}

TEST_F(Dds, long_lists_of_levels_without_pixels_grow) {
    ASSERT_EQ(decode(Header().sized(1, 1, 100).bytes() + blocks(100)), 0);
    EXPECT_EQ(levels(), 100);
    EXPECT_NE(level(99), nullptr);
}

TEST_F(Dds, room_without_a_size_is_a_failed_allocation) {
    std::string bytes = Header().sized(0xffffffff, 0xffffffff, 1).bytes();
    auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
    auto *base = pos;
    EXPECT_EQ(dds_decode_file(&file, -1, base, &pos), -1);
    EXPECT_EQ(log.take(), Lines{"1 dds_decode_file: malloc() error.\n"});
    EXPECT_EQ(pos - base, 128);
    EXPECT_EQ(levels(), 0);
}

// The memory is refused where it is asked for, behind the record and the list.
TEST_F(Dds, largest_room_is_still_asked_for) {
    for (const auto &[height, is_asked_for] : {std::pair{1431655765U, true}, {1431655766U, false}}) {
        std::string bytes = Header().sized(805306368, height, 1).bytes();
        auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
        DdsFile *record = nullptr;
        const AllocationWatch watch(4);
        EXPECT_EQ(dds_decode_file(&record, -1, nullptr, &pos), -1);
        EXPECT_EQ(watch.failed(), is_asked_for) << height;
        lindra_free_dds(record);
        const AllocationPause pause;
        EXPECT_EQ(log.take(), Lines{"1 dds_decode_file: malloc() error.\n"});
    }
}

TEST_F(Dds, memory_asked_for_is_bounded_by_the_file) {
    for (uint32_t side : {1U, 2U, 3U, 4U, 5U, 64U, 1024U}) {
        lindra_free_dds(file);
        file = nullptr;
        const int n = static_cast<int>((side + 3) / 4 * ((side + 3) / 4));
        const std::string bytes = Header().sized(side, side, 1).bytes() + blocks(n);
        const AllocationWatch watch;
        ASSERT_EQ(decode(bytes), 0);
        EXPECT_LE(watch.requested(), 16 * bytes.size() + 4096) << side;
    }
}

TEST_F(Dds, failed_allocations_are_told_by_what_was_asked_for) {
    const std::string bytes = three_levels();
    const BoundedBuffer buffer(bytes);
    const std::string malloc_error = "1 dds_decode_file: malloc() error.\n";
    const std::string newtbl_error = "0 dds_decode_file: newtbl() error.\n";
    const std::string expected[] = {malloc_error, newtbl_error, newtbl_error,
                                    malloc_error, malloc_error, malloc_error};
    const int kept[] = {0, 0, 0, 0, 1, 2};
    const ptrdiff_t taken[] = {0, 128, 128, 128, 160, 168};
    for (int nth = 1; nth <= 6; nth++) {
        DdsFile *record = nullptr;
        unsigned char *pos = buffer.data();
        {
            const AllocationWatch watch(nth);
            EXPECT_EQ(dds_decode_file(&record, -1, pos, &pos), -1) << nth;
            EXPECT_TRUE(watch.failed());
        }
        EXPECT_EQ(log.take(), Lines{expected[nth - 1]}) << nth;
        EXPECT_EQ(pos - buffer.data(), taken[nth - 1]) << nth;
        EXPECT_EQ(record == nullptr, nth == 1);
        if (record) {
            EXPECT_EQ(counttbl(record->mipmaps), kept[nth - 1]);
        }
        lindra_free_dds(record);
    }
    const AllocationWatch watch(7);
    unsigned char *pos = buffer.data();
    EXPECT_EQ(dds_decode_file(&file, -1, pos, &pos), 0);
    EXPECT_FALSE(watch.failed());
}

TEST_F(Dds, failed_allocation_of_a_structure_is_told_by_the_engine) {
    const BoundedBuffer buffer(Header().bytes());
    unsigned char *pos = buffer.data();
    void *out = nullptr;
    const AllocationWatch watch(1);
    EXPECT_EQ(dds_unstuff_stream(DDS_TYPE_HEADER, &out, pos, &pos), -1);
    EXPECT_EQ(log.take(), Lines{"1 dds_unstuff_stream: malloc() error.\n"});
    EXPECT_EQ(out, nullptr);
}

TEST_F(Dds, release_gives_back_everything) {
    const AllocationWatch watch;
    const BoundedBuffer buffer(three_levels());
    const int before = watch.live();
    DdsFile *record = nullptr;
    for (int i = 0; i < 2; i++) {
        unsigned char *pos = buffer.data();
        ASSERT_EQ(dds_decode_file(&record, -1, pos, &pos), 0);
    }
    lindra_free_dds(record);
    lindra_free_dds(nullptr);
    EXPECT_EQ(watch.live(), before);
}

// --- Printing ---------------------------------------------------------------------------------------------

TEST_F(Dds, listing_of_a_mip_mapped_texture) {
    ASSERT_EQ(decode(Header().sized(4, 4, 4).with(Header::reserved, 1).with(Header::pitch, 8).bytes() +
                     plain_block(0xffff) + plain_block(0xf800) + plain_block(0x7e0) + plain_block(0x1f)),
              0);
    EXPECT_EQ(listing(), golden("dds/listing.txt", listing()));
}

TEST_F(Dds, ten_pixels_of_a_level_are_printed_at_most) {
    ASSERT_EQ(decode(Header().sized(4, 4, 4).bytes() + plain_block(0xffff) + plain_block(0) +
                     plain_block(0xffff) + plain_block(0)),
              0);
    const std::string text = listing();
    std::string ten;
    for (int i = 0; i < 10; i++)
        ten += " ffffffff";
    EXPECT_NE(text.find("mipmap[0] = 4x4" + ten + "\n"), std::string::npos);
    EXPECT_NE(text.find("\nmipmap[1] = 2x2 ff000000 ff000000 ff000000 ff000000\n"), std::string::npos);
    EXPECT_NE(text.find("\nmipmap[2] = 1x1 ffffffff\n"), std::string::npos);
    EXPECT_NE(text.find("\nmipmap[3] = 0x0\n"), std::string::npos);
}

TEST_F(Dds, single_level_is_printed_as_the_largest) {
    mallopt(M_PERTURB, 0x55); // new memory has no zeros
    ASSERT_EQ(decode(Header().sized(8, 8, 4).bytes() + blocks(4) + plain_block(0) + plain_block(0xffff) +
                         plain_block(0xffff),
                     3),
              0);
    mallopt(M_PERTURB, 0);
    // A level of 1 x 1 whose block was expanded into one column; behind it there is nothing to show.
    EXPECT_EQ(level(0)[3], white);
    const std::string text = listing();
    std::string ten = " ffffffff ffffffff ffffffff ffffffff";
    for (int i = 0; i < 6; i++)
        ten += " 00000000";
    EXPECT_NE(text.find("\nmipmap[0] = 8x8" + ten + "\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("mipmap[1]"), std::string::npos);
}

TEST_F(Dds, neighbouring_reserved_words_are_printed_together) {
    Header header;
    for (uint32_t i = 0; i < 11; i++)
        header.words[Header::reserved + i] = i + 1;
    ASSERT_EQ(decode(header.bytes() + blocks(1)), 0);
    std::string numbers;
    for (uint64_t i = 1; i <= 10; i++)
        numbers += (i > 1 ? ", " : "") + std::to_string(i | (i + 1) << 32);
    EXPECT_NE(listing().find("  dwReserved=" + numbers + ", ...\n"), std::string::npos);
}

TEST_F(Dds, every_line_follows_the_prefix) {
    ASSERT_EQ(decode(three_levels()), 0);
    const std::string text = listing("> ");
    EXPECT_EQ(text.rfind("> Header:\n>   dwSize=124\n>   dwFlags=0x21007 DSD_CAPS DSD_HEIGHT DSD_WIDTH "
                         "DSD_PIXELFORMAT DSD_MIPMAPCOUNT\n",
                         0),
              0U);
    EXPECT_NE(text.find("\n>   ddspf=>   PixelFormat:\n>     dwSize=32\n"), std::string::npos);
    EXPECT_NE(text.find("\n> mipmap[0] = 8x8 "), std::string::npos);
}

TEST_F(Dds, header_without_images_is_printed_alone) {
    ASSERT_EQ(decode(Header().with(Header::format_fourcc, fourcc("DXT5")).bytes()), 0);
    const std::string text = listing();
    EXPECT_NE(text.find("    dwFourCC=DXT5\n"), std::string::npos);
    EXPECT_EQ(text.find("mipmap["), std::string::npos);
}

// The words of a DX10 header have types that are not shown, or the value that a refused header has.
TEST_F(Dds, dx10_header_is_printed_behind_the_header) {
    decode(Header().with(Header::format_fourcc, fourcc("DX10")).bytes());
    const std::string text = listing();
    const size_t at = text.find("Header10:\n");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(text.substr(at), "Header10:\n  dxgiFormat=  resourceDimension=  miscFlag=0\n  arraySize=0\n"
                               "  miscFlag2=0\n");
}

TEST_F(Dds, four_characters_are_printed_as_they_stand) {
    ASSERT_EQ(decode(Header().with(Header::format_fourcc, 0x00410a00).bytes()), 0);
    EXPECT_NE(listing().find(std::string("dwFourCC=\0\nA\0\n", 14)), std::string::npos);
}

namespace {

void print_with_prefix_of(size_t size) {
    DdsFile file = {};
    dds_strdefs_init();
    dds_print_file(std::string(size, 'x').c_str(), &file);
}

void end_by_prefix_of(size_t size) {
    log_with_flags();
    print_with_prefix_of(size);
}

} // namespace

TEST(DdsDeathTest, prefix_without_room_ends_the_process) {
    EXPECT_NE(printed([] { print_with_prefix_of(507); }), "");
    EXPECT_EXIT(end_by_prefix_of(508), testing::ExitedWithCode(1),
                "^0 dds_print_generic: prefix of 510 bytes leaves no room");
    EXPECT_EXIT(end_by_prefix_of(510), testing::ExitedWithCode(1),
                "dds_print_generic: prefix of 510 bytes leaves no room");
}

TEST(DdsDeathTest, prefix_is_judged_even_where_nothing_is_printed) {
    const std::string prefix(510, 'x');
    EXPECT_EXIT(lindra::dds::Engine::print(prefix.c_str(), 1, nullptr, -1), testing::ExitedWithCode(1),
                "prefix of 510 bytes");
}

TEST(DdsDeathTest, structures_out_of_range_end_the_process) {
    const auto end = [] {
        log_with_flags();
        lindra::dds::Registry::die_out_of_range(200);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(1), "^0 dds_strdefs_init: str_type 0xc8 out of range");
}
