// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PROJ_FILES_HPP
#define LINDRA_TOOLS_PROJ_FILES_HPP

#include <proj.h>

#include <filesystem>
#include <string>

namespace lindra::tools {

// Keeps PROJ from all files but its own. A definition of a coordinate system can name files: grids, and by
// +init= any at all. One that came with a shapefile must not have them opened: there are files that never
// end, and such as may not be read for others.
//
// The context reads what lies in PROJ's directories, writes nothing, and asks no network. Lives as long as
// the context is used.
class ProjFiles {
  public:
    // Throws std::bad_alloc.
    explicit ProjFiles(PJ_CONTEXT *context);
    ProjFiles(const ProjFiles &) = delete;
    ProjFiles &operator=(const ProjFiles &) = delete;

    // The first path elsewhere that was asked for; empty: none. A mere name is none, which PROJ looks for in
    // its directories, and then where the command is run.
    const std::string &refused() const { return refused_; }

  private:
    static PROJ_FILE_HANDLE *open(PJ_CONTEXT *context, const char *path, PROJ_OPEN_ACCESS access, void *self);
    static int exists(PJ_CONTEXT *context, const char *path, void *self);

    bool allows(const std::filesystem::path &path);

    std::string directories_; // separated by colons
    std::string refused_;
};

} // namespace lindra::tools

#endif
