// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_HEAP_HPP
#define LINDRA_FUZZ_HEAP_HPP

#include <cstddef>

namespace lindra::fuzz {

// While one lives, what this thread holds of the heap beyond what it held before is counted, and the process
// is ended by the allocation that exceeds 16 times the size of the input, 64 KiB and constant together; so
// are its children, and then the process too, when the limit is over. There is at most one.
class HeapLimit {
  public:
    explicit HeapLimit(size_t input_size, size_t constant = 0);
    ~HeapLimit();
    HeapLimit(const HeapLimit &) = delete;
    HeapLimit &operator=(const HeapLimit &) = delete;
};

// While one lives, nothing is counted: for what the target itself allocates and releases.
class HeapPause {
  public:
    HeapPause();
    ~HeapPause();
    HeapPause(const HeapPause &) = delete;
    HeapPause &operator=(const HeapPause &) = delete;

  private:
    bool was_counting_;
};

// At its end the process is ended unless all that this thread allocated while it lived has been released: for
// targets behind which no library keeps anything. There is at most one.
class HeapBalance {
  public:
    HeapBalance();
    ~HeapBalance();
    HeapBalance(const HeapBalance &) = delete;
    HeapBalance &operator=(const HeapBalance &) = delete;
};

} // namespace lindra::fuzz

#endif
