// SPDX-License-Identifier: MIT
//
// Numbers of a stated byte order at any address. Part of the C++ face, and of the library behind the C face.
#ifndef LINDRA_BYTES_HPP
#define LINDRA_BYTES_HPP

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace lindra {

// The bytes of an integer in the other order.
template <class T>
T swapped(T value) {
    static_assert(std::is_integral_v<T> && (sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8));
    auto bits = static_cast<std::make_unsigned_t<T>>(value);
    if constexpr (sizeof(T) == 2) bits = __builtin_bswap16(bits);
    if constexpr (sizeof(T) == 4) bits = __builtin_bswap32(bits);
    if constexpr (sizeof(T) == 8) bits = __builtin_bswap64(bits);
    return static_cast<T>(bits);
}

// The number at from, an integer or a double, whose bytes are in that order.
template <std::endian order, class T>
T load(const unsigned char *from) {
    if constexpr (std::is_same_v<T, double>) {
        return std::bit_cast<double>(load<order, uint64_t>(from));
    } else {
        T value;
        memcpy(&value, from, sizeof value);
        if constexpr (order == std::endian::native)
            return value;
        else
            return swapped(value);
    }
}

template <class T>
T load_be(const unsigned char *from) {
    return load<std::endian::big, T>(from);
}

template <class T>
T load_le(const unsigned char *from) {
    return load<std::endian::little, T>(from);
}

} // namespace lindra

#endif
