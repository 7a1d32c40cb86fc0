// SPDX-License-Identifier: MIT
#include "small_inputs.hpp"

#include "dbase_builder.hpp"
#include "netcdf_builder.hpp"
#include "shapefile_files.hpp"

#include <cmath>
#include <random>

namespace bench {
namespace {

namespace nc = lindra::test::nc;
using lindra::test::Path;

Path ring(double x, double y, int points) {
    Path path;
    for (int i = 0; i <= points; i++) {
        const double angle = 2 * 3.14159265358979 * (i % points) / points;
        path.emplace_back(x + std::cos(angle), y - std::sin(angle));
    }
    return path;
}

// Blanks behind a text, before a number.
std::string left(std::string text, size_t width) {
    text.append(width - text.size(), ' ');
    return text;
}
std::string right(const std::string &text, size_t width) {
    std::string blanks(width - text.size(), ' ');
    return blanks + text;
}

std::string numbered(const std::string &name, int i) {
    return name + std::to_string(i);
}

} // namespace

std::string polygons_text() {
    std::vector<std::string> shapes;
    for (int i = 0; i < 200; i++) {
        std::vector<Path> parts = {ring(i % 20, i / 20, 20 + i)};
        if (i % 5 == 0) parts.push_back(ring(i % 20, i / 20 + 3, 12));
        shapes.push_back(lindra::test::path_shape(SHAPE_POLYGON, parts));
    }
    return lindra::test::main_file_of(SHAPE_POLYGON, shapes);
}

std::string points_text() {
    std::vector<std::string> shapes;
    for (int i = 0; i < 5000; i++)
        shapes.push_back(lindra::test::point_shape(i % 360 - 180, i % 180 - 90));
    return lindra::test::main_file_of(SHAPE_POINT, shapes);
}

std::string table_text() {
    lindra::test::RawTable table;
    table.fields = {{"NAME", 'C', 40}, {"NOTE", 'C', 80}, {"CODE", 'N', 9}, {"AREA", 'N', 19, 6}};
    for (int i = 0; i < 1000; i++)
        table.records.push_back(left(numbered("place number ", i), 40) + left(i % 3 ? "" : "a note", 80) +
                                right(std::to_string(i * 7919), 9) + right(std::to_string(i * 0.618034), 19));
    return table.bytes();
}

std::string variables_text() {
    using namespace lindra::test;
    RawHeader header;
    header.dims = {nc::dimension("lat", 2), nc::dimension("lon", 2)};
    for (int i = 0; i < 200; i++)
        header.vars.push_back({numbered("field_", i),
                               {0, 1},
                               {nc::text_attribute("long_name", numbered("simulated quantity ", i)),
                                nc::text_attribute("units", "kg m-2 s-1"),
                                nc::attribute("valid_range", nc::float_code, 2, be_float(0) + be_float(1)),
                                nc::attribute("scale_factor", nc::double_code, 1, be_double(0.01))}});
    return header.bytes();
}

std::string attributes_text() {
    using namespace lindra::test;
    RawHeader header;
    for (int i = 0; i < 500; i++)
        header.attrs.push_back(i % 2 ? nc::text_attribute(numbered("history_", i), numbered("step ", i))
                                     : nc::attribute(numbered("value_", i), nc::int_code, 1, be32(i)));
    return header.bytes();
}

std::string blocks_text(size_t count) {
    std::mt19937 dice; // NOLINT(bugprone-random-generator-seed): the same on every machine
    std::string bytes;
    for (size_t i = 0; i < 2 * count; i++)
        bytes += lindra::test::le32(static_cast<int32_t>(dice()));
    return bytes;
}

} // namespace bench
