// SPDX-License-Identifier: MIT
//
// Shapes as GeoJSON ("The GeoJSON Format", RFC 7946, 2016). Coordinates are those of the file: the format
// asks for longitude and latitude on WGS 84, and nothing is projected here. Heights are a third number;
// measures have no place in the format.
//
//   null, unknown     null
//   point             Point
//   multipoint        MultiPoint
//   polyline          LineString, or MultiLineString of several parts
//   polygon           Polygon, or MultiPolygon of several outlines: outlines run counterclockwise, holes,
//   which
//                     follow theirs, clockwise; rings are told apart by containment
//   multipatch        MultiPolygon of its triangles and rings, as seen from above, with heights
//
// Repairs: rings are closed and turned; lines of one point and rings without area are left out; a shape with
// a coordinate that is no number, or with nothing left, is null; a height that is no number leaves out all;
// rings that would take too long to sort are outlines.
#ifndef LINDRA_SHAPEFILE_GEOJSON_HPP
#define LINDRA_SHAPEFILE_GEOJSON_HPP

#include "json_text.hpp"
#include "rings.hpp"
#include "shape_record.hpp"
#include "shapefile.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace lindra {

namespace detail {

class geometry_writer {
  public:
    geometry_writer(std::string &out, const shape_record &record)
        : out_(out), record_(record), points_(record.points()), has_z_(record.has_z()) {}

    void write() {
        if (points_.empty() || !is_finite() || !write_shape()) out_ += "null";
    }

  private:
    // --- What there is ---

    void complain(const std::string &text) const {
        if (record_.report().is_heard())
            record_.report()(repair_kind::geometry, record_.offset(),
                             "record " + std::to_string(record_.number()) + " " + text);
    }

    bool is_finite() {
        for (const shape_point p : points_)
            if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
                complain("has a coordinate that is no number, and is written without a shape");
                return false;
            }
        for (size_t i = 0; has_z_ && i < points_.size(); i++)
            if (!std::isfinite(*record_.z(i))) {
                complain("has a height that is no number, and is written without heights");
                has_z_ = false;
            }
        return true;
    }

    // Returns false, with nothing written, where nothing is left.
    bool write_shape() {
        switch (record_.type()) {
        case shape_type::point:
        case shape_type::point_m:
        case shape_type::point_z:
            return write_point();
        case shape_type::multipoint:
        case shape_type::multipoint_m:
        case shape_type::multipoint_z:
            return write_multipoint();
        case shape_type::polyline:
        case shape_type::polyline_m:
        case shape_type::polyline_z:
            return write_lines();
        case shape_type::polygon:
        case shape_type::polygon_m:
        case shape_type::polygon_z:
            return write_polygons();
        case shape_type::multipatch:
        case shape_type::null: // has no points
        case shape_type::unknown:
            break;
        }
        return write_patches();
    }

    // --- Points and lines ---

    void begin(const char *type) {
        out_ += R"({"type":")";
        out_ += type;
        out_ += R"(","coordinates":)";
    }

    bool end() {
        out_ += '}';
        return true;
    }

    void position(size_t i) {
        const shape_point p = points_[i];
        out_ += '[';
        append_number(out_, p.x);
        out_ += ',';
        append_number(out_, p.y);
        if (has_z_) {
            out_ += ',';
            append_number(out_, *record_.z(i));
        }
        out_ += ']';
    }

    // A list in brackets of what write(i) writes for 0 to count - 1.
    template <class Write>
    void list(size_t count, Write write) {
        out_ += '[';
        for (size_t i = 0; i < count; i++) {
            if (i) out_ += ',';
            write(i);
        }
        out_ += ']';
    }

    void positions(size_t first, size_t count) {
        list(count, [&](size_t i) { position(first + i); });
    }

    bool write_point() {
        begin("Point");
        position(0);
        return end();
    }

    bool write_multipoint() {
        begin("MultiPoint");
        positions(0, points_.size());
        return end();
    }

    bool write_lines() {
        std::vector<std::pair<size_t, size_t>> lines;
        for (const shape_part part : record_.parts())
            if (part.size() >= 2)
                lines.emplace_back(part.first_point(), part.size());
            else
                complain("has a part that is no line, which is left out");
        if (lines.empty()) return false;
        begin(lines.size() == 1 ? "LineString" : "MultiLineString");
        const auto write = [&](size_t i) { positions(lines[i].first, lines[i].second); };
        lines.size() == 1 ? write(0) : list(lines.size(), write);
        return end();
    }

    // --- Rings ---

    // Of an upright surface other points too have the place of the first one, but not its height.
    bool is_closed(const shape_part &part) const {
        const size_t last = part.size() - 1;
        if (last == 0 || part[0] != part[last]) return false;
        return record_.type() != shape_type::multipatch || !has_z_ ||
               record_.z(part.first_point()) == record_.z(part.first_point() + last);
    }

    // Without the last point where it is the first one again. The part is not empty.
    ring open_ring(const shape_part &part) {
        const bool closed = is_closed(part);
        if (!closed) complain("has a ring that is not closed, and is closed");
        return make_ring(points_, part.first_point(), closed ? part.size() - 1 : part.size());
    }

    // The first point is first and last, whichever way it goes.
    void write_ring(const ring &of, bool counterclockwise) {
        const bool backwards = of.twice_area != 0 && of.is_clockwise() == counterclockwise;
        list(of.count + 1, [&](size_t i) {
            const size_t step = i % of.count;
            position(of.first + (backwards && step ? of.count - step : step));
        });
    }

    void write_polygon(const std::vector<ring> &rings, const nested_polygon &polygon) {
        list(1 + polygon.holes.size(), [&](size_t i) {
            i ? write_ring(rings[polygon.holes[i - 1]], false) : write_ring(rings[polygon.outline], true);
        });
    }

    // In a shapefile outlines run clockwise.
    void check_turns(const std::vector<ring> &rings, const ring_nest &nest) const {
        for (size_t i = 0; i < rings.size(); i++)
            if (nest.is_sorted(i) && rings[i].is_clockwise() == nest.is_hole(i)) {
                complain(nest.is_hole(i) ? "has a hole that runs clockwise"
                                         : "has an outline that runs counterclockwise");
                return;
            }
    }

    void check_sorted(const ring_nest &nest) const {
        if (const size_t left = nest.unsorted())
            complain("has rings that take too long to sort, and is written with " + std::to_string(left) +
                     " of them as outlines");
    }

    bool write_polygons() {
        std::vector<ring> rings;
        for (const shape_part part : record_.parts()) {
            if (part.empty()) continue;
            const ring made = open_ring(part);
            if (made.count >= 3 && made.twice_area != 0)
                rings.push_back(made);
            else
                complain("has a ring without area, which is left out");
        }
        if (rings.empty()) return false;
        const ring_nest nest(points_, rings, looks_for(points_));
        check_sorted(nest);
        check_turns(rings, nest);
        const std::vector<nested_polygon> polygons = nest.polygons();
        begin(polygons.size() == 1 ? "Polygon" : "MultiPolygon");
        const auto write = [&](size_t i) { write_polygon(rings, polygons[i]); };
        polygons.size() == 1 ? write(0) : list(polygons.size(), write);
        return end();
    }

    // --- Patches ---

    // Surfaces of a multipatch may stand upright: no ring is left out for want of area, or sorted by
    // containment. Inner rings belong to the outer one before them, and rings to the first one before them.
    bool write_patches() {
        std::vector<ring> rings;
        std::vector<nested_polygon> polygons;
        std::vector<std::array<size_t, 3>> triangles;
        for (const shape_part part : record_.parts()) {
            if (part.size() < 3)
                complain("has a part that is no surface, which is left out");
            else if (part.type() == part_type::triangle_strip || part.type() == part_type::triangle_fan)
                add_triangles(part, triangles);
            else
                add_ring(part, rings, polygons);
        }
        if (polygons.empty() && triangles.empty()) return false;
        begin("MultiPolygon");
        list(polygons.size() + triangles.size(), [&](size_t i) {
            i < polygons.size() ? write_polygon(rings, polygons[i])
                                : write_triangle(triangles[i - polygons.size()]);
        });
        return end();
    }

    void add_ring(const shape_part &part, std::vector<ring> &rings, std::vector<nested_polygon> &polygons) {
        const ring made = open_ring(part);
        if (made.count < 3) {
            complain("has a ring of less than three points, which is left out");
            return;
        }
        rings.push_back(made);
        const bool is_hole = part.type() == part_type::inner_ring || part.type() == part_type::ring;
        if (is_hole && !polygons.empty())
            polygons.back().holes.push_back(rings.size() - 1);
        else
            polygons.push_back({rings.size() - 1, {}});
    }

    static void add_triangles(const shape_part &part, std::vector<std::array<size_t, 3>> &triangles) {
        const size_t first = part.first_point();
        const bool is_fan = part.type() == part_type::triangle_fan;
        for (size_t i = 2; i < part.size(); i++)
            triangles.push_back({is_fan ? first : first + i - 2, first + i - 1, first + i});
    }

    void write_triangle(std::array<size_t, 3> corners) {
        if (cross(points_[corners[0]], points_[corners[1]], points_[corners[2]]) < 0)
            std::swap(corners[1], corners[2]);
        list(1, [&](size_t) { list(4, [&](size_t i) { position(corners[i % 3]); }); });
    }

    std::string &out_;
    const shape_record &record_;
    point_range points_;
    bool has_z_;
};

inline void append_properties(std::string &out, const shape_record &record) {
    const attribute_row row = record.attributes();
    if (!row.exists()) {
        out += "null";
        return;
    }
    out += '{';
    for (size_t i = 0; i < row.size(); i++) {
        if (i) out += ',';
        append_text(out, record.table()->fields()[i].name);
        out += ':';
        append_value(out, row[i]);
    }
    out += '}';
}

} // namespace detail

// geojson_geometry returns the shape of a record as the text of a geometry object, or "null".
inline std::string geojson_geometry(const shape_record &record) {
    std::string out;
    detail::geometry_writer(out, record).write();
    return out;
}

// append_geojson appends a record as the text of a Feature: its shape, and its attributes by their names,
// dates as "YYYY-MM-DD". Without a row of its own the properties are null (RFC 7946, 2016, section 3.2).
inline void append_geojson(std::string &out, const shape_record &record) {
    out += R"({"type":"Feature","geometry":)";
    detail::geometry_writer(out, record).write();
    out += R"(,"properties":)";
    detail::append_properties(out, record);
    out += '}';
}

// geojson returns what append_geojson appends.
inline std::string geojson(const shape_record &record) {
    std::string out;
    append_geojson(out, record);
    return out;
}

// write_geojson writes a FeatureCollection of the records that are not deleted, a line for each. The state of
// the stream tells of failures. Throws error when the file was cut by others; what is written until then is
// right, and has no end.
inline void write_geojson(std::ostream &out, const shapefile &file) {
    const fault_guard guard(file);
    out << R"({"type":"FeatureCollection","features":[)";
    std::string feature;
    const char *separator = "\n";
    for (const shape_record &record : file) {
        if (record.deleted()) continue;
        feature = separator;
        append_geojson(feature, record);
        guard.check();
        out << feature;
        separator = ",\n";
    }
    out << "\n]}\n";
}

} // namespace lindra

#endif
