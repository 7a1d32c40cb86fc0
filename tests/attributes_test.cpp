// SPDX-License-Identifier: MIT
#include "sanitized.hpp"
#include "shapefile_files.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <sys/resource.h>

namespace lindra::test {
namespace {

using namespace std::chrono_literals;
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
    EXPECT_EQ(file.told(repair_kind::table), 2U);
}

// --- Tables that break the rules ---

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
        EXPECT_GE(file.told(repair_kind::table), 1U) << size;
    }
}

TEST(Attributes, a_table_may_lack_the_mark_behind_its_descriptors) {
    TableHeader header;
    header.mark = "";
    auto file = with_table(2, table_file({{"A", 'C', 2}}, {" ab", " cd"}, header));
    ASSERT_EQ(file->fields().size(), 1U);
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ(file.told(repair_kind::table), 1U);
}

TEST(Attributes, rows_are_as_long_as_their_flags_say) {
    for (const int size : {0, 2, 4}) {
        TableHeader header;
        header.row_size = size;
        auto file = with_table(3, table_file({{"A", 'C', 2}}, {" ab", " cd", " ef"}, header));
        EXPECT_EQ((*file)[2].attributes()["A"], attribute_value("ef")) << size;
        EXPECT_EQ(file.told(repair_kind::table), 1U) << size;
    }
}

TEST(Attributes, a_field_that_reaches_beyond_the_row_has_no_value) {
    TableHeader header;
    header.row_size = 3;
    const std::string table = table_file({{"A", 'C', 2}, {"B", 'C', 200}}, {" ab", " cd"}, header);
    auto file = with_table(2, table);
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ((*file)[1].attributes()["B"], none);
}

TEST(Attributes, a_count_of_rows_beyond_the_file_is_cut_to_it) {
    TableHeader header;
    header.rows = -1;
    auto file = with_table(3, table_file({{"A", 'C', 2}}, {" ab", " cd"}, header));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ((*file)[2].attributes()["A"], none);
    EXPECT_EQ((*file)[2].attributes().size(), 1U);
    EXPECT_FALSE((*file)[2].deleted());
    EXPECT_EQ(file.told(repair_kind::table), 2U); // the count, and that a record has no row
}

TEST(Attributes, a_last_row_that_is_cut_keeps_its_whole_fields) {
    const std::string table = table_file({{"A", 'C', 2}, {"B", 'C', 2}}, {" abcd", " efgh"});
    auto file = with_table(2, table.substr(0, table.size() - 2));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("ef"));
    EXPECT_EQ((*file)[1].attributes()["B"], none);
    EXPECT_EQ((*file)[1].attributes().raw(1), "g");
    EXPECT_EQ(file.repairs()[0].text, "says that it has 2 rows, and has 1 in whole");
    EXPECT_EQ(file.told(repair_kind::attribute), 1U);
}

TEST(Attributes, rows_that_a_stopped_writer_did_not_count_are_read) {
    TableHeader header;
    header.rows = 0;
    auto file = with_table(2, table_file({{"A", 'C', 2}}, {" ab", " cd", " ef"}, header));
    EXPECT_EQ((*file)[1].attributes()["A"], attribute_value("cd"));
    EXPECT_EQ(file.told(repair_kind::table), 1U);
}

TEST(Attributes, more_rows_than_records_are_told) {
    auto file = with_table(1, table_file({{"A", 'C', 1}}, {" x", " y"}));
    EXPECT_EQ(file->size(), 1U);
    EXPECT_EQ(file.told(repair_kind::table), 1U);
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
    for (const std::string &table :
         {std::string("\x03 too short"), level_7_table('N', " 12").substr(0, 67)}) {
        auto file = with_table(1, table);
        EXPECT_FALSE(file->has_attributes());
        EXPECT_EQ(file.told(repair_kind::table), 1U);
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
        EXPECT_EQ(file.told(repair_kind::encoding), 1U) << name;
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

// While one lives, no file can be opened.
class NoDescriptors {
  public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &usual_);
        const rlimit zero = {0, usual_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &zero);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &usual_); }
    NoDescriptors(const NoDescriptors &) = delete;
    NoDescriptors &operator=(const NoDescriptors &) = delete;

  private:
    rlimit usual_ = {};
};

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
        ASSERT_GE(file.told(repair_kind::file_beside), 1U);
        EXPECT_EQ(file.repairs()[0].text,
                  "cannot be decoded: iconv cannot open MACCYRILLIC: Too many open files");
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
