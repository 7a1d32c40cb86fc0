// SPDX-License-Identifier: MIT
//
// `lindra fetch`: what it finds, how it writes it, and what it refuses.

#include "endless_tree.hpp"
#include "indexed_shapes.hpp"
#include "ordinary_user.hpp"

#include "shapes/sqlite.hpp"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>

using namespace lindra::test;
namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;

// Three roads and two towns: shapes 1 to 5.
struct Fetch : IndexedShapes {
    void SetUp() override {
        write("roads", {diagonal(0, 0, 1, 1), diagonal(2, 2, 3, 3), le32(SHAPE_NULL)},
              {{"NAME", 'C', 8}, {"LANES", 'N', 3}, {"TOLL", 'L', 1}, {"BUILT", 'D', 8}},
              {" Ring      4T19991231", " Old Post  2F20240229", " Planned    ?        "});
        write("towns", {point_shape(10, 50), point_shape(-179, -17)}, {{"name", 'C', 8}, {"POP", 'N', 8}},
              {" Aachen    249070", " Levuka      4397"});
        ASSERT_EQ(index().code, 0);
    }

    // The shapes that are found, or nothing but -1 when it fails.
    std::vector<int> found(const std::string &arguments) const {
        const Result result = fetch(arguments + " --format geojson");
        if (result.code != 0) return {-1};
        std::vector<int> ids;
        const Json collection = Json::parse(result.output);
        for (const Json &feature : collection["features"])
            ids.push_back(feature["id"]);
        return ids;
    }

    std::vector<int> where(const std::string &expression) const {
        return found("--where \"" + expression + "\"");
    }

    void expect_refused(const std::string &expression, const std::string &why) const {
        const std::string before = read_file(database());
        const Result result = fetch("--where \"" + expression + "\"");
        EXPECT_EQ(result.code, 2) << expression;
        EXPECT_EQ(result.output, "") << expression;
        EXPECT_TRUE(has(result.errors, why)) << result.errors;
        EXPECT_EQ(read_file(database()), before) << expression;
    }
};

using Ids = std::vector<int>;

constexpr const char *road =
    "Record(1):\n"
    "  offset=100\n"
    "  RecordHdr:\n"
    "    number=1\n"
    "    length=40\n"
    "  RecordPolyLine(1):\n"
    "    shape_type=RecordPolyLine\n"
    "    bbox=(0.000000, 0.000000, 1.000000, 1.000000)\n"
    "    numparts=1\n"
    "    numpoints=2\n"
    "    parts=0\n"
    "    points=(0.000000, 0.000000), (1.000000, 1.000000)\n"
    "  filename=roads.shp\n"
    "  attributes={\"NAME\":\"Ring\",\"LANES\":4,\"TOLL\":true,\"BUILT\":\"1999-12-31\"}\n";

} // namespace

TEST_F(Fetch, text_is_the_librarys_listing_with_file_and_attributes) {
    const Result result = fetch("--id 1");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.output, road);
}

TEST_F(Fetch, feature_has_the_attributes_and_tells_where_it_is_from) {
    const Result result = fetch("--id 4 --format geojsonseq");
    ASSERT_EQ(result.output.front(), '\x1e');
    EXPECT_EQ(Json::parse(result.output.substr(1)),
              Json::parse(R"({"type":"Feature","id":4,"geometry":{"type":"Point","coordinates":[10,50]},
                  "properties":{"name":"Aachen","POP":249070},"file":"towns.shp","record":1})"));
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1);
}

TEST_F(Fetch, everything_is_one_collection_and_null_shapes_are_features) {
    const Json all = Json::parse(fetch("--format geojson").output);
    EXPECT_EQ(all["type"], "FeatureCollection");
    ASSERT_EQ(all["features"].size(), 5U);
    EXPECT_TRUE(all["features"][2]["geometry"].is_null());
    EXPECT_EQ(Json::parse(fetch("--format geojson --window 100/101/0/1").output)["features"], Json::array());
}

TEST_F(Fetch, output_goes_to_a_file) {
    const Result result = fetch("--id 4 --format geojson -o " + path("towns.json"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(Json::parse(read_file(path("towns.json")))["features"].size(), 1U);
}

TEST_F(Fetch, output_over_the_database_is_refused) {
    fs::create_symlink(database(), path("link.json"));
    const std::string before = read_file(database());
    for (const std::string output : {"shapes.db", "link.json"}) {
        const Result result = fetch("--format geojson -o " + path(output));
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.errors,
                  "lindra: " + path(output) + " is the database itself; name another file for the output\n");
    }
    EXPECT_EQ(read_file(database()), before);
}

TEST_F(Fetch, empty_window_or_expression_does_not_ask_for_all_shapes) {
    for (const std::string option : {"--window", "--where"}) {
        const Result result = fetch(option + " \"\"");
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "lindra: " + option + " is empty; give it a value, or leave it out\n");
    }
}

TEST_F(Fetch, options_of_a_map_are_refused_where_there_is_none) {
    const Result nowhere = fetch("--projection robinson --size 100");
    EXPECT_EQ(nowhere.code, 2);
    EXPECT_EQ(nowhere.errors, "lindra: --size is for a map; name one with -o, such as map.png\n");
    const Result both = fetch("--format geojson -o " + path("x.PNG"));
    EXPECT_EQ(both.code, 2);
    EXPECT_TRUE(has(both.errors, "x.PNG is the name of a picture; leave out --format")) << both.errors;
    EXPECT_FALSE(fs::exists(path("x.PNG")));
}

TEST_F(Fetch, window_finds_boxes_that_meet_it_on_their_edges_too) {
    EXPECT_EQ(found("--window 0.5/0.6/0.5/0.6"), (Ids{1}));
    EXPECT_EQ(found("--window 1/2/1/2"), (Ids{1, 2}));
    EXPECT_EQ(found("--window 10/10/50/50"), (Ids{4}));
    EXPECT_EQ(found("--window 1.0000001/1.9999999/1/2"), (Ids{}));
    EXPECT_EQ(found("--window -1e9/1e9/-1e9/1e9"), (Ids{1, 2, 4, 5}));
}

TEST_F(Fetch, window_with_east_below_west_crosses_the_antimeridian) {
    EXPECT_EQ(found("--window 170/-170/-30/-10"), (Ids{5}));
    EXPECT_EQ(found("--window 9/-170/-30/60"), (Ids{4, 5}));
    EXPECT_EQ(fetch("--window 5000/-170/-30/-10").code, 2);
}

TEST_F(Fetch, window_that_is_none_is_told) {
    for (const std::string window :
         {"1/2/3", "1/2/3/4/5", "1/2/4/3", "a/2/3/4", "1/2/3/nan", "1/2/3/", "1/2/3/1e999"}) {
        const Result result = fetch("--window " + window);
        EXPECT_EQ(result.code, 2) << window;
        EXPECT_TRUE(has(result.errors, "lindra: the window " + window + ": ")) << result.errors;
    }
}

TEST_F(Fetch, expression_sees_the_attributes_of_every_file) {
    EXPECT_EQ(where("LANES > 1 AND NAME LIKE 'r%'"), (Ids{1}));
    EXPECT_EQ(where("name IN ('Ring', 'Aachen')"), (Ids{1, 4}));
    EXPECT_EQ(where("POP IS NULL"), (Ids{1, 2, 3}));
    EXPECT_EQ(where("TOLL"), (Ids{1}));
    EXPECT_EQ(where("NOT toll"), (Ids{2}));
    EXPECT_EQ(where("BUILT >= '2000-01-01'"), (Ids{2}));
    EXPECT_EQ(where("POP = (SELECT max(pop) FROM (SELECT attributes ->> 'POP' AS pop FROM shape))"),
              (Ids{4}));
    EXPECT_EQ(where("1 -- a comment"), (Ids{1, 2, 3, 4, 5}));
    EXPECT_EQ(where("NAME = ');' OR NAME = '/*'"), (Ids{}));
}

TEST_F(Fetch, expression_sees_what_the_index_has_beside_the_attributes) {
    EXPECT_EQ(where("filename = 'towns.shp' AND recno = 2"), (Ids{5}));
    EXPECT_EQ(where("shape_type = 0"), (Ids{3}));
    EXPECT_EQ(where("xmax - xmin = 0 AND shapeid <> 4"), (Ids{5}));
}

TEST_F(Fetch, window_and_expression_narrow_each_other) {
    EXPECT_EQ(found("--window 0/20/0/60 --where \"POP > 0 OR LANES = 2\""), (Ids{2, 4}));
}

TEST_F(Fetch, attribute_hides_what_the_index_has_of_the_same_name) {
    write("odd", {point_shape(500, 500)}, {{"shapeid", 'C', 3}, {"RECNO", 'N', 3}, {"xmin", 'C', 3}},
          {" abc 99XY "});
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(where("shapeid = 'abc' AND recno = 99 AND xmin = 'XY'"), (Ids{6}));
}

TEST_F(Fetch, names_of_attributes_may_hold_anything) {
    write("odd", {point_shape(500, 500)},
          {{"a\"b", 'N', 1}, {"c\\d", 'N', 1}, {"e'f", 'N', 1}, {"g h.i", 'N', 1}, {"?1", 'N', 1}},
          {" 12345"});
    ASSERT_EQ(index().code, 0);
    const Result result =
        run_lindra("fetch " + database() +
                   R"( --format geojson --where '"a""b" = 1 AND "c\d" = 2 AND "e'"'"'f" = 3 )"
                   R"(AND [g h.i] = 4 AND "?1" = 5')");
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(Json::parse(result.output)["features"].size(), 1U);
}

TEST_F(Fetch, expression_can_read_and_nothing_else) {
    expect_refused("1; DROP TABLE shape", "leave out the semicolon");
    expect_refused("1) UNION SELECT 5 --", "closes a parenthesis that it has not opened");
    expect_refused("1) UNION SELECT (5", "closes a parenthesis that it has not opened");
    expect_refused("(1", ") is missing");
    expect_refused("NAME = 'x", "' is missing");
    expect_refused("1 /* never", "*/ is missing");
    expect_refused("POP > ?1", "has a parameter, ?");
    expect_refused("POP > :pop", "has a parameter, :");
    expect_refused("load_extension('/tmp/x.so')", "load_extension");
    expect_refused("writefile('/tmp/x', 'y')", "writefile");
    expect_refused("randomblob(1000000000) IS NULL", "randomblob");
    expect_refused("(ATTACH 'x.db' AS x)", "syntax error");
    expect_refused("(DELETE FROM shape)", "syntax error");
    expect_refused("EXISTS (SELECT * FROM sqlite_master)", "prohibited");
    expect_refused("EXISTS (SELECT * FROM pragma_database_list)", "not authorized");
    expect_refused("EXISTS (SELECT data FROM shape_box_node)", "prohibited");
    expect_refused("1 IN (WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c)",
                   "not authorized");
    EXPECT_EQ(shapes(), 5);
}

TEST_F(Fetch, fault_in_an_expression_is_told_with_the_attributes_that_there_are) {
    const Result result = fetch("--where \"POPULATION > 5\"");
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.errors, "lindra: the expression POPULATION > 5: no such column: POPULATION; "
                             "the attributes are BUILT, LANES, NAME, name, POP, TOLL\n");
    EXPECT_TRUE(has(fetch("--where \"POP >\"").errors, "syntax error"));
    EXPECT_TRUE(
        has(run_lindra("fetch " + database() + " --where 'name = \"Ring\"'").errors,
            "no such column: \"Ring\"") ||
        has(run_lindra("fetch " + database() + " --where 'name = \"Ring\"'").errors, "no such column: Ring"));
    EXPECT_TRUE(has(fetch("--where \"abs(-9223372036854775807 - 1) = 1\"").errors, "integer overflow"));
}

TEST_F(Fetch, number_that_is_not_there_is_told_and_the_others_are_fetched) {
    const Result result = fetch("--id 1,99");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, road);
    EXPECT_EQ(result.errors, "lindra: there is no shape 99\nlindra: 1 of 2 shapes could not be fetched\n");
    for (const std::string none : {"x", "1x", "''", "99999999999999999999"}) {
        const Result refused = fetch("--id " + none);
        EXPECT_EQ(refused.code, 2) << none;
        EXPECT_TRUE(has(refused.errors, "' is not the number of a shape")) << refused.errors;
    }
    EXPECT_EQ(fetch("--id 1 --window 0/1/0/1").code, 2);
}

TEST_F(Fetch, shapefile_that_is_gone_is_told_once_and_the_others_are_fetched) {
    fs::remove(path("roads.shp"));
    for (const std::string format : {"text", "geojson"}) {
        const Result result = fetch("--format " + format);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.errors,
                  "lindra: " + fs::canonical(directory.path()).string() +
                      "/roads.shp: shape 1: the file is gone; put it back, or run lindra index "
                      "again\n"
                      "lindra: 3 of 5 shapes could not be fetched\n");
        EXPECT_TRUE(has(result.output, "Levuka"));
    }
}

TEST_F(Fetch, shapefile_that_has_changed_is_told) {
    fs::last_write_time(path("roads.shp"), fs::file_time_type::clock::now() + std::chrono::hours(1));
    const Result result = fetch("--id 1");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, road);
    EXPECT_TRUE(has(result.errors, "roads.shp: has changed since it was indexed; run lindra index again\n"));
}

TEST_F(Fetch, table_that_has_changed_or_gone_is_told) {
    for (const std::string encoding : {"", "--encoding CP1252"}) {
        ASSERT_EQ(index(directory.path().string() + " " + encoding).code, 0);
        const int first = number("SELECT min(shapeid) FROM shape");
        const std::string id = "--id " + std::to_string(first);
        EXPECT_EQ(fetch(id).errors, "");
        const auto hour = std::chrono::hours(encoding.empty() ? 1 : 2);
        fs::last_write_time(path("roads.dbf"), fs::file_time_type::clock::now() + hour);
        EXPECT_TRUE(has(fetch(id).errors, "roads.shp: has changed since it was indexed"));
        ASSERT_EQ(index(directory.path().string() + " " + encoding).code, 0);
    }
    fs::remove(path("towns.cpg"));
    const Result result = fetch("--where \"name = 'Aachen'\"");
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(has(result.errors, "towns.shp: has changed since it was indexed")) << result.errors;
}

// What no run of lindra index has written. Shapes 1 to 3 are lost, and the others fetched.
TEST_F(Fetch, broken_row_is_told_with_the_index_and_the_shape) {
    SqliteMaker(database(), R"(
        UPDATE shape SET attributes = '{"NAME":' WHERE shapeid = 1;
        UPDATE shape SET recno = 4294967297 WHERE shapeid = 2;
        UPDATE shape SET length = -1 WHERE shapeid = 3;)");
    const std::string told = "lindra: " + database() + ": shape ";
    const std::string todo = "; delete the file and make it anew with lindra index\n";
    const std::string lost = told + "1 has attributes that are no JSON object" + todo + told +
                             "2 has a record number out of all range" + todo + told +
                             "3 has a length that no record has" + todo;
    for (const std::string form : {"", "--format geojson", "--id 1,2,3,4,5 --format geojsonseq"}) {
        const Result result = fetch(form);
        EXPECT_EQ(result.code, 1) << form;
        EXPECT_EQ(result.errors, lost + "lindra: 3 of 5 shapes could not be fetched\n") << form;
        EXPECT_TRUE(has(result.output, "Aachen")) << form;
        EXPECT_FALSE(has(result.output, "Old Post")) << form;
    }
}

TEST_F(Fetch, largest_record_number_is_fetched) {
    SqliteMaker(database(), "UPDATE shape SET recno = 2147483647 WHERE shapeid = 1");
    EXPECT_TRUE(has(fetch("--id 1 --format geojsonseq").output, R"("record":2147483647)"));
}

TEST_F(Fetch, broken_attributes_are_not_blamed_on_the_expression) {
    SqliteMaker(database(), "UPDATE shape SET attributes = '{x' WHERE shapeid = 2");
    const Result result = fetch("--where NAME=1");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "lindra: " + fs::canonical(database()).string() +
                                 ": shape 2 has attributes that are no JSON object; delete the file and make "
                                 "it anew with lindra index\n");
}

TEST_F(Fetch, broken_json_in_an_expression_is_the_users) {
    expect_refused("json_extract('{x', '$.a')", "malformed JSON");
}

TEST_F(Fetch, attributes_stand_in_one_line_of_the_geojson) {
    SqliteMaker(database(), R"(
        UPDATE shape SET attributes = '{' || char(10) || '"NAME": "Ring"}' WHERE shapeid = 1;
        UPDATE shape SET attributes = NULL WHERE shapeid = 2;
        UPDATE shape SET attributes = '[1]' WHERE shapeid = 3;)");
    const Result result = fetch("--id 1,2,3 --format geojsonseq");
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.output, R"("properties":{"NAME":"Ring"},)")) << result.output;
    EXPECT_TRUE(has(result.output, R"("properties":null,)")) << result.output;
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 2);
    EXPECT_TRUE(has(result.errors, ": shape 3 has attributes that are no JSON object; ")) << result.errors;
}

TEST_F(Fetch, index_that_tells_of_a_shape_it_does_not_hold_is_named) {
    SqliteMaker(database(), "UPDATE shape SET offset = -1 WHERE shapeid = 3");
    const Result result = fetch("--format geojson");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.errors,
              "lindra: " + database() +
                  ": shape 3 is told of and is not there; delete the file and make it anew with "
                  "lindra index\n"
                  "lindra: 1 of 5 shapes could not be fetched\n");
}

TEST_F(Fetch, row_that_leads_to_no_file_or_place_is_told_and_the_others_are_fetched) {
    SqliteMaker(database(), "UPDATE shape SET fileid = 99 WHERE shapeid = 1;"
                            "UPDATE shape SET offset = 'here' WHERE shapeid = 2;"
                            "UPDATE shape SET offset = -1 WHERE shapeid = 3");
    const std::string lost = "lindra: file 99 of " + fs::canonical(database()).string() +
                             ": shape 1: the index has no such file; delete it and make it anew with lindra "
                             "index\n"
                             "lindra: there is no shape 2\n"
                             "lindra: there is no shape 3\n"
                             "lindra: 3 of 4 shapes could not be fetched\n";
    const Result text = fetch("--id 1,2,3,4");
    EXPECT_EQ(text.code, 1);
    EXPECT_EQ(text.errors, lost);
    EXPECT_TRUE(has(text.output, "Aachen"));
    const Result features = fetch("--id 1,2,3,4 --format geojson");
    EXPECT_EQ(features.code, 1);
    EXPECT_EQ(features.errors, lost);
    EXPECT_EQ(Json::parse(features.output)["features"].size(), 1U);
}

TEST_F(Fetch, shapefile_that_was_cut_since_is_told) {
    directory.write("roads.shp", read_file(path("roads.shp")).substr(0, 150));
    for (const std::string format : {"text", "geojson"})
        EXPECT_EQ(fetch("--id 1,2 --format " + format).code, 1);
}

TEST_F(Fetch, shape_that_is_lost_is_told_behind_what_was_told_of_its_file) {
    directory.write("roads.shp", read_file(path("roads.shp")).substr(0, 200));
    for (const std::string format : {"text", "geojson"}) {
        const Result result = fetch("--format " + format);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(has(result.errors, "roads.shp: has changed since it was indexed")) << result.errors;
        EXPECT_TRUE(has(result.errors, "roads.shp: shape 2: ")) << result.errors;
        EXPECT_TRUE(has(result.errors, "\nlindra: 2 of 5 shapes could not be fetched\n")) << result.errors;
    }
}

TEST_F(Fetch, tree_can_be_moved_with_its_index) {
    TemporaryDirectory other;
    const fs::path moved = other.path() / "it's moved";
    fs::rename(directory.path(), moved);
    const Result result = run_lindra("fetch \"" + (moved / "shapes.db").string() + "\" --id 1");
    EXPECT_EQ(result.output, road);
    const Result inside = run_lindra("--version >/dev/null; cd \"" + moved.string() +
                                     "\" && " LINDRA_COMMAND_PATH " fetch shapes.db --id 1");
    EXPECT_EQ(inside.output, road);
    fs::rename(moved, directory.path());
}

TEST_F(Fetch, index_by_a_link_counts_from_where_it_lies) {
    TemporaryDirectory other;
    fs::create_symlink(database(), other.path() / "link.db");
    EXPECT_EQ(run_lindra("fetch " + (other.path() / "link.db").string() + " --id 1").output, road);
}

TEST_F(Fetch, record_without_measures_is_refused_as_text_and_read_otherwise) {
    const std::string shape = path_shape(SHAPE_POLYLINEZ, {{{1, 2}, {3, 4}}}) + extras({5, 6});
    directory.write("storms.shp", main_file_of(SHAPE_POLYLINEZ, {shape}));
    ASSERT_EQ(index().code, 0);
    const Result text = fetch("--id 6");
    EXPECT_EQ(text.code, 1);
    EXPECT_TRUE(has(text.errors, "storms.shp: shape 6: byte 100: esri_unstuff_stream: ")) << text.errors;
    const Result feature = fetch("--id 6 --format geojson");
    EXPECT_EQ(feature.code, 0);
    EXPECT_TRUE(has(feature.errors, "shape 6 breaks the format, and is read as far as it makes sense"));
    EXPECT_EQ(Json::parse(feature.output)["features"][0]["geometry"]["coordinates"],
              Json::parse("[[1,2,5],[3,4,6]]"));
}

TEST_F(Fetch, shape_that_geojson_cannot_have_is_told) {
    directory.write("stray.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(NAN, 2)}));
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(fetch("--id 6 --format geojson").errors, "");
    const Result result = fetch("--id 7 --format geojson");
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(Json::parse(result.output)["features"][0]["geometry"].is_null());
    EXPECT_TRUE(has(result.errors,
                    "stray.shp: shape 7 breaks the format, and is read as far as it makes sense: "
                    "byte 128: record 2 has a coordinate that is no number, and is written "
                    "without a shape\n"))
        << result.errors;
}

TEST_F(Fetch, index_that_is_none_is_told) {
    const Result missing = run_lindra("fetch " + path("missing.db"));
    EXPECT_EQ(missing.code, 1);
    const std::string whole = fs::canonical(directory.path()).string() + "/missing.db";
    EXPECT_EQ(missing.errors,
              "lindra: " + whole + " is not there; make it with lindra index DIRECTORY -o " + whole + "\n");
    fs::create_symlink("missing.db", path("link.db"));
    const Result link = run_lindra("fetch " + path("link.db"));
    EXPECT_EQ(link.code, 1);
    EXPECT_TRUE(has(link.errors, "link.db is a link that leads nowhere")) << link.errors;
    directory.write("begun.db", "");
    const Result begun = run_lindra("fetch " + path("begun.db"));
    EXPECT_EQ(begun.code, 1);
    EXPECT_TRUE(has(begun.errors, "begun.db is empty; if no run of lindra index has just begun it, run one"))
        << begun.errors;
    EXPECT_EQ(run_lindra("fetch " + directory.path().string()).code, 1);
    EXPECT_EQ(run_lindra("fetch " + path("roads.shp")).code, 1);
    EXPECT_EQ(run_lindra("fetch /dev/null").code, 1);
    EXPECT_EQ(run_lindra("fetch").code, 2);
    EXPECT_EQ(run_lindra("fetch ''").errors,
              "lindra: the name of a file is empty; leave it out, or name one\n");
}

TEST_F(Fetch, index_that_may_not_be_read_is_told_with_the_reason) {
    fs::permissions(database(), fs::perms::none);
    const OrdinaryUser user(directory.path());
    const Result result = fetch("");
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "shapes.db: unable to open database file: Permission denied"))
        << result.errors;
}

TEST_F(Fetch, index_that_is_damaged_is_told_with_what_to_do) {
    const std::string whole = read_file(database());
    std::string no_schema = whole;
    no_schema.replace(no_schema.find("CREATE TABLE filename"), 6, "CHOICE");
    for (const std::string &damaged :
         {whole.substr(0, 100) + std::string(whole.size() - 100, 'x'), no_schema}) {
        directory.write("shapes.db", damaged);
        const Result result = fetch("");
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(has(result.errors, "; the file is damaged: delete it and make it anew with lindra index"))
            << result.errors;
    }
    EXPECT_TRUE(
        has(run_lindra("fetch " + path("roads.shp")).errors, "; name one that lindra index has made"));
}

namespace {

struct EndlessFetch : Fetch {
    void SetUp() override {
        Fetch::SetUp();
        const int root = number("SELECT rootpage FROM sqlite_schema WHERE name = 'shape'");
        std::string file = read_file(database());
        make_endless(file, static_cast<size_t>(root), 6);
        directory.write("shapes.db", file);
    }
};

} // namespace

TEST_F(EndlessFetch, shapes_that_begin_again_and_again_are_damage) {
    const Result result = fetch("");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(has(result.errors, "is damaged: shape 1 stands behind shape 5")) << result.errors;
    EXPECT_EQ(fetch("--where 1").code, 1);
}

TEST_F(EndlessFetch, statement_ends_that_finds_nothing_in_rows_without_end) {
    using namespace lindra::tools;
    SqliteConnection connection(database(), SqliteConnection::Access::read);
    try {
        connection.number("SELECT count(*) FROM shape WHERE recno < 0");
        FAIL() << "all rows were read";
    } catch (const SqliteError &error) {
        EXPECT_TRUE(has(error.what(), "more steps than a file of its size can account for")) << error.what();
    }
    // The steps of each statement are its own.
    EXPECT_EQ(connection.number("SELECT count(*) FROM filename"), 2);
}

TEST_F(Fetch, expression_may_have_far_more_to_do_than_to_read_the_rows) {
    using namespace lindra::tools;
    SqliteConnection connection(database(), SqliteConnection::Access::read);
    constexpr const char *long_statement = "SELECT count(*) FROM shape a, shape b, shape c, shape d, shape "
                                           "e, shape f, shape g, shape h, shape i";
    EXPECT_THROW(connection.number(long_statement), SqliteError);
    connection.allow_long_statements();
    EXPECT_EQ(connection.number(long_statement), 1953125);
}

TEST_F(Fetch, index_whose_writer_was_killed_is_told) {
    {
        SqliteMaker writer(database(),
                           "PRAGMA cache_size = 1; BEGIN; UPDATE shape SET recno = 9; "
                           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 9000) "
                           "INSERT INTO field SELECT i + 9, i, 'x', 'C' FROM n");
        for (const std::string ending : {"", "-journal"})
            directory.write("killed.db" + ending, read_file(database() + ending));
    }
    const Result result = run_lindra("fetch " + path("killed.db"));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "a run of lindra index was cut short; run it again\n")) << result.errors;
    EXPECT_EQ(run_lindra("index " + directory.path().string() + " -o " + path("killed.db")).code, 0);
    EXPECT_EQ(run_lindra("fetch " + path("killed.db") + " --id 1").output, road);
}

TEST_F(Fetch, form_that_is_unknown_is_told) {
    EXPECT_EQ(fetch("--format xml").code, 2);
    EXPECT_EQ(fetch("--format text -o " + path("x.txt")).code, 2);
}

TEST_F(Fetch, reader_that_goes_ends_it) {
    const Result result = run_lindra("fetch " + database() + " --format geojson | true");
    EXPECT_EQ(result.errors, "");
}
