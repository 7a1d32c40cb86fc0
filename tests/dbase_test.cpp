// SPDX-License-Identifier: MIT

#include "bounded_buffer.hpp"
#include "dbase_builder.hpp"
#include "log_capture.hpp"
#include "printed.hpp"

#include "lindra/esri_strdefs/registry.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace lindra::test;

namespace {

struct Dbase : testing::Test {
    LogCapture log;
    DbaseFile dbf = {};
    Arr *fields = nullptr;
    ptrdiff_t consumed = 0;

    ~Dbase() override {
        freearr(fields, free);
        lindra_clear_esri(DBASE_FILE, &dbf);
    }

    // Decodes a trusted position.
    int decode(std::string bytes) {
        auto *base = reinterpret_cast<unsigned char *>(bytes.data());
        unsigned char *pos = base;
        const int status = esri_decode_dbase_file(&dbf, base, &pos);
        consumed = pos - base;
        return status;
    }

    // Decodes a buffer of known extent.
    int decode_bounded(const std::string &bytes) {
        const BoundedBuffer buffer(bytes);
        unsigned char *pos = buffer.data();
        const int status = esri_decode_dbase_file(&dbf, buffer.data(), &pos);
        consumed = pos - buffer.data();
        return status;
    }

    void clear() { lindra_clear_esri(DBASE_FILE, &dbf); }

    const DBASEFIELDDESCR5 &field(int i) const {
        return *static_cast<DBASEFIELDDESCR5 *>(gettbl(dbf.fields, i));
    }

    std::string text(const char *key) const {
        const auto *value = static_cast<const char *>(getarr(fields, key));
        return value ? value : "(absent)";
    }

    std::string text(int index, const char *key) {
        EXPECT_EQ(esri_get_dbase_fields(&dbf, index, &fields), 0);
        return text(key);
    }

    std::string listing(const char *prefix = "") {
        return printed([&] { esri_print_dbase_file(prefix, &dbf); });
    }
};

RawTable long_records(int size) {
    RawTable table;
    for (int left = size - 1; left > 0; left -= 200)
        table.fields.push_back({std::string("F").append(std::to_string(left)), 'C', left < 200 ? left : 200});
    table.records = {std::string(static_cast<size_t>(size - 1), 'x'),
                     std::string(static_cast<size_t>(size - 1), 'y')};
    return table;
}

} // namespace

// --- Decoding

TEST_F(Dbase, header_is_decoded_byte_by_byte) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    const DBASEHDR5 &hdr = dbf.header.hdr5;
    EXPECT_EQ(dbf.level, 5);
    EXPECT_EQ(hdr.flags, 3);
    EXPECT_EQ(hdr.date_update[0], 124);
    EXPECT_EQ(hdr.date_update[2], 29);
    EXPECT_EQ(hdr.numrecs, 2);
    EXPECT_EQ(hdr.numbyteshdr, 129);
    EXPECT_EQ(hdr.numbytesrec, 20);
    EXPECT_EQ(hdr.incomplete, 1);
    EXPECT_EQ(hdr.encrypted, 2);
    EXPECT_EQ(hdr.unused2, 3);
    EXPECT_EQ(hdr.unused3, 4);
    EXPECT_EQ(hdr.unused4, -5);
    EXPECT_EQ(hdr.mdx, 1);
    EXPECT_EQ(hdr.langid, 0x57);
    EXPECT_EQ(hdr.unused5, 0xffff);
}

TEST_F(Dbase, descriptors_are_decoded_in_the_order_of_the_file) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    ASSERT_EQ(counttbl(dbf.fields), 3);
    EXPECT_STREQ(field(0).name, "NAME");
    EXPECT_STREQ(field(1).name, "PEOPLE");
    EXPECT_EQ(field(0).type, 'C');
    EXPECT_EQ(field(1).type, 'N');
    EXPECT_EQ(field(1).unused4, 0x01020304);
    EXPECT_EQ(field(1).length, 8);
    EXPECT_EQ(field(1).count, 0);
    EXPECT_EQ(field(1).workid, 0x0506);
    EXPECT_EQ(field(1).example, 7);
    EXPECT_EQ(field(1).unused5[9], 8);
    EXPECT_EQ(field(1).mdx, 1);
}

TEST_F(Dbase, name_of_11_characters_is_closed_in_memory) {
    RawTable table = {{{"ABCDEFGHIJK", 'C', 3}}, {"abc"}};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_STREQ(field(0).name, "ABCDEFGHIJK");
    EXPECT_EQ(text(0, "ABCDEFGHIJK"), "abc");
}

TEST_F(Dbase, version_bytes_whose_low_bits_are_3_are_of_level_5) {
    for (int version : {0x03, 0x83, 0xf3, 0x07, 0x8b}) {
        RawTable table = cities();
        table.version = version;
        EXPECT_EQ(decode(table.bytes()), 0);
        EXPECT_EQ(dbf.level, 5);
        EXPECT_EQ(dbf.header.hdr5.flags, version);
        clear();
    }
}

// Deliberate: two bits never tell level 7.
TEST_F(Dbase, other_levels_are_refused_before_the_header) {
    for (auto [version, level] :
         {std::pair{0x04, 0}, {0x8c, 0}, {0x00, 0}, {0x05, 1}, {0xfe, 2}, {0x30, 0}}) {
        RawTable table = cities();
        table.version = version;
        EXPECT_EQ(decode(table.bytes()), -1);
        EXPECT_EQ(dbf.level, level);
        EXPECT_EQ(consumed, 0);
        EXPECT_EQ(dbf.header.hdr5.numrecs, 0);
        EXPECT_EQ(counttbl(dbf.fields), 0);
        EXPECT_NE(dbf.fields, nullptr);
        EXPECT_EQ(log.take(), Lines{"0 esri_decode_dbase_file: dbase level = " + std::to_string(level) +
                                    " - only level 5 supported.\n"});
        clear();
    }
}

// Deliberate: see there.
TEST_F(Dbase, slots_begin_with_the_first_field_and_end_with_the_flag_of_the_next_record) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    EXPECT_EQ(consumed, 32 + 3 * 32 + 1 + 1) << "the records are not stepped over";
    EXPECT_EQ(std::string(dbf.records, 40), "Cologne    1073096c Bonn        331885t\x1a");
}

TEST_F(Dbase, header_of_even_size_has_no_byte_skipped_behind_the_terminator) {
    RawTable table = cities();
    table.padded = true;
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_EQ(consumed, 32 + 3 * 32 + 1);
    EXPECT_EQ(std::string(dbf.records, 3), std::string("\0 C", 3));
}

TEST_F(Dbase, file_without_an_end_mark_reads_a_blank_in_its_place) {
    RawTable table = cities();
    table.end_mark = "";
    ASSERT_EQ(decode_bounded(table.bytes()), 0);
    EXPECT_EQ(std::string(dbf.records, 40), "Cologne    1073096c Bonn        331885t ");
    EXPECT_EQ(text(1, "KIND"), "t");
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(Dbase, without_records_has_an_empty_block) {
    RawTable table = cities();
    table.records = {};
    ASSERT_EQ(decode_bounded(table.bytes()), 0);
    EXPECT_NE(dbf.records, nullptr);
    EXPECT_EQ(consumed, 32 + 3 * 32 + 1 + 1) << "with the end mark";
    clear();
    table.end_mark = "";
    ASSERT_EQ(decode_bounded(table.bytes()), 0);
    EXPECT_NE(dbf.records, nullptr);
}

TEST_F(Dbase, without_fields_and_records_asks_for_a_list_and_a_block) {
    const BoundedBuffer buffer(RawTable{}.bytes());
    unsigned char *pos = buffer.data();
    const AllocationWatch watch;
    ASSERT_EQ(esri_decode_dbase_file(&dbf, buffer.data(), &pos), 0);
    EXPECT_EQ(watch.count(), 2);
}

TEST_F(Dbase, used_again_empties_its_list_and_replaces_its_records) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    Tbl *list = dbf.fields;
    void *dropped[] = {gettbl(list, 0), gettbl(list, 1), gettbl(list, 2)};
    const RawTable table = {{{"X", 'C', 1}}, {"1", "2", "3"}};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_EQ(dbf.fields, list);
    EXPECT_EQ(counttbl(list), 1);
    EXPECT_EQ(text(2, "X"), "3");
    for (void *descriptor : dropped)
        free(descriptor); // the caller's
}

TEST_F(Dbase, refused_level_leaves_the_earlier_header_and_records) {
    ASSERT_EQ(decode(RawTable{{}, {"", ""}}.bytes()), 0);
    EXPECT_EQ(decode("\x04"), -1);
    EXPECT_EQ(dbf.header.hdr5.numrecs, 2);
    ASSERT_NE(dbf.records, nullptr);
    EXPECT_EQ(std::string(dbf.records, 2), " \x1a");
}

TEST_F(Dbase, failing_behind_its_header_keeps_no_records_of_an_earlier_file) {
    ASSERT_EQ(decode(RawTable{{}, {"", ""}}.bytes()), 0);
    RawTable table = cities();
    EXPECT_EQ(decode_bounded(table.header(1000, 1000) + table.fields[0].bytes()), -1);
    EXPECT_EQ(dbf.header.hdr5.numrecs, 1000);
    EXPECT_EQ(dbf.records, nullptr) << "their size would be taken from the new header";
    EXPECT_EQ(counttbl(dbf.fields), 1);
    EXPECT_EQ(log.take(),
              Lines{"0 esri_decode_dbase_file: file ends in its field descriptors, after 1 of them.\n"});
    EXPECT_EQ(esri_get_dbase_fields(&dbf, 999, &fields), 0);
    EXPECT_EQ(fields, nullptr);
    EXPECT_EQ(listing().find("xx"), std::string::npos);
}

TEST_F(Dbase, decoded_through_the_engine_is_the_same) {
    std::string bytes = cities().bytes();
    auto *base = reinterpret_cast<unsigned char *>(bytes.data());
    unsigned char *pos = base;
    void *out = nullptr;
    ASSERT_EQ(esri_unstuff_stream(DBASE_FILE, &out, base, &pos), 0);
    EXPECT_EQ(counttbl(static_cast<DbaseFile *>(out)->fields), 3);
    lindra_free_esri(DBASE_FILE, out);
}

// The sizes of records and the number of them are signed.
TEST_F(Dbase, negative_product_is_a_failed_allocation) {
    struct {
        int32_t numrecs;
        int numbytesrec;
        const char *size;
    } const cases[] = {{1, 0xffff, "-1"},
                       {-1, 1, "-1"},
                       {INT_MAX, 2, "-2"},
                       {0x10000, 0x8000, "-2147483648"},
                       {INT_MIN, 1, "-2147483648"}};
    for (const auto &[numrecs, numbytesrec, size] : cases) {
        const RawTable table;
        EXPECT_EQ(decode(table.header(numrecs, numbytesrec) + table.descriptors() + " "), -1);
        EXPECT_EQ(dbf.records, nullptr);
        EXPECT_EQ(log.take(), Lines{std::string("0 esri_decode_dbase_file: malloc(") + size + ") error.\n"});
        clear();
    }
}

TEST_F(Dbase, product_that_wraps_is_the_size_of_the_block) {
    const RawTable table;
    // 0x20000 records of 0x2001 bytes: the product is 2^30 + 2^17; of 0x4000001 and 0x40: 0x40.
    ASSERT_EQ(decode(table.header(0x4000001, 0x40) + table.descriptors() + " " + std::string(64, 'r')), 0);
    EXPECT_EQ(std::string(dbf.records, 64), std::string(64, 'r'));
    const std::string text = listing();
    EXPECT_TRUE(text.ends_with("  unused5=65535\n" + std::string(64, 'r') + "\n")) << "one slot is there";
}

// --- Fields

TEST_F(Dbase, fields_are_trimmed_texts_under_trimmed_names) {
    RawTable table = {{{"PADDED", 'C', 6, 0, ' '}, {"  N", 'N', 7, 2}}, {" a b  ", "  -1.5 "}};
    table.records = {" a b    -1.5 ", "\t\n\v\f\r      2    "};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_EQ(text(0, "PADDED"), "a b");
    EXPECT_EQ(text("N"), "-1.5");
    EXPECT_EQ(text(1, "PADDED"), "");
    EXPECT_EQ(text("N"), "2");
}

TEST_F(Dbase, fields_of_each_record_are_found_by_its_index) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    EXPECT_EQ(text(0, "NAME"), "Cologne");
    EXPECT_EQ(text("PEOPLE"), "1073096");
    EXPECT_EQ(text("KIND"), "c");
    EXPECT_EQ(text(1, "NAME"), "Bonn");
    EXPECT_EQ(text("PEOPLE"), "331885");
    EXPECT_EQ(text("KIND"), "t");
}

// Deliberate: see there.
TEST_F(Dbase, fields_of_other_types_do_not_count_so_that_those_behind_are_shifted) {
    const RawTable table = {{{"A", 'C', 2}, {"DATE", 'D', 8}, {"OK", 'L', 1}, {"B", 'C', 3}},
                            {"aa20240229Tbbb"}};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_EQ(text(0, "A"), "aa");
    EXPECT_EQ(text("B"), "202");
    EXPECT_EQ(text("DATE"), "(absent)");
    EXPECT_EQ(text("OK"), "(absent)");
}

TEST_F(Dbase, later_of_two_fields_with_one_name_wins) {
    const RawTable table = {{{"X", 'C', 1}, {"Y", 'C', 1}, {"X", 'N', 1}}, {"123"}};
    ASSERT_EQ(decode(table.bytes()), 0);
    const AllocationWatch watch;
    EXPECT_EQ(esri_get_dbase_fields(&dbf, 0, &fields), 0);
    EXPECT_STREQ(static_cast<char *>(getarr(fields, "X")), "3");
    freearr(fields, free);
    fields = nullptr;
    EXPECT_EQ(watch.live(), 0) << "the earlier value is released";
}

TEST_F(Dbase, value_stops_at_a_zero_byte) {
    const RawTable table = {{{"X", 'C', 5}, {"Y", 'C', 1}}, {std::string("ab\0cde", 6)}};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_EQ(text(0, "X"), "ab");
    EXPECT_EQ(text("Y"), "e");
}

TEST_F(Dbase, longest_field_has_255_bytes) {
    const RawTable table = {{{"X", 'C', 255}, {"Y", 'C', 0}, {"Z", 'C', 1}}, {std::string(255, 'x') + "z"}};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_EQ(text(0, "X"), std::string(255, 'x'));
    EXPECT_EQ(text("Y"), "");
    EXPECT_EQ(text("Z"), "z");
}

TEST_F(Dbase, table_without_fields_has_records_without_texts) {
    for (const RawTable &table : {RawTable{{}, {}}, RawTable{{}, {"", ""}}}) {
        ASSERT_EQ(decode(table.bytes()), 0);
        EXPECT_EQ(counttbl(dbf.fields), 0);
        for (int index : {0, 1, 1000, -1}) {
            EXPECT_EQ(esri_get_dbase_fields(&dbf, index, &fields), 0);
            EXPECT_NE(fields, nullptr);
            EXPECT_EQ(getarr(fields, ""), nullptr);
        }
        clear();
    }
}

TEST_F(Dbase, without_a_block_of_records_has_no_array) {
    fields = newarr(nullptr);
    setarr(fields, "X", strdup("released"));
    EXPECT_EQ(esri_get_dbase_fields(&dbf, 0, &fields), 0);
    EXPECT_EQ(fields, nullptr);
    EXPECT_EQ(log.take(), Lines{});
}

// Deliberate: see there.
TEST_F(Dbase, field_beyond_its_record_is_read_in_the_next) {
    RawTable table = {{{"X", 'C', 1}, {"Y", 'C', 4}}, {"1", "2", "3"}};
    ASSERT_EQ(decode(table.header(3, 2) + table.descriptors() + table.slots()), 0);
    EXPECT_EQ(std::string(dbf.records, 6), "1 2 3\x1a");
    EXPECT_EQ(text(0, "Y"), "2 3");
}

TEST_F(Dbase, field_may_end_with_the_block) {
    const RawTable table = {{{"X", 'C', 4}}, {"abcd", "efgh"}};
    ASSERT_EQ(decode(table.header(2, 4) + table.descriptors() + " abcdefgh"), 0);
    EXPECT_EQ(text(0, "X"), "abcd");
    EXPECT_EQ(text(1, "X"), "efgh");
    EXPECT_EQ(esri_get_dbase_fields(&dbf, 2, &fields), -1);
    EXPECT_EQ(log.take(),
              Lines{"0 esri_get_dbase_fields: field X of record 2 is outside the 8 bytes of records.\n"});
}

TEST_F(Dbase, index_without_a_record_is_refused) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    for (int index : {2, -1, 1000, INT_MAX, -1000, 214748365}) {
        EXPECT_EQ(esri_get_dbase_fields(&dbf, index, &fields), -1);
        EXPECT_EQ(log.take(), Lines{"0 esri_get_dbase_fields: field NAME of record " + std::to_string(index) +
                                    " is outside the 40 bytes of records.\n"});
    }
}

TEST_F(Dbase, last_field_beyond_the_block_is_refused_and_those_before_stay) {
    RawTable table = cities();
    table.fields[2].length = 3;
    ASSERT_EQ(decode(table.header(2, 20) + table.descriptors() + table.slots()), 0);
    EXPECT_EQ(text(0, "KIND"), "c B");
    EXPECT_EQ(esri_get_dbase_fields(&dbf, 1, &fields), -1);
    EXPECT_EQ(text("NAME"), "Bonn");
    EXPECT_EQ(text("KIND"), "(absent)");
    EXPECT_EQ(log.take(),
              Lines{"0 esri_get_dbase_fields: field KIND of record 1 is outside the 40 bytes of records.\n"});
}

// --- Listings

TEST_F(Dbase, has_its_golden_listing) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    const std::string text = listing("> ");
    EXPECT_EQ(text, golden("dbase/cities.txt", text));
    EXPECT_TRUE(text.ends_with("Cologne    1073096c \nBonn        331885t\x1a\n")) << "without the prefix";
    EXPECT_EQ(text, printed([&] { lindra_print_dbase_file("> ", &dbf); }));
}

TEST_F(Dbase, is_listed_by_its_code_behind_the_indented_prefix) {
    ASSERT_EQ(decode(cities().bytes()), 0);
    EXPECT_EQ(printed([&] { lindra::esri::Engine::print("> ", DBASE_FILE, &dbf, -1); }), listing(">   "));
}

// No file is read as one of level 7, but the host may fill in one.
TEST_F(Dbase, of_level_7_is_listed_by_the_structures_of_that_level) {
    esri_strdefs_init();
    dbf.level = 7;
    dbf.fields = newtbl(1);
    settbl(dbf.fields, -1, calloc(1, sizeof(DBASEFIELDDESCR7)));
    const std::string text = listing("> ");
    EXPECT_TRUE(text.starts_with("> DbaseFileHDR7:\n>   flags=0\n")) << text;
    EXPECT_NE(text.find("\n> DbaseFieldDescriptor7(0):\n>   name="), std::string::npos) << text;
    freetbl(dbf.fields, free);
    dbf.fields = nullptr;
}

TEST_F(Dbase, text_of_a_record_stops_at_a_zero_byte) {
    RawTable table = {{{"X", 'C', 4}}, {std::string("a\0bc", 4), "defg"}};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_TRUE(listing().ends_with("  mdx=1\na\ndefg\x1a\n"));
}

TEST_F(Dbase, that_was_not_decoded_is_listed_as_far_as_it_goes) {
    esri_strdefs_init();
    dbf.header.hdr5.numrecs = INT_MAX;
    dbf.header.hdr5.numbytesrec = 10;
    EXPECT_TRUE(listing().ends_with("  unused5=0\n"));
}

TEST_F(Dbase, records_of_no_bytes_are_not_listed) {
    const RawTable table;
    ASSERT_EQ(decode_bounded(table.header(2000000000, 0) + table.descriptors() + " "), 0);
    EXPECT_TRUE(listing().ends_with("  unused5=65535\n"));
}

TEST_F(Dbase, records_of_one_byte_are_listed) {
    ASSERT_EQ(decode(RawTable{{}, {"", ""}}.bytes()), 0);
    EXPECT_TRUE(listing().ends_with("  unused5=65535\n \n\x1a\n"));
}

TEST_F(Dbase, records_of_512_bytes_are_listed) {
    const RawTable table = long_records(512);
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_TRUE(listing().ends_with(std::string(511, 'x') + " \n" + std::string(511, 'y') + "\x1a\n"));
}

TEST_F(Dbase, longer_records_that_are_not_there_are_not_listed) {
    RawTable table = long_records(513);
    table.records = {};
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_TRUE(listing().ends_with("  mdx=1\n"));
}

TEST_F(Dbase, longer_records_are_listed_by_the_extension) {
    const RawTable table = long_records(600);
    ASSERT_EQ(decode(table.bytes()), 0);
    EXPECT_TRUE(printed([&] {
                    lindra_print_dbase_file("", &dbf);
                }).ends_with(std::string(599, 'x') + " \n" + std::string(599, 'y') + "\x1a\n"));
}

namespace {

void print_long_records(size_t count) {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    log_with_flags();
    RawTable records = long_records(513);
    records.records.resize(count);
    std::string bytes = records.bytes();
    auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
    DbaseFile table = {};
    esri_decode_dbase_file(&table, pos, &pos);
    esri_print_dbase_file("", &table);
    exit(0);
}

} // namespace

// Deliberate: see there.
TEST(DbaseDeathTest, record_longer_than_a_line_ends_the_process) {
    for (const size_t count : {1U, 2U})
        EXPECT_EXIT(print_long_records(count), testing::ExitedWithCode(1),
                    "^0 esri_print_dbase_file_callback: record of 513 bytes is longer than 512\\.\n$");
}
