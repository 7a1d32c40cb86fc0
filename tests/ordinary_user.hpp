// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_ORDINARY_USER_HPP
#define LINDRA_TESTS_ORDINARY_USER_HPP

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace lindra::test {

// Root reads everything: while one lives, root works as a user without rights, who owns the directory given.
class OrdinaryUser {
  public:
    explicit OrdinaryUser(const std::filesystem::path &directory) {
        if (geteuid() != 0) return;
        if (chown(directory.c_str(), nobody, nobody) != 0 || setresuid(nobody, nobody, 0) != 0)
            throw std::runtime_error("cannot become an ordinary user");
        was_root_ = true;
    }
    ~OrdinaryUser() {
        if (was_root_ && setresuid(0, 0, 0) != 0) abort();
    }
    OrdinaryUser(const OrdinaryUser &) = delete;
    OrdinaryUser &operator=(const OrdinaryUser &) = delete;

  private:
    static constexpr uid_t nobody = 65534;
    bool was_root_ = false;
};

// While one lives, no ordinary user may enter the directory.
class LockedDirectory {
  public:
    explicit LockedDirectory(std::filesystem::path path) : path_(std::move(path)) {
        std::filesystem::permissions(path_, std::filesystem::perms::none);
    }
    ~LockedDirectory() { std::filesystem::permissions(path_, std::filesystem::perms::owner_all); }
    LockedDirectory(const LockedDirectory &) = delete;
    LockedDirectory &operator=(const LockedDirectory &) = delete;

  private:
    std::filesystem::path path_;
};

} // namespace lindra::test

#endif
