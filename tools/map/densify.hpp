// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DENSIFY_HPP
#define LINDRA_TOOLS_DENSIFY_HPP

#include "map/geometry.hpp"

namespace lindra::tools {

// The point at a share, 0 to 1, of the straight way on the longitude-latitude plane.
Point between(Point from, Point to, double share);

// The line with points added, so that its edges are no longer than step degrees in longitude and in latitude.
Line densified(const Line &line, double step);

// The angle between two places seen from the Earth's centre, degrees.
double distance_between(Point from, Point to);

// The line that walks round the ring back to its first point.
Line closed(const Ring &ring);

} // namespace lindra::tools

#endif
