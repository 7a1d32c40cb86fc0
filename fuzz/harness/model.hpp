// SPDX-License-Identifier: MIT
//
// Inputs that know their format. A target writes a valid file of its own; the mutator begins with one now and
// then, and damages what it has: words become the numbers that break decoders, bytes are left out or doubled,
// the end is cut. Everything else is left to the fuzzer.
#ifndef LINDRA_FUZZ_MODEL_HPP
#define LINDRA_FUZZ_MODEL_HPP

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace lindra::fuzz {

// Numbers that a seed makes, the same with every compiler.
class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    // 0 to count - 1.
    unsigned below(unsigned count) { return static_cast<unsigned>(engine_() % count); }
    bool one_in(unsigned count) { return below(count) == 0; }
    char byte() { return static_cast<char>(below(256)); }

    std::string bytes(size_t count) {
        std::string all;
        while (all.size() < count)
            all += byte();
        return all;
    }

    template <class T, size_t count>
    const T &one_of(const T (&choices)[count]) {
        return choices[below(static_cast<unsigned>(count))];
    }

  private:
    std::mt19937 engine_;
};

// Writes a valid input, parameters included.
using Model = std::string (*)(Random &random);

// What LLVMFuzzerCustomMutator does for a target with a model.
size_t mutate(uint8_t *data, size_t size, size_t max_size, unsigned seed, Model model);

} // namespace lindra::fuzz

#endif
