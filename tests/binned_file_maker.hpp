// SPDX-License-Identifier: MIT
//
// Makes small binned coastline files for tests: polygons given whole, cut here where they cross from bin to
// bin, and written through libnetcdf. The variables can be damaged before they are written.
#ifndef LINDRA_TESTS_BINNED_FILE_MAKER_HPP
#define LINDRA_TESTS_BINNED_FILE_MAKER_HPP

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace lindra::test {

// In units of 1/65535 of a bin's side: x from Greenwich to the east, y from the south pole to the north. x
// may lie outside one turn; a ring round the globe ends near its first point, a turn away.
struct GridPoint {
    int64_t x, y;
};

struct Shore {
    int level = 1;
    std::vector<GridPoint> ring; // open; no point on a border between bins
    int32_t container = -1;
    double area = 1000;
    int32_t fraction = 1000000;
    bool ice_front = false;
};

using Values =
    std::variant<std::vector<int32_t>, std::vector<int16_t>, std::vector<int8_t>, std::vector<double>>;
using Variables = std::map<std::string, Values>;

class BinnedFileMaker {
  public:
    BinnedFileMaker(int columns, int rows) : columns_(columns), rows_(rows) {}

    void add(const Shore &shore);

    // The point at these degrees, which must fall on whole units.
    GridPoint at(double longitude, double latitude) const;

    Variables variables() const;

  private:
    struct Piece {
        int32_t polygon;
        int64_t column, row; // unwrapped column; row from the south
        int32_t entry, exit;
        std::vector<GridPoint> points; // in the bin
    };

    std::vector<Piece> cut(const Shore &shore) const;
    void begin_beyond(std::vector<Piece> &pieces, int side, GridPoint border) const;
    int32_t bin_of(const Piece &piece) const;

    int columns_, rows_;
    std::vector<Shore> shores_;
    std::vector<Piece> pieces_;
};

// Writes a netCDF-4 file with these variables, each of one dimension of its own.
void write_variables(const std::filesystem::path &path, const Variables &variables);

} // namespace lindra::test

#endif
