// SPDX-License-Identifier: MIT

#include "shapes/shapes_on_earth.hpp"

#include "common/captured_log.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "common/presence.hpp"
#include "common/standard_error.hpp"
#include "map/quiet_proj.hpp"
#include "shapes/complaints.hpp"
#include "shapes/proj_files.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <strings.h>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

constexpr size_t longest_definition = 1 << 16; // bytes
constexpr double farthest = 540;               // degrees east or west: 360, and from another meridian
constexpr double rounding = 1e-6;              // degrees, let pass beyond a pole

// A link that leads nowhere is there for those who look.
bool is_seen(const fs::path &path) {
    std::error_code unknown;
    return is_there(path) || fs::is_symlink(fs::symlink_status(path, unknown));
}

// Empty when there is none.
std::string definition_beside(const std::string &path) {
    for (const char *ending : {".prj", ".PRJ"}) {
        const fs::path beside = fs::path(path).replace_extension(ending);
        if (!is_seen(beside)) continue;
        require_readable(beside.string());
        errno = 0;
        std::ifstream file(beside, std::ios::binary);
        std::string text(longest_definition, '\0');
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        if (!file.is_open() || file.bad()) refuse_unreadable(beside.string(), errno);
        text.resize(static_cast<size_t>(file.gcount()));
        if (text.find_first_not_of(" \t\r\n") != text.npos) return text;
    }
    return {};
}

bool is_geographic(const PJ *system) {
    const PJ_TYPE type = proj_get_type(system);
    return type == PJ_TYPE_GEOGRAPHIC_2D_CRS || type == PJ_TYPE_GEOGRAPHIC_3D_CRS;
}

double to_nearest_turn(double longitude, double near) {
    return longitude + 360 * std::round((near - longitude) / 360);
}

bool is_closed(const Line &line) {
    return line.size() > 1 && line.front().lon == line.back().lon && line.front().lat == line.back().lat;
}

std::optional<MapShape::Kind> kind_of(shape_type type) {
    switch (type) {
    case shape_type::point:
    case shape_type::point_m:
    case shape_type::point_z:
    case shape_type::multipoint:
    case shape_type::multipoint_m:
    case shape_type::multipoint_z:
        return MapShape::Kind::points;
    case shape_type::polyline:
    case shape_type::polyline_m:
    case shape_type::polyline_z:
    case shape_type::multipatch:
        return MapShape::Kind::lines;
    case shape_type::polygon:
    case shape_type::polygon_m:
    case shape_type::polygon_z:
        return MapShape::Kind::area;
    default:
        return std::nullopt;
    }
}

} // namespace

struct CoordinateSystem::Machine {
    std::unique_ptr<PJ_CONTEXT, decltype(&proj_context_destroy)> owner{quiet_context(), proj_context_destroy};
    PJ_CONTEXT *context = owner.get();
    ProjFiles files{context};
    PJ *transformation = nullptr;
    bool from_degrees = false;

    // definition: well-known text, as a .prj file has it, and no other that PROJ would take.
    explicit Machine(const std::string &definition) {
        PJ *system = proj_create_from_wkt(context, definition.c_str(), nullptr, nullptr, nullptr);
        PJ *target = proj_create(context, "OGC:CRS84");
        if (system && target) {
            from_degrees = is_geographic(system);
            PJ *found = proj_create_crs_to_crs_from_pj(context, system, target, nullptr, nullptr);
            if (found) transformation = proj_normalize_for_visualization(context, found);
            proj_destroy(found);
        }
        proj_destroy(target);
        proj_destroy(system);
    }
    ~Machine() { proj_destroy(transformation); }
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
};

CoordinateSystem::CoordinateSystem(const std::string &path) {
    const std::string definition = definition_beside(path);
    if (definition.empty()) return;
    machine_ = std::make_unique<Machine>(definition);
    require_no_file();
    if (!machine_->transformation)
        throw DataError("PROJ does not understand the coordinate system in the .prj file beside it");
}

// PROJ may come to a file as late as with the first point.
void CoordinateSystem::require_no_file() const {
    if (const std::string &named = machine_->files.refused(); !named.empty())
        throw DataError("the .prj file beside it would have " + named +
                        " read, and only PROJ's own files are; take that out of it");
}

CoordinateSystem::~CoordinateSystem() = default;
CoordinateSystem::CoordinateSystem(CoordinateSystem &&) noexcept = default;

Point CoordinateSystem::checked(shape_point point) const {
    if (std::fabs(point.x) <= 360 && std::fabs(point.y) <= 90 + rounding)
        return {point.x, std::clamp(point.y, -90.0, 90.0)};
    throw DataError(
        "its coordinates are not degrees, and there is no .prj file beside it that tells what they are");
}

// A line in degrees goes on as the file has it, also along the antimeridian; another one goes the short way.
std::optional<Point> CoordinateSystem::transformed(shape_point point, const Line &before) const {
    const PJ_COORD from = proj_coord(point.x, point.y, 0, 0);
    const PJ_COORD to = proj_trans(machine_->transformation, PJ_FWD, from);
    if (!(std::fabs(to.xy.x) <= farthest) || !(std::fabs(to.xy.y) <= 90 + rounding)) return std::nullopt;
    double longitude = to.xy.x;
    if (machine_->from_degrees)
        longitude = to_nearest_turn(longitude, std::clamp(point.x, -360.0, 360.0));
    else if (!before.empty())
        longitude = to_nearest_turn(longitude, before.back().lon);
    return Point{longitude, std::clamp(to.xy.y, -90.0, 90.0)};
}

Line CoordinateSystem::line(const shape_part &part) const {
    Line line;
    line.reserve(part.size());
    for (const shape_point point : part) {
        if (!std::isfinite(point.x) || !std::isfinite(point.y)) continue;
        if (!machine_)
            line.push_back(checked(point));
        else if (const std::optional<Point> place = transformed(point, line))
            line.push_back(*place);
    }
    return line;
}

std::optional<MapShape> CoordinateSystem::on_earth(const shape_record &record) const {
    const std::optional<MapShape::Kind> kind = kind_of(record.type());
    if (!kind) return std::nullopt;
    MapShape shape = {*kind, {}};
    for (const shape_part part : record.parts()) {
        Line points = line(part);
        if (*kind == MapShape::Kind::area && is_closed(points)) points.pop_back();
        if (!points.empty()) shape.parts.push_back(std::move(points));
    }
    if (machine_) require_no_file();
    return shape.parts.empty() ? std::nullopt : std::optional(std::move(shape));
}

namespace {

// The main file that the user means: without its ending, too, unless there is something of that name alone.
std::string main_file_of(const std::string &path) {
    if (path.empty()) throw UsageError("the name of a shapefile is empty; leave it out, or name one");
    if (strcasecmp(fs::path(path).extension().c_str(), ".shp") == 0) return path;
    if (is_there(path + ".shp")) return path + ".shp";
    if (is_there(path)) throw DataError(path + " is no shapefile; name the file in .shp");
    throw DataError("there is no shapefile " + path + ", nor " + path + ".shp");
}

std::vector<MapShape> shapes_on_earth(const shapefile &file, const std::string &main_file) {
    try {
        const CoordinateSystem system(main_file);
        std::vector<MapShape> shapes;
        for (const shape_record &record : file)
            if (!record.deleted())
                if (std::optional<MapShape> shape = system.on_earth(record))
                    shapes.push_back(*std::move(shape));
        return shapes;
    } catch (const DataError &reason) {
        throw DataError(main_file + ": " + reason.what());
    }
}

} // namespace

void add_shapes_of(const std::string &path, std::vector<MapShape> &shapes) {
    Complaints complaints;
    const std::string main_file = main_file_of(path);
    require_readable(main_file);
    try {
        const CapturedLog log;
        const shapefile file(main_file, {"", [&](const repair &told) { complaints.add(told); }});
        std::ranges::move(shapes_on_earth(file, main_file), std::back_inserter(shapes));
    } catch (const error &reason) {
        throw DataError(reason.what());
    }
    // Where nothing is lost, the map is what it should be.
    if (complaints.is_damaged()) tell(complaints.line());
}

} // namespace lindra::tools
