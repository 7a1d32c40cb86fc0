// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHAPE_SELECTION_HPP
#define LINDRA_TOOLS_SHAPE_SELECTION_HPP

#include "shapes/shape_window.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lindra::tools {

// Which shapes of an index are wanted: those that meet every condition that is given.
struct ShapeRequest {
    std::vector<ShapeWindow> windows; // those that meet one of them
    std::string where;                // an SQL expression over the attributes
};

// The numbers of these shapes, in rising order. Throws UsageError for an expression that SQLite does not
// take, with what it says and the attributes that there are, and DataError when the index cannot be read.
std::vector<int64_t> select_shapes(const std::filesystem::path &index, const ShapeRequest &request);

} // namespace lindra::tools

#endif
