// SPDX-License-Identifier: MIT

#include "log_capture.hpp"
#include "netcdf_builder.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <thread>

using namespace lindra::test;

namespace {

struct NetcdfListing : testing::Test {
    LogCapture log;
    NetcdfHeader *hdr = nullptr;

    ~NetcdfListing() override {
        netcdf_clear_header(hdr);
        free(hdr);
    }

    std::string of(const RawHeader &header, int expected = 0) {
        std::string bytes = header.bytes();
        auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
        EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), expected);
        return listing(hdr);
    }

    static std::string of_values(NetcdfValues values, const char *prefix) {
        char *text = nullptr;
        size_t size = 0;
        FILE *stream = open_memstream(&text, &size);
        EXPECT_EQ(netcdf_print_vals(&values, prefix, stream), 0);
        fclose(stream);
        std::string all(text, size);
        free(text);
        return all;
    }
};

template <class T>
std::string value_text(int code, T value) {
    return netcdf_value2str(code, 0, &value);
}

} // namespace

TEST_F(NetcdfListing, of_an_empty_header_is_four_lines) {
    EXPECT_EQ(of({}), "numrecs  =  0\n"
                      "dims_n   =  0\n"
                      "attrs_n  =  0\n"
                      "vars_n   =  0\n");
}

TEST_F(NetcdfListing, is_told_to_have_worked) {
    of({});
    FILE *nowhere = fopen("/dev/null", "w");
    EXPECT_EQ(netcdf_print_header(hdr, nowhere), 0);
    fclose(nowhere);
}

TEST_F(NetcdfListing, shows_every_field_in_the_order_of_the_file) {
    EXPECT_EQ(of(rich_header()), "numrecs  =  3\n"
                                 "dims_n   =  3\n"
                                 "dims[00].name   =  time\n"
                                 "dims[00].value  =  0\n"
                                 "dims[01].name   =  longitude\n"
                                 "dims[01].value  =  4\n"
                                 "dims[02].name   =  \n"
                                 "dims[02].value  =  1\n"
                                 "attrs_n  =  3\n"
                                 "attrs[00].name  =  title\n"
                                 "attrs[00].values.type  =  char\n"
                                 "attrs[00].values.n     =  3\n"
                                 "attrs[00].values.values[..]  =  abc\n"
                                 "attrs[01].name  =  shorts\n"
                                 "attrs[01].values.type  =  short\n"
                                 "attrs[01].values.n     =  3\n"
                                 "attrs[01].values.values[00]  =  1\n"
                                 "attrs[01].values.values[01]  =  -2\n"
                                 "attrs[01].values.values[02]  =  32767\n"
                                 "attrs[02].name  =  doubles\n"
                                 "attrs[02].values.type  =  double\n"
                                 "attrs[02].values.n     =  1\n"
                                 "attrs[02].values.values[00]  =  -0.500000\n"
                                 "vars_n   =  3\n"
                                 "vars[00].name   =  x\n"
                                 "vars[00].type   =  int\n"
                                 "vars[00].vsize  =  4\n"
                                 "vars[00].begin  =  100\n"
                                 "vars[00].fixed  =  1\n"
                                 "vars[00].dims_n =  1\n"
                                 "vars[00].dims[00].name   =  longitude (4)\n"
                                 "vars[00].attrs_n=  1\n"
                                 "vars[00].attrs[00].name  =  range\n"
                                 "vars[00].attrs[00].values.type  =  float\n"
                                 "vars[00].attrs[00].values.n     =  2\n"
                                 "vars[00].attrs[00].values.values[00]  =  -180.000000\n"
                                 "vars[00].attrs[00].values.values[01]  =  180.000000\n"
                                 "vars[01].name   =  flags\n"
                                 "vars[01].type   =  byte\n"
                                 "vars[01].vsize  =  4\n"
                                 "vars[01].begin  =  200\n"
                                 "vars[01].fixed  =  0\n"
                                 "vars[01].dims_n =  3\n"
                                 "vars[01].dims[00].name   =  time (0)\n"
                                 "vars[01].dims[01].name   =  longitude (4)\n"
                                 "vars[01].dims[02].name   =   (1)\n"
                                 "vars[01].attrs_n=  1\n"
                                 "vars[01].attrs[00].name  =  bits\n"
                                 "vars[01].attrs[00].values.type  =  byte\n"
                                 "vars[01].attrs[00].values.n     =  2\n"
                                 "vars[01].attrs[00].values.values[00]  =  0x0A\n"
                                 "vars[01].attrs[00].values.values[01]  =  0xFF\n"
                                 "vars[02].name   =  scalar\n"
                                 "vars[02].type   =  double\n"
                                 "vars[02].vsize  =  8\n"
                                 "vars[02].begin  =  300\n"
                                 "vars[02].fixed  =  1\n"
                                 "vars[02].dims_n =  0\n"
                                 "vars[02].attrs_n=  1\n"
                                 "vars[02].attrs[00].name  =  four\n"
                                 "vars[02].attrs[00].values.type  =  int\n"
                                 "vars[02].attrs[00].values.n     =  1\n"
                                 "vars[02].attrs[00].values.values[00]  =  -4\n");
}

TEST_F(NetcdfListing, indexes_have_at_least_two_digits) {
    RawHeader header;
    for (int i = 0; i <= 123; i++)
        header.dims.push_back(nc::dimension("d", i));
    const std::string text = of(header);
    EXPECT_NE(text.find("dims[07].value  =  7\n"), std::string::npos);
    EXPECT_NE(text.find("dims[123].value  =  123\n"), std::string::npos);

    std::vector<unsigned char> bytes(124);
    const std::string values = of_values({nc::byte_code, 124, bytes.data()}, "");
    EXPECT_NE(values.find("values.values[07]  =  0x00\n"), std::string::npos);
    EXPECT_NE(values.find("values.values[123]  =  0x00\n"), std::string::npos);
}

TEST_F(NetcdfListing, unknown_type_of_a_variable_is_named_by_its_code) {
    RawHeader header;
    header.vars = {{"v", {}, {}, 99}};
    EXPECT_NE(of(header).find("vars[00].type   =  UNKNOWNTYPE(99)\n"), std::string::npos);
}

TEST_F(NetcdfListing, characters_run_together_in_one_line) {
    char text[] = "abc";
    EXPECT_EQ(of_values({nc::char_code, 3, text}, "p."), "p.values.type  =  char\n"
                                                         "p.values.n     =  3\n"
                                                         "p.values.values[..]  =  abc\n");
    EXPECT_EQ(of_values({nc::char_code, 0, text}, ""), "values.type  =  char\n"
                                                       "values.n     =  0\n"
                                                       "values.values[..]  =  \n");
}

TEST_F(NetcdfListing, zero_character_prints_nothing_and_others_follow_it) {
    char text[] = {'a', '\0', '\n', '\xe9'};
    EXPECT_EQ(of_values({nc::char_code, 4, text}, ""), "values.type  =  char\n"
                                                       "values.n     =  4\n"
                                                       "values.values[..]  =  a\n\xe9\n");
}

TEST_F(NetcdfListing, elements_of_an_unknown_type_are_counted_without_their_block) {
    EXPECT_EQ(of_values({7, 2, nullptr}, "p."), "p.values.type  =  UNKNOWNTYPE(7)\n"
                                                "p.values.n     =  2\n"
                                                "p.values.values[00]  =  UNKNOWNTYPE(7)\n"
                                                "p.values.values[01]  =  UNKNOWNTYPE(7)\n");
    EXPECT_EQ(of_values({12, 1, nullptr}, ""), "values.type  =  attribute\n"
                                               "values.n     =  1\n"
                                               "values.values[00]  =  attribute\n");
}

TEST_F(NetcdfListing, of_a_header_that_failed_half_way_shows_what_it_lacks) {
    RawHeader header;
    header.dims = {nc::dimension("d", 2)};
    header.vars = {{"v", {0, 5}}, {"never"}};
    EXPECT_EQ(of(header, -1), "numrecs  =  0\n"
                              "dims_n   =  1\n"
                              "dims[00].name   =  d\n"
                              "dims[00].value  =  2\n"
                              "attrs_n  =  0\n"
                              "vars_n   =  2\n"
                              "vars[00].name   =  v\n"
                              "vars[00].type   =  UNKNOWNTYPE(0)\n"
                              "vars[00].vsize  =  0\n"
                              "vars[00].begin  =  0\n"
                              "vars[00].fixed  =  1\n"
                              "vars[00].dims_n =  2\n"
                              "vars[00].dims[00].name   =  d (2)\n"
                              "vars[00].dims[01].name   =  (null) (0)\n"
                              "vars[00].attrs_n=  0\n"
                              "vars[01].name   =  (null)\n"
                              "vars[01].type   =  UNKNOWNTYPE(0)\n"
                              "vars[01].vsize  =  0\n"
                              "vars[01].begin  =  0\n"
                              "vars[01].fixed  =  0\n"
                              "vars[01].dims_n =  0\n"
                              "vars[01].attrs_n=  0\n");
}

TEST_F(NetcdfListing, known_type_without_a_block_has_no_elements) {
    EXPECT_EQ(of_values({nc::int_code, INT_MAX, nullptr}, ""), "values.type  =  int\n"
                                                               "values.n     =  2147483647\n");
    EXPECT_EQ(of_values({nc::char_code, INT_MAX, nullptr}, ""), "values.type  =  char\n"
                                                                "values.n     =  2147483647\n"
                                                                "values.values[..]  =  \n");
}

TEST(NetcdfTypeText, names_types_and_tags) {
    const std::pair<int, const char *> names[] = {{1, "byte"},       {2, "char"},      {3, "short"},
                                                  {4, "int"},        {5, "float"},     {6, "double"},
                                                  {10, "dimension"}, {11, "variable"}, {12, "attribute"}};
    for (auto [code, name] : names)
        EXPECT_STREQ(netcdf_type2str(code), name);
}

TEST(NetcdfTypeText, names_any_other_code_by_its_number) {
    EXPECT_STREQ(netcdf_type2str(7), "UNKNOWNTYPE(7)");
    EXPECT_STREQ(netcdf_type2str(0), "UNKNOWNTYPE(0)");
    EXPECT_STREQ(netcdf_type2str(9), "UNKNOWNTYPE(9)");
    EXPECT_STREQ(netcdf_type2str(13), "UNKNOWNTYPE(13)");
    EXPECT_STREQ(netcdf_type2str(INT_MIN), "UNKNOWNTYPE(-2147483648)");
}

TEST(NetcdfTypeText, two_results_are_one_buffer_that_shows_the_second) {
    const char *first = netcdf_type2str(1);
    const char *second = netcdf_type2str(11);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "variable");
}

TEST(NetcdfTypeText, each_thread_has_a_buffer_of_its_own) {
    const char *here = netcdf_type2str(1);
    const char *there = nullptr;
    std::thread([&] { there = netcdf_type2str(11); }).join();
    EXPECT_NE(here, there);
    EXPECT_STREQ(here, "byte");
}

TEST(NetcdfValueText, shows_each_type_in_its_form) {
    EXPECT_EQ(value_text<unsigned char>(1, 10), "0x0A");
    EXPECT_EQ(value_text<unsigned char>(1, 255), "0xFF");
    EXPECT_EQ(value_text<char>(2, 'q'), "q");
    EXPECT_EQ(value_text<int16_t>(3, -32768), "-32768");
    EXPECT_EQ(value_text<int32_t>(4, INT_MIN), "-2147483648");
    EXPECT_EQ(value_text<float>(5, 0.1F), "0.100000");
    EXPECT_EQ(value_text<float>(5, 16777216.0F), "16777216.000000");
    EXPECT_EQ(value_text<double>(6, -1.0 / 3), "-0.333333");
}

TEST(NetcdfValueText, picks_the_element_by_its_index) {
    int16_t shorts[] = {1, 2, 3};
    EXPECT_STREQ(netcdf_value2str(3, 2, shorts), "3");
    double doubles[] = {1, 2, 3};
    EXPECT_STREQ(netcdf_value2str(6, 1, doubles), "2.000000");
}

TEST(NetcdfValueText, reads_blocks_at_any_address) {
    char bytes[17] = {};
    const double value = 2.5;
    memcpy(bytes + 9, &value, sizeof value);
    EXPECT_STREQ(netcdf_value2str(6, 1, bytes + 1), "2.500000");
}

TEST(NetcdfValueText, is_cut_to_31_characters) {
    EXPECT_EQ(value_text<double>(6, 1e300).size(), 31U);
    EXPECT_EQ(value_text<double>(6, -1e30), "-100000000000000001988462483865");
    EXPECT_EQ(value_text<float>(5, 3e38F).size(), 31U);
}

TEST(NetcdfValueText, of_a_tag_or_an_unknown_code_reads_no_element) {
    EXPECT_STREQ(netcdf_value2str(10, 0, nullptr), "dimension");
    EXPECT_STREQ(netcdf_value2str(11, 5, nullptr), "variable");
    EXPECT_STREQ(netcdf_value2str(12, 0, nullptr), "attribute");
    EXPECT_STREQ(netcdf_value2str(7, 0, nullptr), "UNKNOWNTYPE(7)");
}

TEST(NetcdfValueText, each_thread_has_a_buffer_of_its_own) {
    const char *here = netcdf_value2str(10, 0, nullptr);
    const char *there = nullptr;
    std::thread([&] { there = netcdf_value2str(12, 0, nullptr); }).join();
    EXPECT_NE(here, there);
    EXPECT_STREQ(here, "dimension");
}

TEST(NetcdfValueText, has_a_buffer_apart_from_that_of_the_types) {
    const char *type = netcdf_type2str(4);
    const int32_t four = 4;
    EXPECT_EQ(value_text(4, four), "4");
    EXPECT_STREQ(type, "int");
    const char *first = netcdf_value2str(10, 0, nullptr);
    EXPECT_EQ(first, netcdf_value2str(12, 0, nullptr));
    EXPECT_STREQ(first, "attribute");
}
