// SPDX-License-Identifier: MIT
//
// The file that an index of shapes is: a SQLite database with a mark of its own.
#ifndef LINDRA_TOOLS_INDEX_FILE_HPP
#define LINDRA_TOOLS_INDEX_FILE_HPP

#include "shapes/sqlite.hpp"

#include <filesystem>
#include <string>

namespace lindra::tools {

// Opens an index to be read. Throws DataError when the file is none.
SqliteConnection open_index(const std::filesystem::path &path);

// Opens an index to be changed, in a transaction that has begun; makes it when there is no file, or an empty
// one. Throws DataError, with the file as it was, when it is anything else.
SqliteConnection open_index_for_writing(const std::filesystem::path &path);

// The path from the root, links and all. Throws UsageError for an empty one, and DataError where the
// directory in which the command runs is gone.
std::filesystem::path absolute_path(const std::filesystem::path &path);

// The path with nothing relative and no symbolic link left in it. Throws like absolute_path.
std::filesystem::path whole_path(const std::filesystem::path &path);

// The names of files in an index. Those below the directory of the index count from there, so that the two
// can be moved together; the others are absolute.
class StoredNames {
  public:
    explicit StoredNames(const std::filesystem::path &index) : directory_(index.parent_path().string()) {
        if (!directory_.ends_with('/')) directory_ += '/';
    }

    std::string name_of(const std::string &path) const {
        return path.starts_with(directory_) ? path.substr(directory_.size()) : path;
    }
    std::string path_of(const std::string &name) const {
        return name.starts_with('/') ? name : directory_ + name;
    }

  private:
    std::string directory_;
};

} // namespace lindra::tools

#endif
