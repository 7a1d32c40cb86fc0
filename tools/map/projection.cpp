// SPDX-License-Identifier: MIT

#include "map/projection.hpp"

#include "common/errors.hpp"
#include "map/quiet_proj.hpp"

#include <cmath>
#include <cstdio>
#include <sstream>

namespace lindra::tools {

namespace {

// Mercator would need a page without end to reach the poles, and the stereographic projection grows as fast
// beyond the equator. Orthographic shows half the globe; the last hundred-thousandth of a degree is left out
// because PROJ refuses points that rounding puts behind the limb. Lambert's and the equidistant show all but
// the point opposite the centre, which is the whole rim.
constexpr ProjectionKind kinds[] = {
    {"plate-carree", "eqc, latlon", "degrees as they are", "+proj=eqc", Family::cylindrical, false, false, 90,
     0},
    {"equirectangular", "equirect", "the same, true in the middle", "+proj=eqc", Family::cylindrical, false,
     false, 90, 0},
    {"mercator", "merc", "true angles; ends at 85 degrees", "+proj=merc", Family::cylindrical, false, true,
     85, 0},
    {"robinson", "robin", "the whole world on a wall", "+proj=robin", Family::cylindrical, false, true, 90,
     0},
    {"orthographic", "ortho, globe", "a globe seen from far away", "+proj=ortho", Family::azimuthal, false,
     true, 90, 89.99999},
    {"lambert-azimuthal", "laea, lambert", "true areas; continents, countries", "+proj=laea",
     Family::azimuthal, false, true, 90, 179.5},
    {"azimuthal-equidistant", "aeqd", "true distances from the centre", "+proj=aeqd", Family::azimuthal,
     false, true, 90, 179.5},
    {"polar-stereographic", "stere, polar", "true angles round a pole", "+proj=stere", Family::azimuthal,
     true, true, 30, 150},
};

bool lists(const char *names, const std::string &name) {
    std::istringstream stream(names);
    for (std::string known; std::getline(stream >> std::ws, known, ',');)
        if (known == name) return true;
    return false;
}

// The centre's longitude is subtracted from the points instead of being given to PROJ, which accepts no
// longitude beyond 573 degrees.
std::string definition_of(const ProjectionKind &kind, Point centre) {
    char text[200];
    const bool azimuthal = kind.family == Family::azimuthal;
    const bool true_parallel = kind.name == std::string("equirectangular");
    snprintf(text, sizeof text, "%s +%s=%.17g +R=%.17g +over", kind.definition,
             azimuthal ? "lat_0" : "lat_ts", azimuthal || true_parallel ? centre.lat : 0, earth_radius);
    return text;
}

} // namespace

const ProjectionKind &find_projection(const std::string &name) {
    for (const ProjectionKind &kind : kinds)
        if (name == kind.name || lists(kind.aliases, name)) return kind;
    throw UsageError("there is no projection '" + name + "'; the projections are " + projection_names());
}

std::string projection_names() {
    std::string names;
    for (const ProjectionKind &kind : kinds)
        names += (names.empty() ? "" : ", ") + std::string(kind.name);
    return names;
}

std::string projection_help() {
    std::string help;
    for (const ProjectionKind &kind : kinds) {
        char line[200];
        snprintf(line, sizeof line, "  %-23s%s (also %s)\n", kind.name, kind.remark, kind.aliases);
        help += line;
    }
    return help;
}

struct Projection::Machine {
    PJ_CONTEXT *context;
    PJ *transformation;

    explicit Machine(const std::string &definition)
        : context(quiet_context()), transformation(proj_create(context, definition.c_str())) {}
    ~Machine() {
        proj_destroy(transformation);
        proj_context_destroy(context);
    }
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
};

Projection::Projection(const ProjectionKind &kind, Point centre)
    : kind_(kind), centre_(centre), machine_(std::make_unique<Machine>(definition_of(kind, centre))) {
    if (!machine_->transformation)
        throw DataError("PROJ does not accept " + definition_of(kind, centre) +
                        "; its installation is broken");
}

Projection::~Projection() = default;

PlaneLine Projection::project(const Line &line) const {
    const bool wraps = kind_.family == Family::azimuthal;
    PlaneLine plane;
    plane.reserve(line.size());
    for (const Point &point : line) {
        const double lon = point.lon - centre_.lon;
        const PJ_COORD from =
            proj_coord((wraps ? std::remainder(lon, 360) : lon) * radians, point.lat * radians, 0, 0);
        const PJ_COORD to = proj_trans(machine_->transformation, PJ_FWD, from);
        if (std::isfinite(to.xy.x) && std::isfinite(to.xy.y)) plane.push_back({to.xy.x, to.xy.y});
    }
    return plane;
}

} // namespace lindra::tools
