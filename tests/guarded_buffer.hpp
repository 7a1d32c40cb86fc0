// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_GUARDED_BUFFER_HPP
#define LINDRA_TESTS_GUARDED_BUFFER_HPP

#include <cstring>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace lindra::test {

// Bytes whose last one stands right before a page that cannot be read: reading past them ends the test.
class GuardedBuffer {
  public:
    explicit GuardedBuffer(std::string_view bytes) : size_(bytes.size()) {
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t room = (size_ + page - 1) / page * page;
        region_size_ = room + page;
        region_ = mmap(nullptr, region_size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (region_ == MAP_FAILED) throw std::bad_alloc();
        auto *guard = static_cast<unsigned char *>(region_) + room;
        if (mprotect(guard, page, PROT_NONE) != 0) throw std::bad_alloc();
        data_ = guard - size_;
        if (size_) memcpy(data_, bytes.data(), size_);
    }
    ~GuardedBuffer() { munmap(region_, region_size_); }
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    unsigned char *data() const { return data_; }
    unsigned char *end() const { return data_ + size_; }
    size_t size() const { return size_; }

  private:
    size_t size_;
    size_t region_size_;
    void *region_;
    unsigned char *data_;
};

} // namespace lindra::test

#endif
