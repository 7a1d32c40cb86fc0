// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_IMPORT_OPTIONS_HPP
#define LINDRA_TOOLS_IMPORT_OPTIONS_HPP

#include <filesystem>
#include <string>

namespace lindra::tools {

struct ImportOptions {
    std::filesystem::path from; // the directory with the binned files
    std::filesystem::path to;   // the data directory
    bool quiet = false;         // prints neither the lines nor progress
};

// All of `lindra import`. Throws DataError. Directories that it made stay only where a file is in them.
void import_all(const ImportOptions &options);

// The resolutions in the order of work: the full one first, because the coastlines of the others lean on it.
constexpr char import_order[] = {'f', 'h', 'i', 'l', 'c'};

// Where in the data directory the files go.
std::filesystem::path map_directory(const ImportOptions &options);

// The place of a file of the data directory, whose directory is made. Throws DataError.
std::filesystem::path place_for(const ImportOptions &options, const std::string &name);

// Prints a line on standard output, if anybody still reads it. Throws DataError when it cannot be written.
void print_line(const std::string &line);

} // namespace lindra::tools

#endif
