// SPDX-License-Identifier: MIT
//
// Where the polygons of a mapped file are, so that a later selection need not walk it. Small polygons are
// found by cells of one degree, which the south-western corners of their boxes lie in; large ones by looking
// at the box of each.
#ifndef LINDRA_GSHHSMAP_POLYGON_INDEX_HPP
#define LINDRA_GSHHSMAP_POLYGON_INDEX_HPP

#include "points.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace lindra::gshhs {

// Whole degrees: columns from west on, counted round the globe, and rows of latitude; none is left out.
struct Cells {
    int first_column, columns, first_row, rows;
};

// Those that the south-western corners of all small polygons lie in that may meet a window in degrees;
// nothing where it is no window of the globe, or so large that walking the file is as fast.
std::optional<Cells> cells_of(double west, double east, double south, double north);

class PolygonIndex {
  public:
    // In the order of the file; the offset is that of the header. Throws std::bad_alloc.
    void add(uint32_t offset, const Box &box);
    // When all are added; the polygons are found from then on. Throws std::bad_alloc.
    void finish();

    // The offsets of the small polygons in the cells and of the large ones that meets(box) says yes to, in
    // the order of the file. Throws std::bad_alloc.
    template <class Meets>
    std::vector<uint32_t> find(const Cells &cells, Meets meets) const {
        std::vector<uint32_t> found;
        for (const Large &polygon : large_)
            if (meets(polygon.box)) found.push_back(polygon.offset);
        find_small(cells, found);
        return found;
    }

  private:
    struct Small {
        uint32_t cell, offset;
    };
    struct Large {
        uint32_t offset;
        Box box;
    };

    // Adds them, and sorts all.
    void find_small(const Cells &cells, std::vector<uint32_t> &found) const;

    std::vector<Small> added_;
    std::vector<Large> large_;
    std::vector<uint32_t> small_;      // offsets, cell by cell
    std::vector<uint32_t> cell_begin_; // in small_, of each cell and behind the last
};

} // namespace lindra::gshhs

#endif
