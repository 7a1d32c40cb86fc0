// SPDX-License-Identifier: MIT
#ifndef LINDRA_NETCDF_STRDEFS_LISTING_HPP
#define LINDRA_NETCDF_STRDEFS_LISTING_HPP

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string_view>

namespace lindra::netcdf {

// Zeros in front make it two digits long at least.
struct TwoDigits {
    int32_t number; // 0 or more
};

// Collects what is printed and hands it to a stream in large pieces: of a listing of many short lines,
// formatting each on its own would take most of the time.
class Listing {
  public:
    explicit Listing(FILE *stream) : stream_(stream) {}
    ~Listing() { flush(); }
    Listing(const Listing &) = delete;
    Listing &operator=(const Listing &) = delete;

    Listing &operator<<(std::string_view text) {
        while (text.size() > sizeof piece_ - size_) {
            text.remove_prefix(take(text));
            flush();
        }
        take(text);
        return *this;
    }

    Listing &operator<<(char letter) { return *this << std::string_view(&letter, 1); }

    Listing &operator<<(int32_t number) {
        char digits[16];
        const char *end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
        return *this << std::string_view(std::begin(digits), end);
    }

    Listing &operator<<(TwoDigits index) {
        if (index.number < 10) *this << '0';
        return *this << index.number;
    }

  private:
    // As much as there is room for; returns how much that is.
    size_t take(std::string_view text) {
        const size_t size = text.copy(piece_ + size_, sizeof piece_ - size_);
        size_ += size;
        return size;
    }

    void flush() {
        fwrite(piece_, 1, size_, stream_);
        size_ = 0;
    }

    FILE *stream_;
    size_t size_ = 0;
    char piece_[4096];
};

} // namespace lindra::netcdf

#endif
