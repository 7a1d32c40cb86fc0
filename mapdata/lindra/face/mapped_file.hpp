// SPDX-License-Identifier: MIT
#ifndef LINDRA_FACE_MAPPED_FILE_HPP
#define LINDRA_FACE_MAPPED_FILE_HPP

#include "report.hpp"

#include "../lindra.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace lindra {

using byte_span = std::span<const unsigned char>;

namespace detail {

// A file in memory, and whether all of it is still there. A handler of signals may look at it from any
// thread, so that its place never changes.
class mapping {
  public:
    explicit mapping(const std::string &path) : path_(path), size_(map(path, data_)) {}
    ~mapping() { lindra_unmapfile(data_, size_); }
    mapping(const mapping &) = delete;
    mapping &operator=(const mapping &) = delete;

    byte_span bytes() const {
        return {reinterpret_cast<const unsigned char *>(data_), static_cast<size_t>(size_)};
    }

    // Whether others can change what is seen here; see mapfile in support.h.
    bool is_shared() const { return size_ > largest_copy; }

    bool holds(const void *at) const { return offset_of(at) < static_cast<uint64_t>(size_); }

    // Puts zeros where the file has nothing any more, from the page of that address to the end, and keeps in
    // mind that it did. Returns whether that went well. Calls nothing but what a handler of signals may call.
    bool lose(const void *at) {
        const uint64_t offset = offset_of(at);
        // The mark comes first: whoever sees a zero, on whatever thread, sees the mark as well.
        uint64_t none = nothing_lost;
        lost_.compare_exchange_strong(none, offset);
        const uint64_t begin = offset - offset % page_;
        return mmap(data_ + begin, static_cast<uint64_t>(size_) - begin, PROT_READ,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, no_file, 0) != MAP_FAILED;
    }

    void require_whole() const {
        // Not a load, which a processor may bring forward of the looks at bytes before it.
        if (const uint64_t lost = lost_.fetch_or(0); lost != nothing_lost)
            throw error(path_, lost, "changed while it was read; try again");
    }

  private:
    static constexpr int no_file = -1;
    static constexpr int64_t largest_copy = 16 << 20;
    static constexpr uint64_t nothing_lost = UINT64_MAX;
    static_assert(std::atomic<uint64_t>::is_always_lock_free);

    // Returns the size.
    static int64_t map(const std::string &path, char *&out_data) {
        errno = 0;
        const int64_t size = mapfile(path.c_str(), nullptr, &out_data);
        if (size >= 0) return size;
        const int reason = errno;
        throw error(path, 0, reason ? std::generic_category().message(reason) : "is no regular file");
    }

    uint64_t offset_of(const void *at) const {
        return reinterpret_cast<uintptr_t>(at) - reinterpret_cast<uintptr_t>(data_);
    }

    std::string path_;
    char *data_ = nullptr;
    int64_t size_;
    uint64_t page_ = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    mutable std::atomic<uint64_t> lost_ = nothing_lost; // offset of the byte that was looked for first
};

// The files that one object has open; null: none, or one that nobody else can change.
using mapped_files = std::array<mapping *, 4>;

// A whole file in memory, released with the object.
class mapped_file {
  public:
    mapped_file() = default;
    explicit mapped_file(const std::string &path) : mapping_(std::make_unique<mapping>(path)) {}

    byte_span bytes() const { return mapping_ ? mapping_->bytes() : byte_span(); }
    mapping *shared() const { return mapping_ && mapping_->is_shared() ? mapping_.get() : nullptr; }

  private:
    std::unique_ptr<mapping> mapping_;
};

} // namespace detail

} // namespace lindra

#endif
