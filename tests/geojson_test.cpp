// SPDX-License-Identifier: MIT
#include "shapefile_files.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace lindra::test {
namespace {

// The geometry of the only record of a file, and what was told while it was written.
struct Written {
    explicit Written(const std::string &shape) : file(main_file(1, record_bytes(1, shape))) {
        text = geojson_geometry((*file)[0]);
    }
    OpenShapefile file;
    std::string text;
    size_t repairs() const { return file.told(repair_kind::geometry); }
};

std::string polygon(const std::vector<Path> &rings) {
    return path_shape(SHAPE_POLYGON, rings);
}

Path square(double x, double y, double size, bool clockwise = true) {
    Path ring = {{x, y}, {x, y + size}, {x + size, y + size}, {x + size, y}, {x, y}};
    return clockwise ? ring : Path(ring.rbegin(), ring.rend());
}

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr bool counterclockwise = false;

TEST(Geojson, null_shapes) {
    EXPECT_EQ(Written(le32(SHAPE_NULL)).text, "null");
}

TEST(Geojson, points) {
    EXPECT_EQ(Written(point_shape(-1.5, 2)).text, R"({"type":"Point","coordinates":[-1.5,2]})");
    EXPECT_EQ(Written(le32(SHAPE_POINTZ) + le_doubles({1, 2, 3, 4})).text,
              R"({"type":"Point","coordinates":[1,2,3]})");
    EXPECT_EQ(Written(multipoint_shape({{1, 2}, {3, 4}})).text,
              R"({"type":"MultiPoint","coordinates":[[1,2],[3,4]]})");
}

TEST(Geojson, numbers_read_back_as_they_were) {
    EXPECT_EQ(Written(point_shape(0.1, 1.0 / 3)).text,
              R"({"type":"Point","coordinates":[0.1,0.3333333333333333]})");
    EXPECT_EQ(Written(point_shape(5e-324, -1.7976931348623157e308)).text,
              R"({"type":"Point","coordinates":[5e-324,-1.7976931348623157e+308]})");
}

TEST(Geojson, lines) {
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}})).text,
              R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}, {{5, 6}, {7, 8}}})).text,
              R"({"type":"MultiLineString","coordinates":[[[1,2],[3,4]],[[5,6],[7,8]]]})");
}

TEST(Geojson, a_part_of_one_point_is_no_line) {
    const Written written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, 4}}, {{5, 6}}}));
    EXPECT_EQ(written.text, R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(written.repairs(), 1U);
    EXPECT_EQ(Written(path_shape(SHAPE_POLYLINE, {{{5, 6}}})).text, "null");
}

TEST(Geojson, outlines_turn_counterclockwise_and_holes_clockwise) {
    const Written written(polygon({square(0, 0, 9), square(1, 1, 2, counterclockwise)}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[9,9],[0,9],[0,0]],)"
                            R"([[1,1],[1,3],[3,3],[3,1],[1,1]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, rings_that_turn_the_wrong_way_are_told_apart_by_containment) {
    const Written written(polygon({square(1, 1, 2), square(0, 0, 9, counterclockwise)}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[9,0],[9,9],[0,9],[0,0]],)"
                            R"([[1,1],[1,3],[3,3],[3,1],[1,1]]]})");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, an_island_in_a_lake_is_a_polygon_of_its_own) {
    const Written written(
        polygon({square(4, 4, 1), square(20, 0, 1), square(2, 2, 5, counterclockwise), square(0, 0, 9)}));
    EXPECT_EQ(written.text, R"({"type":"MultiPolygon","coordinates":[[[[4,4],[5,4],[5,5],[4,5],[4,4]]],)"
                            R"([[[20,0],[21,0],[21,1],[20,1],[20,0]]],)"
                            R"([[[0,0],[9,0],[9,9],[0,9],[0,0]],[[2,2],[2,7],[7,7],[7,2],[2,2]]]]})");
    EXPECT_EQ(written.repairs(), 0U);
}

TEST(Geojson, neighbours_that_share_a_side_hold_one_another_not) {
    EXPECT_TRUE(Written(polygon({square(0, 0, 2), square(2, 0, 2), square(0, 2, 2)}))
                    .text.starts_with(R"({"type":"MultiPolygon")"));
}

TEST(Geojson, a_hole_may_touch_its_outline_at_corners) {
    const Path diamond = {{0, 2}, {2, 0}, {4, 2}, {2, 4}, {0, 2}};
    EXPECT_TRUE(Written(polygon({square(0, 0, 4), diamond})).text.starts_with(R"({"type":"Polygon")"));
}

TEST(Geojson, open_rings_are_closed) {
    const Written written(polygon({{{0, 0}, {0, 1}, {1, 0}}}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[1,0],[0,1],[0,0]]]})");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, rings_without_area_are_left_out) {
    const Written written(
        polygon({{{0, 0}, {1, 1}, {0, 0}}, square(0, 0, 1), {{0, 0}, {1, 1}, {2, 2}, {0, 0}}}));
    EXPECT_EQ(written.text, R"({"type":"Polygon","coordinates":[[[0,0],[1,0],[1,1],[0,1],[0,0]]]})");
    EXPECT_EQ(written.repairs(), 2U);
    EXPECT_EQ(Written(polygon({{{0, 0}, {1, 1}, {0, 0}}})).text, "null");
}

TEST(Geojson, a_coordinate_that_is_no_number_leaves_no_shape) {
    for (const double bad : {not_a_number, std::numeric_limits<double>::infinity()}) {
        const Written written(path_shape(SHAPE_POLYLINE, {{{1, 2}, {3, bad}}}));
        EXPECT_EQ(written.text, "null");
        EXPECT_EQ(written.repairs(), 1U);
    }
}

TEST(Geojson, a_height_that_is_no_number_leaves_out_all) {
    const Written written(path_shape(SHAPE_POLYLINEZ, {{{1, 2}, {3, 4}}}) + extras({5, not_a_number}));
    EXPECT_EQ(written.text, R"({"type":"LineString","coordinates":[[1,2],[3,4]]})");
    EXPECT_EQ(written.repairs(), 1U);
}

TEST(Geojson, huge_coordinates_do_not_confuse_the_nesting) {
    EXPECT_FALSE(
        Written(polygon({square(-1e308, -1e308, 1e308), square(0, 0, 1e308), square(1, 1, 1)})).text.empty());
}

TEST(Geojson, fans_and_strips_become_triangles) {
    const auto patch = [](int32_t part_type) {
        return le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(1) + le32(4) + le32(0) +
               le32(part_type) + coordinates({{{0, 0}, {1, 0}, {1, 1}, {0, 1}}}) + extras({1, 2, 3, 4});
    };
    EXPECT_EQ(Written(patch(1)).text, R"({"type":"MultiPolygon","coordinates":[)"
                                      R"([[[0,0,1],[1,0,2],[1,1,3],[0,0,1]]],)"
                                      R"([[[0,0,1],[1,1,3],[0,1,4],[0,0,1]]]]})");
    EXPECT_EQ(Written(patch(0)).text, R"({"type":"MultiPolygon","coordinates":[)"
                                      R"([[[0,0,1],[1,0,2],[1,1,3],[0,0,1]]],)"
                                      R"([[[1,0,2],[1,1,3],[0,1,4],[1,0,2]]]]})");
}

TEST(Geojson, inner_rings_of_a_patch_follow_their_outer_one) {
    const std::vector<Path> rings = {square(0, 0, 9), square(1, 1, 2), square(20, 0, 1)};
    const std::string patch = le32(SHAPE_MULTIPATCH) + le_doubles({0, 0, 1, 1}) + le32(3) + le32(15) +
                              le32(0) + le32(5) + le32(10) + le32(2) + le32(3) + le32(2) + coordinates(rings);
    EXPECT_EQ(Written(patch).text,
              R"({"type":"MultiPolygon","coordinates":[[[[0,0],[9,0],[9,9],[0,9],[0,0]],)"
              R"([[1,1],[1,3],[3,3],[3,1],[1,1]]],[[[20,0],[21,0],[21,1],[20,1],[20,0]]]]})");
}

TEST(Geojson, a_feature_bears_its_attributes) {
    OpenShapefile file(
        main_file_of(SHAPE_POINT, {point_shape(1, 2)}), "",
        table_file(
            {{"T\"", 'C', 5}, {"N", 'N', 4}, {"F", 'F', 4}, {"D", 'D', 8}, {"L", 'L', 1}, {"X", 'N', 2}},
            {std::string(" \"\\\x01\xc3\xa4  421e-319990102T**")}),
        "UTF-8");
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":)"
              R"({"T\"":"\"\\\u0001ä","N":42,"F":0.001,"D":"1999-01-02","L":true,"X":null}})");
}

TEST(Geojson, a_feature_without_a_table_has_no_properties) {
    OpenShapefile file(main_file_of(SHAPE_POINT, {point_shape(1, 2)}));
    EXPECT_EQ(geojson((*file)[0]),
              R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":null})");
}

TEST(Geojson, a_collection_leaves_out_what_is_deleted) {
    OpenShapefile file(main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4), le32(SHAPE_NULL)}),
                       "", table_file({{"A", 'N', 1}}, {" 1", "*2", " 3"}));
    std::ostringstream out;
    write_geojson(out, *file);
    EXPECT_EQ(out.str(),
              "{\"type\":\"FeatureCollection\",\"features\":[\n"
              R"({"type":"Feature","geometry":{"type":"Point","coordinates":[1,2]},"properties":{"A":1}},)"
              "\n"
              R"({"type":"Feature","geometry":null,"properties":{"A":3}})"
              "\n]}\n");
}

} // namespace
} // namespace lindra::test
