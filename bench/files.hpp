// SPDX-License-Identifier: MIT
//
// The files that are read, and how they come into memory where no reader does it.
#ifndef BENCH_FILES_HPP
#define BENCH_FILES_HPP

#include "lindra/lindra.h"

#include <cstdint>
#include <fcntl.h>
#include <span>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

// One of those that make_data made.
inline std::string data_file(const std::string &name) {
    return std::string(BENCH_DATA) + "/" + name;
}

using Bytes = std::span<const unsigned char>;

// A mapping that nobody has looked at yet: each of its pages is met as a fault first.
class FreshMapping {
  public:
    explicit FreshMapping(const std::string &path) {
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status {};
        if (file < 0 || fstat(file, &status) < 0) throw std::runtime_error(path + " cannot be read");
        size_ = static_cast<size_t>(status.st_size);
        data_ = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file, 0);
        close(file);
        if (data_ == MAP_FAILED) throw std::runtime_error(path + " cannot be mapped");
    }
    ~FreshMapping() { munmap(data_, size_); }
    FreshMapping(const FreshMapping &) = delete;
    FreshMapping &operator=(const FreshMapping &) = delete;

    Bytes bytes() const { return {static_cast<const unsigned char *>(data_), size_}; }

  private:
    void *data_;
    size_t size_;
};

// A file as a program that uses the C face reads it: by mapfile, its extent declared.
class BoundFile {
  public:
    explicit BoundFile(const std::string &path) : size_(mapfile(path.c_str(), nullptr, &data_)) {
        if (size_ < 0 || lindra_bound(data_, static_cast<size_t>(size_)) < 0)
            throw std::runtime_error(path + " cannot be read");
    }
    ~BoundFile() {
        lindra_unbound(data_);
        lindra_unmapfile(data_, size_);
    }
    BoundFile(const BoundFile &) = delete;
    BoundFile &operator=(const BoundFile &) = delete;

    unsigned char *begin() const { return reinterpret_cast<unsigned char *>(data_); }
    Bytes bytes() const { return {begin(), static_cast<size_t>(size_)}; }

  private:
    char *data_ = nullptr;
    int64_t size_;
};

} // namespace bench

#endif
