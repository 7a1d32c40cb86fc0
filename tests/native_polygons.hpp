// SPDX-License-Identifier: MIT
//
// Reads native polygon files word by word, flags included, for tests of what was written.
#ifndef LINDRA_TESTS_NATIVE_POLYGONS_HPP
#define LINDRA_TESTS_NATIVE_POLYGONS_HPP

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace lindra::test {

struct RecordedPolygon {
    int32_t id;
    uint32_t flags;
    int32_t west, east, south, north;
    int32_t area, area_full;
    int32_t container, ancestor;
    std::vector<std::pair<int32_t, int32_t>> points;

    uint32_t level() const { return flags & 0xff; }
    uint32_t version() const { return flags >> 8 & 0xff; }
    uint32_t crossings() const { return flags >> 16 & 0xff; }
    uint32_t source() const { return flags >> 24 & 1; }
    uint32_t river_lake() const { return flags >> 25 & 1; }
    uint32_t magnitude() const { return flags >> 26; }
};

inline std::string read_bytes(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot open " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<RecordedPolygon> read_polygons(const std::filesystem::path &path) {
    const std::string bytes = read_bytes(path);
    size_t position = 0;
    const auto word = [&] {
        uint32_t value = 0;
        for (int i = 0; i < 4; i++)
            value = value << 8 | static_cast<uint8_t>(bytes.at(position++));
        return static_cast<int32_t>(value);
    };
    std::vector<RecordedPolygon> polygons;
    while (position < bytes.size()) {
        RecordedPolygon polygon;
        polygon.id = word();
        const int32_t count = word();
        polygon.flags = static_cast<uint32_t>(word());
        for (int32_t *field : {&polygon.west, &polygon.east, &polygon.south, &polygon.north, &polygon.area,
                               &polygon.area_full, &polygon.container, &polygon.ancestor})
            *field = word();
        for (int32_t i = 0; i < count; i++) {
            const int32_t x = word();
            polygon.points.emplace_back(x, word());
        }
        polygons.push_back(std::move(polygon));
    }
    return polygons;
}

} // namespace lindra::test

#endif
