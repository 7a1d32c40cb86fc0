// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "gshhs_builder.hpp"
#include "guarded_buffer.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

using namespace lindra::test;

namespace {

// Eleven words, so that each field can be told from the others.
std::string header_bytes(int64_t flag_word) {
    return be32(101) + be32(102) + be32(flag_word) + be32(-104) + be32(105) + be32(-106) + be32(107) +
           be32(108) + be32(109) + be32(110) + be32(111);
}

struct GshhsHeader : testing::Test {
    LogCapture log;
    GSHHSHdr record = {};
    GSHHSHdr *hdr = &record;

    // Decodes a header that the buffer holds and returns how far the position moved.
    ptrdiff_t decode(const std::string &bytes, int expected = 0) {
        const GuardedBuffer buffer(bytes);
        unsigned char *pos = buffer.data();
        EXPECT_EQ(gshhs_unstuff_hdr(&hdr, &pos), expected);
        return pos - buffer.data();
    }
    ptrdiff_t decode_bounded(const std::string &bytes, int expected = 0) {
        const GuardedBuffer buffer(bytes);
        lindra_bound(buffer.data(), buffer.size());
        unsigned char *pos = buffer.data();
        EXPECT_EQ(gshhs_unstuff_hdr(&hdr, &pos), expected);
        lindra_unbound(buffer.data());
        return pos - buffer.data();
    }
};

} // namespace

TEST_F(GshhsHeader, version_7_takes_44_bytes_and_no_greenwich_or_source) {
    EXPECT_EQ(decode(header_bytes(0x00000701)), 44);
    EXPECT_EQ(record.version, 7);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.greenwich, 0);
    EXPECT_EQ(record.source, 0);
    EXPECT_EQ(record.id, 101);
    EXPECT_EQ(record.n, 102);
    EXPECT_EQ(record.west, -104);
    EXPECT_EQ(record.east, 105);
    EXPECT_EQ(record.south, -106);
    EXPECT_EQ(record.north, 107);
    EXPECT_EQ(record.area, 108);
    EXPECT_EQ(record.area_full, 109);
    EXPECT_EQ(record.container, 110);
    EXPECT_EQ(record.ancestor, 111);
}

TEST_F(GshhsHeader, bare_level_takes_36_bytes_with_greenwich_and_source) {
    const std::string bytes = header_bytes(3).substr(0, 32) + be16(-5) + be16(6);
    EXPECT_EQ(decode(bytes), 36);
    EXPECT_EQ(record.version, 0);
    EXPECT_EQ(record.level, 3);
    EXPECT_EQ(record.greenwich, -5);
    EXPECT_EQ(record.source, 6);
    EXPECT_EQ(record.area_full, 0);
    EXPECT_EQ(record.container, 0);
    EXPECT_EQ(record.ancestor, 0);
}

TEST_F(GshhsHeader, version_3_is_short_and_version_4_is_long) {
    EXPECT_EQ(decode(header_bytes(0x301)), 36);
    EXPECT_EQ(decode(header_bytes(0x401)), 44);
    EXPECT_EQ(decode(header_bytes(0xff01)), 44);
    EXPECT_EQ(record.version, 255);
}

TEST_F(GshhsHeader, level_6_is_read_as_1_and_5_stays_5) {
    decode(header_bytes(0x706));
    EXPECT_EQ(record.level, 1);
    decode(header_bytes(0x705));
    EXPECT_EQ(record.level, 5);
    decode(header_bytes(0x7ff));
    EXPECT_EQ(record.level, 255);
}

TEST_F(GshhsHeader, upper_half_of_the_flag_word_reaches_nothing) {
    EXPECT_EQ(decode(header_bytes(static_cast<int64_t>(0xffff0701))), 44);
    EXPECT_EQ(record.version, 7);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.greenwich, 0);
    EXPECT_EQ(record.source, 0);
}

TEST_F(GshhsHeader, given_record_is_cleared_first_and_nothing_is_allocated) {
    memset(&record, 0x55, sizeof record);
    const GuardedBuffer buffer(header_bytes(0x701));
    unsigned char *pos = buffer.data();
    int status, allocations;
    {
        const AllocationWatch watch;
        status = gshhs_unstuff_hdr(&hdr, &pos);
        allocations = watch.count();
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(hdr, &record);
    EXPECT_EQ(record.greenwich, 0);
    EXPECT_EQ(record.source, 0);
}

TEST_F(GshhsHeader, null_record_is_allocated_for_the_caller) {
    hdr = nullptr;
    decode(header_bytes(0x701));
    ASSERT_NE(hdr, nullptr);
    EXPECT_EQ(hdr->id, 101);
    free(hdr);
}

TEST_F(GshhsHeader, exhausted_memory_leaves_the_position) {
    hdr = nullptr;
    const GuardedBuffer buffer(header_bytes(0x701));
    unsigned char *pos = buffer.data();
    {
        const AllocationWatch watch(1);
        EXPECT_EQ(gshhs_unstuff_hdr(&hdr, &pos), -1);
    }
    EXPECT_EQ(pos, buffer.data());
    EXPECT_EQ(hdr, nullptr);
    EXPECT_EQ(log.take(), Lines{"1 gshhs_unstuff_hdr: malloc(GSHHSHdr) error.\n"});
}

TEST_F(GshhsHeader, known_extent_changes_nothing_for_a_whole_header) {
    EXPECT_EQ(decode_bounded(header_bytes(0x701)), 44);
    EXPECT_EQ(decode_bounded(header_bytes(0x301).substr(0, 36)), 36);
    EXPECT_EQ(record.area, 108);
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(GshhsHeader, header_cut_at_any_byte_of_a_known_extent_is_one_message) {
    for (int64_t flag_word : {0x301, 0x701}) {
        const size_t whole = flag_word == 0x301 ? 36 : 44;
        for (size_t size = 0; size < whole; size++) {
            EXPECT_EQ(decode_bounded(header_bytes(flag_word).substr(0, size), -1), 0);
            EXPECT_EQ(log.take(), Lines{"0 gshhs_unstuff_hdr: polygon header is cut, " +
                                        std::to_string(size) + " bytes left.\n"});
            const GSHHSHdr zeroed = {};
            EXPECT_EQ(memcmp(&record, &zeroed, sizeof record), 0);
        }
    }
}

namespace {

struct GshhsSkip : testing::Test {
    LogCapture log;
    unsigned char *skip(unsigned char *from, int32_t n, int expected = 0) {
        GSHHSHdr hdr = {};
        hdr.id = 3;
        hdr.n = n;
        unsigned char *pos = from;
        EXPECT_EQ(gshhs_skip_pts(&hdr, &pos), expected);
        return pos;
    }
};

} // namespace

TEST_F(GshhsSkip, no_points_leave_the_position_and_1000_advance_it_8000_bytes) {
    std::vector<unsigned char> bytes(8000);
    EXPECT_EQ(skip(bytes.data(), 0), bytes.data());
    EXPECT_EQ(skip(bytes.data(), 1000), bytes.data() + 8000);
}

TEST_F(GshhsSkip, product_of_a_trusted_stream_wraps_in_32_bits) {
    std::vector<unsigned char> bytes(64);
    unsigned char *middle = bytes.data() + 32;
    EXPECT_EQ(skip(middle, 0x20000001), middle + 8);
    EXPECT_EQ(skip(middle, -2), middle - 16);
    EXPECT_EQ(skip(middle, 0x1fffffff), middle - 8);
}

TEST_F(GshhsSkip, points_beyond_a_known_extent_are_one_message) {
    const GuardedBuffer buffer(std::string(24, 'x'));
    lindra_bound(buffer.data(), buffer.size());
    EXPECT_EQ(skip(buffer.data(), 3), buffer.end());
    for (int32_t n : {4, -1, INT_MIN, INT_MAX, 0x20000001}) {
        EXPECT_EQ(skip(buffer.data(), n, -1), buffer.data());
        EXPECT_EQ(log.take(), Lines{"0 gshhs_skip_pts: polygon 3 has " + std::to_string(n) +
                                    " points, 24 bytes left.\n"});
    }
    lindra_unbound(buffer.data());
}
