// SPDX-License-Identifier: MIT

#include "import/bin_grid.hpp"

#include <cmath>

namespace lindra::tools {

Side opposite(Side side) {
    switch (side) {
    case Side::south:
        return Side::north;
    case Side::east:
        return Side::west;
    case Side::north:
        return Side::south;
    case Side::west:
        return Side::east;
    case Side::none:
        break;
    }
    return Side::none;
}

int32_t BinGrid::neighbour(int32_t bin, Side side) const {
    const int32_t row = bin / columns_;
    const int32_t column = bin % columns_;
    switch (side) {
    case Side::south:
        return row + 1 < rows_ ? bin + columns_ : -1;
    case Side::north:
        return row > 0 ? bin - columns_ : -1;
    case Side::east:
        return column + 1 < columns_ ? bin + 1 : bin - column;
    case Side::west:
        return column > 0 ? bin - 1 : bin + columns_ - 1;
    case Side::none:
        break;
    }
    return bin;
}

BinFrame BinGrid::frame(int32_t bin) const {
    const double width = 360e6 / columns_;
    const double height = 180e6 / rows_;
    const int32_t row = bin / columns_;
    return {.west = bin % columns_ * width,
            .south = 90e6 - (row + 1) * height,
            .unit_x = width / bin_units,
            .unit_y = height / bin_units};
}

Vertex BinFrame::vertex(uint16_t x, uint16_t y) const {
    return {static_cast<int32_t>(std::lrint(west + x * unit_x)),
            static_cast<int32_t>(std::lrint(south + y * unit_y))};
}

} // namespace lindra::tools
