// SPDX-License-Identifier: MIT
//
// Tables whose rows have names, as the map's options and style keys are written down.
#ifndef LINDRA_TOOLS_NAMED_ROWS_HPP
#define LINDRA_TOOLS_NAMED_ROWS_HPP

#include <algorithm>
#include <iterator>
#include <string>

namespace lindra::tools {

// The row of that name, or the table's end.
template <class Table>
auto find_row(const Table &table, const std::string &name) {
    return std::find_if(std::begin(table), std::end(table),
                        [&](const auto &row) { return name == row.name; });
}

} // namespace lindra::tools

#endif
