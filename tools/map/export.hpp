// SPDX-License-Identifier: MIT
//
// Polygons and lines as text for other programs.
//
// Coordinates are written in degrees with six decimals at most. At that rounding points may fall together:
// repeated points, rings that are left without an area and lines without length are dropped. Every ring runs
// counter-clockwise and ends in its first point.
#ifndef LINDRA_TOOLS_EXPORT_HPP
#define LINDRA_TOOLS_EXPORT_HPP

#include "map/coast.hpp"
#include "map/map_lines.hpp"

#include <string>

namespace lindra::tools {

// The part of the polygon in the window as segments of text: a line "> id=7 level=1 kind=land points=5", then
// a line "LON LAT" for each point, in the window's own longitudes. Empty when nothing of it lies in the
// window.
std::string to_text(const Polygon &polygon, const Window &window);

// The part of the polygon in the window as one Feature of RFC 7946 ("The GeoJSON Format", 2016): a Polygon or
// a MultiPolygon with the properties id, level and kind. Longitudes lie within -180..180, cut at the
// antimeridian. Empty when nothing of it lies in the window.
std::string to_feature(const Polygon &polygon, const Window &window);

// The same of a line: a line "> kind=border level=1 points=2"; a LineString or a MultiLineString with the
// properties level and kind.
std::string to_text(const MapLine &line, const Window &window);
std::string to_feature(const MapLine &line, const Window &window);

} // namespace lindra::tools

#endif
