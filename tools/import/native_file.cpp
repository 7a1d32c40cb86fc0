// SPDX-License-Identifier: MIT

#include "import/native_file.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace lindra::tools {

namespace {

constexpr size_t buffer_size = 1 << 20;

// The release of the data that the records stand for; readers only ask whether it is 4 or more.
constexpr uint32_t data_version = 13;

enum FlagBit : unsigned {
    version_bit = 8,
    crossings_bit = 16,
    source_bit = 24,
    river_lake_bit = 25,
    magnitude_bit = 26
};

constexpr std::array powers_of_ten{1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};

constexpr double greatest_word = std::numeric_limits<int32_t>::max();

// Areas are stored as whole numbers of 10 ** -magnitude square kilometres, as fine as the word allows.
uint32_t magnitude_of(double area) {
    uint32_t magnitude = 0;
    while (magnitude + 1 < powers_of_ten.size() && area * powers_of_ten[magnitude + 1] < greatest_word)
        magnitude++;
    return magnitude;
}

uint32_t scaled(double area, uint32_t magnitude) {
    return static_cast<uint32_t>(std::llrint(std::min(area * powers_of_ten[magnitude], greatest_word)));
}

// Land comes from the World Vector Shoreline, everything else from other sources.
uint32_t source_of(int32_t level) {
    return level == 1 ? 1 : 0;
}

uint32_t flag_word(const NativeHeader &header, uint32_t magnitude) {
    return static_cast<uint32_t>(header.level) | data_version << version_bit |
           header.crossings << crossings_bit | source_of(header.level) << source_bit |
           uint32_t{header.river_lake} << river_lake_bit | magnitude << magnitude_bit;
}

} // namespace

void NativeFile::append_word(uint32_t word) {
    const std::array bytes{static_cast<char>(word >> 24), static_cast<char>(word >> 16),
                           static_cast<char>(word >> 8), static_cast<char>(word)};
    buffer_.append(bytes.data(), bytes.size());
    size_ += bytes.size();
}

void NativeFile::append(const NativeHeader &header, std::span<const Vertex> vertices) {
    const uint32_t magnitude = magnitude_of(std::max(header.area, header.area_full));
    append_word(static_cast<uint32_t>(header.id));
    append_word(static_cast<uint32_t>(vertices.size()));
    append_word(flag_word(header, magnitude));
    for (const int32_t side : {header.box.west, header.box.east, header.box.south, header.box.north})
        append_word(static_cast<uint32_t>(side));
    append_word(scaled(header.area, magnitude));
    append_word(scaled(header.area_full, magnitude));
    append_word(static_cast<uint32_t>(header.container));
    append_word(static_cast<uint32_t>(header.ancestor));
    for (const Vertex &vertex : vertices) {
        append_word(static_cast<uint32_t>(vertex.lon_udeg));
        append_word(static_cast<uint32_t>(vertex.lat_udeg));
    }
    if (buffer_.size() >= buffer_size) flush();
}

void NativeFile::flush() {
    output_.write(buffer_);
    buffer_.clear();
}

void NativeFile::commit() {
    flush();
    output_.commit();
}

} // namespace lindra::tools
