// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_INPUT_HPP
#define LINDRA_FUZZ_INPUT_HPP

#include "guarded_buffer.hpp"
#include "sanitized.hpp"

#include "lindra/lindra.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

namespace lindra::fuzz {

using Bytes = std::span<const uint8_t>;

inline std::string_view text_of(Bytes bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

// A copy of the bytes in memory of exactly their size. The address sanitizer sees a read on either side of
// it; without one it ends at an unreadable page.
#ifdef LINDRA_ADDRESS_SANITIZER
class ExactCopy {
  public:
    explicit ExactCopy(Bytes bytes) : data_(new unsigned char[bytes.size()]), size_(bytes.size()) {
        if (size_) memcpy(data_.get(), bytes.data(), size_);
    }

    unsigned char *data() const { return data_.get(); }
    unsigned char *end() const { return data_.get() + size_; }
    size_t size() const { return size_; }

  private:
    std::unique_ptr<unsigned char[]> data_;
    size_t size_;
};
#else
struct ExactCopy : test::GuardedBuffer {
    explicit ExactCopy(Bytes bytes) : GuardedBuffer(text_of(bytes)) {}
};
#endif

// The same, of a known extent to the decoders.
struct Input : ExactCopy {
    explicit Input(Bytes bytes) : ExactCopy(bytes) { lindra_bound(data(), size()); }
    ~Input() { lindra_unbound(data()); }
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    bool has(const unsigned char *position) const { return position >= data() && position <= end(); }
};

} // namespace lindra::fuzz

#endif
