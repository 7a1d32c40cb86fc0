// SPDX-License-Identifier: MIT
//
// Data directories with border and river files, made from lines in degrees.
#ifndef LINDRA_TESTS_LINE_FILE_HPP
#define LINDRA_TESTS_LINE_FILE_HPP

#include "gmt_builder.hpp"
#include "temporary_directory.hpp"

#include "map/geometry.hpp"

#include <cmath>
#include <string>

namespace lindra::test {

// Bins of 10 degrees. Every line must lie in the bin that holds the middle of its first edge. One of level 0
// is there always: a netCDF dimension of length 0 would be the record dimension.
class LineFile {
  public:
    LineFile &add(int level, const tools::Line &line) {
        const double lon = (line[0].lon + line[1].lon) / 2;
        const double lat = (line[0].lat + line[1].lat) / 2;
        const double west = 10 * std::floor(lon / 10);
        const double south = 10 * std::floor(lat / 10);
        BinnedSegment segment{level, {}};
        for (const tools::Point &point : line)
            segment.points.emplace_back(static_cast<int>(std::lround((point.lon - west) / 10 * 65535)),
                                        static_cast<int>(std::lround((point.lat - south) / 10 * 65535)));
        const int column = static_cast<int>(west < 0 ? west + 360 : west) / 10;
        const int row = static_cast<int>(80 - south) / 10;
        file_.bins[row * file_.nlon + column].push_back(segment);
        return *this;
    }

    std::string bytes() const { return file_.bytes(); }

  private:
    BinnedFile file_ = {.bins = {{0, {{0, {{0, 0}, {9, 9}}}}}}};
};

// Comes before all other data directories while it lives.
class LineData {
  public:
    explicit LineData(const LineFile &borders, const LineFile &rivers = {})
        : LineData(borders.bytes(), rivers.bytes()) {}
    LineData(const std::string &borders, const std::string &rivers) {
        borders_path = scratch_.write("maps/lindra/binned_border_c.cdf", borders);
        scratch_.write("maps/lindra/binned_river_c.cdf", rivers);
    }

    std::string borders_path;

  private:
    TemporaryDirectory scratch_;
    Environment data_{"LINDRA_DATA", scratch_.path().c_str()};
};

} // namespace lindra::test

#endif
