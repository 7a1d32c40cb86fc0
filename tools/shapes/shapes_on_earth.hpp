// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHAPES_ON_EARTH_HPP
#define LINDRA_TOOLS_SHAPES_ON_EARTH_HPP

#include "map/map_shape.hpp"

#include "lindra/lindra.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lindra::tools {

// Where the coordinates of a shapefile lie on the Earth: by its .prj file, through PROJ, in longitude and
// latitude on WGS 84; without one they must be degrees. What it throws tells no file.
class CoordinateSystem {
  public:
    // path: of the main file. Throws DataError for a .prj file that PROJ does not understand, or that would
    // have other files read than PROJ's own.
    explicit CoordinateSystem(const std::string &path);
    ~CoordinateSystem();
    CoordinateSystem(CoordinateSystem &&) noexcept;

    // The shape; nothing where there is none. Points that are nowhere on the Earth are left out. Throws
    // DataError for coordinates that are no degrees where there is no .prj file.
    std::optional<MapShape> on_earth(const shape_record &record) const;

  private:
    struct Machine;

    Line line(const shape_part &part) const;
    std::optional<Point> transformed(shape_point point, const Line &before) const;
    Point checked(shape_point point) const;
    void require_no_file() const;

    std::unique_ptr<Machine> machine_; // null: degrees as they are
};

// Adds the shapes of a shapefile whose rows are not deleted, and tells on standard error when some are
// damaged. Throws DataError.
void add_shapes_of(const std::string &path, std::vector<MapShape> &shapes);

} // namespace lindra::tools

#endif
