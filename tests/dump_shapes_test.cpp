// SPDX-License-Identifier: MIT
//
// `lindra dump` of shapefiles and dBase tables. What the library's printers write is told by their own tests;
// here it is that the command hands it on, whole, and what it adds.

#include "command.hpp"
#include "dbase_builder.hpp"
#include "ordinary_user.hpp"
#include "shapefile_builder.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace lindra::test;
using Json = nlohmann::json;

struct DumpShapes : testing::Test {
    TemporaryDirectory directory;

    Result dump(const std::string &bytes, const std::string &options = "") const {
        return run_lindra("dump " + options + " " + directory.write("file", bytes));
    }

    Json dump_json(const std::string &bytes) const {
        const Result result = dump(bytes, "--json");
        EXPECT_EQ(result.code, 0) << result.errors;
        return Json::parse(result.output);
    }
};

std::string two_records(int type) {
    return shp::file(type, {shp::record(1, shp::shape(type)), shp::record(2, shp::shape(type))});
}

void expect_members(const Json &record, int type, const char *name) {
    const bool has_points = type != SHAPE_NULL && !shp::is_point(type);
    EXPECT_EQ(record.contains("points"), has_points) << name;
    EXPECT_EQ(record.contains("parts"), shp::has_parts(type)) << name;
    EXPECT_EQ(record.contains("parttypes"), type == SHAPE_MULTIPATCH) << name;
    EXPECT_EQ(record.value("x", 0.0), shp::is_point(type) ? shp::x_of(1) : 0.0) << name;
    if (has_points) {
        EXPECT_EQ(record["points"][2], Json({shp::x_of(2), shp::y_of(2)})) << name;
    }
    if (has_points && shp::has_z(type)) {
        EXPECT_EQ(record["zarray"][2], shp::z_of(2)) << name;
    }
    if (has_points && shp::has_m(type)) {
        EXPECT_EQ(record["marray"][2], shp::m_of(2)) << name;
    }
}

std::string lines_of(const std::string &base, const std::vector<std::string> &facts) {
    std::string lines;
    for (const std::string &fact : facts)
        lines.append(base).append(fact).append("\n");
    return lines;
}

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(DumpShapes, listing_has_the_header_and_every_record) {
    for (const auto &[type, name] : shp::types) {
        const Result result = dump(two_records(type));
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_TRUE(result.output.starts_with("FileHdr:\n  magic=9994\n")) << name;
        EXPECT_TRUE(has(result.output, "Record(0):\n  offset=100\n")) << name;
        EXPECT_TRUE(has(result.output, "Record(1):\n")) << name;
    }
}

TEST_F(DumpShapes, json_has_every_point_of_every_type) {
    for (const auto &[type, name] : shp::types) {
        const Json facts = dump_json(two_records(type));
        EXPECT_EQ(facts["format"], "ESRI shapefile");
        EXPECT_EQ(facts["header"]["shape_type"], type);
        ASSERT_EQ(facts["records"].size(), 2U) << name;
        const Json &record = facts["records"][1];
        EXPECT_EQ(record["number"], 2);
        EXPECT_EQ(record["offset"], 100 + 8 + shp::shape(type).size());
        expect_members(record, type, name);
    }
}

TEST_F(DumpShapes, file_without_records_has_an_empty_list) {
    EXPECT_EQ(dump_json(shp::file(SHAPE_POINT, {}))["records"], Json::array());
}

TEST_F(DumpShapes, what_can_be_read_of_a_damaged_file_comes_before_the_error) {
    const std::string bytes = two_records(SHAPE_POINT);
    const std::string cut = bytes.substr(0, bytes.size() - 1);
    const Result listing = dump(cut);
    EXPECT_EQ(listing.code, 1);
    EXPECT_TRUE(has(listing.output, "Record(0):"));
    EXPECT_FALSE(has(listing.output, "Record(1):"));
    EXPECT_TRUE(has(listing.errors,
                    "file is damaged at byte 148: esri_unstuff_stream: y has 1 elements, 7 bytes left."))
        << listing.errors;

    EXPECT_TRUE(listing.errors.ends_with("; lindra draw and lindra index read what makes sense of it\n"));

    const Result json = dump(cut, "--json");
    EXPECT_EQ(json.code, 1);
    EXPECT_EQ(Json::parse(json.output)["records"].size(), 1U);
}

TEST_F(DumpShapes, table_is_recognised_and_listed) {
    const Result result = dump(cities().bytes());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.starts_with("DbaseFileHDR5:\n  flags=3\n"));
    EXPECT_TRUE(has(result.output, "\nCologne    1073096c \n"));
}

TEST_F(DumpShapes, table_as_json_has_fields_and_records_at_their_places) {
    const RawTable table = cities();
    const Json facts = dump_json(table.bytes());
    EXPECT_EQ(facts["format"], "dBase table");
    EXPECT_EQ(facts["fields"][1]["name"], "PEOPLE");
    EXPECT_EQ(facts["fields"][1]["type"], "N");
    EXPECT_EQ(facts["fields"][1]["offset"], 64);
    ASSERT_EQ(facts["records"].size(), 2U);
    const size_t place = facts["records"][1]["offset"];
    EXPECT_EQ(table.bytes().substr(place, 4), "Bonn");
    EXPECT_TRUE(facts["records"][1]["text"].get<std::string>().starts_with("Bonn "));
}

TEST_F(DumpShapes, table_with_long_records_is_listed) {
    RawTable table;
    table.fields = {{"A", 'C', 255}, {"B", 'C', 255}, {"C", 'C', 255}};
    table.records = {std::string(765, 'x'), std::string(765, 'y')};
    const Result result = dump(table.bytes());
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_TRUE(has(result.output, std::string(1, '\n').append(765, 'y')));
}

TEST_F(DumpShapes, table_of_another_level_is_refused_by_the_reader) {
    RawTable table = cities();
    table.version = 4;
    const Result result = dump(table.bytes());
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "dbase level = 0 - only level 5 supported")) << result.errors;
}

TEST_F(DumpShapes, shapefile_without_its_ending_shows_what_is_there) {
    directory.write("towns.shp", two_records(SHAPE_POINT));
    directory.write("towns.shx", shp::header(58, SHAPE_POINT) + std::string(16, '\0'));
    directory.write("towns.dbf", cities().bytes());
    directory.write("towns.CPG", "UTF-8\n");
    const std::string base = (directory.path() / "towns").string();
    EXPECT_EQ(run_lindra("dump " + base).output,
              lines_of(base, {".shp  shapes: RecordPoint", ".shx  index: 2 records",
                              ".dbf  attributes: 2 records, 3 fields", ".CPG  encoding: UTF-8"}));
    const Json facts = Json::parse(run_lindra("dump --json " + base).output);
    ASSERT_EQ(facts.size(), 4U);
    EXPECT_EQ(facts[3]["holds"], "encoding: UTF-8");
}

TEST_F(DumpShapes, siblings_of_a_file_that_may_not_be_looked_up_do_not_stand_in_for_it) {
    const OrdinaryUser user(directory.path());
    directory.write("towns.shp", two_records(SHAPE_POINT));
    const std::string base = (directory.path() / "towns").string();
    std::filesystem::create_directory(directory.path() / "locked");
    std::filesystem::create_symlink(directory.path() / "locked/it", base);
    EXPECT_EQ(run_lindra("dump " + base).output, lines_of(base, {".shp  shapes: RecordPoint"}));
    const LockedDirectory locked(directory.path() / "locked");
    const Result result = run_lindra("dump " + base);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "lindra: " + base + " cannot be looked up: Permission denied\n");
}

TEST_F(DumpShapes, base_name_may_end_in_the_dot_that_a_shell_completes_to) {
    directory.write("towns.shp", two_records(SHAPE_POINT));
    const std::string base = (directory.path() / "towns").string();
    EXPECT_EQ(run_lindra("dump " + base + ".").output, lines_of(base, {".shp  shapes: RecordPoint"}));
}

// An entry of an index has the layout of a record's header.
TEST_F(DumpShapes, index_is_refused_and_told_from_a_main_file) {
    const std::string entry = shp::record_header(50, 10);
    for (const std::string &more : {std::string(), shp::record_header(64, 10)}) {
        const Result index = dump(shp::header(58, SHAPE_POINT) + entry + more);
        EXPECT_EQ(index.code, 1);
        EXPECT_EQ(index.output, "");
        EXPECT_TRUE(has(index.errors,
                        "file is the index of a shapefile; print the file beside it that ends in .shp"));
    }
    for (const int type : {SHAPE_NULL, SHAPE_POINT, SHAPE_MULTIPATCH})
        EXPECT_EQ(dump(shp::file(type, {shp::record(50, shp::shape(type))})).code, 0) << type;
}

TEST_F(DumpShapes, texts_of_siblings_do_not_steer_the_terminal) {
    directory.write("towns.prj", "PROJCS[\"\x1b[31mred\x7f\"]");
    const std::string base = (directory.path() / "towns").string();
    EXPECT_EQ(run_lindra("dump " + base).output,
              lines_of(base, {".prj  coordinate system: PROJCS[\"?[31mred?\"]"}));
}

TEST_F(DumpShapes, damaged_siblings_are_told_with_the_others) {
    directory.write("towns.shp", "short");
    directory.write("towns.dbf", "");
    std::filesystem::create_directory(directory.path() / "towns.prj");
    const std::string base = (directory.path() / "towns").string();
    const Result result = run_lindra("dump " + base);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, lines_of(base, {".shp  shapes: header is cut", ".dbf  attributes: damaged",
                                             ".prj  " + base + ".prj cannot be read: it is a directory"}));
}

TEST_F(DumpShapes, reader_that_goes_away_ends_the_listing_quietly) {
    const std::vector<std::string> records(20000, shp::record(1, shp::shape(SHAPE_POINT)));
    const std::string path = directory.write("file", shp::file(SHAPE_POINT, records));
    const Result result = run_lindra("dump " + path + " | head -n 1");
    EXPECT_EQ(result.output, "FileHdr:\n");
    EXPECT_EQ(result.errors, "");
}
