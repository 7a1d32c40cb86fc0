// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_LOG_CAPTURE_HPP
#define LINDRA_TESTS_LOG_CAPTURE_HPP

#include "allocations.hpp"

#include "support.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace lindra::test {

// While one lives, what the library logs is kept here: the flag, a blank and the text.
class LogCapture {
  public:
    LogCapture() { lindra_set_log_handler(keep, this); }
    ~LogCapture() { lindra_set_log_handler(nullptr, nullptr); }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    // Hands out what was kept and starts afresh.
    std::vector<std::string> take() { return std::exchange(lines_, {}); }

  private:
    static void keep(void *self, int flag, const char *text) {
        const AllocationPause pause;
        static_cast<LogCapture *>(self)->lines_.push_back(std::to_string(flag) + " " + text);
    }

    std::vector<std::string> lines_;
};

using Lines = std::vector<std::string>;

// From now on the flags of what is logged go to standard error, too: for a process that is about to end.
inline void log_with_flags() {
    lindra_set_log_handler([](void *, int flag, const char *text) { fprintf(stderr, "%d %s", flag, text); },
                           nullptr);
}

} // namespace lindra::test

#endif
