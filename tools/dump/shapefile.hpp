// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DUMP_SHAPEFILE_HPP
#define LINDRA_TOOLS_DUMP_SHAPEFILE_HPP

#include "common/input_file.hpp"

namespace lindra::tools {

// Whether the file begins as the main file of a shapefile does. Its index (.shx) begins so, too.
bool is_shapefile(const InputFile &file);

// Throws DataError for an index, telling which file to print instead.
void refuse_index(const InputFile &file);

// Prints the file's header and records: the library's listing, or the same facts, with every point, as JSON.
// Throws DataError for a damaged file, after what could be read was printed.
void dump_shapefile(const InputFile &file, bool json);

} // namespace lindra::tools

#endif
