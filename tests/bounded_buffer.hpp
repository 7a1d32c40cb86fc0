// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_BOUNDED_BUFFER_HPP
#define LINDRA_TESTS_BOUNDED_BUFFER_HPP

#include "guarded_buffer.hpp"

#include "lindra/lindra.h"

#include <string>

namespace lindra::test {

// A buffer of a known extent.
struct BoundedBuffer : GuardedBuffer {
    explicit BoundedBuffer(const std::string &bytes) : GuardedBuffer(bytes) { lindra_bound(data(), size()); }
    ~BoundedBuffer() { lindra_unbound(data()); }
};

} // namespace lindra::test

#endif
