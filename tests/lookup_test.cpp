// SPDX-License-Identifier: MIT

#include "ordinary_user.hpp"
#include "temporary_directory.hpp"

#include "lindra/face/lookup.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

int refused_with = 0;

}

// Takes the place of the C library's in this program, for the standard library too.
extern "C" [[gnu::visibility("default")]] int stat(const char *__restrict path,
                                                   struct stat *__restrict out) noexcept {
    if (refused_with == 0) return fstatat(AT_FDCWD, path, out, 0);
    errno = refused_with;
    return -1;
}

namespace lindra::test {
namespace {

namespace fs = std::filesystem;

class Lookup : public testing::Test {
  protected:
    fs::path path(const std::string &name) const { return directory_.path() / name; }

    // A complaint of before must not stay.
    fs::file_type type_at(const fs::path &place) {
        reason_ = std::make_error_code(std::errc::io_error);
        return detail::look_up(place, reason_).type();
    }

    TemporaryDirectory directory_;
    std::error_code reason_;
};

TEST_F(Lookup, what_is_there_has_its_type) {
    fs::create_symlink(directory_.write("file", "text"), path("link"));
    for (const auto &[name, type] :
         {std::pair("file", fs::file_type::regular), std::pair("link", fs::file_type::regular),
          std::pair(".", fs::file_type::directory)}) {
        EXPECT_EQ(type_at(path(name)), type) << name;
        EXPECT_FALSE(reason_) << name;
        EXPECT_FALSE(detail::is_absent(path(name))) << name;
    }
}

TEST_F(Lookup, nothing_is_where_no_way_leads) {
    directory_.write("file", "text");
    fs::create_symlink("nowhere", path("broken"));
    fs::create_symlink("round", path("round"));
    for (const char *name : {"absent", "absent/file", "file/file", "broken", "round", "round/file"}) {
        EXPECT_EQ(type_at(path(name)), fs::file_type::not_found) << name;
        EXPECT_FALSE(reason_) << name << ": " << reason_.message();
        EXPECT_TRUE(detail::is_absent(path(name))) << name;
    }
}

TEST_F(Lookup, what_may_not_be_looked_at_is_not_known) {
    fs::create_directory(path("locked"));
    const LockedDirectory locked(path("locked"));
    const OrdinaryUser user(directory_.path());
    EXPECT_EQ(type_at(path("locked/file")), fs::file_type::none);
    EXPECT_EQ(reason_, std::errc::permission_denied);
    EXPECT_FALSE(detail::is_absent(path("locked/file")));
}

TEST_F(Lookup, any_other_failure_leaves_open_what_is_there) {
    for (const int number : {EACCES, EIO, ENAMETOOLONG, ENOMEM, EOVERFLOW, ESTALE}) {
        refused_with = number;
        const fs::file_status status = detail::look_up(path("file"), reason_);
        const bool is_absent = detail::is_absent(path("file"));
        refused_with = 0;
        EXPECT_FALSE(fs::status_known(status)) << strerror(number);
        EXPECT_EQ(reason_.value(), number);
        EXPECT_FALSE(is_absent) << strerror(number);
    }
}

} // namespace
} // namespace lindra::test
