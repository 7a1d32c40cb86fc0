// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CLASSIC_FILE_HPP
#define LINDRA_TOOLS_CLASSIC_FILE_HPP

#include <filesystem>

namespace lindra::tools {

// What is asked of a file before libnetcdf opens it, which takes whatever memory the header of a classic file
// claims, and gives chance values for those that such a file has lost (4.9.0). Throws DataError for a file
// that cannot be read, and for a netCDF classic file whose header is damaged or whose variables do not all
// lie in it. The later classic forms, of 64-bit offsets or data, are refused: no package has them. Other
// files pass; HDF5, which netCDF-4 files are inside, looks after its own bounds.
void require_whole(const std::filesystem::path &path);

} // namespace lindra::tools

#endif
