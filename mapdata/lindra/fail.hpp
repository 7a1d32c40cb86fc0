// SPDX-License-Identifier: MIT
#ifndef LINDRA_FAIL_HPP
#define LINDRA_FAIL_HPP

namespace lindra {

#ifndef __clang_analyzer__

// Logs one complaint and returns -1, so that a failure is one line at the place where it happens.
[[nodiscard, gnu::cold, gnu::format(printf, 2, 3)]] int fail(int flag, const char *format, ...);

#else

// The analyzer does not look into variadic functions; this one tells it that a failure is -1.
template <class... Arguments>
[[nodiscard]] int fail(int, const char *, Arguments...) {
    return -1;
}

#endif

} // namespace lindra

#endif
