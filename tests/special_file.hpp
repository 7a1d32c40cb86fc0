// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_SPECIAL_FILE_HPP
#define LINDRA_TESTS_SPECIAL_FILE_HPP

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <sys/stat.h>

namespace lindra::test {

// Makes at path what is no file: a "fifo", a "directory", a "loop" (a link to itself), or else a link to the
// path that kind is.
inline void make_special_file(const std::string &kind, const std::string &path) {
    if (kind == "fifo")
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    else if (kind == "directory")
        std::filesystem::create_directory(path);
    else
        std::filesystem::create_symlink(kind == "loop" ? path : kind, path);
}

inline std::string name_of_special_file(const testing::TestParamInfo<const char *> &kind) {
    std::string name = kind.param;
    std::ranges::replace(name, '/', '_');
    return name;
}

} // namespace lindra::test

#endif
