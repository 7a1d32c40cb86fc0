// SPDX-License-Identifier: MIT
#ifndef LINDRA_ALLOCATE_HPP
#define LINDRA_ALLOCATE_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace lindra {

// A new block of size bytes from malloc. A size below zero is an allocation that fails; one of zero asks for
// a byte, because some systems answer a request for nothing with null, and an empty array is no failure.
inline void *allocate(int64_t size) {
    if (size < 0) return nullptr;
    return malloc(static_cast<size_t>(std::max<int64_t>(size, 1)));
}

} // namespace lindra

#endif
