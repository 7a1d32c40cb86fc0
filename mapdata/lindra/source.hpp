// SPDX-License-Identifier: MIT
#ifndef LINDRA_SOURCE_HPP
#define LINDRA_SOURCE_HPP

#include "stream.hpp"

namespace lindra {

// What the decoding of one structure and of all that is nested in it reads from. The extent is looked up
// once, by the exported function that was called.
struct Source {
    Source(unsigned char *first, unsigned char **pos) : base(first), stream(pos) {}
    Source(unsigned char *first, unsigned char **pos, const unsigned char *end)
        : base(first), stream(pos, end) {}

    unsigned char *base; // the first byte of the caller's buffer, for offsets
    Stream stream;
    int depth = 0; // of hooks within hooks
};

} // namespace lindra

#endif
