// SPDX-License-Identifier: MIT

#include "common/input_file.hpp"

#include "common/errors.hpp"
#include "common/memory.hpp"

#include "lindra/lindra.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>

namespace lindra::tools {

namespace {

std::string reason_not_mapped(const std::string &path) {
    struct stat found;
    if (stat(path.c_str(), &found) != 0) return std::strerror(errno);
    if (S_ISDIR(found.st_mode)) return "it is a directory";
    if (!S_ISREG(found.st_mode)) return "it is not a regular file";
    return "permission is lacking, or it changed while it was read";
}

} // namespace

InputFile::InputFile(std::string path) : path_(std::move(path)) {
    char *data = nullptr;
    errno = 0;
    const int64_t size = mapfile(path_.c_str(), nullptr, &data);
    if (size < 0) require_memory(errno);
    if (size < 0) throw DataError(path_ + " cannot be read: " + reason_not_mapped(path_));
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
