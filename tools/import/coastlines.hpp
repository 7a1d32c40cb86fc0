// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_COASTLINES_HPP
#define LINDRA_TOOLS_COASTLINES_HPP

#include <filesystem>

namespace lindra::tools {

struct ImportOptions {
    std::filesystem::path from; // the directory with the binned files
    std::filesystem::path to;   // the data directory
    bool quiet = false;         // prints neither the lines nor progress
};

// Writes maps/lindra/gshhs_{c,l,i,h,f}.b below the data directory from every binned_GSHHS_{c,l,i,h,f}.nc that
// is there, and prints a line for each on standard output. The full resolution comes first, because the
// others take their boxes and ancestors from it. Throws DataError: no such file, a damaged one, a polygon
// that cannot be joined, or a file that cannot be written. The files finished before stay; of the others
// nothing is left.
void import_coastlines(const ImportOptions &options);

} // namespace lindra::tools

#endif
