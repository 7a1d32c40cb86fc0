// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_NETCDF_FACTS_HPP
#define LINDRA_TOOLS_NETCDF_FACTS_HPP

#include "dump/json.hpp"

#include "lindra/lindra.h"

namespace lindra::tools {

// What the listing of a decoded netCDF header says, as JSON: dimensions, attributes and variables with the
// byte offset at which each begins in the file ("The NetCDF Classic Format Specification", Unidata, 2011).
// The layout is told by docs/schemas/dump-netcdf.schema.json.
Json netcdf_facts(const NetcdfHeader &header);

} // namespace lindra::tools

#endif
