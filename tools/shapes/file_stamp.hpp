// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_FILE_STAMP_HPP
#define LINDRA_TOOLS_FILE_STAMP_HPP

#include <cstdint>
#include <optional>
#include <string>

namespace lindra::tools {

// What tells that a shapefile has changed: the size and the time of the last change of its main file, and the
// same of the files beside it that are read with it.
struct FileStamp {
    int64_t size;     // bytes
    int64_t mtime_ns; // since 1970
    std::string beside;

    friend bool operator==(const FileStamp &, const FileStamp &) = default;
};

// Nothing when the main file is not there. encoding: what the attributes are read with, which is part of it.
std::optional<FileStamp> stamp_of(const std::string &path, const std::string &encoding);

// Whether the files were the same when stamp was taken as now, whatever encoding stamp was taken with. now:
// without an encoding.
bool is_stamp_of_same_files(const FileStamp &stamp, const FileStamp &now);

} // namespace lindra::tools

#endif
