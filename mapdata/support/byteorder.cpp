// SPDX-License-Identifier: MIT
//
// Big-endian runs to host order. Every item goes through memcpy, so that no address needs to be aligned, and
// is read before it is written, so that a run can be converted in place.

#include "support.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace {

inline uint16_t swapped(uint16_t value) {
    return __builtin_bswap16(value);
}
inline uint32_t swapped(uint32_t value) {
    return __builtin_bswap32(value);
}
inline uint64_t swapped(uint64_t value) {
    return __builtin_bswap64(value);
}

template <class Item>
void from_big_endian(void *dest, const void *src, int n) {
    auto *to = static_cast<unsigned char *>(dest);
    const auto *from = static_cast<const unsigned char *>(src);
    for (int i = 0; i < n; i++) {
        const size_t offset = static_cast<size_t>(i) * sizeof(Item);
        Item item;
        memcpy(&item, from + offset, sizeof item);
        if constexpr (std::endian::native == std::endian::little) item = swapped(item);
        memcpy(to + offset, &item, sizeof item);
    }
}

} // namespace

void N2H2(void *dest, const void *src, int n) {
    from_big_endian<uint16_t>(dest, src, n);
}
void N2H4(void *dest, const void *src, int n) {
    from_big_endian<uint32_t>(dest, src, n);
}
void N2H8(void *dest, const void *src, int n) {
    from_big_endian<uint64_t>(dest, src, n);
}
