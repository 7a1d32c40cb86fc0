// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_IMPORT_POLYGON_HPP
#define LINDRA_TOOLS_IMPORT_POLYGON_HPP

#include "import/binned_file.hpp"

#include <span>
#include <vector>

namespace lindra::tools {

// A polygon as the native files hold it. Longitudes lie in 0..360 degrees and jump by 360 where it crosses
// Greenwich; the first vertex is repeated at the end. A polar polygon, one round the south pole, runs from
// one end of -180..180 degrees to the other instead.
struct NativePolygon {
    int32_t level;
    bool polar;
    std::vector<Vertex> vertices;
};

// Puts the polygon with the given segments, ordered by its outline, together. Throws DataError, naming the
// polygon, when they make no polygon of three vertices or more, or one round the globe that the native files
// have no form for.
NativePolygon trace_polygon(const BinnedFile &file, std::span<const int32_t> outline, bool full_resolution);

// The step from one longitude to another the short way: -180 to below 180 degrees, in micro-degrees.
int32_t short_step_udeg(int32_t from_udeg, int32_t to_udeg);

} // namespace lindra::tools

#endif
