// SPDX-License-Identifier: MIT
//
// dBase tables that are cut, changed or hostile, and memory that runs out. Every buffer ends at an unreadable
// page.

#include "bounded_buffer.hpp"
#include "dbase_builder.hpp"
#include "log_capture.hpp"
#include "printed.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>

using namespace lindra::test;

namespace {

struct DbaseDamage : testing::Test {
    LogCapture log;
    Lines lines;
    int fields = 0; // that were decoded
    bool has_records = false;
    std::string text;

    // Decodes, reads, prints and releases a table, and keeps what was logged while it was decoded. Nothing
    // may be left, and what is asked for is proportional to the bytes.
    int decode(const GuardedBuffer &buffer) {
        unsigned char *pos = buffer.data();
        DbaseFile dbf = {};
        const AllocationWatch watch;
        const int status = esri_decode_dbase_file(&dbf, buffer.data(), &pos);
        EXPECT_LE(watch.requested(), 16 * buffer.size() + (64 << 10));
        EXPECT_LE(pos, buffer.end());
        keep(dbf);
        read_fields(dbf);
        lindra_clear_esri(DBASE_FILE, &dbf);
        EXPECT_EQ(watch.live(), 0);
        return status;
    }

    void keep(DbaseFile &dbf) {
        const AllocationPause pause;
        lines = log.take();
        fields = counttbl(dbf.fields);
        has_records = dbf.records != nullptr;
        esri_strdefs_init();
        text = printed([&] { lindra_print_dbase_file("", &dbf); });
        EXPECT_TRUE(text.starts_with("DbaseFileHDR5:\n"));
    }

    void read_fields(DbaseFile &dbf) {
        Arr *texts = nullptr;
        for (int index : {0, 1, 2, -1, 1000, INT_MAX, INT_MIN})
            if (esri_get_dbase_fields(&dbf, index, &texts) == 0) {
                EXPECT_EQ(texts != nullptr, has_records);
            }
        freearr(texts, free);
        const AllocationPause pause;
        log.take();
    }

    int decode_bounded(const std::string &bytes) { return decode(BoundedBuffer(bytes)); }
};

const std::string nested_error = "0 esri_decode_dbase_file: esri_unstuff_stream() error.\n";

} // namespace

TEST_F(DbaseDamage, table_cut_at_any_byte_keeps_the_fields_before) {
    const std::string whole = cities().bytes();
    for (size_t size = 0; size + 1 < whole.size(); size++) {
        SCOPED_TRACE(size);
        EXPECT_EQ(decode_bounded(whole.substr(0, size)), -1);
        EXPECT_EQ(fields, std::clamp(static_cast<int>(size / 32) - 1, 0, 3));
        EXPECT_FALSE(has_records);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.size(), lines[0].starts_with("0 esri_unstuff_stream: ") ? 2U : 1U);
        if (lines.size() == 2) {
            EXPECT_EQ(lines[1], nested_error);
        }
    }
    EXPECT_EQ(decode_bounded(whole.substr(0, whole.size() - 1)), 0) << "the end mark";
    EXPECT_EQ(decode_bounded(whole), 0);
    const std::string bounded = text;
    EXPECT_EQ(decode(GuardedBuffer(whole)), 0) << "trusted";
    EXPECT_EQ(text, bounded) << "a known extent changes nothing";
    EXPECT_EQ(lines, Lines{});
}

TEST_F(DbaseDamage, cut_items_are_named) {
    const std::string whole = cities().bytes();
    EXPECT_EQ(decode_bounded(""), -1);
    EXPECT_EQ(lines, Lines{"0 esri_decode_dbase_file: file is empty.\n"});
    EXPECT_EQ(decode_bounded(whole.substr(0, 1)), -1);
    EXPECT_EQ(lines,
              (Lines{"0 esri_unstuff_stream: date_update has 3 elements, 0 bytes left.\n", nested_error}));
    EXPECT_EQ(decode_bounded(whole.substr(0, 11)), -1);
    EXPECT_EQ(lines,
              (Lines{"0 esri_unstuff_stream: numbytesrec has 1 elements, 1 bytes left.\n", nested_error}));
    EXPECT_EQ(decode_bounded(whole.substr(0, 32)), -1);
    EXPECT_EQ(lines,
              Lines{"0 esri_decode_dbase_file: file ends in its field descriptors, after 0 of them.\n"});
    EXPECT_EQ(decode_bounded(whole.substr(0, 70)), -1);
    EXPECT_EQ(lines, (Lines{"0 esri_unstuff_stream: name has 11 elements, 6 bytes left.\n", nested_error}));
    EXPECT_EQ(decode_bounded(whole.substr(0, whole.size() - 2)), -1);
    EXPECT_EQ(lines, Lines{"0 esri_decode_dbase_file: records have 40 bytes, 38 bytes left.\n"});
    EXPECT_EQ(decode_bounded(whole.substr(0, 129)), -1) << "without the flag of the first record";
    EXPECT_EQ(lines, Lines{"0 esri_decode_dbase_file: records have 40 bytes, 0 bytes left.\n"});
}

TEST_F(DbaseDamage, file_without_a_terminator_ends_with_the_bytes) {
    std::string bytes = cities().header();
    for (int i = 0; i < 1000; i++)
        bytes += RawField{"X"}.bytes();
    EXPECT_EQ(decode_bounded(bytes), -1);
    EXPECT_EQ(fields, 1000);
    EXPECT_EQ(lines,
              Lines{"0 esri_decode_dbase_file: file ends in its field descriptors, after 1000 of them.\n"});
}

TEST_F(DbaseDamage, hostile_numbers_of_the_header_end_in_a_message_or_a_table) {
    const std::string rest = cities().descriptors() + cities().slots();
    for (int32_t numrecs :
         {0, 1, -1, 2, 3, 39, 40, 41, INT_MAX, INT_MIN, INT_MIN + 1, 0x10000000, 0x0ccccccd})
        for (int numbytesrec : {0, 1, 20, 21, 39, 40, 41, 0x7fff, 0x8000, 0xffff, 0xffec}) {
            SCOPED_TRACE(testing::Message() << numrecs << " records of " << numbytesrec);
            const int status = decode_bounded(cities().header(numrecs, numbytesrec) + rest);
            EXPECT_EQ(has_records, status == 0);
            EXPECT_EQ(lines.size(), status == 0 ? 0U : 1U);
        }
}

TEST_F(DbaseDamage, hostile_sizes_of_the_header_move_the_records_by_a_byte_at_most) {
    const std::string whole = cities().bytes();
    for (int size : {0, 1, 2, 32, 33, 0x7fff, 0x8000, 0xfffe, 0xffff}) {
        std::string bytes = whole;
        EXPECT_EQ(decode_bounded(bytes.replace(8, 2, le16(size))), 0);
        EXPECT_NE(text.find(size % 2 ? "\nCologne " : "\n Cologne "), std::string::npos);
    }
}

TEST_F(DbaseDamage, hostile_lengths_of_fields_never_lead_outside) {
    for (int first : {0, 1, 20, 40, 41, 255})
        for (int last : {0, 1, 2, 255}) {
            RawTable table = cities();
            table.fields[0].length = first;
            table.fields[2].length = last;
            EXPECT_EQ(decode_bounded(table.header(2, 20) + table.descriptors() + table.slots()), 0);
        }
}

TEST_F(DbaseDamage, two_billion_records_of_no_bytes_are_over_at_once) {
    const std::string bytes = cities().header(INT_MAX, 0) + cities().descriptors() + cities().slots();
    EXPECT_EQ(decode_bounded(bytes), 0);
    EXPECT_TRUE(text.ends_with("  mdx=1\n"));
}

TEST_F(DbaseDamage, random_bytes_in_good_tables_never_lead_outside) {
    std::mt19937 random(11);
    const std::string whole = cities().bytes();
    for (int round = 0; round < 2000; round++) {
        std::string bytes = whole;
        for (auto changes = 1 + random() % 6; changes; changes--)
            bytes[random() % bytes.size()] = static_cast<char>(random() % 3 ? random() : 13);
        decode_bounded(bytes);
    }
}

// --- Memory

namespace {

const Lines decoding_messages = {
    "0 esri_decode_dbase_file: newtbl() error.\n", "1 esri_unstuff_stream: malloc() error.\n",
    "0 esri_decode_dbase_file: settbl() error.\n", "0 esri_decode_dbase_file: malloc(40) error.\n"};

} // namespace

TEST_F(DbaseDamage, each_allocation_of_the_decoder_may_fail_once_or_from_then_on) {
    const BoundedBuffer buffer(cities().bytes());
    Lines met;
    for (auto mode : {AllocationWatch::once, AllocationWatch::from_then_on})
        for (int nth = 1;; nth++) {
            SCOPED_TRACE(nth);
            ASSERT_LT(nth, 100);
            unsigned char *pos = buffer.data();
            DbaseFile dbf = {};
            const AllocationWatch watch(nth, mode);
            const int status = esri_decode_dbase_file(&dbf, buffer.data(), &pos);
            const bool failed = watch.failed();
            EXPECT_EQ(status, failed ? -1 : 0);
            EXPECT_EQ(dbf.records != nullptr, !failed);
            if (nth == 1) {
                EXPECT_EQ(dbf.fields, nullptr);
            }
            keep(dbf);
            lindra_clear_esri(DBASE_FILE, &dbf);
            EXPECT_EQ(watch.live(), 0);
            if (!failed) break;
            const AllocationPause pause;
            met.push_back(lines.at(0));
            EXPECT_EQ(lines.size(), lines[0][0] == '1' ? 2U : 1U);
            if (lines.size() == 2) {
                EXPECT_EQ(lines[1], nested_error);
            }
        }
    for (const std::string &line : decoding_messages)
        EXPECT_EQ(std::count(met.begin(), met.end(), line) > 0, true) << line;
}

TEST_F(DbaseDamage, each_allocation_of_the_getter_may_fail_once_or_from_then_on) {
    const BoundedBuffer buffer(cities().bytes());
    unsigned char *pos = buffer.data();
    DbaseFile dbf = {};
    ASSERT_EQ(esri_decode_dbase_file(&dbf, buffer.data(), &pos), 0);
    Lines met;
    for (auto mode : {AllocationWatch::once, AllocationWatch::from_then_on})
        for (int nth = 1;; nth++) {
            SCOPED_TRACE(nth);
            ASSERT_LT(nth, 100);
            Arr *texts = nullptr;
            const AllocationWatch watch(nth, mode);
            const int status = esri_get_dbase_fields(&dbf, 0, &texts);
            const bool failed = watch.failed();
            EXPECT_EQ(status, failed ? -1 : 0);
            if (nth == 1) {
                EXPECT_EQ(texts, nullptr);
            }
            freearr(texts, free);
            EXPECT_EQ(watch.live(), 0);
            const AllocationPause pause;
            const Lines found = log.take();
            EXPECT_EQ(found.size(), failed ? 1U : 0U);
            if (!failed) break;
            met.push_back(found[0]);
        }
    for (const char *line :
         {"0 esri_get_dbase_fields: newarr() error.\n", "0 esri_get_dbase_fields: strdup(Cologne) error.\n",
          "0 esri_get_dbase_fields: setarr(NAME) error.\n"})
        EXPECT_EQ(std::count(met.begin(), met.end(), line) > 0, true) << line;
    lindra_clear_esri(DBASE_FILE, &dbf);
}
