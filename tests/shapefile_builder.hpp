// SPDX-License-Identifier: MIT
//
// Shapefiles in the making: headers, records, and shapes of every type with numbers that tell where they
// stand.
#ifndef LINDRA_TESTS_SHAPEFILE_BUILDER_HPP
#define LINDRA_TESTS_SHAPEFILE_BUILDER_HPP

#include "little_endian.hpp"

#include "lindra/lindra.h"

#include <string>
#include <utility>
#include <vector>

namespace lindra::test::shp {

inline const std::vector<std::pair<int, const char *>> types = {{SHAPE_NULL, "null"},
                                                                {SHAPE_POINT, "point"},
                                                                {SHAPE_POLYLINE, "polyline"},
                                                                {SHAPE_POLYGON, "polygon"},
                                                                {SHAPE_MULTIPOINT, "multipoint"},
                                                                {SHAPE_POINTZ, "pointz"},
                                                                {SHAPE_POLYLINEZ, "polylinez"},
                                                                {SHAPE_POLYGONZ, "polygonz"},
                                                                {SHAPE_MULTIPOINTZ, "multipointz"},
                                                                {SHAPE_POINTM, "pointm"},
                                                                {SHAPE_POLYLINEM, "polylinem"},
                                                                {SHAPE_POLYGONM, "polygonm"},
                                                                {SHAPE_MULTIPOINTM, "multipointm"},
                                                                {SHAPE_MULTIPATCH, "multipatch"}};

inline bool is_point(int type) {
    return type == SHAPE_POINT || type == SHAPE_POINTM || type == SHAPE_POINTZ;
}

inline bool has_parts(int type) {
    return type != SHAPE_NULL && !is_point(type) && type != SHAPE_MULTIPOINT && type != SHAPE_MULTIPOINTM &&
           type != SHAPE_MULTIPOINTZ;
}

inline bool has_z(int type) {
    return (type >= SHAPE_POINTZ && type <= SHAPE_MULTIPOINTZ) || type == SHAPE_MULTIPATCH;
}

inline bool has_m(int type) {
    return has_z(type) || (type >= SHAPE_POINTM && type <= SHAPE_MULTIPOINTM);
}

inline std::string header(int32_t words, int32_t shape_type) {
    std::string bytes = be32(9994) + be32(0) + be32(0) + be32(0) + be32(0) + be32(0) + be32(words);
    bytes += le32(1000) + le32(shape_type);
    for (double edge : {-180.0, -90.0, 180.0, 83.5, -1.0, 1.0, 0.0, 1e6})
        bytes += le_double(edge);
    return bytes;
}

inline std::string record_header(int32_t number, int32_t words) {
    return be32(number) + be32(words);
}

inline std::string record(int32_t number, const std::string &contents) {
    return record_header(number, static_cast<int32_t>(contents.size() / 2)) + contents;
}

inline std::string file(int32_t shape_type, const std::vector<std::string> &records) {
    std::string all;
    for (const std::string &bytes : records)
        all += bytes;
    return header(static_cast<int32_t>((100 + all.size()) / 2), shape_type) + all;
}

inline double x_of(int i) {
    return i + 0.25;
}
inline double y_of(int i) {
    return -i - 0.5;
}
inline double z_of(int i) {
    return 100.0 + i;
}
inline double m_of(int i) {
    return 1000.0 + i;
}

// The least and the largest value, then that of each point.
inline std::string values(int points, double (*value)(int)) {
    std::string bytes = le_double(value(0)) + le_double(value(points));
    for (int i = 0; i < points; i++)
        bytes += le_double(value(i));
    return bytes;
}

inline std::string point(int type) {
    std::string bytes = le32(type) + le_double(x_of(1)) + le_double(y_of(1));
    if (has_z(type)) bytes += le_double(z_of(1));
    if (has_m(type)) bytes += le_double(m_of(1));
    return bytes;
}

inline std::string part_numbers(int type, int parts) {
    std::string bytes;
    for (int i = 0; i < parts; i++)
        bytes += le32(i);
    for (int i = 0; type == SHAPE_MULTIPATCH && i < parts; i++)
        bytes += le32(i % 6);
    return bytes;
}

// The contents of a record.
inline std::string shape(int type, int parts = 2, int points = 3) {
    if (type == SHAPE_NULL) return le32(type);
    if (is_point(type)) return point(type);
    std::string bytes = le32(type);
    for (double edge : {x_of(0), y_of(points), x_of(points), y_of(0)})
        bytes += le_double(edge);
    if (has_parts(type)) bytes += le32(parts);
    bytes += le32(points);
    if (has_parts(type)) bytes += part_numbers(type, parts);
    for (int i = 0; i < points; i++)
        bytes += le_double(x_of(i)) + le_double(y_of(i));
    if (has_z(type)) bytes += values(points, z_of);
    if (has_m(type)) bytes += values(points, m_of);
    return bytes;
}

} // namespace lindra::test::shp

#endif
