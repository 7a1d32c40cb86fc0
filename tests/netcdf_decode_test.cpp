// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "guarded_buffer.hpp"
#include "log_capture.hpp"
#include "netcdf_builder.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

using namespace lindra::test;

namespace {

// What is decoded lies before an unreadable page, in no known extent or in one of its own.
struct NetcdfTest : testing::Test {
    LogCapture log;
    NetcdfHeader *hdr = nullptr;

    ~NetcdfTest() override { release(); }

    void release() {
        netcdf_clear_header(hdr);
        free(hdr);
        hdr = nullptr;
    }

    // Returns how far the position moved.
    template <class Decoder>
    static ptrdiff_t read(const std::string &bytes, bool known, Decoder decode) {
        const GuardedBuffer buffer(bytes);
        if (known) lindra_bound(buffer.data(), buffer.size());
        unsigned char *pos = buffer.data();
        decode(&pos);
        lindra_unbound(buffer.data());
        return pos - buffer.data();
    }

    void decode(const std::string &bytes, bool known = false) {
        const ptrdiff_t moved =
            read(bytes, known, [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), 0); });
        EXPECT_EQ(moved, static_cast<ptrdiff_t>(bytes.size()));
        EXPECT_EQ(log.take(), Lines{});
    }

    // A header that fails alike in a known extent and in none, the position having moved by moved bytes.
    void expect_failure(const std::string &bytes, ptrdiff_t moved, const Lines &lines) {
        for (bool known : {false, true}) {
            release();
            EXPECT_EQ(moved, read(bytes, known, [&](unsigned char **pos) {
                          EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), -1);
                      }));
            EXPECT_EQ(log.take(), lines);
        }
    }
};

struct NetcdfHeaderDecoding : NetcdfTest {};

} // namespace

TEST_F(NetcdfHeaderDecoding, every_field_reaches_its_place) {
    const std::string bytes = rich_header().bytes();
    const GuardedBuffer buffer(bytes);
    unsigned char *pos = buffer.data();
    ASSERT_EQ(netcdf_unstuff_header(&pos, &hdr), 0);
    EXPECT_EQ(pos, buffer.end());
    EXPECT_EQ(hdr->base, buffer.data());
    EXPECT_EQ(hdr->numrecs, 3);

    ASSERT_EQ(hdr->dims_n, 3);
    EXPECT_STREQ(hdr->dims[0].name, "time");
    EXPECT_EQ(hdr->dims[0].value, 0);
    EXPECT_STREQ(hdr->dims[1].name, "longitude");
    EXPECT_EQ(hdr->dims[1].value, 4);
    EXPECT_STREQ(hdr->dims[2].name, "");

    ASSERT_EQ(hdr->attrs_n, 3);
    EXPECT_STREQ(hdr->attrs[0].name, "title");
    EXPECT_EQ(hdr->attrs[0].values.type, nc::char_code);
    EXPECT_EQ(hdr->attrs[0].values.n, 3);
    EXPECT_STREQ(static_cast<char *>(hdr->attrs[0].values.values), "abc");

    ASSERT_EQ(hdr->vars_n, 3);
    const NetcdfVar &flags = hdr->vars[1];
    EXPECT_STREQ(flags.name, "flags");
    ASSERT_EQ(flags.dims_n, 3);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(flags.dims[i], &hdr->dims[i]);
    ASSERT_EQ(flags.attrs_n, 1);
    EXPECT_STREQ(flags.attrs[0].name, "bits");
    EXPECT_EQ(flags.type, nc::byte_code);
    EXPECT_EQ(flags.vsize, 4);
    EXPECT_EQ(flags.begin, 200);
}

TEST_F(NetcdfHeaderDecoding, elements_of_every_type_stand_in_host_order) {
    decode(rich_header().bytes());
    int16_t shorts[3];
    memcpy(shorts, hdr->attrs[1].values.values, sizeof shorts);
    EXPECT_EQ(shorts[0], 1);
    EXPECT_EQ(shorts[1], -2);
    EXPECT_EQ(shorts[2], 32767);
    EXPECT_EQ(*static_cast<double *>(hdr->attrs[2].values.values), -0.5);
    EXPECT_EQ(static_cast<float *>(hdr->vars[0].attrs[0].values.values)[0], -180.0F);
    EXPECT_EQ(static_cast<float *>(hdr->vars[0].attrs[0].values.values)[1], 180.0F);
    EXPECT_EQ(memcmp(hdr->vars[1].attrs[0].values.values, "\x0a\xff", 2), 0);
    EXPECT_EQ(*static_cast<int32_t *>(hdr->vars[2].attrs[0].values.values), -4);
}

TEST_F(NetcdfHeaderDecoding, other_versions_are_refused_and_no_header_is_made) {
    for (int version : {0, 2, 5}) {
        expect_failure(nc::magic(version) + be32(0), 4, {"0 netcdf_unstuff_header: Wrong magic number.\n"});
        EXPECT_EQ(hdr, nullptr);
    }
}

TEST_F(NetcdfHeaderDecoding, each_wrong_byte_of_the_magic_consumes_all_four) {
    for (size_t i = 0; i < 4; i++) {
        std::string bytes = rich_header().bytes();
        bytes[i] = 'X';
        expect_failure(bytes, 4, {"0 netcdf_unstuff_header: Wrong magic number.\n"});
    }
}

TEST_F(NetcdfHeaderDecoding, wrong_magic_leaves_a_given_header_as_it_was) {
    decode(rich_header().bytes());
    const std::string before = listing(hdr);
    read("CDFX", false, [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), -1); });
    EXPECT_EQ(listing(hdr), before);
}

TEST_F(NetcdfHeaderDecoding, three_absent_lists_give_an_empty_header) {
    for (bool known : {false, true}) {
        decode(RawHeader{}.bytes(), known);
        EXPECT_EQ(hdr->dims_n, 0);
        EXPECT_EQ(hdr->dims, nullptr);
        EXPECT_EQ(hdr->attrs_n, 0);
        EXPECT_EQ(hdr->attrs, nullptr);
        EXPECT_EQ(hdr->vars_n, 0);
        EXPECT_EQ(hdr->vars, nullptr);
        EXPECT_EQ(hdr->vars_array, nullptr);
    }
}

TEST_F(NetcdfHeaderDecoding, empty_header_takes_its_own_memory_alone) {
    const GuardedBuffer file(RawHeader{}.bytes());
    unsigned char *pos = file.data();
    NetcdfHeader *made = nullptr;
    {
        const AllocationWatch watch;
        EXPECT_EQ(netcdf_unstuff_header(&pos, &made), 0);
        EXPECT_EQ(watch.requested(), sizeof(NetcdfHeader));
    }
    free(made);
}

TEST_F(NetcdfHeaderDecoding, lists_with_a_tag_and_no_elements_are_empty) {
    for (bool known : {false, true}) {
        decode(nc::magic() + be32(0) + be32(10) + be32(0) + be32(12) + be32(0) + be32(11) + be32(0), known);
        EXPECT_EQ(hdr->dims_n, 0);
        EXPECT_EQ(hdr->attrs_n, 0);
        EXPECT_EQ(hdr->vars_n, 0);
        ASSERT_NE(hdr->vars_array, nullptr);
        EXPECT_EQ(getarr(hdr->vars_array, "x"), nullptr);
    }
}

TEST_F(NetcdfHeaderDecoding, record_count_is_stored_as_read) {
    RawHeader header;
    for (int32_t numrecs : {0, 1, -1, INT_MAX, INT_MIN}) {
        header.numrecs = numrecs;
        decode(header.bytes());
        EXPECT_EQ(hdr->numrecs, numrecs);
    }
}

TEST_F(NetcdfHeaderDecoding, zero_tag_before_a_count_is_an_error) {
    const std::string neither = be32(0) + be32(1);
    const std::string start = nc::magic() + be32(0);
    expect_failure(start + neither, 16,
                   {"0 netcdf_unstuff_header: file error: expecting NC_DIMENSION or ABSENT.\n"});
    expect_failure(start + nc::absent() + neither, 24,
                   {"0 netcdf_unstuff_attrs: file error: expecting NC_ATTRIBUTE or ABSENT.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
    expect_failure(start + nc::absent() + nc::absent() + neither, 32,
                   {"0 netcdf_unstuff_header: file error: expecting NC_VARIABLE or ABSENT.\n"});
}

TEST_F(NetcdfHeaderDecoding, tag_of_another_list_is_refused_before_its_count_is_read) {
    const std::string start = nc::magic() + be32(0);
    expect_failure(start + be32(11), 12, {"0 netcdf_unstuff_header: file error: expecting NC_DIMENSION.\n"});
    expect_failure(start + nc::absent() + be32(10), 20,
                   {"0 netcdf_unstuff_attrs: file error: expecting NC_ATTRIBUTE.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
    expect_failure(start + nc::absent() + nc::absent() + be32(12), 28,
                   {"0 netcdf_unstuff_header: file error: expecting NC_VARIABLE.\n"});
}

TEST_F(NetcdfHeaderDecoding, dimension_id_equal_to_the_count_is_refused_with_the_count) {
    RawHeader header;
    header.dims = {nc::dimension("a", 1), nc::dimension("b", 2), nc::dimension("c", 3)};
    header.vars = {{"v", {3}}};
    const auto moved = static_cast<ptrdiff_t>(header.bytes().size()) - 20;
    expect_failure(header.bytes(), moved,
                   {"0 netcdf_unstuff_header: hdr->vars[v].idim[0]=3 error - cannot be greater than 3.\n"});
    header.vars = {{"v", {2}}};
    decode(header.bytes());
    EXPECT_EQ(hdr->vars[0].dims[0], &hdr->dims[2]);
}

TEST_F(NetcdfHeaderDecoding, negative_dimension_id_is_refused_with_its_position) {
    RawHeader header;
    header.dims = {nc::dimension("a", 1)};
    header.vars = {{"name", {0, 0, -2}}};
    const auto moved = static_cast<ptrdiff_t>(header.bytes().size()) - 20;
    expect_failure(header.bytes(), moved,
                   {"0 netcdf_unstuff_header: hdr->vars[name].idim[2]=-2 error - cannot be less than 0.\n"});
    EXPECT_EQ(hdr->vars[0].dims[1], &hdr->dims[0]);
    EXPECT_EQ(hdr->vars[0].dims[2], nullptr);
}

TEST_F(NetcdfHeaderDecoding, no_dimension_id_is_valid_without_dimensions) {
    RawHeader header;
    header.vars = {{"v", {0}}};
    const auto moved = static_cast<ptrdiff_t>(header.bytes().size()) - 20;
    expect_failure(header.bytes(), moved,
                   {"0 netcdf_unstuff_header: hdr->vars[v].idim[0]=0 error - cannot be greater than 0.\n"});
}

TEST_F(NetcdfHeaderDecoding, only_a_variable_over_a_dimension_of_length_0_is_a_record_variable) {
    RawHeader header;
    header.dims = {nc::dimension("fixed", 5), nc::dimension("record", 0)};
    header.vars = {{"scalar"}, {"plain", {0}}, {"record", {1, 0}}, {"inner", {0, 1}}};
    decode(header.bytes());
    EXPECT_EQ(hdr->vars[0].fixed, 1);
    EXPECT_EQ(hdr->vars[1].fixed, 1);
    EXPECT_EQ(hdr->vars[2].fixed, 0);
    EXPECT_EQ(hdr->vars[3].fixed, 0);
}

TEST_F(NetcdfHeaderDecoding, every_variable_is_found_by_its_name) {
    RawHeader header;
    for (int i = 0; i < 300; i++)
        header.vars.push_back({"variable " + std::to_string(i)});
    decode(header.bytes());
    for (int i = 0; i < 300; i++)
        EXPECT_EQ(getarr(hdr->vars_array, hdr->vars[i].name), &hdr->vars[i]);
    EXPECT_EQ(getarr(hdr->vars_array, "variable 300"), nullptr);
}

TEST_F(NetcdfHeaderDecoding, later_of_two_variables_of_one_name_is_found) {
    RawHeader header;
    header.vars = {{"twin"}, {"twin"}};
    decode(header.bytes());
    EXPECT_EQ(getarr(hdr->vars_array, "twin"), &hdr->vars[1]);
}

TEST_F(NetcdfHeaderDecoding, variable_is_found_by_name_before_the_rest_of_it_is_read) {
    RawHeader header;
    header.vars = {{"first"}, {"broken", {9}}, {"never"}};
    read(header.bytes(), false,
         [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), -1); });
    EXPECT_EQ(hdr->vars_n, 3);
    EXPECT_EQ(getarr(hdr->vars_array, "broken"), &hdr->vars[1]);
    EXPECT_EQ(getarr(hdr->vars_array, "never"), nullptr);
    EXPECT_EQ(hdr->vars[2].name, nullptr);
}

TEST_F(NetcdfHeaderDecoding, type_size_and_offset_of_a_variable_are_not_judged) {
    RawHeader header;
    header.vars = {{"v", {}, {}, 99, -5, INT_MAX}};
    decode(header.bytes(), true);
    EXPECT_EQ(hdr->vars[0].type, 99);
    EXPECT_EQ(hdr->vars[0].vsize, -5);
    EXPECT_EQ(hdr->vars[0].begin, INT_MAX);
}

TEST_F(NetcdfHeaderDecoding, unknown_type_of_an_attribute_is_told_by_every_level) {
    RawHeader header;
    header.attrs = {nc::attribute("odd", 7, 1, be32(0))};
    expect_failure(header.bytes(), 40,
                   {"0 netcdf_unstuff_values: Unrecognized values type = 7.\n",
                    "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});

    header.attrs = {};
    header.vars = {{"v", {}, {nc::attribute("odd", 0, 0, "")}}};
    const auto moved = static_cast<ptrdiff_t>(header.bytes().size()) - 12;
    expect_failure(header.bytes(), moved,
                   {"0 netcdf_unstuff_values: Unrecognized values type = 0.\n",
                    "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[v].\n"});
}

TEST_F(NetcdfHeaderDecoding, failure_in_the_middle_of_a_list_leaves_its_tail_empty) {
    RawHeader header;
    header.attrs = {nc::text_attribute("good", "text"), nc::attribute("odd", 7, 5, ""),
                    nc::text_attribute("late", "text")};
    read(header.bytes(), false,
         [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), -1); });
    ASSERT_EQ(hdr->attrs_n, 3);
    EXPECT_STREQ(static_cast<char *>(hdr->attrs[0].values.values), "text");
    EXPECT_STREQ(hdr->attrs[1].name, "odd");
    EXPECT_EQ(hdr->attrs[1].values.n, 5);
    EXPECT_EQ(hdr->attrs[1].values.values, nullptr);
    EXPECT_EQ(hdr->attrs[2].name, nullptr);
    EXPECT_EQ(hdr->vars, nullptr);
}

TEST_F(NetcdfHeaderDecoding, decoding_twice_into_one_header_leaves_nothing_of_the_first) {
    const std::string second = RawHeader{9, {nc::dimension("d", 2)}, {}, {{"v", {0}}}}.bytes();
    decode(second);
    const std::string alone = listing(hdr);
    release();

    decode(rich_header().bytes());
    NetcdfHeader *first = hdr;
    decode(second);
    EXPECT_EQ(hdr, first);
    EXPECT_EQ(listing(hdr), alone);
    EXPECT_EQ(getarr(hdr->vars_array, "flags"), nullptr);

    decode(RawHeader{}.bytes());
    EXPECT_EQ(hdr->vars_array, nullptr);
    EXPECT_EQ(hdr->attrs_n, 0);
}

TEST_F(NetcdfHeaderDecoding, decoding_twice_into_one_header_holds_no_more_memory_than_once) {
    const GuardedBuffer buffer(rich_header().bytes());
    const AllocationWatch watch;
    int live = 0;
    for (int round = 0; round < 3; round++) {
        unsigned char *pos = buffer.data();
        ASSERT_EQ(netcdf_unstuff_header(&pos, &hdr), 0);
        if (round == 0) live = watch.live();
        EXPECT_EQ(watch.live(), live);
    }
}

TEST_F(NetcdfHeaderDecoding, known_extent_changes_nothing_for_a_good_header) {
    const std::string bytes = rich_header().bytes();
    decode(bytes, false);
    const std::string trusted = listing(hdr);
    decode(bytes, true);
    EXPECT_EQ(listing(hdr), trusted);
}

TEST_F(NetcdfHeaderDecoding, position_stands_on_the_first_byte_behind_the_header) {
    const std::string bytes = rich_header().bytes();
    for (bool known : {false, true})
        EXPECT_EQ(static_cast<ptrdiff_t>(bytes.size()),
                  read(bytes + std::string(100, 'd'), known,
                       [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), 0); }));
}

namespace {

struct NetcdfClearing : NetcdfTest {};

} // namespace

TEST_F(NetcdfClearing, empties_the_header_and_keeps_base_and_record_count) {
    decode(rich_header().bytes());
    const unsigned char *base = hdr->base;
    EXPECT_EQ(netcdf_clear_header(hdr), 0);
    EXPECT_EQ(hdr->base, base);
    EXPECT_EQ(hdr->numrecs, 3);
    EXPECT_EQ(hdr->dims, nullptr);
    EXPECT_EQ(hdr->dims_n, 0);
    EXPECT_EQ(hdr->attrs, nullptr);
    EXPECT_EQ(hdr->attrs_n, 0);
    EXPECT_EQ(hdr->vars, nullptr);
    EXPECT_EQ(hdr->vars_n, 0);
    EXPECT_EQ(hdr->vars_array, nullptr);
}

TEST_F(NetcdfClearing, accepts_null_and_an_empty_header) {
    EXPECT_EQ(netcdf_clear_header(nullptr), 0);
    NetcdfHeader empty = {};
    EXPECT_EQ(netcdf_clear_header(&empty), 0);
    EXPECT_EQ(netcdf_clear_header(&empty), 0);
}

TEST_F(NetcdfClearing, releases_every_block_of_a_decoded_header) {
    const GuardedBuffer buffer(rich_header().bytes());
    unsigned char *pos = buffer.data();
    const AllocationWatch watch;
    EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), 0);
    EXPECT_GT(watch.live(), 20);
    netcdf_clear_header(hdr);
    EXPECT_EQ(watch.live(), 1);
}

namespace {

struct NetcdfName : NetcdfTest {
    std::string text;
    ptrdiff_t decode_name(const std::string &bytes, bool known) {
        return read(bytes, known, [&](unsigned char **pos) {
            char *name = netcdf_unstuff_string(pos);
            text = name ? name : "(null)";
            free(name);
        });
    }
};

} // namespace

TEST_F(NetcdfName, takes_its_length_word_its_bytes_and_padding_to_four) {
    const std::pair<const char *, ptrdiff_t> cases[] = {{"", 4},     {"a", 8},      {"ab", 8},     {"abc", 8},
                                                        {"abcd", 8}, {"abcde", 12}, {"abcdef", 12}};
    for (bool known : {false, true})
        for (auto [name, moved] : cases) {
            EXPECT_EQ(decode_name(nc::name(name), known), moved);
            EXPECT_EQ(text, name);
        }
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NetcdfName, padding_is_not_looked_at) {
    EXPECT_EQ(decode_name(be32(5) + nc::padded("abcde", 'X'), true), 12);
    EXPECT_EQ(text, "abcde");
}

TEST_F(NetcdfName, exhausted_memory_leaves_the_position_behind_the_length) {
    for (bool known : {false, true}) {
        EXPECT_EQ(4, read(nc::name("abcd"), known, [&](unsigned char **pos) {
                      const AllocationWatch watch(1);
                      EXPECT_EQ(netcdf_unstuff_string(pos), nullptr);
                      EXPECT_EQ(watch.requested(), 5U);
                  }));
        EXPECT_EQ(log.take(), Lines{"1 netcdf_unstuff_string: malloc() error.\n"});
    }
}

TEST_F(NetcdfName, negative_length_of_a_trusted_name_is_a_failed_allocation) {
    for (int32_t length : {-1, -4, -5, INT_MIN}) {
        EXPECT_EQ(decode_name(be32(length), false), 4);
        EXPECT_EQ(text, "(null)");
        EXPECT_EQ(log.take(), Lines{"1 netcdf_unstuff_string: malloc() error.\n"});
    }
}

namespace {

struct NetcdfElements : NetcdfTest {
    NetcdfValues values = {};

    ~NetcdfElements() override { free(values.values); }

    ptrdiff_t decode_values(int type, int32_t n, const std::string &bytes, bool known, int expected = 0) {
        values.type = type;
        values.n = n;
        return read(bytes, known,
                    [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_values(pos, &values), expected); });
    }
};

} // namespace

TEST_F(NetcdfElements, consume_their_size_and_padding_to_four) {
    const std::string bytes(24, '\0');
    struct {
        int type;
        int32_t n;
        ptrdiff_t moved;
    } const cases[] = {{nc::byte_code, 0, 0},   {nc::byte_code, 1, 4},    {nc::byte_code, 4, 4},
                       {nc::byte_code, 5, 8},   {nc::char_code, 0, 0},    {nc::char_code, 3, 4},
                       {nc::char_code, 4, 4},   {nc::short_code, 0, 0},   {nc::short_code, 1, 4},
                       {nc::short_code, 2, 4},  {nc::short_code, 3, 8},   {nc::int_code, 3, 12},
                       {nc::float_code, 1, 4},  {nc::int_code, 0, 0},     {nc::float_code, 0, 0},
                       {nc::double_code, 1, 8}, {nc::double_code, 3, 24}, {nc::double_code, 0, 0}};
    for (bool known : {false, true})
        for (const auto &[type, n, moved] : cases) {
            EXPECT_EQ(decode_values(type, n, bytes, known), moved);
            EXPECT_NE(values.values, nullptr);
        }
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NetcdfElements, characters_are_closed_by_a_zero_byte) {
    EXPECT_EQ(decode_values(nc::char_code, 3, "abcX", false), 4);
    EXPECT_EQ(memcmp(values.values, "abc\0", 4), 0);
    EXPECT_EQ(decode_values(nc::char_code, 0, "", true), 0);
    EXPECT_STREQ(static_cast<char *>(values.values), "");
}

TEST_F(NetcdfElements, blocks_are_as_large_as_the_elements) {
    const std::pair<int, size_t> cases[] = {{nc::byte_code, 3}, {nc::char_code, 4},   {nc::short_code, 6},
                                            {nc::int_code, 12}, {nc::float_code, 12}, {nc::double_code, 24}};
    for (auto [type, size] : cases) {
        const GuardedBuffer buffer(std::string(24, 'x'));
        unsigned char *pos = buffer.data();
        NetcdfValues fresh = {type, 3, nullptr};
        const AllocationWatch watch;
        EXPECT_EQ(netcdf_unstuff_values(&pos, &fresh), 0);
        EXPECT_EQ(watch.requested(), size);
        free(fresh.values);
    }
}

TEST_F(NetcdfElements, block_held_before_is_released) {
    decode_values(nc::int_code, 1, be32(1), false);
    const GuardedBuffer buffer(be32(2));
    unsigned char *pos = buffer.data();
    const AllocationWatch watch;
    EXPECT_EQ(netcdf_unstuff_values(&pos, &values), 0);
    EXPECT_EQ(watch.live(), 0);
    EXPECT_EQ(*static_cast<int32_t *>(values.values), 2);
}

TEST_F(NetcdfElements, null_values_are_refused) {
    EXPECT_EQ(
        0, read("", false, [](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_values(pos, nullptr), -1); }));
    EXPECT_EQ(log.take(), Lines{"0 netcdf_unstuff_values: values == NULL.\n"});
}

TEST_F(NetcdfElements, unknown_type_releases_the_block_and_leaves_the_position) {
    std::vector<int> types = {INT_MIN, INT_MAX, 0x101, 0x10001};
    for (int type = -300; type <= 300; type++)
        if (type < nc::byte_code || type > nc::double_code) types.push_back(type);
    for (int type : types) {
        decode_values(nc::int_code, 1, be32(1), false);
        EXPECT_EQ(decode_values(type, 1, be32(1), false, -1), 0);
        EXPECT_EQ(values.values, nullptr);
        EXPECT_EQ(log.take(), Lines{"0 netcdf_unstuff_values: Unrecognized values type = " +
                                    std::to_string(type) + ".\n"});
    }
}

TEST_F(NetcdfElements, exhausted_memory_is_told_with_the_size_of_the_elements) {
    const std::pair<int, const char *> cases[] = {{nc::byte_code, "3"},   {nc::char_code, "3"},
                                                  {nc::short_code, "6"},  {nc::int_code, "12"},
                                                  {nc::float_code, "12"}, {nc::double_code, "24"}};
    const GuardedBuffer buffer(std::string(24, 'x'));
    for (auto [type, size] : cases) {
        unsigned char *pos = buffer.data();
        NetcdfValues fresh = {type, 3, malloc(1)};
        {
            const AllocationWatch watch(1);
            EXPECT_EQ(netcdf_unstuff_values(&pos, &fresh), -1);
        }
        EXPECT_EQ(pos, buffer.data());
        EXPECT_EQ(fresh.values, nullptr);
        EXPECT_EQ(log.take(), Lines{std::string("1 netcdf_unstuff_values: malloc(values->values,") + size +
                                    ") error.\n"});
    }
}

TEST_F(NetcdfElements, impossible_counts_of_trusted_values_are_failed_allocations) {
    struct {
        int type;
        int32_t n;
        const char *size;
    } const cases[] = {{nc::byte_code, -1, "-1"},
                       {nc::char_code, -1, "-1"},
                       {nc::short_code, -3, "-6"},
                       {nc::double_code, -1, "-8"}};
    for (const auto &[type, n, size] : cases) {
        EXPECT_EQ(decode_values(type, n, "", false, -1), 0);
        EXPECT_EQ(log.take(), Lines{std::string("1 netcdf_unstuff_values: malloc(values->values,") + size +
                                    ") error.\n"});
    }
}

TEST_F(NetcdfElements, size_in_the_message_wraps_in_32_bits) {
    values = {nc::double_code, 0x20000001, nullptr};
    read("", false, [&](unsigned char **pos) {
        const AllocationWatch watch(1);
        EXPECT_EQ(netcdf_unstuff_values(pos, &values), -1);
        EXPECT_EQ(watch.requested(), 0x100000008U);
    });
    EXPECT_EQ(log.take(), Lines{"1 netcdf_unstuff_values: malloc(values->values,8) error.\n"});
}

namespace {

struct NetcdfAttributes : NetcdfTest {
    int attrs_n = 77;
    NetcdfAttr sentinel = {};
    NetcdfAttr *attrs = &sentinel;

    ptrdiff_t decode_attrs(const std::string &bytes, bool known, int expected = 0) {
        return read(bytes, known, [&](unsigned char **pos) {
            EXPECT_EQ(netcdf_unstuff_attrs(pos, &attrs_n, &attrs), expected);
        });
    }
};

} // namespace

TEST_F(NetcdfAttributes, absent_list_stores_nothing) {
    for (bool known : {false, true}) {
        EXPECT_EQ(decode_attrs(nc::absent(), known), 8);
        EXPECT_EQ(attrs_n, 77);
        EXPECT_EQ(attrs, &sentinel);
    }
}

TEST_F(NetcdfAttributes, list_stands_alone) {
    const std::string bytes = nc::list(12, {nc::text_attribute("a", "text"), nc::text_attribute("b", "")});
    for (bool known : {false, true}) {
        EXPECT_EQ(decode_attrs(bytes, known), static_cast<ptrdiff_t>(bytes.size()));
        ASSERT_EQ(attrs_n, 2);
        EXPECT_STREQ(attrs[0].name, "a");
        EXPECT_STREQ(static_cast<char *>(attrs[0].values.values), "text");
        NetcdfHeader owner = {};
        owner.attrs = attrs;
        owner.attrs_n = attrs_n;
        netcdf_clear_header(&owner);
    }
}

TEST_F(NetcdfAttributes, negative_count_of_a_trusted_list_is_a_failed_allocation) {
    EXPECT_EQ(decode_attrs(be32(12) + be32(-1), false, -1), 8);
    EXPECT_EQ(log.take(), Lines{"1 netcdf_unstuff_attrs: malloc(attrs) error.\n"});
    EXPECT_EQ(attrs_n, 77);
    EXPECT_EQ(attrs, &sentinel);
}

TEST_F(NetcdfHeaderDecoding, negative_counts_of_a_trusted_header_are_failed_allocations) {
    const std::string start = nc::magic() + be32(0);
    const std::pair<std::string, Lines> cases[] = {
        {start + be32(10) + be32(-1), {"1 netcdf_unstuff_header: malloc(hdr->dims) error.\n"}},
        {start + nc::absent() + be32(12) + be32(-1),
         {"1 netcdf_unstuff_attrs: malloc(attrs) error.\n",
          "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"}},
        {start + nc::absent() + nc::absent() + be32(11) + be32(-1),
         {"1 netcdf_unstuff_header: malloc(hdr->vars) error.\n"}},
        {start + nc::absent() + nc::absent() + be32(11) + be32(1) + nc::name("v") + be32(-1),
         {"1 netcdf_unstuff_header: malloc(hdr->vars[v].dims) error.\n"}}};
    for (const auto &[bytes, lines] : cases) {
        release();
        const ptrdiff_t moved =
            read(bytes, false, [&](unsigned char **pos) { EXPECT_EQ(netcdf_unstuff_header(pos, &hdr), -1); });
        EXPECT_EQ(moved, static_cast<ptrdiff_t>(bytes.size()));
        EXPECT_EQ(log.take(), lines);
        EXPECT_EQ(hdr->dims_n, 0);
        EXPECT_EQ(hdr->attrs_n, 0);
    }
}
