// SPDX-License-Identifier: MIT

#include "polygon_index.hpp"

#include <algorithm>
#include <cmath>

namespace lindra::gshhs {

namespace {

constexpr int32_t cell_size = 1'000'000; // micro-degrees
constexpr int32_t north_pole = 90 * cell_size;
constexpr int columns = 360;
constexpr int rows = 181; // a corner may lie at the pole
constexpr int most_cells = columns * rows / 8;
constexpr double rounding = 1e-6; // more than any sum of turns is out by, degrees

bool is_within(int32_t low, int32_t high, int32_t size) {
    return low <= high && static_cast<int64_t>(high) - low <= size;
}

bool is_small(const Box &box) {
    return is_within(box.west, box.east, cell_size) && is_within(box.south, box.north, cell_size) &&
           is_within(-north_pole, box.south, 2 * north_pole);
}

int row_of(double latitude) {
    return static_cast<int>(std::floor(std::clamp(latitude, -90.0, 90.0))) + 90;
}

int floor_of(int32_t longitude) {
    return longitude / cell_size - (longitude % cell_size < 0);
}

size_t cell_at(int column, int row) {
    const int round = ((column % columns) + columns) % columns;
    return static_cast<size_t>(row) * columns + static_cast<size_t>(round);
}

uint32_t cell_of(const Box &box) {
    const int row = floor_of(box.south) + 90;
    return static_cast<uint32_t>(cell_at(floor_of(box.west), row));
}

} // namespace

std::optional<Cells> cells_of(double west, double east, double south, double north) {
    const double size = cell_size * degrees;
    if (!(west <= east && east - west < columns && south <= north)) return {};
    const int first_column = static_cast<int>(std::floor(west - size - rounding));
    const int last_column = static_cast<int>(std::floor(east + rounding));
    const int first_row = row_of(south - size - rounding);
    const int last_row = row_of(north + rounding);
    const Cells cells = {first_column, last_column - first_column + 1, first_row, last_row - first_row + 1};
    if (cells.columns > columns || cells.columns * cells.rows > most_cells) return {};
    return cells;
}

void PolygonIndex::add(uint32_t offset, const Box &box) {
    if (is_small(box))
        added_.push_back({cell_of(box), offset});
    else
        large_.push_back({offset, box});
}

void PolygonIndex::finish() {
    cell_begin_.assign(size_t{columns} * rows + 1, 0);
    for (const Small &polygon : added_)
        cell_begin_[polygon.cell + 1]++;
    for (size_t cell = 1; cell < cell_begin_.size(); cell++)
        cell_begin_[cell] += cell_begin_[cell - 1];
    small_.resize(added_.size());
    std::vector<uint32_t> next = cell_begin_;
    for (const Small &polygon : added_)
        small_[next[polygon.cell]++] = polygon.offset;
    added_ = {};
    large_.shrink_to_fit();
}

void PolygonIndex::find_small(const Cells &cells, std::vector<uint32_t> &found) const {
    for (int row = cells.first_row; row < cells.first_row + cells.rows; row++) {
        for (int column = cells.first_column; column < cells.first_column + cells.columns; column++) {
            const size_t cell = cell_at(column, row);
            found.insert(found.end(), small_.begin() + cell_begin_[cell],
                         small_.begin() + cell_begin_[cell + 1]);
        }
    }
    std::ranges::sort(found);
}

} // namespace lindra::gshhs
