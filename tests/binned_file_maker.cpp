// SPDX-License-Identifier: MIT

#include "binned_file_maker.hpp"

#include <algorithm>
#include <cmath>
#include <netcdf.h>
#include <stdexcept>

namespace lindra::test {

namespace {

constexpr int64_t side_units = 65535;
enum SideNumber { south, east, north, west, whole };

int64_t floor_divide(int64_t value, int64_t by) {
    return value / by - (value % by < 0);
}

int opposite(int side) {
    return (side + 2) % 4;
}

// A place where an edge leaves a bin.
struct Crossing {
    double along; // 0 to 1 on the edge
    int side;
    GridPoint point;
};

// Where an edge crosses the borders of one direction; pick chooses the coordinate across them.
void add_crossings(std::vector<Crossing> &to, GridPoint from, GridPoint end, int64_t GridPoint::*across,
                   int rising, int falling) {
    const int64_t low = std::min(from.*across, end.*across), high = std::max(from.*across, end.*across);
    for (int64_t border = (floor_divide(low, side_units) + 1) * side_units; border < high;
         border += side_units) {
        const double along =
            static_cast<double>(border - from.*across) / static_cast<double>(end.*across - from.*across);
        GridPoint point{from.x + std::llround(along * static_cast<double>(end.x - from.x)),
                        from.y + std::llround(along * static_cast<double>(end.y - from.y))};
        point.*across = border;
        to.push_back({along, from.*across < end.*across ? rising : falling, point});
    }
}

std::vector<Crossing> crossings(GridPoint from, GridPoint to) {
    std::vector<Crossing> all;
    add_crossings(all, from, to, &GridPoint::x, east, west);
    add_crossings(all, from, to, &GridPoint::y, north, south);
    std::ranges::sort(all, {}, &Crossing::along);
    return all;
}

void check(int status) {
    if (status != NC_NOERR) throw std::runtime_error(nc_strerror(status));
}

template <class Value>
constexpr nc_type stored_type = NC_INT;
template <>
constexpr nc_type stored_type<int16_t> = NC_SHORT;
template <>
constexpr nc_type stored_type<int8_t> = NC_BYTE;
template <>
constexpr nc_type stored_type<double> = NC_DOUBLE;

template <class Value>
void write_variable(int file, const std::string &name, const std::vector<Value> &values) {
    int dimension = 0, variable = 0;
    check(nc_def_dim(file, ("count_of_" + name).c_str(), values.size(), &dimension));
    check(nc_def_var(file, name.c_str(), stored_type<Value>, 1, &dimension, &variable));
    check(nc_put_var(file, variable, values.data()));
}

} // namespace

GridPoint BinnedFileMaker::at(double longitude, double latitude) const {
    const double x = longitude * columns_ * side_units / 360, y = (latitude + 90) * rows_ * side_units / 180;
    if (x != std::floor(x) || y != std::floor(y)) throw std::runtime_error("not on whole units");
    return {static_cast<int64_t>(x), static_cast<int64_t>(y)};
}

// Ends the last piece at a point of its border and begins the next one in the bin beyond.
void BinnedFileMaker::begin_beyond(std::vector<Piece> &pieces, int side, GridPoint border) const {
    Piece &last = pieces.back();
    const auto inside = [&](const Piece &piece) {
        return GridPoint{border.x - piece.column * side_units, border.y - piece.row * side_units};
    };
    last.exit = side;
    last.points.push_back(inside(last));
    Piece next{last.polygon,
               last.column + (side == east) - (side == west),
               last.row + (side == north) - (side == south),
               opposite(side),
               whole,
               {}};
    next.points.push_back(inside(next));
    pieces.push_back(next);
}

std::vector<BinnedFileMaker::Piece> BinnedFileMaker::cut(const Shore &shore) const {
    const GridPoint start = shore.ring.front();
    const int64_t turn = columns_ * side_units;
    std::vector<Piece> pieces{{static_cast<int32_t>(shores_.size()),
                               floor_divide(start.x, side_units),
                               floor_divide(start.y, side_units),
                               whole,
                               whole,
                               {}}};
    for (size_t i = 0; i < shore.ring.size(); i++) {
        const GridPoint from = shore.ring[i];
        pieces.back().points.push_back(
            {from.x - pieces.back().column * side_units, from.y - pieces.back().row * side_units});
        GridPoint to = shore.ring[(i + 1) % shore.ring.size()];
        if (i + 1 == shore.ring.size())
            to.x += turn * std::llround(static_cast<double>(from.x - to.x) / static_cast<double>(turn));
        for (const Crossing &crossing : crossings(from, to))
            begin_beyond(pieces, crossing.side, crossing.point);
    }
    Piece &first = pieces.front(), &last = pieces.back();
    if (pieces.size() == 1) {
        first.points.push_back(first.points.front());
        return pieces;
    }
    // The ring began in the middle of a piece.
    last.points.insert(last.points.end(), first.points.begin(), first.points.end());
    last.exit = first.exit;
    pieces.erase(pieces.begin());
    return pieces;
}

void BinnedFileMaker::add(const Shore &shore) {
    for (const Piece &piece : cut(shore))
        pieces_.push_back(piece);
    shores_.push_back(shore);
    std::ranges::stable_sort(pieces_, {}, [this](const Piece &piece) { return bin_of(piece); });
}

int32_t BinnedFileMaker::bin_of(const Piece &piece) const {
    const int64_t column = piece.column - floor_divide(piece.column, columns_) * columns_;
    return static_cast<int32_t>((rows_ - 1 - piece.row) * columns_ + column);
}

Variables BinnedFileMaker::variables() const {
    std::vector<int32_t> container, fraction, first_segment, word, first_point, polygon;
    std::vector<double> area;
    std::vector<int16_t> segments_in_bin, x, y;
    std::vector<int8_t> ice_front;
    for (const Shore &shore : shores_) {
        container.push_back(shore.container);
        area.push_back(shore.area);
        fraction.push_back(shore.fraction);
    }
    for (int bin = 0; bin < columns_ * rows_; bin++) {
        const auto in_bin = [&](const Piece &piece) { return bin_of(piece) == bin; };
        const auto before = [&](const Piece &piece) { return bin_of(piece) < bin; };
        first_segment.push_back(static_cast<int32_t>(std::ranges::count_if(pieces_, before)));
        segments_in_bin.push_back(static_cast<int16_t>(std::ranges::count_if(pieces_, in_bin)));
    }
    for (const Piece &piece : pieces_) {
        const Shore &shore = shores_[static_cast<size_t>(piece.polygon)];
        const auto points = static_cast<int32_t>(piece.points.size());
        word.push_back(points << 9 | shore.level << 6 | piece.entry << 3 | piece.exit);
        first_point.push_back(static_cast<int32_t>(x.size()));
        polygon.push_back(piece.polygon);
        ice_front.push_back(shore.ice_front);
        for (const GridPoint &point : piece.points) {
            x.push_back(static_cast<int16_t>(static_cast<uint16_t>(point.x)));
            y.push_back(static_cast<int16_t>(static_cast<uint16_t>(point.y)));
        }
    }
    const auto one = [](size_t value) { return std::vector<int32_t>{static_cast<int32_t>(value)}; };
    return {{"N_bins_in_360_longitude_range", std::vector<int32_t>{columns_}},
            {"N_bins_in_180_degree_latitude_range", std::vector<int32_t>{rows_}},
            {"N_bins_in_file", std::vector<int32_t>{columns_ * rows_}},
            {"N_polygons_in_file", one(shores_.size())},
            {"N_segments_in_file", one(pieces_.size())},
            {"N_points_in_file", one(x.size())},
            {"Id_of_parent_polygons", container},
            {"The_km_squared_area_of_polygons", area},
            {"Micro_fraction_of_full_resolution_area", fraction},
            {"Id_of_first_segment_in_a_bin", first_segment},
            {"N_segments_in_a_bin", segments_in_bin},
            {"Embedded_npts_levels_exit_entry_for_a_segment", word},
            {"Id_of_first_point_in_a_segment", first_point},
            {"Id_of_GSHHS_ID", polygon},
            {"Embedded_ANT_flag", ice_front},
            {"Relative_longitude_from_SW_corner_of_bin", x},
            {"Relative_latitude_from_SW_corner_of_bin", y}};
}

void write_variables(const std::filesystem::path &path, const Variables &variables) {
    int file = 0;
    check(nc_create(path.c_str(), NC_NETCDF4 | NC_CLOBBER, &file));
    for (const auto &[name, values] : variables)
        std::visit([&, &variable = name](const auto &all) { write_variable(file, variable, all); }, values);
    check(nc_close(file));
}

} // namespace lindra::test
