// SPDX-License-Identifier: MIT
//
// The map projections, computed by PROJ on a sphere of the Earth's mean radius.
#ifndef LINDRA_TOOLS_PROJECTION_HPP
#define LINDRA_TOOLS_PROJECTION_HPP

#include "map/geometry.hpp"
#include "map/plane.hpp"

#include <memory>
#include <string>

namespace lindra::tools {

// The mean radius of the Earth (Moritz, Geodetic Reference System 1980, R1).
constexpr double earth_radius = 6371008.8;
constexpr double metres_per_degree = earth_radius * radians; // along a meridian

enum class Family {
    cylindrical, // parallels are straight and horizontal
    azimuthal    // true directions from the centre
};

struct ProjectionKind {
    const char *name;
    const char *aliases;    // between commas
    const char *remark;     // for the help
    const char *definition; // for PROJ, without centre and radius
    Family family;
    bool polar;     // the centre is always a pole
    bool bends;     // a straight line of the longitude-latitude plane is not one on the map
    double highest; // latitude on either side of the equator; polar: beyond it from the pole
    double rim;     // azimuthal: the largest distance from the centre
};

// The kind of that name or alias. Throws UsageError naming the known ones.
const ProjectionKind &find_projection(const std::string &name);

// The names between commas; and a line for each of them with its aliases and what it is good for.
std::string projection_names();
std::string projection_help();

class Projection {
  public:
    // centre: its longitude is in the middle of the map; its latitude is that of the centre of an azimuthal
    // projection and the true parallel of the equirectangular one.
    Projection(const ProjectionKind &kind, Point centre);
    ~Projection();

    // The points on the plane. Cylindrical: longitudes up to 360 degrees from the centre, going on beyond the
    // 180th. Azimuthal: any longitudes; the points must lie within the rim. Points that PROJ rejects are left
    // out.
    PlaneLine project(const Line &line) const;

    const ProjectionKind &kind() const { return kind_; }
    Point centre() const { return centre_; }

  private:
    struct Machine;

    const ProjectionKind &kind_;
    Point centre_;
    std::unique_ptr<Machine> machine_;
};

} // namespace lindra::tools

#endif
