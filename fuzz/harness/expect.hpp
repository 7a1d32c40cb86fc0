// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_EXPECT_HPP
#define LINDRA_FUZZ_EXPECT_HPP

#include <cstdio>
#include <cstdlib>

namespace lindra::fuzz {

// Ends the process, which is how a target tells a finding, unless the claim holds.
inline void expect(bool holds, const char *claim) {
    if (holds) return;
    fprintf(stderr, "expected: %s\n", claim);
    abort();
}

} // namespace lindra::fuzz

#endif
