// SPDX-License-Identifier: MIT
#ifndef LINDRA_FACE_MAPPED_FILE_HPP
#define LINDRA_FACE_MAPPED_FILE_HPP

#include "report.hpp"

#include "../lindra.h"

#include <cerrno>
#include <cstdint>
#include <span>
#include <string>
#include <system_error>
#include <utility>

namespace lindra {

using byte_span = std::span<const unsigned char>;

namespace detail {

// A whole file in memory, released with the object; see mapfile in support.h.
class mapped_file {
  public:
    mapped_file() = default;
    explicit mapped_file(const std::string &path) {
        errno = 0;
        size_ = mapfile(path.c_str(), nullptr, &data_);
        if (size_ >= 0) return;
        const int reason = errno;
        throw error(path, 0, reason ? std::generic_category().message(reason) : "is no regular file");
    }
    ~mapped_file() { lindra_unmapfile(data_, size_); }
    mapped_file(mapped_file &&other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    mapped_file &operator=(mapped_file &&other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }

    byte_span bytes() const {
        return {reinterpret_cast<const unsigned char *>(data_), static_cast<size_t>(size_)};
    }

  private:
    char *data_ = nullptr;
    int64_t size_ = 0;
};

} // namespace detail

} // namespace lindra

#endif
