// SPDX-License-Identifier: MIT

#include "shapes/shapefile_walk.hpp"

#include "common/memory.hpp"
#include "common/presence.hpp"
#include "shapes/index_file.hpp"

#include "lindra/face/lookup.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <strings.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

constexpr const char *main_file_ending = ".shp";

bool is_main_file(const fs::path &path) {
    return strcasecmp(path.extension().c_str(), main_file_ending) == 0;
}

class Walker {
  public:
    void add(const std::string &argument) {
        fs::path path = with_whole_directory(argument);
        if (detail::is_absent(path) && !detail::is_absent(path.string() + main_file_ending))
            path += main_file_ending;
        found_.roots.push_back(path.string());
        const fs::file_status status = looked_up(path);
        if (fs::is_directory(status)) return enter(path);
        if (!fs::exists(status)) return;
        if (is_main_file(path))
            found_.files.insert(path.string());
        else
            found_.problems.push_back(path.string() + " is no directory and does not end in " +
                                      main_file_ending);
    }

    ShapefileWalk found() && { return std::move(found_); }

  private:
    // A file keeps its own name, even where that is a link: the files beside it are named after it.
    static fs::path with_whole_directory(const std::string &argument) {
        std::error_code ignored;
        const fs::path path = absolute_path(argument).lexically_normal();
        if (fs::is_directory(path, ignored) || !path.has_filename()) return whole_path(path);
        return whole_path(path.parent_path()) / path.filename();
    }

    // What cannot be looked up is a problem, and then passed over.
    fs::file_status looked_up(const fs::path &path) {
        std::error_code reason;
        const fs::file_status status = detail::look_up(path, reason);
        if (!fs::status_known(status)) refuse(path, reason);
        return status;
    }

    void refuse(const fs::path &path, std::error_code reason) {
        found_.problems.emplace_back(cannot_be_looked_up(path, reason).what());
    }

    // Whether it is the first time.
    bool comes_to(const fs::path &directory) {
        struct stat found;
        if (stat(directory.c_str(), &found) == 0) return entered_.emplace(found.st_dev, found.st_ino).second;
        refuse(directory, {errno, std::generic_category()});
        return false;
    }

    // Links may lead to one directory by several ways: which is taken must not depend on the file system.
    void enter(const fs::path &directory) {
        if (!comes_to(directory)) return;
        std::vector<fs::path> entries;
        std::error_code reason;
        for (fs::directory_iterator each(directory, reason), end; !reason && each != end;
             each.increment(reason))
            entries.push_back(each->path());
        require_memory(reason.value());
        if (reason)
            found_.problems.push_back(directory.string() + " cannot be searched: " + reason.message());
        std::ranges::sort(entries);
        for (const fs::path &entry : entries)
            look_at(entry);
    }

    void look_at(const fs::path &entry) {
        const fs::file_status status = looked_up(entry);
        if (fs::is_directory(status))
            enter(entry);
        else if (fs::is_regular_file(status) && is_main_file(entry))
            found_.files.insert(entry.string());
    }

    ShapefileWalk found_;
    std::set<std::pair<dev_t, ino_t>> entered_;
};

} // namespace

bool ShapefileWalk::covers(const std::string &path) const {
    return std::ranges::any_of(roots, [&](const std::string &root) {
        return path == root || (path.starts_with(root) && (root.ends_with('/') || path[root.size()] == '/'));
    });
}

ShapefileWalk walk_shapefiles(const std::vector<std::string> &arguments) {
    Walker walker;
    for (const std::string &argument : arguments)
        walker.add(argument);
    return std::move(walker).found();
}

} // namespace lindra::tools
