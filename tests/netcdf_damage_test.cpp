// SPDX-License-Identifier: MIT
//
// Headers that are cut, changed or hostile, and memory that runs out. Every buffer ends at an unreadable
// page.

#include "allocations.hpp"
#include "bounded_buffer.hpp"
#include "log_capture.hpp"
#include "netcdf_builder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>

using namespace lindra::test;

namespace {

bool contains(const std::string &line, const char *text) {
    return line.find(text) != std::string::npos;
}

struct NetcdfDamage : testing::Test {
    LogCapture log;
    Lines lines;
    NetcdfHeader *hdr = nullptr;

    ~NetcdfDamage() override { release(); }

    void release() {
        netcdf_clear_header(hdr);
        free(hdr);
        hdr = nullptr;
    }

    // Decodes, walks, prints and releases, and keeps what was logged. Nothing may be left, and what is asked
    // for is proportional to the bytes.
    int decode(const GuardedBuffer &buffer) {
        unsigned char *pos = buffer.data();
        const AllocationWatch watch;
        const int status = netcdf_unstuff_header(&pos, &hdr);
        EXPECT_LE(watch.requested(), 16 * buffer.size() + (64 << 10));
        EXPECT_LE(pos, buffer.end());
        keep_lines();
        if (hdr) expect_sound();
        release();
        EXPECT_EQ(watch.live(), 0);
        return status;
    }

    void keep_lines() {
        const AllocationPause pause;
        lines = log.take();
    }

    // A full or half-filled header can be walked. Values of a refused type are printed as often as they claim
    // to be there, so that such a header is not printed here.
    void expect_sound() const {
        const AllocationPause pause;
        const bool refused = !lines.empty() && contains(lines[0], "Unrecognized");
        EXPECT_TRUE(refused || listing(hdr).starts_with("numrecs  =  "));
        for (int i = 0; i < hdr->vars_n && hdr->vars[i].name; i++) {
            const auto *found = static_cast<NetcdfVar *>(getarr(hdr->vars_array, hdr->vars[i].name));
            EXPECT_TRUE(!found || strcmp(found->name, hdr->vars[i].name) == 0);
        }
    }

    void expect_failure(const std::string &bytes, const Lines &expected) {
        const BoundedBuffer buffer(bytes);
        EXPECT_EQ(decode(buffer), -1);
        EXPECT_EQ(lines, expected);
    }
};

// The messages that pass a failure on.
bool is_passed_on(const std::string &line) {
    static const Lines texts = {
        "1 netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.\n",
        "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n",
        "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->dims->name) error.\n",
        "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n",
        "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->vars->name) error.\n",
        "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[x].\n",
        "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[flags].\n",
        "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[scalar].\n"};
    return std::find(texts.begin(), texts.end(), line) != texts.end();
}

const std::string start = nc::magic() + be32(0);

} // namespace

TEST_F(NetcdfDamage, header_cut_at_any_byte_is_one_message_and_those_that_pass_it_on) {
    const std::string whole = rich_header().bytes();
    for (size_t size = 0; size < whole.size(); size++) {
        SCOPED_TRACE(size);
        const BoundedBuffer buffer(whole.substr(0, size));
        EXPECT_EQ(decode(buffer), -1);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines[0].substr(0, 2), "0 ");
        EXPECT_TRUE(contains(lines[0], " bytes left.\n"));
        EXPECT_TRUE(std::all_of(lines.begin() + 1, lines.end(), is_passed_on));
    }
    EXPECT_EQ(decode(BoundedBuffer(whole)), 0);
    EXPECT_EQ(lines, Lines{});
    EXPECT_EQ(decode(GuardedBuffer(whole)), 0);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(NetcdfDamage, header_of_13_bytes_is_cut) {
    expect_failure(start + be32(10) + '\0', {"0 netcdf_unstuff_header: header is cut, 1 bytes left.\n"});
    expect_failure(start + be32(0) + '\0', {"0 netcdf_unstuff_header: header is cut, 1 bytes left.\n"});
}

TEST_F(NetcdfDamage, less_than_a_magic_number_leaves_the_position_and_makes_no_header) {
    for (const char *bytes : {"", "C", "CDF"}) {
        const BoundedBuffer buffer(bytes);
        unsigned char *pos = buffer.data();
        EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), -1);
        EXPECT_EQ(pos, buffer.data());
        EXPECT_EQ(hdr, nullptr);
        EXPECT_EQ(log.take(), Lines{"0 netcdf_unstuff_header: header is cut, " +
                                    std::to_string(buffer.size()) + " bytes left.\n"});
    }
}

TEST_F(NetcdfDamage, cut_attribute_list_is_told) {
    expect_failure(start + nc::absent() + be32(12),
                   {"0 netcdf_unstuff_attrs: attribute list is cut, 0 bytes left.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
}

TEST_F(NetcdfDamage, names_longer_than_the_file_are_refused_before_their_memory_is_asked_for) {
    for (int32_t length : {9, 1 << 30, INT_MAX, INT_MAX - 1, -1, -4, INT_MIN}) {
        const std::string name = be32(length) + "12345678";
        const std::string text =
            "0 netcdf_unstuff_string: name has " + std::to_string(length) + " bytes, 8 bytes left.\n";
        expect_failure(start + be32(10) + be32(1) + name,
                       {text, "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->dims->name) error.\n"});
        expect_failure(start + nc::absent() + be32(12) + be32(1) + name,
                       {text, "1 netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.\n",
                        "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
    }
    const std::string variable = be32(99) + std::string(24, '\0');
    expect_failure(start + nc::absent() + nc::absent() + be32(11) + be32(1) + variable,
                   {"0 netcdf_unstuff_string: name has 99 bytes, 24 bytes left.\n",
                    "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->vars->name) error.\n"});
}

TEST_F(NetcdfDamage, cut_length_of_a_name_is_told) {
    expect_failure(start + be32(10) + be32(1) + nc::name("1234"),
                   {"0 netcdf_unstuff_header: header is cut, 0 bytes left.\n"});
    expect_failure(start + be32(10) + be32(2) + nc::name("12345678") + be32(1) + "abc",
                   {"0 netcdf_unstuff_string: length of a name is cut, 3 bytes left.\n",
                    "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->dims->name) error.\n"});
}

TEST_F(NetcdfDamage, name_without_its_padding_is_cut) {
    const BoundedBuffer buffer(be32(5) + "abcde");
    unsigned char *pos = buffer.data();
    EXPECT_EQ(netcdf_unstuff_string(&pos), nullptr);
    EXPECT_EQ(pos, buffer.data() + 4);
    EXPECT_EQ(log.take(), Lines{"0 netcdf_unstuff_string: name has 5 bytes, 5 bytes left.\n"});
}

TEST_F(NetcdfDamage, lists_longer_than_the_file_are_refused_before_their_memory_is_asked_for) {
    const std::string rest(28, '\0');
    for (int32_t count : {8, 1 << 30, INT_MAX, -1, INT_MIN}) {
        const std::string n = std::to_string(count);
        expect_failure(start + be32(10) + be32(count) + rest,
                       {"0 netcdf_unstuff_header: list has " + n + " dimensions, 28 bytes left.\n"});
        expect_failure(start + nc::absent() + be32(12) + be32(count) + rest,
                       {"0 netcdf_unstuff_attrs: list has " + n + " attributes, 28 bytes left.\n",
                        "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
        expect_failure(start + nc::absent() + nc::absent() + be32(11) + be32(count) + rest,
                       {"0 netcdf_unstuff_header: list has " + n + " variables, 28 bytes left.\n"});
        expect_failure(start + nc::absent() + nc::absent() + be32(11) + be32(1) + nc::name("v") +
                           be32(count) + rest,
                       {"0 netcdf_unstuff_header: hdr->vars[v] has " + n + " dimensions, 28 bytes left.\n"});
    }
}

TEST_F(NetcdfDamage, list_whose_smallest_elements_lack_one_byte_is_refused) {
    expect_failure(start + be32(10) + be32(2) + std::string(15, '\0'),
                   {"0 netcdf_unstuff_header: list has 2 dimensions, 15 bytes left.\n"});
    expect_failure(start + nc::absent() + be32(12) + be32(2) + std::string(23, '\0'),
                   {"0 netcdf_unstuff_attrs: list has 2 attributes, 23 bytes left.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
    expect_failure(start + nc::absent() + nc::absent() + be32(11) + be32(2) + std::string(55, '\0'),
                   {"0 netcdf_unstuff_header: list has 2 variables, 55 bytes left.\n"});
}

TEST_F(NetcdfDamage, smallest_elements_fill_the_last_byte_of_the_file) {
    RawHeader header;
    header.dims = {nc::dimension("", 0), nc::dimension("", 0)};
    header.attrs = {nc::attribute("", nc::char_code, 0, ""), nc::attribute("", nc::double_code, 0, "")};
    header.vars = {{""}, {""}};
    EXPECT_EQ(decode(BoundedBuffer(header.bytes())), 0);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(NetcdfDamage, values_longer_than_the_file_are_refused_where_they_stand) {
    const BoundedBuffer buffer(std::string(16, 'v'));
    struct {
        int type, width;
        int32_t n;
    } const cases[] = {
        {nc::byte_code, 1, 17},           {nc::byte_code, 1, -1},       {nc::char_code, 1, INT_MAX},
        {nc::char_code, 1, INT_MIN},      {nc::short_code, 2, 9},       {nc::short_code, 2, -2},
        {nc::int_code, 4, 0x40000001},    {nc::float_code, 4, 5},       {nc::double_code, 8, 3},
        {nc::double_code, 8, 0x20000001}, {nc::double_code, 8, INT_MIN}};
    for (const auto &[type, width, n] : cases) {
        NetcdfValues values = {type, n, malloc(1)};
        unsigned char *pos = buffer.data();
        EXPECT_EQ(netcdf_unstuff_values(&pos, &values), -1);
        EXPECT_EQ(pos, buffer.data());
        EXPECT_EQ(values.values, nullptr);
        EXPECT_EQ(log.take(), Lines{"0 netcdf_unstuff_values: list has " + std::to_string(n) + " values of " +
                                    std::to_string(width) + " bytes, 16 bytes left.\n"});
    }
}

TEST_F(NetcdfDamage, values_longer_than_the_file_are_passed_on) {
    RawHeader header;
    header.attrs = {nc::attribute("a", nc::int_code, 1 << 30, be32(1))};
    expect_failure(header.bytes(),
                   {"0 netcdf_unstuff_values: list has 1073741824 values of 4 bytes, 12 bytes left.\n",
                    "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n",
                    "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"});
}

TEST_F(NetcdfDamage, message_with_a_name_of_any_length_stays_a_line) {
    RawHeader header;
    header.vars = {{std::string(100000, 'n'), {1}}};
    EXPECT_EQ(decode(BoundedBuffer(header.bytes())), -1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("0 netcdf_unstuff_header: hdr->vars[nnn"));
    EXPECT_EQ(lines[0].size(), 8193U);
    EXPECT_EQ(lines[0].find('\n'), lines[0].size() - 1);
}

TEST_F(NetcdfDamage, position_at_the_end_of_an_extent_has_nothing_left) {
    const BoundedBuffer buffer(start);
    unsigned char *pos = buffer.end();
    EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), -1);
    EXPECT_EQ(netcdf_unstuff_string(&pos), nullptr);
    EXPECT_EQ(pos, buffer.end());
    EXPECT_EQ(log.take(), (Lines{"0 netcdf_unstuff_header: header is cut, 0 bytes left.\n",
                                 "0 netcdf_unstuff_string: length of a name is cut, 0 bytes left.\n"}));
}

TEST_F(NetcdfDamage, every_word_can_be_hostile) {
    const std::string whole = rich_header().bytes();
    for (int32_t word : {-1, 1, 7, 50, 1 << 20, 1 << 29, 1 << 30, INT_MAX, INT_MIN})
        for (size_t at = 0; at + 4 <= whole.size(); at += 4) {
            SCOPED_TRACE(at);
            std::string bytes = whole;
            bytes.replace(at, 4, be32(word));
            const int status = decode(BoundedBuffer(bytes));
            EXPECT_EQ(lines.empty(), status == 0);
        }
}

TEST_F(NetcdfDamage, random_changes_end_in_a_header_or_in_a_message) {
    const std::string whole = rich_header().bytes();
    const BoundedBuffer buffer(whole);
    std::mt19937 random(20111);
    int good = 0;
    for (int round = 0; round < 20000; round++) {
        std::copy(whole.begin(), whole.end(), buffer.data());
        for (unsigned changes = 1 + random() % 4; changes > 0; changes--)
            buffer.data()[4 + random() % (whole.size() - 4)] = static_cast<unsigned char>(random());
        const int status = decode(buffer);
        EXPECT_EQ(lines.empty(), status == 0);
        good += status == 0;
    }
    EXPECT_GT(good, 1000);
    EXPECT_LT(good, 19000);
}

TEST_F(NetcdfDamage, most_memory_for_the_smallest_file_stays_in_proportion) {
    RawHeader header;
    for (int i = 0; i < 3000; i++)
        header.vars.push_back(
            {std::string{static_cast<char>('a' + i % 20), static_cast<char>('a' + i / 20 % 20),
                         static_cast<char>('a' + i / 400)}});
    EXPECT_EQ(decode(BoundedBuffer(header.bytes())), 0);
}

namespace {

// One of each thing that takes memory, in the order of its allocations.
RawHeader one_of_each() {
    RawHeader header;
    header.dims = {nc::dimension("d", 1)};
    header.attrs = {nc::text_attribute("g", "abcde")};
    header.vars = {{"v", {0}, {nc::attribute("a", nc::double_code, 2, be_double(1) + be_double(2))}}};
    return header;
}

const Lines allocation_failures[] = {
    {"1 netcdf_unstuff_header: malloc(hdr) error.\n"},
    {"1 netcdf_unstuff_header: malloc(hdr->dims) error.\n"},
    {"1 netcdf_unstuff_string: malloc() error.\n",
     "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->dims->name) error.\n"},
    {"1 netcdf_unstuff_attrs: malloc(attrs) error.\n",
     "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"},
    {"1 netcdf_unstuff_string: malloc() error.\n",
     "1 netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.\n",
     "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"},
    {"1 netcdf_unstuff_values: malloc(values->values,5) error.\n",
     "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n",
     "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n"},
    {"1 netcdf_unstuff_header: malloc(hdr->vars) error.\n"},
    {"0 netcdf_unstuff_header: newarr(hdr->vars_array) error.\n"},
    {"1 netcdf_unstuff_string: malloc() error.\n",
     "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->vars->name) error.\n"},
    {"1 netcdf_unstuff_header: setarr(hdr->vars_array,v) error.\n"},
    {"1 netcdf_unstuff_header: malloc(hdr->vars[v].dims) error.\n"},
    {"1 netcdf_unstuff_attrs: malloc(attrs) error.\n",
     "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[v].\n"},
    {"1 netcdf_unstuff_string: malloc() error.\n",
     "1 netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.\n",
     "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[v].\n"},
    {"1 netcdf_unstuff_values: malloc(values->values,16) error.\n",
     "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n",
     "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[v].\n"},
};

} // namespace

TEST_F(NetcdfDamage, each_failing_allocation_is_told_and_leaves_a_header_that_clears) {
    const GuardedBuffer trusted(one_of_each().bytes());
    const BoundedBuffer known(one_of_each().bytes());
    for (const GuardedBuffer *buffer : {&trusted, static_cast<const GuardedBuffer *>(&known)}) {
        int nth = 1;
        for (const Lines &expected : allocation_failures) {
            SCOPED_TRACE(nth);
            unsigned char *pos = buffer->data();
            const AllocationWatch watch(nth++);
            EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), -1);
            EXPECT_TRUE(watch.failed());
            keep_lines();
            if (hdr) expect_sound();
            release();
            EXPECT_EQ(watch.live(), 0);
            EXPECT_EQ(lines, expected);
        }
        unsigned char *pos = buffer->data();
        const AllocationWatch watch(nth);
        EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), 0);
        EXPECT_FALSE(watch.failed());
        release();
    }
}

TEST_F(NetcdfDamage, every_failing_allocation_of_a_reused_header_leaves_it_reusable) {
    const GuardedBuffer buffer(rich_header().bytes());
    std::string whole;
    for (int nth = 1, status = -1; status < 0; nth++) {
        unsigned char *pos = buffer.data();
        netcdf_unstuff_header(&pos, &hdr);
        whole = listing(hdr);
        pos = buffer.data();
        {
            const AllocationWatch watch(nth, AllocationWatch::from_then_on);
            status = netcdf_unstuff_header(&pos, &hdr);
            EXPECT_EQ(status < 0, watch.failed());
        }
        EXPECT_NE(status < 0, log.take().empty());
        expect_sound();
    }
    EXPECT_EQ(listing(hdr), whole);
}

TEST_F(NetcdfDamage, failed_dimension_pointers_keep_their_count) {
    const GuardedBuffer buffer(one_of_each().bytes());
    unsigned char *pos = buffer.data();
    {
        const AllocationWatch watch(11);
        EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), -1);
    }
    EXPECT_EQ(hdr->vars[0].dims_n, 1);
    EXPECT_EQ(hdr->vars[0].dims, nullptr);
    EXPECT_EQ(getarr(hdr->vars_array, "v"), &hdr->vars[0]);
}
