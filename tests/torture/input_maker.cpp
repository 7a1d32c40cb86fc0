// SPDX-License-Identifier: MIT
//
// Makes the small files that the command is tortured with, below the directory that it is given.

#include "binned_file_maker.hpp"
#include "dbase_builder.hpp"
#include "gmt_builder.hpp"
#include "gshhs_builder.hpp"
#include "shapefile_files.hpp"
#include "texture_builder.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace lindra::test {

namespace {

namespace fs = std::filesystem;

void write(const fs::path &path, const std::string &bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

BinnedFile lines(int level) {
    BinnedFile file;
    file.bins[40] = {{level, {{0, 0}, {30000, 30000}, {65535, 0}}}, {level, {{65535, 0}, {65535, 65535}}}};
    return file;
}

void write_map_data(const fs::path &directory) {
    write(directory / "maps/lindra/gshhs_c.b", file_of({square(-30, -20, 40), square(-20, -10, 10, 2),
                                                        square(-15, -5, 2, 3), square(100, 10, 20)}));
    write(directory / "maps/lindra/binned_border_c.cdf", lines(1).bytes());
    write(directory / "maps/lindra/binned_river_c.cdf", lines(2).bytes());
}

// They are in HDF5, which nothing here writes.
void copy_rivers(const fs::path &to) {
    const fs::path from = "/usr/share/gmt-gshhg/binned_river_c.nc";
    if (!fs::exists(from))
        throw std::runtime_error(from.string() + " is not there; install the package gmt-gshhg-low");
    fs::copy_file(from, to);
}

void write_packages(const fs::path &directory) {
    BinnedFileMaker maker(18, 9);
    Shore shore;
    for (const auto &[longitude, latitude] : {std::pair{4, 18}, {44, 18}, {44, 38}, {4, 38}})
        shore.ring.push_back(maker.at(longitude, latitude));
    maker.add(shore);
    fs::create_directories(directory);
    write_variables(directory / "binned_GSHHS_c.nc", maker.variables());
    copy_rivers(directory / "binned_river_c.nc");
}

// A projected coordinate system, so that PROJ has something to do.
constexpr const char *utm =
    "PROJCS[\"UTM 32N\",GEOGCS[\"WGS 84\",DATUM[\"WGS_1984\",SPHEROID[\"WGS 84\",6378137,298.257223563]],"
    "PRIMEM[\"Greenwich\",0],UNIT[\"degree\",0.0174532925199433]],PROJECTION[\"Transverse_Mercator\"],"
    "PARAMETER[\"latitude_of_origin\",0],PARAMETER[\"central_meridian\",9],PARAMETER[\"scale_factor\",0.9996]"
    ","
    "PARAMETER[\"false_easting\",500000],PARAMETER[\"false_northing\",0],UNIT[\"metre\",1]]";

// A polyline from one corner of its box to the other.
std::string diagonal(double xmin, double ymin, double xmax, double ymax) {
    std::string shape = path_shape(SHAPE_POLYLINE, {{{xmin, ymin}, {xmax, ymax}}});
    std::ranges::copy(le_doubles({xmin, ymin, xmax, ymax}), shape.begin() + 4);
    return shape;
}

void write_shapes(const fs::path &directory) {
    const std::vector<Column> columns = {{"NAME", 'C', 8}, {"LANES", 'N', 4}};
    write(directory / "roads.shp", main_file_of(SHAPE_POLYLINE, {diagonal(400000, 0, 600000, 900000),
                                                                 diagonal(500000, 0, 550000, 200000)}));
    write(directory / "roads.dbf", table_file(columns, {" M\xc3\xbcnster   4", " Ring      12"}));
    write(directory / "roads.cpg", "UTF-8");
    write(directory / "roads.prj", utm);
    write(directory / "ponds.shp", main_file_of(SHAPE_POINT, {point_shape(9, 50), point_shape(10, 51)}));
    // An encoding for which iconv loads a module.
    write(directory / "ponds.dbf", table_file(columns, {" \xc9tang      1", " See        2"}));
    write(directory / "ponds.cpg", "CP1252");
}

void write_all(const fs::path &directory) {
    write_map_data(directory / "data");
    write_packages(directory / "packages");
    write_shapes(directory / "shapes");
    write(directory / "cities.dbf", cities().bytes());
    write(directory / "shape.shp", shp::file(SHAPE_MULTIPATCH, {shp::record(1, shp::shape(SHAPE_MULTIPATCH)),
                                                                shp::record(2, shp::shape(SHAPE_POLYGONZ))}));
    write(directory / "header.nc", rich_header().bytes());
    dds::Texture texture;
    texture.levels = 3;
    write(directory / "texture.dds", texture.file());
}

} // namespace

} // namespace lindra::test

int main(int argc, char **argv) {
    if (argc != 2) return 2;
    try {
        lindra::test::write_all(argv[1]);
    } catch (const std::exception &error) {
        fprintf(stderr, "torture_inputs: %s\n", error.what());
        return 1;
    }
}
