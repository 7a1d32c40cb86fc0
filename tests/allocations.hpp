// SPDX-License-Identifier: MIT
//
// Control over the allocations that the library makes. The test program links the static library with malloc
// and its kin wrapped, and replaces operator new, so that a chosen allocation fails and the bytes asked for
// are counted.
#ifndef LINDRA_TESTS_ALLOCATIONS_HPP
#define LINDRA_TESTS_ALLOCATIONS_HPP

#include <cstddef>

namespace lindra::test {

// While one lives, allocations of this thread are counted, and the nth (from 1; 0: none) fails: once, or it
// and all later.
class AllocationWatch {
  public:
    enum Mode { once, from_then_on };

    explicit AllocationWatch(int nth = 0, Mode mode = once);
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch &) = delete;
    AllocationWatch &operator=(const AllocationWatch &) = delete;

    bool failed() const;      // whether any allocation was made to fail
    int count() const;        // allocations asked for
    int live() const;         // blocks allocated less blocks released
    static int live_now();    // the same, of the watch that lives
    size_t requested() const; // bytes asked for, all together
};

// While one lives, allocations of this thread are neither counted nor made to fail: for what the test itself
// does.
class AllocationPause {
  public:
    AllocationPause();
    ~AllocationPause();
    AllocationPause(const AllocationPause &) = delete;
    AllocationPause &operator=(const AllocationPause &) = delete;

  private:
    bool was_watching_;
};

} // namespace lindra::test

#endif
