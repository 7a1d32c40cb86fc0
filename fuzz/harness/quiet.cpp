// SPDX-License-Identifier: MIT
//
// What decoders complain of and printers print is not looked at, but it is written, so that it is formatted.

#include "quiet.hpp"

#include "support.h"

#include <cstdio>
#include <cstdlib>

namespace {

void ignore(void *, int, const char *) {}

} // namespace

void lindra::fuzz::ignore_log() {
    lindra_set_log_handler(ignore, nullptr);
}

namespace {

// The block for standard output is none of the heap that a target measures.
bool make_quiet() {
    static char block[1 << 16];
    lindra::fuzz::ignore_log();
    if (!freopen("/dev/null", "w", stdout)) abort();
    return setvbuf(stdout, block, _IOFBF, sizeof block) == 0;
}

[[maybe_unused]] const bool quiet = make_quiet();

} // namespace
