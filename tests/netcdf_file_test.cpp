// SPDX-License-Identifier: MIT
//
// Files that another program wrote. golden/netcdf_every_type holds a description, the file that ncgen made of
// it and the listing of that file; LINDRA_BLESS=1 writes the listing anew.

#include "guarded_buffer.hpp"
#include "log_capture.hpp"
#include "netcdf_builder.hpp"
#include "temporary_directory.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <iterator>
#include <optional>

using namespace lindra::test;

namespace {

const std::string golden = LINDRA_GOLDEN_DIRECTORY "/netcdf_every_type/";

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct NetcdfFile : testing::Test {
    LogCapture log;
    std::optional<GuardedBuffer> buffer;
    NetcdfHeader *hdr = nullptr;

    ~NetcdfFile() override {
        netcdf_clear_header(hdr);
        free(hdr);
        if (buffer) lindra_unbound(buffer->data());
    }

    void open(const std::string &path) {
        buffer.emplace(contents(path));
        lindra_bound(buffer->data(), buffer->size());
        unsigned char *pos = buffer->data();
        ASSERT_EQ(netcdf_unstuff_header(&pos, &hdr), 0) << path;
        EXPECT_EQ(log.take(), Lines{});
    }

    const NetcdfVar &var(const char *name) const {
        return *static_cast<NetcdfVar *>(getarr(hdr->vars_array, name));
    }

    static std::string text(const NetcdfAttr &attr) {
        return {static_cast<char *>(attr.values.values), static_cast<size_t>(attr.values.n)};
    }

    template <class T>
    static std::vector<T> values(const NetcdfAttr &attr) {
        const T *first = static_cast<T *>(attr.values.values);
        return {first, first + attr.values.n};
    }

    // The bytes of the data of a variable, of one record if it has records.
    std::string data(const char *name, size_t size) const {
        return {reinterpret_cast<const char *>(hdr->base) + var(name).begin, size};
    }

    void expect_what_the_description_says() const;
    void expect_variable(const char *name, const std::vector<int> &dims, int type, int fixed,
                         int attrs_n) const;
};

void NetcdfFile::expect_variable(const char *name, const std::vector<int> &dims, int type, int fixed,
                                 int attrs_n) const {
    SCOPED_TRACE(name);
    ASSERT_NE(getarr(hdr->vars_array, name), nullptr);
    EXPECT_STREQ(var(name).name, name);
    ASSERT_EQ(var(name).dims_n, static_cast<int>(dims.size()));
    for (size_t i = 0; i < dims.size(); i++)
        EXPECT_EQ(var(name).dims[i], &hdr->dims[dims[i]]);
    EXPECT_EQ(var(name).type, type);
    EXPECT_EQ(var(name).fixed, fixed);
    ASSERT_EQ(var(name).attrs_n, attrs_n);
}

void NetcdfFile::expect_what_the_description_says() const {
    EXPECT_EQ(hdr->numrecs, 2);
    const std::pair<const char *, int> dims[] = {{"time", 0}, {"latitude", 3}, {"lon", 4}, {"letters", 5}};
    ASSERT_EQ(hdr->dims_n, 4);
    for (int i = 0; i < 4; i++) {
        EXPECT_STREQ(hdr->dims[i].name, dims[i].first);
        EXPECT_EQ(hdr->dims[i].value, dims[i].second);
    }

    ASSERT_EQ(hdr->attrs_n, 3);
    EXPECT_STREQ(hdr->attrs[1].name, "padding");
    EXPECT_EQ(text(hdr->attrs[0]), "Every type");
    EXPECT_EQ(text(hdr->attrs[1]), "abcde");
    EXPECT_EQ(values<int32_t>(hdr->attrs[2]), std::vector<int32_t>{7});

    ASSERT_EQ(hdr->vars_n, 7);
    expect_variable("flags", {1}, nc::byte_code, 1, 2);
    expect_variable("names", {1, 3}, nc::char_code, 1, 0);
    expect_variable("depth", {1, 2}, nc::short_code, 1, 2);
    expect_variable("count", {0}, nc::int_code, 0, 1);
    expect_variable("temperature", {0, 1, 2}, nc::float_code, 0, 2);
    expect_variable("axis", {2}, nc::double_code, 1, 1);
    expect_variable("crs", {}, nc::int_code, 1, 1);

    EXPECT_EQ(values<signed char>(var("flags").attrs[0]), (std::vector<signed char>{-128, 0, 127}));
    EXPECT_EQ(text(var("flags").attrs[1]), "one byte each");
    EXPECT_EQ(values<int16_t>(var("depth").attrs[0]), std::vector<int16_t>{-32768});
    EXPECT_EQ(values<int16_t>(var("depth").attrs[1]), (std::vector<int16_t>{1, -2, 3}));
    EXPECT_EQ(values<int32_t>(var("count").attrs[0]), (std::vector<int32_t>{-INT_MAX, INT_MAX}));
    EXPECT_EQ(values<float>(var("temperature").attrs[0]), (std::vector<float>{0.5F, -1.25F}));
    EXPECT_EQ(text(var("temperature").attrs[1]), "K");
    EXPECT_EQ(values<double>(var("axis").attrs[0]), (std::vector<double>{-180, 1e20}));

    EXPECT_EQ(data("flags", 3), std::string("\xff\0\x64", 3));
    EXPECT_EQ(data("names", 15), std::string("one\0\0two\0\0three", 15));
    EXPECT_EQ(data("depth", 6), be16(1) + be16(-2) + be16(3));
    EXPECT_EQ(data("count", 4), be32(10));
    EXPECT_EQ(data("temperature", 8), be_float(0.5F) + be_float(1.5F));
    EXPECT_EQ(data("axis", 32), be_double(-180) + be_double(-90) + be_double(0) + be_double(90.25));
    EXPECT_EQ(data("crs", 4), be32(4326));
    EXPECT_EQ(var("temperature").vsize, 48);
    EXPECT_EQ(var("names").vsize, 16);
}

} // namespace

TEST_F(NetcdfFile, of_every_type_holds_what_its_description_says) {
    open(golden + "input.nc");
    expect_what_the_description_says();
}

TEST_F(NetcdfFile, made_now_by_ncgen_holds_what_its_description_says) {
    const std::string ncgen = LINDRA_NCGEN;
    ASSERT_NE(ncgen, "") << "ncgen was not found; it is in the package netcdf-bin";
    const TemporaryDirectory directory;
    const std::string made = directory.path() / "made.nc";
    const std::string command = ncgen + " -k classic -o '" + made + "' '" + golden + "input.cdl'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    open(made);
    expect_what_the_description_says();
}

TEST_F(NetcdfFile, with_64_bit_offsets_is_refused) {
    std::string bytes = contents(golden + "input.nc");
    ASSERT_EQ(bytes.substr(0, 4), nc::magic(1));
    bytes[3] = 2;
    auto *pos = reinterpret_cast<unsigned char *>(bytes.data());
    EXPECT_EQ(netcdf_unstuff_header(&pos, &hdr), -1);
    EXPECT_EQ(log.take(), Lines{"0 netcdf_unstuff_header: Wrong magic number.\n"});
    EXPECT_EQ(hdr, nullptr);
}

TEST_F(NetcdfFile, of_every_type_has_the_golden_listing) {
    open(golden + "input.nc");
    const std::string text = listing(hdr);
    if (getenv("LINDRA_BLESS")) std::ofstream(golden + "listing.txt", std::ios::binary) << text;
    EXPECT_EQ(text, contents(golden + "listing.txt"));
}
