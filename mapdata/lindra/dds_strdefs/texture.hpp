// SPDX-License-Identifier: MIT
#ifndef LINDRA_DDS_STRDEFS_TEXTURE_HPP
#define LINDRA_DDS_STRDEFS_TEXTURE_HPP

#include "dds_strdefs/tables.hpp"
#include "lindra.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lindra::dds {

// Where a field begins in its record, bytes.
template <size_t rows>
consteval uint64_t place_in(const Strdef (&table)[rows], std::string_view name) {
    int32_t at = 0;
    for (const Strdef &row : table) {
        if (row.name == name) return static_cast<uint64_t>(at);
        at += size_of(row.type) * row.count;
    }
    table_is_wrong("the record has no such field");
    return 0;
}

// Where the parts of a texture file begin, bytes.
constexpr uint64_t header_begin = 4;
constexpr uint64_t header_end = header_begin + size_of(header);
constexpr uint64_t header10_end = header_end + size_of(header10);

// Where a field of a header begins in the file, bytes.
consteval uint64_t header_place(std::string_view name) {
    return header_begin + place_in(DDS_HEADER_Strdef, name);
}
consteval uint64_t format_place(std::string_view name) {
    return header_place("ddspf") + place_in(DDS_PIXELFORMAT_Strdef, name);
}
consteval uint64_t header10_place(std::string_view name) {
    return header_end + place_in(DDS_HEADER10_Strdef, name);
}

// Tells what is wrong with one file, and why it is refused.
class Report {
  public:
    Report(LindraTell *tell, void *context) : tell_(tell), context_(context) {}

    [[gnu::cold, gnu::format(printf, 3, 4)]] void operator()(uint64_t offset, const char *format, ...) const;

    // Returns false.
    [[gnu::cold, gnu::format(printf, 3, 4)]] bool refuse(uint64_t offset, const char *format, ...) const;

  private:
    LindraTell *tell_;
    void *context_;
};

// Whether the header has the four characters that a DX10 header follows on.
bool has_header10(const LindraTexture &texture);

// Finds out how the pixels are stored; false when in a way that is not read, which is then told.
bool find_format(LindraTexture &texture, const Report &report);

// The bytes of an image of that size, each side 1 at least; UINT64_MAX when no number can tell them.
uint64_t image_size(const LindraTexture &texture, uint32_t width, uint32_t height);

} // namespace lindra::dds

#endif
