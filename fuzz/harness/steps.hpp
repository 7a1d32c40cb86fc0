// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_STEPS_HPP
#define LINDRA_FUZZ_STEPS_HPP

#include <cstddef>
#include <cstdint>

namespace lindra::fuzz {

// While one lives, the steps of this thread are counted in a build with LINDRA_COUNT_STEPS, and the process
// is ended by the one beyond for_each_byte times the size of the input and constant together. A step is a
// basic block of ours; what other libraries do takes none. In other builds nothing is counted. There is at
// most one.
class StepLimit {
  public:
    StepLimit(size_t input_size, uint64_t for_each_byte, uint64_t constant);
    ~StepLimit();
    StepLimit(const StepLimit &) = delete;
    StepLimit &operator=(const StepLimit &) = delete;
};

} // namespace lindra::fuzz

#endif
