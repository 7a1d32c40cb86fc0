// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_LINE_FILES_HPP
#define LINDRA_TOOLS_LINE_FILES_HPP

#include "import/import_options.hpp"

namespace lindra::tools {

// Writes maps/lindra/binned_{border,river}_{c,l,i,h,f}.cdf below the data directory from every
// binned_{border,river}_{c,l,i,h,f}.nc that is there: the same dimensions, variables and attributes in the
// classic form of netCDF. Each is checked by the library's own reader before it is put in place. Prints a
// line for each on standard output and returns their number. Throws DataError: a damaged file, or one that
// cannot be written.
size_t import_line_files(const ImportOptions &options);

} // namespace lindra::tools

#endif
