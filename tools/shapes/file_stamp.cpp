// SPDX-License-Identifier: MIT

#include "shapes/file_stamp.hpp"

#include "common/presence.hpp"

#include "lindra/face/lookup.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <sys/stat.h>
#include <system_error>

namespace lindra::tools {

namespace {

constexpr int64_t ns_per_second = 1'000'000'000;

std::string in_capitals(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

int64_t mtime_ns(const struct stat &found) {
    return int64_t{found.st_mtim.tv_sec} * ns_per_second + found.st_mtim.tv_nsec;
}

// Whether there is a file, of which found then tells. Where that cannot be found out: DataError.
bool stat_if_there(const std::string &path, struct stat &found) {
    if (stat(path.c_str(), &found) == 0) return true;
    const std::error_code reason(errno, std::generic_category());
    if (detail::tells_of_absence(reason)) return false;
    throw cannot_be_looked_up(path, reason);
}

} // namespace

std::optional<FileStamp> stamp_of(const std::string &path, const std::string &encoding) {
    struct stat found;
    if (!stat_if_there(path, found)) return std::nullopt;
    FileStamp stamp{found.st_size, mtime_ns(found), {}};
    const std::string stem = path.substr(0, path.rfind('.'));
    for (const std::string ending : {".shx", ".dbf", ".cpg"})
        for (const std::string &spelling : {ending, in_capitals(ending)})
            if (stat_if_there(stem + spelling, found))
                stamp.beside += spelling + " " + std::to_string(found.st_size) + " " +
                                std::to_string(mtime_ns(found)) + "; ";
    stamp.beside += encoding;
    return stamp;
}

// Behind the files is the encoding, or one more file that has gone since.
bool is_stamp_of_same_files(const FileStamp &stamp, const FileStamp &now) {
    return stamp.size == now.size && stamp.mtime_ns == now.mtime_ns && stamp.beside.starts_with(now.beside) &&
           !stamp.beside.substr(now.beside.size()).starts_with('.');
}

} // namespace lindra::tools
