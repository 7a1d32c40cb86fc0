// SPDX-License-Identifier: MIT
#ifndef LINDRA_FAIL_HPP
#define LINDRA_FAIL_HPP

namespace lindra {

// Logs one complaint and returns -1, so that a failure is one line at the place where it happens.
[[nodiscard, gnu::cold, gnu::format(printf, 2, 3)]] int fail(int flag, const char *format, ...);

} // namespace lindra

#endif
