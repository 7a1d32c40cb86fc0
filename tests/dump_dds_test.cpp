// SPDX-License-Identifier: MIT
//
// `lindra dump` of textures. What the library's printer writes is told by its own tests.

#include "command.hpp"
#include "dds_builder.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace lindra::test;
using dds::fourcc;
using dds::Header;
using dds::plain_block;
using Json = nlohmann::json;

struct DumpDds : testing::Test {
    TemporaryDirectory directory;

    Result dump(const std::string &bytes, const std::string &options = "") const {
        return run_lindra("dump " + options + " " + directory.write("file", bytes));
    }
};

// 8 x 4 pixels in red, 4 x 2 in blue.
std::string two_levels() {
    return Header().sized(8, 4, 2).bytes() + plain_block(0xf800) + plain_block(0xf800) + plain_block(0x1f);
}

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(DumpDds, listing_is_the_librarys) {
    const Result result = dump(two_levels());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.starts_with("Header:\n  dwSize=124\n"));
    EXPECT_TRUE(has(result.output, "\nmipmap[0] = 8x4 ffff0000 "));
    EXPECT_TRUE(has(result.output, "\nmipmap[1] = 4x2 ff0000ff "));
}

TEST_F(DumpDds, json_has_the_header_and_the_place_of_each_image) {
    Header header = Header().sized(8, 4, 2);
    header.words[Header::reserved + 10] = 7;
    const Result result = dump(header.bytes() + two_levels().substr(128), "--json");
    ASSERT_EQ(result.code, 0) << result.errors;
    const Json facts = Json::parse(result.output);
    EXPECT_EQ(facts["format"], "DDS texture");
    EXPECT_EQ(facts["header"]["dwWidth"], 8);
    EXPECT_EQ(facts["header"]["dwReserved"], Json({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7}));
    EXPECT_EQ(facts["header"]["caps"], Json({"DDSCAPS_COMPLEX", "DDSCAPS_MIPMAP", "DDSCAPS_TEXTURE"}));
    EXPECT_EQ(facts["header"]["ddspf"]["dwFourCC"], "DXT1");
    ASSERT_EQ(facts["images"].size(), 2U);
    EXPECT_EQ(facts["images"][0]["offset"], 128);
    EXPECT_EQ(facts["images"][0]["pixels"].size(), 10U);
    EXPECT_EQ(facts["images"][1],
              Json::parse(R"({"level": 1, "width": 4, "height": 2, "offset": 144, "size": 8,
        "pixels": ["ff0000ff", "ff0000ff", "ff0000ff", "ff0000ff", "ff0000ff", "ff0000ff", "ff0000ff", "ff0000ff"]})"));
}

TEST_F(DumpDds, what_can_be_read_of_a_cut_texture_is_printed) {
    const std::string cut = two_levels().substr(0, 148);
    const Result result = dump(cut);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.output, "\nmipmap[0] = 8x4 "));
    EXPECT_FALSE(has(result.output, "mipmap[1]"));
    EXPECT_TRUE(result.errors.ends_with(
        "/file is damaged at byte 144: dds_decode_file: mipmap 1 has 8 bytes, 4 bytes left\n"))
        << result.errors;
    const Result json = dump(cut, "--json");
    EXPECT_EQ(json.code, 1);
    EXPECT_EQ(Json::parse(json.output)["images"].size(), 1U);
}

TEST_F(DumpDds, dx10_header_is_left_to_another_command) {
    const std::string bytes = Header().with(Header::format_fourcc, fourcc("DX10")).bytes();
    const Result result = dump(bytes + std::string(20, '\0'));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.output, "    dwFourCC=DX10\n"));
    EXPECT_TRUE(
        result.errors.ends_with("/file has a DX10 header at byte 128, which is not listed; `lindra texture` "
                                "reads such files\n"))
        << result.errors;
}

TEST_F(DumpDds, header_that_is_cut_before_a_dx10_one_is_damage) {
    const std::string bytes = Header().with(Header::format_fourcc, fourcc("DX10")).bytes();
    const Result result = dump(bytes.substr(0, 110));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "/file is damaged at byte 108: ")) << result.errors;
}
