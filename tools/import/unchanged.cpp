// SPDX-License-Identifier: MIT

#include "import/unchanged.hpp"

#include "common/errors.hpp"

#include <sys/stat.h>
#include <tuple>

namespace lindra::tools {

namespace {

// Zeros where there is no file; what reads it tells why.
struct stat look_at(const std::filesystem::path &file) {
    struct stat found = {};
    if (stat(file.c_str(), &found) != 0) found = {};
    return found;
}

bool is_same(const struct stat &a, const struct stat &b) {
    const auto state = [](const struct stat &of) {
        return std::tuple(of.st_dev, of.st_ino, of.st_size, of.st_mtim.tv_sec, of.st_mtim.tv_nsec);
    };
    return state(a) == state(b);
}

void require_same(const std::filesystem::path &file, const struct stat &before) {
    if (!is_same(before, look_at(file)))
        throw DataError(file.string() + " changed while it was read; run the command again");
}

} // namespace

void while_unchanged(const std::filesystem::path &file, const std::function<void()> &read) {
    const struct stat before = look_at(file);
    try {
        read();
    } catch (const DataError &) {
        require_same(file, before);
        throw;
    }
    require_same(file, before);
}

} // namespace lindra::tools
