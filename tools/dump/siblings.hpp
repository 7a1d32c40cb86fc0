// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DUMP_SIBLINGS_HPP
#define LINDRA_TOOLS_DUMP_SIBLINGS_HPP

#include <string>
#include <vector>

namespace lindra::tools {

// The files that make a shapefile, named by what their paths begin with, with or without the dot.
class Siblings {
  public:
    // Nothing is found when path is a file of its own.
    explicit Siblings(const std::string &path);

    bool found() const { return !paths_.empty(); }

    // Prints a line for each: its path and what it is; or the same as JSON.
    void print(bool json) const;

  private:
    std::vector<std::string> paths_;
};

} // namespace lindra::tools

#endif
