// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHAPEFILE_WALK_HPP
#define LINDRA_TOOLS_SHAPEFILE_WALK_HPP

#include <set>
#include <string>
#include <vector>

namespace lindra::tools {

// The main files of shapefiles that the arguments of a command stand for.
struct ShapefileWalk {
    std::set<std::string> files;       // whole paths, in the order of their bytes
    std::vector<std::string> roots;    // the arguments as whole paths
    std::vector<std::string> problems; // what could not be looked at, a line each

    // Whether an argument names the path or a directory above it.
    bool covers(const std::string &path) const;
};

// Takes each argument for a shapefile, with or without its ending, or for a directory with all that is below
// it, where the files that end in .shp, in letters of any case, count. Symbolic links are followed; a
// directory is entered once. An argument that is not there stands for nothing.
ShapefileWalk walk_shapefiles(const std::vector<std::string> &arguments);

} // namespace lindra::tools

#endif
