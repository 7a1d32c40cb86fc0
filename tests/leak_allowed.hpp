// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_LEAK_ALLOWED_HPP
#define LINDRA_TESTS_LEAK_ALLOWED_HPP

extern "C" {
[[gnu::weak]] void __lsan_disable();
[[gnu::weak]] void __lsan_enable();
}

namespace lindra::test {

// Where a reader means to lose memory, the leak check looks away.
class LeakAllowed {
  public:
    LeakAllowed() {
        if (__lsan_disable) __lsan_disable();
    }
    ~LeakAllowed() {
        if (__lsan_enable) __lsan_enable();
    }
    LeakAllowed(const LeakAllowed &) = delete;
    LeakAllowed &operator=(const LeakAllowed &) = delete;
};

} // namespace lindra::test

#endif
