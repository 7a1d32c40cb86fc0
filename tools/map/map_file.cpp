// SPDX-License-Identifier: MIT

#include "map/map_file.hpp"

#include "common/captured_log.hpp"
#include "common/errors.hpp"
#include "common/memory.hpp"

#include "lindra/lindra.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace lindra::tools {

namespace {

std::string taken(char *text) {
    const std::unique_ptr<char, decltype(&free)> owned(text, free);
    return text ? text : "";
}

std::string relative_path(MapFile file, char resolution) {
    const std::string directory = "maps/lindra/";
    if (file == MapFile::coast) return directory + "gshhs_" + resolution + ".b";
    return directory + (file == MapFile::borders ? "binned_border_" : "binned_river_") + resolution + ".cdf";
}

// Empty when there is none.
std::string path_of(const std::string &relative) {
    errno = 0;
    char *path = datafile(nullptr, relative.c_str());
    if (!path) require_memory(errno);
    return taken(path);
}

} // namespace

std::string find_map_file(MapFile file, char resolution) {
    const std::string relative = relative_path(file, resolution);
    std::string path = path_of(relative);
    if (!path.empty()) return path;
    const std::string places = replaced(taken(lindra_data_directories(nullptr)), '\n', ", ");
    throw DataError(
        "there is no " + relative + " in " + (places.empty() ? "any data directory" : places) +
        "; get it with `./dev data` in the source tree, or install the package gmt-gshhg-low, -high or "
        "-full and `lindra import /usr/share/gmt-gshhg`");
}

bool is_installed(MapFile file, char resolution) {
    return !path_of(relative_path(file, resolution)).empty();
}

} // namespace lindra::tools
