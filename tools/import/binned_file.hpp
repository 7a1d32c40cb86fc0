// SPDX-License-Identifier: MIT
//
// The binned coastline files of GSHHG ("A Global Self-consistent, Hierarchical, High-resolution Geography
// Database", README of version 2.3.7, 2017): every polygon cut where it crosses from one bin to the next.
// docs/formats/gshhs.md has the variables and their bits.
#ifndef LINDRA_TOOLS_BINNED_FILE_HPP
#define LINDRA_TOOLS_BINNED_FILE_HPP

#include "import/bin_grid.hpp"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lindra::tools {

// The part of a polygon's outline that lies in one bin. Unless entry and exit are none, its first and last
// point lie on these sides.
struct Segment {
    int32_t polygon;
    int32_t bin;
    int32_t first_point;
    int32_t point_count; // 2 or more
    uint8_t level;       // 1 land, 2 lake, 3 island, 4 pond, 5 ice front, 6 grounding line
    Side entry, exit;    // both none or neither
};

// A file's contents, checked: every index and every count in it is in range, whatever the file said.
struct BinnedFile {
    std::filesystem::path path;
    BinGrid grid;

    // By segment, in the order of their bins and of their points.
    std::vector<Segment> segments;

    // By point: coordinates in the bin, in bin_units.
    std::vector<uint16_t> x, y;

    // By polygon. The area is that of the full-resolution polygon in square kilometres, negative for a
    // river-lake; the fraction is this polygon's own area in millionths of it.
    std::vector<int32_t> container;
    std::vector<double> area;
    std::vector<int32_t> fraction;

    size_t polygon_count() const { return container.size(); }

    // Throws DataError that names the file and the polygon: "FILE: polygon ID WHAT".
    [[noreturn]] void fail(size_t polygon, const char *what) const;
};

// Throws DataError for a file that is missing, unreadable, not netCDF or damaged.
BinnedFile read_binned_file(const std::filesystem::path &path);

} // namespace lindra::tools

#endif
