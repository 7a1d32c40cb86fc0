// SPDX-License-Identifier: MIT
#include "sanitized.hpp"
#include "shapefile_files.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iconv.h>
#include <random>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

namespace {

int conversions = 0;

}

extern "C" size_t __real_iconv(iconv_t, char **, size_t *, char **, size_t *);
extern "C" size_t __wrap_iconv(iconv_t handle, char **from, size_t *left, char **to, size_t *to_left) {
    conversions++;
    return __real_iconv(handle, from, left, to, to_left);
}

namespace lindra::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_view_literals;
using std::chrono::year_month_day;

std::string points(size_t count) {
    std::vector<std::string> shapes;
    for (size_t i = 0; i < count; i++)
        shapes.push_back(point_shape(static_cast<double>(i), 0));
    return main_file_of(SHAPE_POINT, shapes);
}

// A shapefile of as many points as the table has rows.
OpenShapefile with_table(size_t rows, const std::string &table, const std::string &cpg = "",
                         const std::string &encoding = "") {
    return OpenShapefile(points(rows), "", table, cpg, encoding);
}

// The value of a field of that type in a table of one row.
attribute_value read(char type, const std::string &text, int decimals = 0) {
    auto file =
        with_table(1, table_file({{"A", type, static_cast<int>(text.size()), decimals}}, {" " + text}));
    return (*file)[0].attributes()["A"];
}

const attribute_value none = no_value();

TEST(Attributes, text_keeps_blanks_in_front_and_drops_those_behind) {
    EXPECT_EQ(read('C', "  a b  "), attribute_value("  a b"));
    EXPECT_EQ(read('C', std::string("ab\0cd", 5)), attribute_value("ab"));
    EXPECT_EQ(read('C', "     "), none);
}

TEST(Attributes, numbers_are_integers_where_they_can_be) {
    EXPECT_EQ(read('N', "   42"), attribute_value(int64_t{42}));
    EXPECT_EQ(read('N', "-42  "), attribute_value(int64_t{-42}));
    EXPECT_EQ(read('N', "  +7"), attribute_value(int64_t{7}));
    EXPECT_EQ(read('N', " 4.50", 2), attribute_value(4.5));
    EXPECT_EQ(read('N', "9223372036854775807"), attribute_value(INT64_MAX));
    EXPECT_EQ(read('N', "9223372036854775808"), attribute_value(9223372036854775808.0));
    EXPECT_EQ(read('N', "1e+003"), attribute_value(1000.0));
    EXPECT_EQ(read('N', " 3,14"), attribute_value(3.14));
}

TEST(Attributes, white_space_and_zeros_on_either_side_are_no_part_of_a_number) {
    for (const char padding : {' ', '\t', '\n', '\v', '\f', '\r', '\0'}) {
        EXPECT_EQ(read('N', std::string("42") + padding), attribute_value(int64_t{42})) << int{padding};
        EXPECT_EQ(read('N', padding + std::string("42")), attribute_value(int64_t{42})) << int{padding};
        EXPECT_EQ(read('F', std::string(3, padding)), none) << int{padding};
    }
}

TEST(Attributes, floating_numbers_are_real) {
    EXPECT_EQ(read('F', "  5"), attribute_value(5.0));
    EXPECT_EQ(read('F', "1.000000e-05"), attribute_value(1e-5));
}

TEST(Attributes, blanks_and_asterisks_are_no_number) {
    EXPECT_EQ(read('N', "*****"), none);
    EXPECT_EQ(read('N', "     "), none);
    EXPECT_EQ(read('F', "***"), none);
    EXPECT_EQ(read('N', std::string(5, '\0')), none);
}

TEST(Attributes, a_number_has_digits_and_one_sign) {
    for (const char *text : {"nan", "inf", "-inf", "+-5", "+", "--5", "1e999", "0x10"}) {
        auto file = with_table(
            1, table_file({{"A", 'N', static_cast<int>(strlen(text))}}, {" " + std::string(text)}));
        EXPECT_EQ((*file)[0].attributes()["A"], none) << text;
        EXPECT_EQ(file.told(repair_kind::attribute), 1U) << text;
    }
}

TEST(Attributes, dates) {
    EXPECT_EQ(read('D', "20240229"), attribute_value(year_month_day(2024y / 2 / 29)));
    EXPECT_EQ(read('D', "00000000"), none);
    EXPECT_EQ(read('D', "        "), none);
}

TEST(Attributes, logical_values) {
    for (const char c : {'T', 't', 'Y', 'y'})
        EXPECT_EQ(read('L', {c}), attribute_value(true));
    for (const char c : {'F', 'f', 'N', 'n'})
        EXPECT_EQ(read('L', {c}), attribute_value(false));
    EXPECT_EQ(read('L', "?"), none);
    EXPECT_EQ(read('L', " "), none);
}

TEST(Attributes, what_is_none_of_its_type_is_told_with_its_place) {
    auto file = with_table(
        1, table_file({{"A", 'C', 1}, {"N", 'N', 3}, {"D", 'D', 8}, {"L", 'L', 1}}, {" xa1b20240230Q"}));
    const attribute_row row = (*file)[0].attributes();
    for (const char *name : {"N", "D", "L"})
        EXPECT_EQ(row[name], none) << name;
    ASSERT_EQ(file.told(repair_kind::attribute), 3U);
    EXPECT_EQ(file.repairs()[0].offset, 32U + 4 * 32 + 1 + 2);
    EXPECT_EQ(file.repairs()[0].file, "memory.dbf");
    EXPECT_EQ(file.repairs()[0].text, "field N of type N has no value: \"a1b\"");
    EXPECT_EQ(row.raw(1), "a1b");
}

TEST(Attributes, an_unknown_name_is_an_error) {
    auto file = with_table(1, table_file({{"A", 'C', 1}}, {" x"}));
    EXPECT_THROW((*file)[0].attributes()["B"], error);
    EXPECT_THROW((*file)[0].attributes()[1], error);
    OpenShapefile without(points(1));
    EXPECT_EQ((*without)[0].attributes().size(), 0U);
    EXPECT_THROW((*without)[0].attributes()["A"], error);
    EXPECT_FALSE(without->has_attributes());
    EXPECT_FALSE(without->encoding());
}

TEST(Attributes, a_field_beyond_the_last_is_an_error_without_a_table_too) {
    auto file = with_table(1, table_file({{"A", 'C', 1}}, {" x"}));
    EXPECT_THROW((*file)[0].attributes().raw(1), error);
    OpenShapefile without(points(1));
    const attribute_row row = (*without)[0].attributes();
    EXPECT_THROW(row[0], error);
    EXPECT_THROW(row.raw(0), error);
}

TEST(Attributes, an_error_without_a_table_names_no_file_and_no_byte) {
    OpenShapefile without(points(1));
    try {
        (*without)[0].attributes()["A"];
        FAIL();
    } catch (const error &reason) {
        EXPECT_EQ(reason.file(), "");
        EXPECT_EQ(reason.offset(), 0U);
        EXPECT_EQ(reason.text(), "there is no field \"A\"");
    }
}

TEST(Attributes, deleted_rows_are_marked) {
    auto file = with_table(2, table_file({{"A", 'C', 1}}, {" x", "*y"}));
    EXPECT_FALSE((*file)[0].deleted());
    EXPECT_TRUE((*file)[1].deleted());
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("y"));
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Attributes, fields_tell_name_type_and_width) {
    auto file = with_table(0, table_file({{"NAME", 'C', 20}, {"AREA", 'N', 12, 3}}, {}));
    ASSERT_EQ(file->fields().size(), 2U);
    EXPECT_EQ(file->fields()[1].name, "AREA");
    EXPECT_EQ(file->fields()[1].type, 'N');
    EXPECT_EQ(file->fields()[1].length, 12U);
    EXPECT_EQ(file->fields()[1].decimals, 3U);
    EXPECT_EQ(file->fields()[1].offset, 21U);
}

TEST(Attributes, a_name_that_occurs_again_is_numbered) {
    auto file = with_table(1, table_file({{"A", 'C', 1}, {"A", 'C', 1}, {"", 'C', 1}}, {" xyz"}));
    const attribute_row row = (*file)[0].attributes();
    EXPECT_EQ(row["A"], attribute_value("x"));
    EXPECT_EQ(row["A_2"], attribute_value("y"));
    EXPECT_EQ(row["FIELD_3"], attribute_value("z"));
    EXPECT_EQ(file.lines(repair_kind::table),
              (Lines{"memory.dbf:64: has a field without a name of its own, which is called A_2",
                     "memory.dbf:96: has a field without a name of its own, which is called FIELD_3"}));
    auto unnamed = with_table(1, table_file({{"", 'C', 1}}, {" x"}));
    EXPECT_EQ((*unnamed)[0].attributes()["FIELD_1"], attribute_value("x"));
    EXPECT_EQ(unnamed.lines(repair_kind::table),
              Lines{"memory.dbf:32: has a field without a name of its own, which is called FIELD_1"});
}

// Each field's name is compared with that of every field before it.
Lines names_by_the_plain_rule(Lines names) {
    for (size_t i = 0; i < names.size(); i++) {
        const auto behind = names.begin() + static_cast<ptrdiff_t>(i);
        if (!names[i].empty() && std::find(names.begin(), behind, names[i]) == behind) continue;
        names[i] += (names[i].empty() ? "FIELD_" : "_") + std::to_string(i + 1);
    }
    return names;
}

TEST(Attributes, names_are_numbered_by_the_plain_rule_also_where_the_number_makes_another_ones_name) {
    const Lines known = {"", "A", "B", "A_2", "A_3", "A_2_3", "A_3_4", "FIELD_1", "FIELD_2", "FIELD_3_4"};
    std::mt19937 random(1);
    for (int tables = 0; tables < 2000; tables++) {
        std::vector<Column> columns;
        Lines names;
        for (size_t count = 1 + random() % 8; names.size() < count;) {
            names.push_back(known[random() % known.size()]);
            columns.push_back({names.back(), 'C', 1});
        }
        auto file = with_table(0, table_file(columns, {}));
        Lines seen;
        for (const table_field &field : file->fields())
            seen.push_back(field.name);
        ASSERT_EQ(seen, names_by_the_plain_rule(names));
    }
}

// --- Tables that break the rules ---

TEST(Attributes, a_field_of_no_bytes_is_left_out_and_the_others_stay_where_they_are) {
    auto file =
        with_table(1, table_file({{"Z", 'C', 0}, {"A", 'C', 2}, {"N", 'N', 0}, {"B", 'C', 3}, {"A", 'D', 0}},
                                 {" abcde"}));
    ASSERT_EQ(file->fields().size(), 2U);
    const attribute_row row = (*file)[0].attributes();
    EXPECT_EQ(row.size(), 2U);
    EXPECT_EQ(row["A"], attribute_value("ab"));
    EXPECT_EQ(row["B"], attribute_value("cde"));
    EXPECT_THROW(row["Z"], error);
    EXPECT_EQ(file.lines(repair_kind::table),
              (Lines{"memory.dbf:160: has a field without a name of its own, which is called A_5",
                     "memory.dbf:32: has a field Z without a byte in the rows, which is left out",
                     "memory.dbf:96: has a field N without a byte in the rows, which is left out",
                     "memory.dbf:160: has a field A_5 without a byte in the rows, which is left out"}));
}

TEST(Attributes, a_text_of_256_bytes_whose_length_stands_among_the_decimals_is_no_field_of_no_bytes) {
    TableHeader header;
    header.row_size = 1 + 256;
    auto file = with_table(1, table_file({{"A", 'C', 0, 1}}, {" " + std::string(256, 'x')}, header));
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value(std::string(256, 'x')));
    EXPECT_EQ(file.lines(repair_kind::table), Lines{"memory.dbf:32: has texts longer than 255 bytes"});
}

TEST(Attributes, rows_begin_where_the_header_says_be_it_even_or_odd) {
    for (const std::string &mark :
         {std::string("\r"), std::string("\r\0", 2), std::string("\r") + std::string(263, '\0')}) {
        TableHeader header;
        header.mark = mark;
        auto file = with_table(2, table_file({{"A", 'C', 2}}, {" ab", " cd"}, header));
        EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd")) << mark.size();
        EXPECT_TRUE(file.repairs().empty());
    }
}

TEST(Attributes, rows_begin_behind_the_descriptors_where_the_header_is_wrong) {
    for (const int size : {0, 33, 64, 66, 5000}) {
        TableHeader header;
        header.header_size = size;
        auto file = with_table(2, table_file({{"A", 'C', 2}}, {" ab", " cd"}, header));
        EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("ab")) << size;
        EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd")) << size;
        EXPECT_EQ(file.lines(repair_kind::table), Lines{"memory.dbf:8: says that its rows begin at byte " +
                                                        std::to_string(size) + "; read from byte 65"});
    }
}

TEST(Attributes, the_first_row_too_shows_that_rows_begin_elsewhere) {
    // From the mark on, a blank stands in the place of every flag but the first.
    TableHeader header;
    header.header_size = 64;
    auto file = with_table(2, table_file({{"A", 'C', 2}}, {" a ", " b "}, header));
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("a"));
    EXPECT_EQ(file.lines(repair_kind::table),
              Lines{"memory.dbf:8: says that its rows begin at byte 64; read from byte 65"});
}

TEST(Attributes, a_header_may_end_with_the_file) {
    TableHeader header;
    header.mark = padded("\r", 6);
    const std::string table = table_file({{"A", 'C', 2}}, {}, header);
    auto file = with_table(0, table.substr(0, 32 + 32 + 6));
    EXPECT_EQ(file->fields().size(), 1U);
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Attributes, a_header_may_end_before_the_mark_where_there_are_no_fields) {
    TableHeader header;
    header.header_size = 32;
    auto file = with_table(0, table_file({}, {}, header));
    EXPECT_TRUE(file->has_attributes());
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Attributes, rows_without_fields_are_flags_alone) {
    TableHeader header;
    header.row_size = 0;
    auto file = with_table(2, table_file({}, {" ", "*"}, header));
    EXPECT_FALSE((*file)[0].deleted());
    EXPECT_TRUE((*file)[1].deleted());
    EXPECT_EQ(file.lines(repair_kind::table),
              Lines{"memory.dbf:10: says that a row has 0 bytes; the fields take 1, read as 1"});
}

TEST(Attributes, a_table_may_lack_the_mark_behind_its_descriptors) {
    TableHeader header;
    header.mark = "";
    auto file = with_table(2, table_file({{"A", 'C', 2}}, {" ab", " cd"}, header));
    ASSERT_EQ(file->fields().size(), 1U);
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ(file.lines(repair_kind::table),
              Lines{"memory.dbf:64: has no mark behind its field descriptors"});
}

TEST(Attributes, a_row_is_no_descriptor_where_the_mark_is_missing) {
    TableHeader header;
    header.mark = "";
    const std::string text(40, 'x'); // has a letter in the place of a field's type
    auto file = with_table(1, table_file({{"A", 'C', 40}}, {" " + text}, header));
    ASSERT_EQ(file->fields().size(), 1U);
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value(text));
}

TEST(Attributes, a_table_may_end_behind_a_descriptor) {
    const std::string table = table_file({{"A", 'C', 2}}, {});
    auto file = with_table(0, table.substr(0, 64));
    EXPECT_EQ(file->fields().size(), 1U);
    EXPECT_TRUE(with_table(0, table.substr(0, 63))->fields().empty());
}

TEST(Attributes, rows_are_as_long_as_their_flags_say) {
    for (const int size : {0, 2, 4}) {
        TableHeader header;
        header.row_size = size;
        auto file = with_table(3, table_file({{"A", 'C', 2}}, {" ab", " cd", " ef"}, header));
        EXPECT_EQ((*file)[2].attributes()["A"], attribute_value("ef")) << size;
        EXPECT_EQ(file.lines(repair_kind::table),
                  Lines{"memory.dbf:10: says that a row has " + std::to_string(size) +
                        " bytes; the fields take 3, read as 3"});
    }
}

TEST(Attributes, rows_that_end_with_the_file_show_how_long_they_are) {
    TableHeader header;
    header.row_size = 5;
    header.rows = 10;
    std::string table = table_file({{"A", 'C', 2}}, {" ab", " cd"}, header);
    table.pop_back();
    auto file = with_table(2, table);
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ(file.lines(repair_kind::table),
              (Lines{"memory.dbf:10: says that a row has 5 bytes; the fields take 3, read as 3",
                     "memory.dbf:4: says that it has 10 rows, and has 2 in whole"}));
}

TEST(Attributes, a_field_that_reaches_beyond_the_row_has_no_value_and_one_that_begins_there_is_left_out) {
    TableHeader header;
    header.row_size = 4;
    const std::string table =
        table_file({{"A", 'C', 2}, {"B", 'C', 200}, {"C", 'C', 1}}, {" ab1", " cd2"}, header);
    auto file = with_table(2, table);
    const attribute_row row = (*file)[1].attributes();
    EXPECT_EQ(row["A"], attribute_value("cd"));
    EXPECT_EQ(row["B"], none);
    EXPECT_EQ(row.raw(1), "2");
    EXPECT_EQ(row.size(), 2U);
    EXPECT_THROW(row["C"], error);
    EXPECT_EQ(file.lines(repair_kind::table),
              (Lines{"memory.dbf:10: says that a row has 4 bytes; the fields take 204, read as 4",
                     "memory.dbf:96: has a field C without a byte in the rows, which is left out"}));
    EXPECT_EQ(file.told(repair_kind::attribute), 1U);
}

TEST(Attributes, a_field_whose_place_is_just_behind_the_row_is_left_out) {
    TableHeader header;
    header.row_size = 3;
    auto file = with_table(2, table_file({{"A", 'C', 2}, {"B", 'C', 200}}, {" ab", " cd"}, header));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ(file->fields().size(), 1U);
}

TEST(Attributes, a_row_that_is_not_there_has_no_fields_and_no_values) {
    auto file = with_table(2, table_file({{"A", 'C', 2}, {"B", 'N', 3}}, {" ab 12"}));
    EXPECT_TRUE((*file)[0].attributes().exists());
    const attribute_row row = (*file)[1].attributes();
    EXPECT_FALSE(row.exists());
    EXPECT_EQ(row.size(), 0U);
    EXPECT_FALSE((*file)[1].deleted());
    EXPECT_EQ(row[1], none);
    EXPECT_EQ(row["B"], none);
    EXPECT_EQ(row.raw(1), "");
    EXPECT_THROW(row[2], error);
    EXPECT_THROW(row.raw(2), error);
    EXPECT_THROW(row["C"], error);
    EXPECT_EQ(file.told(repair_kind::attribute), 0U);
    EXPECT_FALSE((*OpenShapefile(points(1)))[0].attributes().exists());
}

TEST(Attributes, a_count_of_rows_beyond_the_file_is_cut_to_it) {
    TableHeader header;
    header.rows = -1;
    auto file = with_table(3, table_file({{"A", 'C', 2}}, {" ab", " cd"}, header));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ((*file)[2].attributes()["A"], none);
    EXPECT_FALSE((*file)[2].attributes().exists());
    EXPECT_FALSE((*file)[2].deleted());
    EXPECT_EQ(file.lines(repair_kind::table),
              (Lines{"memory.dbf:4: says that it has 4294967295 rows, and has 2 in whole",
                     "memory.dbf:4: has 2 rows for 3 records"}));
}

TEST(Attributes, a_last_row_that_is_cut_keeps_its_whole_fields) {
    const std::string table = table_file({{"A", 'C', 2}, {"B", 'C', 2}}, {" abcd", " efgh"});
    auto file = with_table(2, table.substr(0, table.size() - 2));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("ef"));
    EXPECT_EQ((*file)[1].attributes()["B"], none);
    EXPECT_EQ((*file)[1].attributes().raw(1), "g");
    EXPECT_EQ((*file)[1].attributes().size(), 2U);
    EXPECT_EQ(file.repairs()[0].text, "says that it has 2 rows, and has 1 in whole");
    EXPECT_EQ(file.told(repair_kind::attribute), 1U);
}

TEST(Attributes, rows_that_a_stopped_writer_did_not_count_are_read) {
    TableHeader header;
    header.rows = 0;
    auto file = with_table(2, table_file({{"A", 'C', 2}}, {" ab", " cd", " ef"}, header));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ(file.lines(repair_kind::table), Lines{"memory.dbf:4: has 2 rows, not 0"});
}

TEST(Attributes, a_row_that_was_not_counted_is_read_when_it_is_whole) {
    TableHeader header;
    header.rows = 0;
    // The last row is a flag and the mark behind the rows.
    auto file = with_table(3, table_file({{"A", 'C', 2}}, {" ab", " cd", " "}, header));
    EXPECT_EQ((*file)[2].attributes()["A"], none);
    EXPECT_EQ(file.lines(repair_kind::table),
              (Lines{"memory.dbf:4: has 2 rows, not 0", "memory.dbf:4: has 2 rows for 3 records"}));
}

TEST(Attributes, more_rows_than_records_are_told) {
    auto file = with_table(1, table_file({{"A", 'C', 1}}, {" x", " y"}));
    EXPECT_EQ(file->size(), 1U);
    EXPECT_EQ(file.lines(repair_kind::table), Lines{"memory.dbf:4: has 2 rows for 1 records"});
}

TEST(Attributes, rows_may_be_longer_than_512_bytes) {
    const std::string wide = std::string(200, 'x') + std::string(200, 'y') + std::string(250, 'z');
    auto file = with_table(
        2, table_file({{"A", 'C', 200}, {"B", 'C', 200}, {"C", 'C', 250}}, {" " + wide, " " + wide}));
    EXPECT_EQ((*file)[1].attributes()["C"], attribute_value(std::string(250, 'z')));
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Attributes, a_text_may_have_the_high_byte_of_its_length_among_the_decimals) {
    TableHeader header;
    header.row_size = 1 + 300;
    auto file = with_table(1, table_file({{"A", 'C', 300 - 256, 1}}, {" " + std::string(300, 'x')}, header));
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value(std::string(300, 'x')));
    EXPECT_EQ(file.lines(repair_kind::table), Lines{"memory.dbf:32: has texts longer than 255 bytes"});
}

TEST(Attributes, a_number_beside_a_long_text_keeps_its_decimals) {
    TableHeader header;
    header.row_size = 1 + 300 + 4;
    auto file = with_table(1, table_file({{"A", 'C', 300 - 256, 1}, {"N", 'N', 4, 2}},
                                         {" " + std::string(300, 'x') + "1.25"}, header));
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value(std::string(300, 'x')));
    EXPECT_EQ((*file)[0].attributes()["N"], attribute_value(1.25));
    EXPECT_EQ(file->fields()[1].length, 4U);
}

// A table of level 7 with one row of one field.
std::string level_7_table(char type, const std::string &text) {
    const auto length = static_cast<char>(text.size());
    const std::string descriptor = padded("LONG_FIELD_NAME", 32) + type + length + std::string(14, '\0');
    return std::string("\x04\x7a\x01\x01", 4) + le32(1) + le16(68 + 48 + 1) +
           le16(1 + static_cast<int>(text.size())) + std::string(56, '\0') + descriptor + "\r " + text;
}

TEST(Attributes, tables_of_level_7_are_read) {
    auto file = with_table(1, level_7_table('N', " 12"));
    EXPECT_EQ((*file)[0].attributes()["LONG_FIELD_NAME"], attribute_value(int64_t{12}));
    EXPECT_TRUE(file.repairs().empty());
}

TEST(Attributes, fields_that_level_7_adds_are_read_as_they_are) {
    for (const char type : {'+', '@', 'O'}) {
        auto file = with_table(1, level_7_table(type, "ab12"));
        ASSERT_EQ(file->fields().size(), 1U) << type;
        EXPECT_EQ(file->fields()[0].type, type);
        EXPECT_EQ((*file)[0].attributes()[0], attribute_value("ab12"));
        EXPECT_TRUE(file.repairs().empty()) << type;
    }
}

TEST(Attributes, a_table_that_ends_in_its_header_is_left_aside) {
    for (const auto &[table, header_size] :
         {std::pair(table_file({{"A", 'C', 1}}, {}), 32), std::pair(level_7_table('N', " 12"), 68)})
        for (const int size : {1, header_size - 1}) {
            auto file = with_table(1, table.substr(0, static_cast<size_t>(size)));
            EXPECT_FALSE(file->has_attributes());
            const std::string end = std::to_string(size);
            EXPECT_EQ(file.lines(repair_kind::table),
                      Lines{"memory.dbf:" + end + ": is left aside: it ends in the header of its table"});
        }
}

TEST(Attributes, a_table_of_no_bytes_is_refused) {
    EXPECT_THROW(attribute_table({}, "", "", detail::reporter("memory.dbf", {})), error);
}

TEST(Attributes, a_table_may_be_nothing_but_its_header) {
    for (const auto &[table, header_size] :
         {std::pair(table_file({{"A", 'C', 1}}, {}), 32U), std::pair(level_7_table('N', " 12"), 68U)}) {
        auto file = with_table(0, table.substr(0, header_size));
        EXPECT_TRUE(file->has_attributes());
        EXPECT_TRUE(file->fields().empty());
    }
}

// --- Encodings ---

std::string text_table(const std::string &text, uint8_t language_id) {
    TableHeader header;
    header.language_id = language_id;
    return table_file({{"A", 'C', static_cast<int>(text.size())}}, {" " + text}, header);
}

TEST(Encoding, the_cpg_file_goes_before_the_language_id_and_what_is_given) {
    auto file = with_table(1, text_table("\xc3\xa4", 0x03), "UTF-8\n", "CP437");
    EXPECT_EQ(file->encoding()->name, "UTF-8");
    EXPECT_EQ(file->encoding()->origin, encoding_origin::cpg);
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("ä"));
}

TEST(Encoding, the_language_id_goes_before_what_is_given) {
    auto file = with_table(1, text_table("\x84", 0x01), "", "CP1252");
    EXPECT_EQ(file->encoding()->name, "CP437");
    EXPECT_EQ(file->encoding()->origin, encoding_origin::language_id);
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("ä"));
}

TEST(Encoding, what_is_given_goes_before_the_default) {
    auto given = with_table(1, text_table("\xe0", 0x57), "", "CP1251");
    EXPECT_EQ(given->encoding()->origin, encoding_origin::given);
    EXPECT_EQ((*given)[0].attributes()["A"], attribute_value("а"));
    auto standard = with_table(1, text_table("\xe0", 0));
    EXPECT_EQ(standard->encoding()->origin, encoding_origin::standard);
    EXPECT_EQ((*standard)[0].attributes()["A"], attribute_value("à"));
}

TEST(Encoding, cpg_files_name_code_pages_in_many_ways) {
    const std::pair<const char *, const char *> names[] = {{"UTF-8", "UTF-8"},
                                                           {"utf-8\r\n", "UTF-8"},
                                                           {"\xef\xbb\xbfUTF-8", "UTF-8"},
                                                           {"65001", "UTF-8"},
                                                           {"1252", "CP1252"},
                                                           {"ANSI 1252", "CP1252"},
                                                           {"OEM 437", "CP437"},
                                                           {"cp1251", "CP1251"},
                                                           {"88592", "ISO-8859-2"},
                                                           {"ISO-8859-1", "ISO-8859-1"},
                                                           {"windows-1250", "CP1250"},
                                                           {"Big5", "BIG5"},
                                                           {"\tANSI\t1252", "CP1252"},
                                                           {"ANSI_X3.4-1968", "ANSI_X3.4-1968"},
                                                           {"CP-HU", "CP-HU"},
                                                           {" SJIS ", "SJIS"}};
    for (const auto &[text, name] : names) {
        auto file = with_table(1, text_table("x", 0), text);
        EXPECT_EQ(file->encoding()->name, name) << text;
        EXPECT_TRUE(file.repairs().empty()) << text;
    }
}

TEST(Encoding, a_name_that_iconv_does_not_know_is_passed_over) {
    for (const char *name : {"KLINGON", "8859"}) {
        auto file = with_table(1, text_table("\x84", 0x01), name);
        EXPECT_EQ(file->encoding()->name, "CP437") << name;
        EXPECT_EQ(file.lines(repair_kind::encoding),
                  Lines{std::string("memory.dbf:0: \"") + (isdigit(*name) ? "CP" : "") + name +
                        "\" from the .cpg file is unknown to iconv"});
    }
}

TEST(Encoding, a_cpg_file_that_begins_with_the_end_of_a_line_tells_nothing) {
    for (const std::string_view text : {"\rUTF-8"sv, "\nUTF-8"sv, "\0UTF-8"sv}) {
        auto file = with_table(1, text_table("x", 0x01), std::string(text));
        EXPECT_EQ(file->encoding()->name, "CP437");
        EXPECT_TRUE(file.repairs().empty());
    }
}

TEST(Encoding, where_it_came_from_can_be_told) {
    EXPECT_STREQ(to_text(encoding_origin::cpg), "the .cpg file");
    EXPECT_STREQ(to_text(encoding_origin::language_id), "the language id");
    EXPECT_STREQ(to_text(encoding_origin::given), "the given encoding");
    EXPECT_STREQ(to_text(encoding_origin::standard), "the default");
}

// The address sanitizer comes with that of undefined behaviour, which looks at memory through a pipe, and
// takes what it cannot look at for no object.
#ifdef LINDRA_ADDRESS_SANITIZER
constexpr bool descriptors_are_needed = true;
#else
constexpr bool descriptors_are_needed = false;
#endif

// While one lives, the process gets no more of something.
template <int resource>
class NoMore {
  public:
    NoMore() {
        getrlimit(resource, &usual_);
        const rlimit zero = {0, usual_.rlim_max};
        setrlimit(resource, &zero);
    }
    ~NoMore() { setrlimit(resource, &usual_); }
    NoMore(const NoMore &) = delete;
    NoMore &operator=(const NoMore &) = delete;

  private:
    rlimit usual_ = {};
};

using NoDescriptors = NoMore<RLIMIT_NOFILE>;
using NoAddresses = NoMore<RLIMIT_AS>;

// The number that the next file opened would have.
int next_descriptor() {
    const int descriptor = open("/", O_PATH | O_CLOEXEC);
    close(descriptor);
    return descriptor;
}

// Of the addresses in use.
long count_pages() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages;
}

TEST(Encoding, nothing_keeps_a_process_from_loading_as_a_rule) {
    const int descriptor = next_descriptor();
    errno = EMFILE; // of before
    EXPECT_EQ(detail::reason_against_loading(), std::nullopt);
    EXPECT_EQ(next_descriptor(), descriptor);
    const long pages = count_pages();
    EXPECT_EQ(detail::reason_against_loading(), std::nullopt);
    EXPECT_EQ(count_pages(), pages);
}

TEST(Encoding, a_process_without_standard_input_can_load) {
    const int kept = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    errno = EMFILE;
    const std::optional<int> reason = detail::reason_against_loading();
    const int next = next_descriptor();
    dup2(kept, STDIN_FILENO);
    close(kept);
    EXPECT_EQ(reason, std::nullopt);
    EXPECT_EQ(next, STDIN_FILENO);
}

TEST(Encoding, a_process_without_descriptors_or_addresses_cannot_load) {
    if (descriptors_are_needed) GTEST_SKIP() << "the sanitizers cannot do without descriptors";
    const auto without = [](const auto &) { return detail::reason_against_loading(); };
    EXPECT_EQ(without(NoDescriptors()), EMFILE);
    EXPECT_EQ(without(NoAddresses()), ENOMEM);
}

// Of an encoding that no other test asks for, so that its module is not loaded yet, in a process that has
// opened one.
TEST(Encoding, a_name_whose_module_cannot_be_loaded_is_not_told_to_be_unknown) {
    if (descriptors_are_needed) GTEST_SKIP() << "the sanitizers cannot do without descriptors";
    const std::string table = text_table("\xa1", 0x01);
    ASSERT_TRUE(with_table(1, table, "CP1252")->has_attributes());
    {
        const NoDescriptors for_now;
        auto file = with_table(1, table, "MACCYRILLIC");
        EXPECT_FALSE(file->has_attributes());
        EXPECT_EQ(file.told(repair_kind::encoding), 0U);
        EXPECT_EQ(
            file.lines(repair_kind::file_beside),
            Lines{"memory.dbf:0: cannot be decoded: iconv cannot open MACCYRILLIC: Too many open files"});
        EXPECT_EQ(file.lines(repair_kind::table),
                  Lines{"memory.dbf:0: is left aside: it cannot be decoded: iconv cannot open MACCYRILLIC: "
                        "Too many open files"});
    }
    auto file = with_table(1, table, "MACCYRILLIC");
    ASSERT_TRUE(file->encoding());
    EXPECT_EQ(file->encoding()->name, "MACCYRILLIC");
    EXPECT_TRUE(file.repairs().empty());
}

// Opens the first encoding of the process without descriptors, and the second with them. Exits with 0 when
// the second table is read, or left aside by a reason that is true.
[[noreturn]] static void open_second_encoding() {
    const std::string table = text_table("\xa1", 0x01);
    {
        const NoDescriptors for_now;
        with_table(1, table, "CP1252");
    }
    auto file = with_table(1, table, "CP1252");
    const bool is_told = file.told(repair_kind::file_beside) == 1 &&
                         file.repairs()[0].text == "cannot be decoded: iconv finds no CP1252";
    exit(file.told(repair_kind::encoding) == 0 && (file->has_attributes() || is_told) ? 0 : 1);
}

TEST(EncodingDeathTest, a_process_whose_first_encoding_had_no_descriptors_tells_none_to_be_unknown) {
    if (descriptors_are_needed) GTEST_SKIP() << "the sanitizers cannot do without descriptors";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(open_second_encoding(), testing::ExitedWithCode(0), "");
}

TEST(Encoding, bytes_that_are_none_of_the_encoding_are_replaced) {
    auto file = with_table(1,
                           text_table("a\xff"
                                      "b\xc3\xa4",
                                      0),
                           "UTF-8");
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("a\xef\xbf\xbd"
                                                            "bä"));
    EXPECT_EQ(file.told(repair_kind::text), 1U);
}

TEST(Encoding, a_character_that_the_field_cuts_is_dropped) {
    auto file = with_table(1, text_table("abc\xc3", 0), "UTF-8");
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("abc"));
    EXPECT_EQ(file.told(repair_kind::text), 1U);
}

TEST(Encoding, a_decoder_that_is_open_was_not_refused) {
    EXPECT_EQ(detail::text_decoder("UTF-8").refusal(), 0);
    EXPECT_EQ(detail::text_decoder("KLINGON").refusal(), EINVAL);
}

TEST(Encoding, plain_text_is_converted_by_nobody_where_it_stays_as_it_is) {
    auto plain = with_table(1, text_table("ab", 0x03));
    conversions = 0;
    EXPECT_EQ((*plain)[0].attributes()["A"], attribute_value("ab"));
    EXPECT_EQ(conversions, 0);
    auto other = with_table(1, text_table("a\xe4", 0x03));
    conversions = 0;
    EXPECT_EQ((*other)[0].attributes()["A"], attribute_value("aä"));
    EXPECT_GT(conversions, 0);
}

TEST(Encoding, plain_text_may_mean_other_characters) {
    auto file = with_table(1, text_table("[\\]", 0), "ISO646-DE");
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("ÄÖÜ"));
    auto backslash = with_table(1, text_table("\\a", 0), "JOHAB");
    EXPECT_EQ((*backslash)[0].attributes()["A"], attribute_value("₩a"));
}

TEST(Encoding, shifts_of_one_text_do_not_reach_into_the_next) {
    const std::string shifted = " \x1b$B$\"", plain = " ab\x1b(B";
    auto file = with_table(2, table_file({{"A", 'C', 5}}, {shifted, plain}), "ISO-2022-JP");
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("あ"));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("ab"));
}

TEST(Encoding, encodings_with_shifts_are_converted_from_ascii_too) {
    auto file = with_table(1, text_table("\x1b$B$\"\x1b(B", 0), "ISO-2022-JP");
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("あ"));
}

TEST(Encoding, a_text_may_be_shifted_without_an_escape) {
    auto file = with_table(1,
                           text_table("a\x0e!!\x0f"
                                      "b",
                                      0),
                           "ISO-2022-KR");
    EXPECT_EQ((*file)[0].attributes()["A"], attribute_value("a\u3000b"));
    auto back = with_table(1, text_table("ab\x0f", 0), "ISO-2022-KR");
    EXPECT_EQ((*back)[0].attributes()["A"], attribute_value("ab"));
}

TEST(Encoding, long_texts_are_converted_whole) {
    std::string text, converted;
    for (int i = 0; i < 250; i++) {
        text += '\xe4';
        converted += "ä";
    }
    EXPECT_EQ((*with_table(1, text_table(text, 0x03)))[0].attributes()["A"], attribute_value(converted));
}

} // namespace
} // namespace lindra::test
