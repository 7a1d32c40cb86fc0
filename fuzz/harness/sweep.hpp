// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_SWEEP_HPP
#define LINDRA_FUZZ_SWEEP_HPP

#include "fixture.hpp"

#include <cstddef>
#include <vector>

namespace lindra::fuzz {

struct Swept {
    size_t inputs, failures;
};

// Runs the target over its fixtures, damaged in every way, or a share of it from 0 to 1 that the seed
// chooses. An input that fails is named and written to the working directory.
Swept sweep(const std::vector<Fixture> &fixtures, double share, unsigned seed);

} // namespace lindra::fuzz

#endif
