// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_BIG_ENDIAN_HPP
#define LINDRA_TESTS_BIG_ENDIAN_HPP

#include <bit>
#include <cstdint>
#include <string>

namespace lindra::test {

inline std::string be16(int value) {
    const auto bits = static_cast<uint32_t>(value);
    return {static_cast<char>(bits >> 8), static_cast<char>(bits)};
}

inline std::string be32(int64_t value) {
    const auto bits = static_cast<uint32_t>(value);
    return {static_cast<char>(bits >> 24), static_cast<char>(bits >> 16), static_cast<char>(bits >> 8),
            static_cast<char>(bits)};
}

inline std::string be_float(float value) {
    return be32(std::bit_cast<uint32_t>(value));
}

inline std::string be_double(double value) {
    const auto bits = std::bit_cast<uint64_t>(value);
    return be32(static_cast<uint32_t>(bits >> 32)) + be32(static_cast<uint32_t>(bits));
}

} // namespace lindra::test

#endif
