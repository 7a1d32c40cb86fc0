// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DUMP_NETCDF_HPP
#define LINDRA_TOOLS_DUMP_NETCDF_HPP

#include "common/input_file.hpp"

namespace lindra::tools {

bool is_netcdf(const InputFile &file);

// Prints the header: the library's listing, or the same facts as JSON. Throws DataError for a damaged file.
void dump_netcdf(const InputFile &file, bool json);

// Throws DataError for a file of a later netCDF format, with the command that converts it; returns for any
// other file.
void refuse_later_netcdf(const InputFile &file);

} // namespace lindra::tools

#endif
