// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_RESOLUTION_HPP
#define LINDRA_TOOLS_RESOLUTION_HPP

#include "map/map_file.hpp"

#include <string>
#include <vector>

namespace lindra::tools {

// "crude" to "full" for 'c', 'l', 'i', 'h', 'f'.
const char *resolution_name(char letter);

// The resolution to read: the one asked for ("c", "l", "i", "h", "f" or its name), or for "auto" the coarsest
// one whose error is below the size of a pixel in km. Where one of the files to be read is not installed in
// it, auto takes the next finer one that has them all, else the next coarser, and says so on standard error.
// Throws UsageError, naming the known ones, for any other text.
char choose_resolution(const std::string &asked, double km_per_pixel, const std::vector<MapFile> &files);

} // namespace lindra::tools

#endif
