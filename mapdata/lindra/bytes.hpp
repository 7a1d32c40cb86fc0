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

template <class T>
T load_be(const unsigned char *from) {
    T value;
    memcpy(&value, from, sizeof value);
    return std::endian::native == std::endian::little ? swapped(value) : value;
}

template <class T>
T load_le(const unsigned char *from) {
    T value;
    memcpy(&value, from, sizeof value);
    return std::endian::native == std::endian::big ? swapped(value) : value;
}

template <>
inline double load_be<double>(const unsigned char *from) {
    return std::bit_cast<double>(load_be<uint64_t>(from));
}

template <>
inline double load_le<double>(const unsigned char *from) {
    return std::bit_cast<double>(load_le<uint64_t>(from));
}

} // namespace lindra

#endif
