// SPDX-License-Identifier: MIT
//
// Shapefiles that are cut, changed or hostile, and memory that runs out. Every buffer ends at an unreadable
// page.

#include "bounded_buffer.hpp"
#include "dbase_builder.hpp"
#include "log_capture.hpp"
#include "printed.hpp"
#include "shapefile_builder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>

using namespace lindra::test;

namespace {

const std::string file_error = "0 esri_decode_shapefile: esri_unstuff_stream() error.\n";
const std::string record_error = "0 esri_decode_shapefile_record: esri_unstuff_stream() error.\n";

struct ShapefileDamage : testing::Test {
    LogCapture log;
    Lines lines;
    int records = 0; // that were decoded
    std::string text;

    // Decodes, prints and releases a file, and keeps what was logged. Nothing may be left, and what is asked
    // for is proportional to the bytes.
    int decode(const GuardedBuffer &buffer) {
        unsigned char *pos = buffer.data();
        void *file = nullptr;
        const AllocationWatch watch;
        const int status = esri_unstuff_stream(ESRI_FILE, &file, buffer.data(), &pos);
        EXPECT_LE(watch.requested(), 16 * buffer.size() + (64 << 10));
        EXPECT_LE(pos, buffer.end());
        keep(static_cast<SHPFILE *>(file));
        lindra_free_esri(ESRI_FILE, file);
        EXPECT_EQ(watch.live(), 0);
        return status;
    }

    void keep(SHPFILE *file) {
        const AllocationPause pause;
        lines = log.take();
        records = counttbl(file->records);
        text = printed([&] { esri_print_shapefile("", file); });
        EXPECT_TRUE(text.starts_with("FileHdr:\n"));
    }

    // A file of one record of these contents, whose field at offset is replaced by value.
    int decode_with(int type, size_t offset, int32_t value) {
        std::string contents = shp::shape(type);
        contents.replace(offset, 4, le32(value));
        return decode(BoundedBuffer(shp::file(type, {shp::record(1, contents)})));
    }

    void expect_one_message_passed_on() const {
        ASSERT_FALSE(lines.empty());
        EXPECT_TRUE(lines[0].ends_with(" bytes left.\n")) << lines[0];
        for (size_t i = 1; i < lines.size(); i++)
            EXPECT_TRUE(lines[i] == file_error || lines[i] == record_error) << lines[i];
    }
};

std::vector<int32_t> hostile_counts(size_t left) {
    const auto there = static_cast<int32_t>(left);
    return {0,         1,          -1,        2,         INT_MAX,    INT_MIN,    INT_MIN + 1, there,
            there + 1, there / 16, there / 4, there / 8, 0x10000000, 0x20000001, 0x40000001};
}

int expected_records(size_t size, size_t first, size_t second) {
    return (size >= 100 + first) + (size >= 100 + first + second);
}

} // namespace

TEST_F(ShapefileDamage, file_of_any_type_cut_at_any_byte_keeps_the_records_before) {
    for (auto [type, name] : shp::types) {
        const std::string first = shp::record(1, shp::shape(type));
        const std::string second = shp::record(2, shp::shape(type, 1, 2));
        const std::string whole = shp::file(type, {first, second});
        for (size_t size = 0; size < whole.size(); size++) {
            SCOPED_TRACE(testing::Message() << name << " cut at " << size);
            EXPECT_EQ(decode(BoundedBuffer(whole.substr(0, size))), -1);
            EXPECT_EQ(records, expected_records(size, first.size(), second.size()));
            expect_one_message_passed_on();
        }
        EXPECT_EQ(decode(BoundedBuffer(whole)), 0);
        EXPECT_EQ(records, 2);
        const std::string bounded = text;
        EXPECT_EQ(decode(GuardedBuffer(whole)), 0) << "trusted";
        EXPECT_EQ(text, bounded) << "a known extent changes nothing";
        EXPECT_EQ(lines, Lines{});
    }
}

TEST_F(ShapefileDamage, structure_of_any_type_cut_at_any_byte_is_released) {
    for (auto [type, name] : shp::types) {
        const std::string whole = shp::shape(type);
        for (size_t size = 0; size < whole.size(); size++) {
            SCOPED_TRACE(testing::Message() << name << " cut at " << size);
            const BoundedBuffer buffer(whole.substr(0, size));
            unsigned char *pos = buffer.data();
            void *shape = nullptr;
            const AllocationWatch watch;
            EXPECT_EQ(esri_unstuff_stream(type, &shape, pos, &pos), -1);
            EXPECT_NE(shape, nullptr);
            lindra_free_esri(type, shape);
            EXPECT_EQ(watch.live(), 0);
            const AllocationPause pause;
            EXPECT_EQ(log.take().size(), 1U);
        }
    }
}

TEST_F(ShapefileDamage, cut_items_are_named) {
    const std::string whole = shp::file(SHAPE_POINT, {shp::record(1, shp::shape(SHAPE_POINT))});
    EXPECT_EQ(decode(BoundedBuffer("")), -1);
    EXPECT_EQ(lines, (Lines{"0 esri_unstuff_stream: magic has 1 elements, 0 bytes left.\n", file_error}));
    EXPECT_EQ(decode(BoundedBuffer(whole.substr(0, 106))), -1);
    EXPECT_EQ(lines, (Lines{"0 esri_unstuff_stream: length has 1 elements, 2 bytes left.\n", record_error,
                            file_error}));
    EXPECT_EQ(decode(BoundedBuffer(whole.substr(0, 111))), -1);
    EXPECT_EQ(lines,
              (Lines{"0 esri_decode_shapefile_record: shape type is cut, 3 bytes left.\n", file_error}));
    EXPECT_EQ(decode(BoundedBuffer(whole.substr(0, 127))), -1);
    EXPECT_EQ(lines,
              (Lines{"0 esri_unstuff_stream: y has 1 elements, 7 bytes left.\n", record_error, file_error}));
}

TEST_F(ShapefileDamage, hostile_counts_of_parts_and_points_end_in_a_message_or_a_shape) {
    for (auto [type, name] : shp::types) {
        if (type == SHAPE_NULL || shp::is_point(type)) continue;
        const size_t left = shp::shape(type).size() - 44;
        for (size_t offset : {size_t{36}, size_t{40}}) {
            for (int32_t n : hostile_counts(left)) {
                SCOPED_TRACE(testing::Message() << name << " " << n << " at " << offset);
                const int status = decode_with(type, offset, n);
                if (status == 0)
                    EXPECT_EQ(lines, Lines{});
                else
                    expect_one_message_passed_on();
            }
        }
    }
}

TEST_F(ShapefileDamage, points_fill_the_last_byte_of_the_file_and_not_one_more) {
    std::string contents = shp::shape(SHAPE_MULTIPOINT, 0, 5);
    const std::string whole = shp::file(SHAPE_MULTIPOINT, {shp::record(1, contents)});
    EXPECT_EQ(decode(BoundedBuffer(whole)), 0);
    EXPECT_EQ(decode_with(SHAPE_MULTIPOINT, 36, 4), -1);
    EXPECT_EQ(lines, (Lines{"0 esri_unstuff_stream: points has 4 elements, 48 bytes left.\n", record_error,
                            file_error}));
}

TEST_F(ShapefileDamage, hostile_lengths_of_records_end_with_the_bytes) {
    const std::string shape = shp::shape(SHAPE_NULL);
    for (int32_t length : {0, 1, -1, -4, -5, INT_MAX, INT_MIN, INT_MIN + 2, 0x3ffffffc, -0x40000000}) {
        SCOPED_TRACE(length);
        std::string all = shp::header(100, SHAPE_NULL);
        for (int i = 0; i < 20; i++)
            all += shp::record_header(i, length) + shape;
        decode(BoundedBuffer(all));
        EXPECT_GE(records, 1);
        EXPECT_LE(records, 20);
    }
}

// A length of -4 words takes back what the header of the record takes, so that the loop never ends by itself.
TEST_F(ShapefileDamage, records_that_count_nothing_end_with_the_bytes) {
    std::string all = shp::header(INT_MAX / 2, SHAPE_NULL);
    for (int i = 0; i < 1000; i++)
        all += shp::record_header(i, -4) + shp::shape(SHAPE_NULL);
    EXPECT_EQ(decode(BoundedBuffer(all)), -1);
    EXPECT_EQ(records, 1000);
    EXPECT_EQ(lines, (Lines{"0 esri_unstuff_stream: number has 1 elements, 0 bytes left.\n", record_error,
                            file_error}));
}

TEST_F(ShapefileDamage, hostile_lengths_of_the_file_end_with_the_bytes) {
    const std::string record = shp::record(1, shp::shape(SHAPE_POINT));
    for (int32_t words : {0, 1, -1, INT_MAX, INT_MIN, 51, 64, 65, 0x40000000, 0x3fffffff}) {
        SCOPED_TRACE(words);
        const int status = decode(BoundedBuffer(shp::header(words, SHAPE_POINT) + record));
        const bool goes_on = words == 65 || words == 0x40000000 || words == 0x3fffffff;
        EXPECT_EQ(status, goes_on ? -1 : 0);
        EXPECT_EQ(records, words == 51 || words == 64 || goes_on);
    }
}

// --- Nesting

namespace {

// A file header that begins with a str_type, so that it can be the contents of a record.
std::string nested_header(int32_t words = 0x3fffffff) {
    return shp::header(words, 0).replace(0, 4, le32(ESRI_FILE));
}

// Each record's contents are a file that goes on to the end of the bytes.
std::string files_within_files(int levels) {
    std::string all = shp::header(0x3fffffff, 0);
    for (int i = 0; i < levels; i++)
        all += shp::record_header(i, 0) + nested_header();
    return all;
}

std::string repeated(const std::string &bytes, int times) {
    std::string all;
    for (int i = 0; i < times; i++)
        all += bytes;
    return all;
}

} // namespace

TEST_F(ShapefileDamage, files_within_files_are_bounded) {
    EXPECT_EQ(decode(BoundedBuffer(files_within_files(3))), -1);
    EXPECT_EQ(lines[0], "0 esri_unstuff_stream: number has 1 elements, 0 bytes left.\n");
    EXPECT_EQ(decode(BoundedBuffer(files_within_files(1000))), -1);
    EXPECT_EQ(lines[0], "0 esri_unstuff_stream: str_type 0x3f is nested too deep.\n");
    EXPECT_EQ(lines.size(), 9U);
}

TEST_F(ShapefileDamage, records_within_records_are_bounded) {
    EXPECT_EQ(decode(BoundedBuffer(shp::header(0x3fffffff, 0) + repeated(le32(ESRI_RECORD), 1000))), -1);
    EXPECT_EQ(lines[0], "0 esri_unstuff_stream: str_type 0x3e is nested too deep.\n");
}

TEST_F(ShapefileDamage, every_other_structure_may_stand_in_a_record_until_the_bytes_end) {
    for (int type : {ESRI_RECORDHDR, ESRI_FILEHDR, ESRI_BOX, ESRI_POINT, ESRI_RECORD, ESRI_FILE, DBASE_FILE,
                     DBASE_FILEHDR5, DBASE_FILEHDR7, DBASE_FIELDDESCRIPTOR5, DBASE_FIELDDESCRIPTOR7,
                     DBASE_FIELDPROPERTIES}) {
        SCOPED_TRACE(type);
        const std::string record = shp::record_header(1, 0) + le32(type);
        EXPECT_EQ(decode(BoundedBuffer(shp::header(0x3fffffff, 0) + repeated(record, 300))), -1);
        EXPECT_FALSE(lines.empty());
    }
}

TEST_F(ShapefileDamage, structures_that_take_nothing_ask_for_memory_in_proportion) {
    // The shape type that is not taken is the next record's number.
    const std::string record = le32(DBASE_FIELDPROPERTIES) + be32(-4);
    EXPECT_EQ(decode(BoundedBuffer(shp::header(0x3fffffff, 0) + repeated(record, 10000))), -1);
    EXPECT_EQ(records, 9999);
}

// A record that names a table begins with its str_type, whose low bits are those of level 1.
TEST_F(ShapefileDamage, tables_in_records_are_refused_before_they_copy_anything) {
    const RawTable table;
    const std::string contents = le32(DBASE_FILE) + table.header(4096, 16).substr(4) + table.descriptors();
    EXPECT_EQ(decode(BoundedBuffer(shp::file(0, {shp::record(1, contents), std::string(65536, 'r')}))), -1);
    EXPECT_EQ(lines, (Lines{"0 esri_decode_dbase_file: dbase level = 1 - only level 5 supported.\n",
                            record_error, file_error}));
}

// --- Random damage

TEST_F(ShapefileDamage, random_bytes_in_good_files_never_lead_outside) {
    std::mt19937 random(7);
    std::vector<std::string> good;
    for (auto [type, name] : shp::types)
        good.push_back(shp::record(1, shp::shape(type)));
    const std::string whole = shp::file(SHAPE_POLYGON, good);
    const int types[] = {0, 1, 3, 5, 8, 31, ESRI_FILE, ESRI_RECORD, ESRI_FILEHDR, DBASE_FILE, 0x6a};
    for (int round = 0; round < 1000; round++) {
        std::string bytes = whole;
        for (auto changes = 1 + random() % 8; changes; changes--) {
            const size_t at = 4 * (random() % (bytes.size() / 4));
            const auto value = static_cast<int32_t>(random());
            const bool names_a_type = random() % 2;
            bytes.replace(at, 4, names_a_type ? le32(types[random() % std::size(types)]) : be32(value));
        }
        decode(BoundedBuffer(bytes));
    }
}

// --- Memory

TEST_F(ShapefileDamage, each_allocation_may_fail_once_or_from_then_on) {
    std::vector<std::string> shapes;
    for (auto [type, name] : shp::types)
        shapes.push_back(shp::record(1, shp::shape(type)));
    const BoundedBuffer buffer(shp::file(SHAPE_POLYGON, shapes));
    for (auto mode : {AllocationWatch::once, AllocationWatch::from_then_on}) {
        for (int nth = 1;; nth++) {
            SCOPED_TRACE(nth);
            ASSERT_LT(nth, 1000);
            unsigned char *pos = buffer.data();
            void *file = nullptr;
            const AllocationWatch watch(nth, mode);
            const int status = esri_unstuff_stream(ESRI_FILE, &file, buffer.data(), &pos);
            const AllocationPause pause;
            EXPECT_EQ(status, watch.failed() ? -1 : 0);
            const Lines found = log.take();
            if (nth == 1) {
                EXPECT_EQ(found, Lines{"1 esri_unstuff_stream: malloc() error.\n"});
            }
            if (nth == 2) {
                EXPECT_EQ(found, Lines{"0 esri_decode_shapefile: newtbl() error.\n"});
            }
            if (nth > 2 && watch.failed()) {
                EXPECT_TRUE(found[0] == "1 esri_unstuff_stream: malloc() error.\n" ||
                            found[0] == "0 esri_decode_shapefile: settbl() error.\n")
                    << found[0];
            }
            lindra_free_esri(ESRI_FILE, file);
            if (!watch.failed()) break;
        }
    }
}

TEST_F(ShapefileDamage, failed_allocations_leave_nothing_behind) {
    const BoundedBuffer buffer(shp::file(SHAPE_MULTIPATCH, {shp::record(1, shp::shape(SHAPE_MULTIPATCH)),
                                                            shp::record(2, shp::shape(SHAPE_POLYGONZ))}));
    for (int nth = 1;; nth++) {
        SCOPED_TRACE(nth);
        unsigned char *pos = buffer.data();
        void *file = nullptr;
        const AllocationWatch watch(nth);
        esri_unstuff_stream(ESRI_FILE, &file, buffer.data(), &pos);
        const bool failed = watch.failed();
        if (file) keep(static_cast<SHPFILE *>(file));
        lindra_free_esri(ESRI_FILE, file);
        EXPECT_EQ(watch.live(), 0);
        if (!failed) break;
    }
}
