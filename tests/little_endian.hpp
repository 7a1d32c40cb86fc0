// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_LITTLE_ENDIAN_HPP
#define LINDRA_TESTS_LITTLE_ENDIAN_HPP

#include "big_endian.hpp"

#include <string>

namespace lindra::test {

inline std::string reversed(const std::string &bytes) {
    return {bytes.rbegin(), bytes.rend()};
}

inline std::string le16(int value) {
    return reversed(be16(value));
}

inline std::string le32(int64_t value) {
    return reversed(be32(value));
}

inline std::string le_double(double value) {
    return reversed(be_double(value));
}

} // namespace lindra::test

#endif
