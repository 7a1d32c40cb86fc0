// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_JOINED_HPP
#define LINDRA_TOOLS_JOINED_HPP

#include "map/geometry.hpp"

namespace lindra::tools {

// The lines that the pieces make up: two ends in the same place, with no third there, are one joint. A piece
// may be turned round for it. Where three or more ends meet, lines end. A line comes in the place of its
// first piece. Pieces have two points or more.
std::vector<Line> joined(std::vector<Line> pieces);

} // namespace lindra::tools

#endif
