// SPDX-License-Identifier: MIT
//
// Reading and checking are done here once and for all, so that the later steps index the arrays freely.
// Segments and points must follow each other without gap or overlap: a small file can then never ask for a
// large result.

#include "import/binned_file.hpp"

#include "common/errors.hpp"
#include "import/classic_file.hpp"
#include "import/netcdf_file.hpp"
#include "import/trial.hpp"
#include "import/unchanged.hpp"

#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace lindra::tools {

namespace {

constexpr int32_t largest_number = std::numeric_limits<int32_t>::max();

// The Earth's surface is 510 million square kilometres.
constexpr double greatest_area = 511e6;

constexpr const char *bin_of_segment_variable = "Id_of_first_segment_in_a_bin";
constexpr const char *segments_in_bin_variable = "N_segments_in_a_bin";
constexpr const char *word_variable = "Embedded_npts_levels_exit_entry_for_a_segment";
constexpr const char *first_point_variable = "Id_of_first_point_in_a_segment";

std::string at(const char *what, size_t index) {
    return std::string(" for ") + what + " " + std::to_string(index);
}

template <class Value>
std::string range(Value value, Value low, Value high) {
    return std::to_string(value) + ", outside " + std::to_string(low) + " to " + std::to_string(high) + ",";
}

// A variable of one value for each item of a kind, all of them in low..high.
template <class Value>
std::vector<Value> read_range(const NetcdfFile &file, const char *variable, const char *kind, size_t count,
                              Value low, Value high) {
    std::vector<Value> values = file.read<Value>(variable, count);
    for (size_t i = 0; i < count; i++)
        // Written so that a value that is no number fails too.
        if (!(values[i] >= low && values[i] <= high))
            file.fail(variable, "is " + range(values[i], low, high) + at(kind, i));
    return values;
}

int32_t read_divisor(const NetcdfFile &file, const char *variable, int32_t degrees) {
    const int32_t count = file.read_number(variable, 1, degrees);
    if (degrees % count != 0)
        file.fail(variable,
                  "is " + std::to_string(count) + ", which does not divide " + std::to_string(degrees));
    return count;
}

BinGrid read_grid(const NetcdfFile &file) {
    const BinGrid grid(read_divisor(file, "N_bins_in_360_longitude_range", 360),
                       read_divisor(file, "N_bins_in_180_degree_latitude_range", 180));
    file.read_number("N_bins_in_file", grid.bin_count(), grid.bin_count());
    return grid;
}

void read_polygons(const NetcdfFile &file, BinnedFile &binned) {
    const int32_t count = file.read_number("N_polygons_in_file", 1, largest_number);
    const auto read_all = [&](const char *variable, auto low, auto high) {
        return read_range(file, variable, "polygon", static_cast<size_t>(count), low, high);
    };
    binned.container = read_all("Id_of_parent_polygons", -1, count - 1);
    binned.area = read_all("The_km_squared_area_of_polygons", -greatest_area, greatest_area);
    binned.fraction = read_all("Micro_fraction_of_full_resolution_area", 0, largest_number);
}

void read_points(const NetcdfFile &file, BinnedFile &binned) {
    const auto count = static_cast<size_t>(file.read_number("N_points_in_file", 1, largest_number));
    binned.x = file.read<uint16_t>("Relative_longitude_from_SW_corner_of_bin", count);
    binned.y = file.read<uint16_t>("Relative_latitude_from_SW_corner_of_bin", count);
}

// The bin of each segment.
std::vector<int32_t> read_bins(const NetcdfFile &file, int32_t bin_count, size_t segment_count) {
    const auto bins = static_cast<size_t>(bin_count);
    const auto first = file.read<int32_t>(bin_of_segment_variable, bins);
    const auto count = read_range<int16_t>(file, segments_in_bin_variable, "bin", bins, 0,
                                           std::numeric_limits<int16_t>::max());
    std::vector<int32_t> bin_of_segment;
    bin_of_segment.reserve(segment_count);
    for (size_t bin = 0; bin < bins; bin++) {
        const auto segments = static_cast<size_t>(count[bin]);
        // An empty bin's first segment means nothing.
        if (segments > 0 && first[bin] != static_cast<int32_t>(bin_of_segment.size()))
            file.fail(bin_of_segment_variable, "leaves a gap or an overlap" + at("bin", bin));
        if (segments > segment_count - bin_of_segment.size())
            file.fail(segments_in_bin_variable,
                      "counts more segments than N_segments_in_file" + at("bin", bin));
        bin_of_segment.insert(bin_of_segment.end(), segments, static_cast<int32_t>(bin));
    }
    if (bin_of_segment.size() != segment_count)
        file.fail(segments_in_bin_variable, "counts fewer segments than N_segments_in_file");
    return bin_of_segment;
}

// A segment's word: its number of points << 9 | level << 6 | entry side << 3 | exit side.
Segment decode_word(const NetcdfFile &file, uint32_t word, size_t segment) {
    const uint32_t exit = word & 7, entry = word >> 3 & 7, level = word >> 6 & 7, points = word >> 9;
    constexpr auto none = static_cast<uint32_t>(Side::none);
    if (entry > none || exit > none || (entry == none) != (exit == none))
        file.fail(word_variable, "has no such pair of sides" + at("segment", segment));
    if (level < 1 || level > 6) file.fail(word_variable, "has no such level" + at("segment", segment));
    if (points < 2) file.fail(word_variable, "has fewer than two points" + at("segment", segment));
    return {.polygon = 0,
            .bin = 0,
            .first_point = 0,
            .point_count = static_cast<int32_t>(points),
            .level = static_cast<uint8_t>(level),
            .entry = static_cast<Side>(entry),
            .exit = static_cast<Side>(exit)};
}

void require_points_in_order(const NetcdfFile &file, const std::vector<Segment> &segments,
                             size_t point_count) {
    size_t next = 0;
    for (size_t i = 0; i < segments.size(); i++) {
        if (segments[i].first_point != static_cast<int32_t>(next))
            file.fail(first_point_variable, "leaves a gap or an overlap" + at("segment", i));
        const auto points = static_cast<size_t>(segments[i].point_count);
        if (points > point_count - next)
            file.fail(word_variable, "counts more points than N_points_in_file" + at("segment", i));
        next += points;
    }
    if (next != point_count) file.fail(word_variable, "counts fewer points than N_points_in_file");
}

void read_segments(const NetcdfFile &file, BinnedFile &binned) {
    const auto count = static_cast<size_t>(file.read_number("N_segments_in_file", 1, largest_number));
    const auto last_polygon = static_cast<int32_t>(binned.polygon_count()) - 1;
    const auto words = file.read<int32_t>(word_variable, count);
    const auto first_points = file.read<int32_t>(first_point_variable, count);
    const auto polygons = read_range<int32_t>(file, "Id_of_GSHHS_ID", "segment", count, 0, last_polygon);
    const auto antarctic = read_range<int8_t>(file, "Embedded_ANT_flag", "segment", count, 0, 1);
    const auto bins = read_bins(file, binned.grid.bin_count(), count);
    binned.segments.reserve(count);
    for (size_t i = 0; i < count; i++) {
        Segment segment = decode_word(file, static_cast<uint32_t>(words[i]), i);
        segment.polygon = polygons[i];
        segment.bin = bins[i];
        segment.first_point = first_points[i];
        // The word calls the ice front land like any other; the flag tells them apart.
        if (segment.level == 1 && antarctic[i]) segment.level = 5;
        binned.segments.push_back(segment);
    }
    require_points_in_order(file, binned.segments, binned.x.size());
}

BinnedFile load(const std::filesystem::path &path) {
    const NetcdfFile file(path);
    BinnedFile binned{.path = path,
                      .grid = read_grid(file),
                      .segments = {},
                      .x = {},
                      .y = {},
                      .container = {},
                      .area = {},
                      .fraction = {}};
    read_polygons(file, binned);
    read_points(file, binned);
    read_segments(file, binned);
    return binned;
}

} // namespace

void BinnedFile::fail(size_t polygon, const char *what) const {
    throw DataError(path.string() + ": polygon " + std::to_string(polygon) + " " + what);
}

BinnedFile read_binned_file(const std::filesystem::path &path) {
    std::optional<BinnedFile> binned;
    while_unchanged(path, [&] {
        require_whole(path);
        try_reading(path, [&] { load(path); });
        binned = load(path);
    });
    return *std::move(binned);
}

} // namespace lindra::tools
