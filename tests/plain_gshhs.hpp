// SPDX-License-Identifier: MIT
//
// A second reader of GSHHS files, which shares nothing with the library: what the file says, polygon by
// polygon.
#ifndef LINDRA_TESTS_PLAIN_GSHHS_HPP
#define LINDRA_TESTS_PLAIN_GSHHS_HPP

#include "plain_geometry.hpp"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace lindra::test {

struct PlainPolygon {
    int id, level; // level as in the file, 5 and 6 are Antarctica
    Ring points;   // as in the file, longitudes made continuous, the closing point included
    Window box;    // as in the header

    bool is_round_pole() const { return std::fabs(points.back().lon - points.front().lon) > 180; }

    // Antarctica is the only land round a pole.
    Ring area() const {
        Ring ring = points;
        if (is_round_pole()) {
            ring.push_back({points.back().lon, -90});
            ring.push_back({points.front().lon, -90});
        }
        return ring;
    }
};

inline int32_t word(const std::string &bytes, size_t at) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; i++)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return static_cast<int32_t>(value);
}

inline std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The headers of version 4 and later, of 44 bytes.
inline std::vector<PlainPolygon> read_polygons(const std::string &path) {
    const std::string bytes = read_file(path);
    std::vector<PlainPolygon> polygons;
    for (size_t at = 0; at < bytes.size();) {
        PlainPolygon polygon = {word(bytes, at),
                                word(bytes, at + 8) & 255,
                                {},
                                {word(bytes, at + 12) / 1e6, word(bytes, at + 16) / 1e6,
                                 word(bytes, at + 20) / 1e6, word(bytes, at + 24) / 1e6}};
        const int count = word(bytes, at + 4);
        at += 44;
        for (int i = 0; i < count; i++, at += 8) {
            Point point = {word(bytes, at) / 1e6, word(bytes, at + 4) / 1e6};
            if (i > 0) point.lon -= 360 * std::round((point.lon - polygon.points.back().lon) / 360);
            polygon.points.push_back(point);
        }
        polygons.push_back(polygon);
    }
    return polygons;
}

} // namespace lindra::test

#endif
