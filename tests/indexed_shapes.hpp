// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_INDEXED_SHAPES_HPP
#define LINDRA_TESTS_INDEXED_SHAPES_HPP

#include "command.hpp"
#include "shapefile_files.hpp"
#include "sqlite_maker.hpp"
#include "temporary_directory.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace lindra::test {

// The shape, of many points, with that box: least x and y, largest x and y.
inline std::string with_box(std::string shape, const std::vector<double> &box) {
    std::ranges::copy(le_doubles(box), shape.begin() + 4);
    return shape;
}

// A polyline from one corner of its box to the other.
inline std::string diagonal(double xmin, double ymin, double xmax, double ymax) {
    return with_box(path_shape(SHAPE_POLYLINE, {{{xmin, ymin}, {xmax, ymax}}}), {xmin, ymin, xmax, ymax});
}

// A directory with shapefiles, and an index of them, "shapes.db".
struct IndexedShapes : testing::Test {
    TemporaryDirectory directory;

    std::string path(const std::string &name) const { return (directory.path() / name).string(); }
    std::string database() const { return path("shapes.db"); }

    // Writes a shapefile without its index; rows are texts of one field after the other.
    void write(const std::string &name, const std::vector<std::string> &shapes,
               const std::vector<Column> &columns = {}, const std::vector<std::string> &rows = {},
               const std::string &cpg = "UTF-8") const {
        directory.write(name + ".shp", main_file_of(SHAPE_POLYLINE, shapes));
        if (columns.empty()) return;
        directory.write(name + ".dbf", table_file(columns, rows));
        directory.write(name + ".cpg", cpg);
    }

    Result index(const std::string &arguments) const {
        return run_lindra("index " + arguments + " -o " + database());
    }
    Result index() const { return index(directory.path().string()); }

    Result fetch(const std::string &arguments) const {
        return run_lindra("fetch " + database() + " " + arguments);
    }

    int number(const std::string &sql) const { return SqliteMaker(database()).number(sql); }
    int shapes() const { return number("SELECT count(*) FROM shape"); }
};

inline bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace lindra::test

#endif
