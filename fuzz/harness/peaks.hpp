// SPDX-License-Identifier: MIT
//
// How near the inputs of a replay come to the limits: what one used, against what it was allowed.
#ifndef LINDRA_FUZZ_PEAKS_HPP
#define LINDRA_FUZZ_PEAKS_HPP

#include <cstddef>
#include <cstdint>

namespace lindra::fuzz {

struct Peak {
    uint64_t used, allowed;
    size_t input_size;
};

// One of each limit, common to this process and the children that it starts after the first call.
struct Peaks {
    Peak heap, steps;
};
Peaks &peaks();

// Keeps the one that came nearer to its limit.
void keep_higher(Peak &peak, const Peak &other);

} // namespace lindra::fuzz

#endif
