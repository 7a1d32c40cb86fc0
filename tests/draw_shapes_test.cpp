// SPDX-License-Identifier: MIT
//
// Shapes of shapefiles on maps: what of them is seen, pixel by pixel, and where on the Earth they lie.

#include "indexed_shapes.hpp"
#include "picture.hpp"

#include "map/map_shape.hpp"
#include "program.hpp"

#include <sys/stat.h>

using namespace lindra::test;
using namespace lindra::tools;

namespace {

constexpr Pixel red = 0xff0000;
constexpr Pixel green = 0x00ff00;
constexpr Pixel white = 0xffffff;

// Shapes alone, on a map that fills its page.
constexpr const char *looks =
    " --layers coast --style 'sea=#fff,coast=none,shore=none,shape=#f00,shape-line=none,"
    "dot-size=20,shape-width=20,text=none,graticule=none,frame=none' ";
constexpr const char *lines_look =
    " --layers coast --style 'sea=#fff,coast=none,shore=none,shape=none,shape-line=#0f0,"
    "dot-size=20,shape-width=20,text=none,graticule=none,frame=none' ";

// UTM zone 31 north, whose middle is 3 degrees east.
constexpr const char *utm =
    R"(PROJCS["WGS_1984_UTM_Zone_31N",GEOGCS["GCS_WGS_1984",DATUM["D_WGS_1984",SPHEROID["WGS_1984",6378137.0,)"
    R"(298.257223563]],PRIMEM["Greenwich",0.0],UNIT["Degree",0.0174532925199433]],PROJECTION["Transverse_Mercator"],)"
    R"(PARAMETER["False_Easting",500000.0],PARAMETER["False_Northing",0.0],PARAMETER["Central_Meridian",3.0],)"
    R"(PARAMETER["Scale_Factor",0.9996],PARAMETER["Latitude_Of_Origin",0.0],UNIT["Meter",1.0]])";

constexpr const char *degrees =
    R"(GEOGCS["GCS_WGS_1984",DATUM["D_WGS_1984",SPHEROID["WGS_1984",6378137.0,298.257223563]],)"
    R"(PRIMEM["Greenwich",0.0],UNIT["Degree",0.0174532925199433]])";

// Clockwise from its south-western corner.
Path square(double west, double east, double south, double north) {
    return {{west, south}, {west, north}, {east, north}, {east, south}, {west, south}};
}

struct DrawShapes : IndexedShapes {
    void write_polygon(const std::string &name, const std::vector<Path> &rings) const {
        directory.write(name + ".shp", main_file_of(SHAPE_POLYGON, {path_shape(SHAPE_POLYGON, rings)}));
    }

    // A page of 200 pixels.
    Picture draw(const std::string &arguments, const std::string &look = looks) const {
        const Result result = run_lindra("draw " + arguments + look + "--size 200 -o " + path("map.png"));
        EXPECT_EQ(result.code, 0) << result.errors;
        return Picture(read_file(path("map.png")));
    }
};

} // namespace

TEST_F(DrawShapes, polygon_is_filled_but_for_its_holes) {
    write_polygon("a", {square(2, 8, 2, 8), square(4, 6, 4, 6)});
    const Picture map = draw(path("a.shp") + " --window 0/10/0/10");
    EXPECT_EQ(map.at(60, 100), red);
    EXPECT_EQ(map.at(100, 60), red);
    EXPECT_EQ(map.at(100, 100), white);
    EXPECT_EQ(map.at(20, 100), white);
}

TEST_F(DrawShapes, holes_are_holes_on_a_globe_too) {
    write_polygon("a", {square(-30, 30, -30, 30), square(-10, 10, -10, 10)});
    const Picture map = draw(path("a.shp") + " --window -180/180/-90/90 --projection ortho --center 0/0");
    EXPECT_EQ(map.at(100, 100), white);
    EXPECT_EQ(map.at(135, 100), red);
    EXPECT_EQ(map.at(100, 65), red);
    EXPECT_EQ(map.at(170, 100), white);
}

TEST_F(DrawShapes, lines_and_outlines_and_points_are_drawn) {
    write("line", {diagonal(1, 1, 9, 9)});
    write_polygon("ring", {square(2, 4, 6, 8)});
    write("place", {point_shape(8, 2)});
    const Picture map =
        draw(path("line") + " " + path("ring") + " " + path("place") + " --window 0/10/0/10", lines_look);
    EXPECT_EQ(map.at(100, 100), green);
    EXPECT_EQ(map.at(40, 60), green);
    EXPECT_EQ(map.at(60, 60), white);
    EXPECT_EQ(map.at(160, 160), green);
    EXPECT_EQ(map.at(120, 160), white);
}

TEST_F(DrawShapes, shape_across_the_antimeridian_is_seen_in_every_turn) {
    write_polygon("a", {square(175, 185, -5, 5)});
    for (const std::string window : {"170/190/-10/10", "-190/-170/-10/10", "170/-170/-10/10"}) {
        const Picture map = draw(path("a.shp") + " --window " + window);
        EXPECT_EQ(map.at(100, 100), red) << window;
        EXPECT_EQ(map.at(20, 100), white) << window;
    }
}

TEST_F(DrawShapes, metres_go_through_the_prj_file) {
    write_polygon("a", {square(400'000, 600'000, 5'400'000, 5'600'000)});
    directory.write("a.prj", utm);
    const Picture map = draw(path("a.shp") + " --window 0/6/47/53");
    EXPECT_EQ(map.at(100, 90), red);   // 3 east, 50.3 north: northing 5.57e6
    EXPECT_EQ(map.at(100, 40), white); // 51.8 north: 5.74e6
    EXPECT_EQ(map.at(100, 180), white);
    EXPECT_EQ(map.at(20, 100), white);
}

// PROJ gives degrees as it finds them.
TEST_F(DrawShapes, degrees_beyond_every_turn_are_left_out) {
    Path path_of_ring = square(2, 8, 2, 8);
    for (const double nowhere : {-2.7e39, 1e300, 541.0, -541.0})
        path_of_ring.insert(path_of_ring.begin() + 2, {nowhere, 9.9});
    write_polygon("a", {path_of_ring});
    directory.write("a.prj", degrees);
    const Picture map = draw(path("a.shp") + " --window 0/10/0/10");
    EXPECT_EQ(map.at(100, 100), red);
    EXPECT_EQ(map.at(20, 100), white);
    EXPECT_EQ(map.at(100, 20), white);
}

TEST_F(DrawShapes, metres_without_a_prj_file_are_an_error) {
    write_polygon("a", {square(400'000, 600'000, 5'400'000, 5'600'000)});
    const Result result = run_lindra("draw " + path("a.shp") + " -o " + path("map.png"));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "a.shp: its coordinates are not degrees, and there is no .prj file"))
        << result.errors;
    EXPECT_FALSE(std::filesystem::exists(path("map.png")));
    directory.write("a.prj", "no coordinate system");
    const Result strange = run_lindra("draw " + path("a.shp") + " -o " + path("map.png"));
    EXPECT_EQ(strange.code, 1);
    EXPECT_TRUE(has(strange.errors, "PROJ does not understand the coordinate system")) << strange.errors;
}

// What is no well-known text, but PROJ would take, and with it a file of that name.
TEST_F(DrawShapes, prj_file_is_well_known_text_and_nothing_else) {
    write("a", {diagonal(1, 1, 9, 9)});
    const std::string init = directory.write("init", "<x> +proj=longlat +datum=WGS84 <>\n");
    for (const std::string &definition :
         {"+init=" + init + ":x", std::string("EPSG:4326"), std::string("+proj=longlat +datum=WGS84"),
          "proj=pipeline step proj=hgridshift grids=" + init}) {
        directory.write("a.prj", definition);
        const Result result = run_lindra("draw " + path("a.shp") + " -o " + path("map.png"));
        EXPECT_EQ(result.code, 1) << definition;
        EXPECT_TRUE(has(result.errors, "PROJ does not understand the coordinate system")) << result.errors;
    }
}

// One that was read would make the first two good systems.
TEST_F(DrawShapes, prj_file_has_no_other_files_read) {
    write("a", {diagonal(1, 1, 9, 9)});
    const std::string init = directory.write("init", "<x> +proj=longlat +datum=WGS84 <>\n");
    const std::string without_end(degrees, std::string_view(degrees).size() - 1);
    const std::string with_grids = R"(GEOGCS["x",DATUM["d",SPHEROID["s",6378137,298.257223563],)"
                                   R"(EXTENSION["PROJ4_GRIDS",")" +
                                   init + R"("]],PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]])";
    for (const std::string &definition :
         {without_end + ",EXTENSION[\"PROJ4\",\"+init=" + init + ":x +proj=longlat\"]]",
          without_end + ",EXTENSION[\"PROJ4\",\"+proj=longlat +ellps=clrk66 +nadgrids=@" + init + "\"]]",
          with_grids}) {
        directory.write("a.prj", definition);
        const Result result = run_lindra("draw " + path("a.shp") + " -o " + path("map.png"));
        EXPECT_EQ(result.code, 1) << definition;
        EXPECT_TRUE(has(result.errors, "a.shp: the .prj file beside it would have " + init + " read"))
            << result.errors;
        EXPECT_FALSE(std::filesystem::exists(path("map.png")));
    }
}

TEST_F(DrawShapes, files_of_proj_are_read_and_a_grid_that_is_none_is_none) {
    write_polygon("a", {square(2, 8, 2, 8)});
    const std::string without_end(degrees, std::string_view(degrees).size() - 1);
    for (const std::string grids : {"@null", "@no_such_grid.gsb"}) {
        directory.write("a.prj", without_end +
                                     ",EXTENSION[\"PROJ4\",\"+proj=longlat +ellps=WGS84 +nadgrids=" + grids +
                                     "\"]]");
        EXPECT_EQ(draw(path("a.shp") + " --window 0/10/0/10").at(100, 100), red) << grids;
    }
}

TEST_F(DrawShapes, file_that_is_missing_is_told) {
    const Result result = run_lindra("draw " + path("missing.shp") + " -o " + path("map.png"));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "missing.shp cannot be read: No such file or directory")) << result.errors;
}

TEST_F(DrawShapes, messages_name_the_file_that_the_user_has_named) {
    const auto complaint = [&](const std::string &name) {
        const Result result = run_lindra("draw " + name + " -o " + path("map.png"));
        EXPECT_NE(result.code, 0);
        return result.errors;
    };
    write("roads", {diagonal(1, 1, 9, 9)});
    const std::string table = directory.write("roads.dbf", "x");
    EXPECT_EQ(complaint(table), "lindra: " + table + " is no shapefile; name the file in .shp\n");
    const std::string folder = directory.path().string();
    EXPECT_EQ(complaint(folder), "lindra: " + folder + " is no shapefile; name the file in .shp\n");
    EXPECT_EQ(complaint(path("none")),
              "lindra: there is no shapefile " + path("none") + ", nor " + path("none.shp") + "\n");
    EXPECT_EQ(complaint("''"), "lindra: the name of a shapefile is empty; leave it out, or name one\n");
    EXPECT_FALSE(std::filesystem::exists(path("map.png")));
}

// Opening a FIFO would wait for its writer.
TEST_F(DrawShapes, prj_file_that_cannot_be_read_is_told) {
    write("a", {diagonal(1, 1, 9, 9)});
    const auto expect = [&](const std::string &reason) {
        const Result result = run_lindra("draw " + path("a.shp") + " -o " + path("map.png"));
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.errors,
                  "lindra: " + path("a.shp") + ": " + path("a.prj") + " cannot be read: " + reason + "\n");
        std::filesystem::remove(path("a.prj"));
    };
    ASSERT_EQ(mkfifo(path("a.prj").c_str(), 0600), 0);
    expect("it is not a regular file");
    std::filesystem::create_directory(path("a.prj"));
    expect("it is a directory");
    std::filesystem::create_symlink("a.prj", path("a.prj"));
    expect("Too many levels of symbolic links");
}

TEST_F(DrawShapes, damaged_file_is_told_and_drawn_as_far_as_it_goes) {
    const std::string whole =
        main_file_of(SHAPE_POLYLINE, {diagonal(0, 0, 1, 1), diagonal(2, 2, 3, 3), diagonal(4, 4, 5, 5)});
    directory.write("a.shp", whole);
    const std::string arguments = "draw " + path("a.shp") + lines_look + "-o " + path("map.png");
    const Result sound = run_lindra(arguments);
    EXPECT_EQ(sound.code, 0);
    EXPECT_FALSE(has(sound.errors, "a.shp")) << sound.errors;
    directory.write("a.shp", whole.substr(0, whole.size() - 40));
    const Result cut = run_lindra(arguments);
    EXPECT_EQ(cut.code, 0);
    EXPECT_TRUE(has(cut.errors, "lindra: " + path("a.shp") + ": byte 280: record 3 has a length of 40 words"))
        << cut.errors;
    EXPECT_TRUE(std::filesystem::exists(path("map.png")));
}

TEST_F(DrawShapes, without_a_window_the_map_shows_all_shapes) {
    write_polygon("a", {square(20, 30, 40, 50)});
    const Picture map = draw(path("a.shp"));
    EXPECT_EQ(map.at(map.width() / 2, map.height() / 2), red);
    EXPECT_EQ(map.at(2, 2), white);
    EXPECT_EQ(map.at(30, 30), red);
}

TEST(WindowRound, leaves_room_and_stays_on_the_earth) {
    const auto round = [](const Line &points) {
        return window_round({{MapShape::Kind::points, {points}}}).value();
    };
    const Window some = round({{0, 0}, {10, 20}});
    EXPECT_EQ(some.west, -1);
    EXPECT_EQ(some.north, 21);
    const Window place = round({{5, 5}});
    EXPECT_EQ(place.east - place.west, 2);
    const Window world = round({{-180, -90}, {180, 90}});
    EXPECT_EQ(world.west, -180);
    EXPECT_EQ(world.east, 180);
    EXPECT_EQ(world.south, -90);
    const Window turned = round({{0, -90}, {360, 90}});
    EXPECT_EQ(turned.east - turned.west, 360);
    EXPECT_FALSE(window_round({}).has_value());
}

TEST_F(DrawShapes, fetch_draws_what_it_finds_in_its_window) {
    write_polygon("a", {square(2, 4, 2, 8)});
    write_polygon("b", {square(6, 8, 2, 8)});
    ASSERT_EQ(index().code, 0);
    const std::string picture = std::string(looks) + "--size 200 -o " + path("map.png");
    ASSERT_EQ(fetch("--window 0/10/0/10 --where \"filename = 'b.shp'\"" + picture).code, 0);
    const Picture map(read_file(path("map.png")));
    EXPECT_EQ(map.at(60, 100), white);
    EXPECT_EQ(map.at(140, 100), red);
    EXPECT_EQ(fetch("--format text -o " + path("map.png")).code, 2);
}

// In this process, where leak_suppressions.cpp knows what fonts and Cairo cost.
TEST_F(DrawShapes, fetch_draws_as_svg_and_pdf_too) {
    write_polygon("a", {square(2, 4, 2, 8)});
    ASSERT_EQ(index().code, 0);
    for (const std::string ending : {".svg", ".pdf"})
        obey({"fetch", database(), "-o", path("map" + ending)});
    EXPECT_TRUE(has(read_file(path("map.svg")), "<svg"));
    EXPECT_TRUE(read_file(path("map.pdf")).starts_with("%PDF"));
}

TEST_F(DrawShapes, fetch_tells_files_that_cannot_be_placed_and_draws_the_others) {
    write_polygon("a", {square(2, 4, 2, 8)});
    write_polygon("metres", {square(400'000, 600'000, 5'400'000, 5'600'000)});
    ASSERT_EQ(index().code, 0);
    const Result result = fetch(std::string(looks) + "--size 200 -o " + path("map.png"));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "metres.shp: shape 2: its coordinates are not degrees")) << result.errors;
    EXPECT_TRUE(has(result.errors, "1 of 2 shapes could not be fetched")) << result.errors;
    EXPECT_EQ(Picture(read_file(path("map.png"))).width(), 200);
}

TEST_F(DrawShapes, fetch_tells_a_prj_file_once_and_draws_no_map_of_nothing) {
    write("a", {diagonal(1, 1, 2, 2), diagonal(2, 2, 3, 3)});
    directory.write("a.prj", "no coordinate system");
    ASSERT_EQ(index().code, 0);
    const Result result = fetch(std::string(looks) + "-o " + path("map.png"));
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.errors, "lindra: " + path("a.shp") +
                                 ": shape 1: PROJ does not understand the coordinate system in the .prj file "
                                 "beside it\nlindra: 2 of 2 shapes could not be fetched\n");
    EXPECT_FALSE(std::filesystem::exists(path("map.png")));
}
