// SPDX-License-Identifier: MIT

#include "common/input_file.hpp"

#include "common/errors.hpp"
#include "common/memory.hpp"

#include "lindra/lindra.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace lindra::tools {

void refuse_unreadable(const std::string &path, int reason) {
    require_memory(reason);
    struct stat found;
    const bool is_found = stat(path.c_str(), &found) == 0;
    throw DataError(path + " cannot be read: " +
                    (is_found && S_ISDIR(found.st_mode)    ? "it is a directory"
                     : is_found && !S_ISREG(found.st_mode) ? "it is not a regular file"
                     : reason                              ? std::strerror(reason)
                                                           : "it changed while it was read"));
}

void require_readable(const std::string &path) {
    struct stat found;
    errno = 0;
    if (stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode) || access(path.c_str(), R_OK) != 0)
        refuse_unreadable(path, errno);
}

InputFile::InputFile(std::string path) : path_(std::move(path)) {
    char *data = nullptr;
    errno = 0;
    const int64_t size = mapfile(path_.c_str(), nullptr, &data);
    if (size < 0) refuse_unreadable(path_, errno);
    size_ = static_cast<size_t>(size);
    data_ = {reinterpret_cast<unsigned char *>(data), Release{size_}};
    if (lindra_bound(data, size_) < 0) throw std::bad_alloc();
}

void InputFile::Release::operator()(unsigned char *data) const {
    lindra_unbound(data);
    lindra_unmapfile(reinterpret_cast<char *>(data), static_cast<int64_t>(size));
}

bool InputFile::has_at(size_t offset, std::string_view bytes) const {
    return offset <= size_ && bytes.size() <= size_ - offset &&
           memcmp(data() + offset, bytes.data(), bytes.size()) == 0;
}

} // namespace lindra::tools
