// SPDX-License-Identifier: MIT

#include "command.hpp"
#include "ordinary_user.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace lindra::test;
using Json = nlohmann::json;

const std::string golden = LINDRA_GOLDEN_DIRECTORY "/netcdf_every_type/";

constexpr const char *unknown_format =
    " is of no format that lindra can print; it prints netCDF classic files, "
    "shapefiles (.shp), dBase tables (.dbf) and DDS textures";

struct Dump : testing::Test {
    TemporaryDirectory directory;

    void expect_refusal(const std::string &bytes, const std::string &complaint) const {
        const std::string path = directory.write("file", bytes);
        const Result result = run_lindra("dump " + path);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "lindra: " + path + complaint + "\n");
    }
};

// The name at a place of the file, read plainly.
std::string name_at(const std::string &bytes, size_t offset) {
    size_t length = 0;
    for (size_t i = 0; i < 4; i++)
        length = length << 8 | static_cast<unsigned char>(bytes.at(offset + i));
    return bytes.substr(offset + 4, length);
}

void expect_names_at_offsets(const Json &records, const std::string &bytes) {
    for (const Json &record : records) {
        EXPECT_EQ(name_at(bytes, record["offset"]), record["name"].get<std::string>());
        if (record.contains("attributes")) expect_names_at_offsets(record["attributes"], bytes);
    }
}

} // namespace

TEST_F(Dump, listing_is_the_librarys) {
    const Result result = run_lindra("dump " + golden + "input.nc");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, read_file(golden + "listing.txt"));
}

// Its dimensions, attributes and variables are those that `ncdump -h` tells. LINDRA_BLESS=1 writes it anew.
TEST_F(Dump, listing_of_the_worlds_rivers_is_the_golden_one) {
    const std::string listing = LINDRA_GOLDEN_DIRECTORY "/binned_river_c/listing.txt";
    const Result result = run_lindra("dump " LINDRA_TEST_DATA "/maps/lindra/binned_river_c.cdf");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    if (getenv("LINDRA_BLESS")) std::ofstream(listing, std::ios::binary) << result.output;
    EXPECT_EQ(result.output, read_file(listing));
}

TEST_F(Dump, json_gives_each_record_the_place_where_its_name_stands) {
    const Result result = run_lindra("dump --json " + golden + "input.nc");
    ASSERT_EQ(result.code, 0);
    const Json facts = Json::parse(result.output);
    const std::string bytes = read_file(golden + "input.nc");
    EXPECT_EQ(facts["format"], "netCDF classic");
    EXPECT_FALSE(facts["dimensions"].empty());
    EXPECT_FALSE(facts["attributes"].empty());
    EXPECT_FALSE(facts["variables"].empty());
    for (const char *list : {"dimensions", "attributes", "variables"})
        expect_names_at_offsets(facts[list], bytes);
}

TEST_F(Dump, file_is_recognised_by_its_content_and_not_by_its_name) {
    const std::string path = directory.write("texture.dds", read_file(golden + "input.nc"));
    EXPECT_EQ(run_lindra("dump " + path).output, read_file(golden + "listing.txt"));
}

TEST_F(Dump, other_forms_of_netcdf_are_answered_with_the_command_that_converts_them) {
    const std::string path = (directory.path() / "file").string();
    const std::string convert = "; convert it with `nccopy -k classic " + path + " OUT` (package netcdf-bin)";
    expect_refusal(std::string("CDF\2", 4) + "rest", " is a netCDF file with 64-bit offsets" + convert);
    expect_refusal(std::string("CDF\5", 4), " is a netCDF file with 64-bit data" + convert);
    expect_refusal("\x89HDF\r\n\x1a\nrest", " is an HDF5 file, as netCDF-4 files are" + convert);
}

TEST_F(Dump, hdf5_behind_a_block_of_the_users_own_is_recognised) {
    const std::string path = (directory.path() / "file").string();
    const std::string signature = "\x89HDF\r\n\x1a\n";
    for (const size_t block : {512U, 1024U, 2048U, 1U << 20})
        expect_refusal(std::string(block, 'u') + signature,
                       " is an HDF5 file, as netCDF-4 files are; convert it with `nccopy -k classic " + path +
                           " OUT` (package netcdf-bin)");
    for (const size_t block : {256U, 511U, 513U, 1536U})
        expect_refusal(std::string(block, 'u') + signature + std::string(2000, 'u'), unknown_format);
    expect_refusal(std::string(512, 'u') + signature.substr(0, 7), unknown_format);
}

TEST_F(Dump, command_that_converts_can_be_pasted_into_a_shell) {
    const std::pair<const char *, const char *> names[] = {
        {"-x.nc", "./-x.nc"}, {"a b.nc", "'a b.nc'"}, {"it's.nc", "'it'\\''s.nc'"}, {"$(x)`y`", "'$(x)`y`'"}};
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    for (const auto &[name, word] : names) {
        directory.write(name, "\x89HDF\r\n\x1a\n");
        const Environment variable("LINDRA_TEST_FILE", name);
        const Result result = run_lindra("dump -- \"$LINDRA_TEST_FILE\"");
        EXPECT_EQ(result.code, 1);
        EXPECT_NE(result.errors.find(std::string("`nccopy -k classic ") + word + " OUT`"), std::string::npos)
            << result.errors;
    }
    std::filesystem::current_path(before);
}

TEST_F(Dump, what_is_no_file_of_a_known_format_is_refused) {
    expect_refusal("", " is empty; make or copy it anew");
    expect_refusal("CDF", unknown_format);
    expect_refusal("some text", unknown_format);
    const Result missing = run_lindra("dump " + (directory.path() / "absent").string());
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.errors.find("absent cannot be read: No such file or directory"), std::string::npos);
    const Result folder = run_lindra("dump " + directory.path().string());
    EXPECT_EQ(folder.code, 1);
    EXPECT_NE(folder.errors.find(" cannot be read: it is a directory"), std::string::npos);
}

TEST_F(Dump, file_that_may_not_be_read_is_told_with_the_reason) {
    const std::string path = directory.write("locked", "CDF");
    std::filesystem::permissions(path, std::filesystem::perms::none);
    const OrdinaryUser user(directory.path());
    EXPECT_EQ(run_lindra("dump " + path).errors, "lindra: " + path + " cannot be read: Permission denied\n");
}

TEST_F(Dump, every_cut_header_is_told_with_the_byte_and_prints_nothing) {
    const std::string bytes = read_file(golden + "input.nc");
    for (const size_t size : {size_t{4}, size_t{13}, size_t{100}}) {
        const std::string path = directory.write("file", bytes.substr(0, size));
        const Result result = run_lindra("dump " + path);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors.find("lindra: " + path + " is damaged at byte "), 0U) << result.errors;
    }
}
