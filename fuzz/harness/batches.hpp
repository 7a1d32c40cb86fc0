// SPDX-License-Identifier: MIT
//
// Runs a target over many inputs without a fuzzer, in child processes. Many share one; where that fails, each
// has one of its own, so that every input that fails is told, and the others are run.
#ifndef LINDRA_FUZZ_BATCHES_HPP
#define LINDRA_FUZZ_BATCHES_HPP

#include <cstddef>
#include <functional>
#include <string>

namespace lindra::fuzz {

using InputOf = std::function<std::string(unsigned number)>;

// The processor time after which an input is taken to have no end.
void set_patience(unsigned seconds);

// Whether the input is run without a failure, and taken by the target for one of its format (accept).
bool is_accepted(const std::string &input);

// Calls tell with the number of each input that fails. Returns how many did.
size_t run_all(unsigned count, const InputOf &input_of, const std::function<void(unsigned number)> &tell);

} // namespace lindra::fuzz

#endif
