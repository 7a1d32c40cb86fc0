// SPDX-License-Identifier: MIT
//
// The cursor that every decoder reads through. It moves the caller's own position as it takes, so that the
// position after a failure is right by construction, and it never passes the end of a known extent.
#ifndef LINDRA_STREAM_HPP
#define LINDRA_STREAM_HPP

#include "bytes.hpp"
#include "extents.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace lindra {

class Stream {
  public:
    // The extent of *pos is looked up; without one the position is trusted.
    explicit Stream(unsigned char **pos) : pos_(pos), end_(extent_end(*pos)) {}
    Stream(unsigned char **pos, const unsigned char *end) : pos_(pos), end_(end) {}

    unsigned char *pos() const { return *pos_; }
    bool bounded() const { return end_ != nullptr; }
    size_t left() const {
        return end_ ? static_cast<size_t>(end_ - *pos_) : std::numeric_limits<size_t>::max();
    }

    // Whether count items of size bytes are more than is left in a known extent.
    bool lacks(int64_t count, size_t size) const {
        return end_ && (count < 0 || static_cast<uint64_t>(count) > left() / size);
    }

    bool skip(size_t size) { return take(size) != nullptr; }

    // The next size bytes, or null when they are not all there.
    const unsigned char *bytes(size_t size) { return take(size); }

    // The same without moving on.
    const unsigned char *peek(size_t size) const { return size > left() ? nullptr : *pos_; }

    template <class T>
    bool be(T &out) {
        const unsigned char *from = take(sizeof(T));
        if (!from) return false;
        out = load_be<T>(from);
        return true;
    }

  private:
    const unsigned char *take(size_t size) {
        if (size > left()) return nullptr;
        const unsigned char *taken = *pos_;
        *pos_ += size;
        return taken;
    }

    unsigned char **pos_;
    const unsigned char *end_;
};

} // namespace lindra

#endif
