// SPDX-License-Identifier: MIT
//
// The bins of a binned file: equal cells of longitude and latitude over the whole globe, numbered by rows
// from the north-west, each row from Greenwich to the east.
#ifndef LINDRA_TOOLS_BIN_GRID_HPP
#define LINDRA_TOOLS_BIN_GRID_HPP

#include <cstdint>

namespace lindra::tools {

// Longitude and latitude in micro-degrees.
struct Vertex {
    int32_t lon_udeg, lat_udeg;
    bool operator==(const Vertex &) const = default;
};

// Full turn and half turn of longitude.
constexpr int32_t full_turn_udeg = 360000000;
constexpr int32_t half_turn_udeg = 180000000;

// The sides of a bin as a segment's word numbers them. A polygon that lies whole in one bin enters and leaves
// by none.
enum class Side : uint8_t { south, east, north, west, none };

Side opposite(Side side);

// Coordinates in a bin count from 0 at its south-west corner to this at its north-east corner.
constexpr int32_t bin_units = 65535;

// One bin as a frame of coordinates, micro-degrees.
struct BinFrame {
    double west, south;
    double unit_x, unit_y;

    // Longitude 0 to 360 degrees.
    Vertex vertex(uint16_t x, uint16_t y) const;
};

class BinGrid {
  public:
    // columns divides 360 and rows divides 180.
    BinGrid(int32_t columns, int32_t rows) : columns_(columns), rows_(rows) {}

    int32_t bin_count() const { return columns_ * rows_; }

    // The bin that touches the given side of a bin, across Greenwich too; -1 beyond a pole.
    int32_t neighbour(int32_t bin, Side side) const;

    // The meridians on a bin's western and eastern side, whole degrees 0 to 360.
    int32_t western_degree(int32_t bin) const { return bin % columns_ * (360 / columns_); }
    int32_t eastern_degree(int32_t bin) const { return western_degree(bin) + 360 / columns_; }

    BinFrame frame(int32_t bin) const;

  private:
    int32_t columns_, rows_;
};

} // namespace lindra::tools

#endif
