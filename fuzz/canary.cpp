// SPDX-License-Identifier: MIT
//
// Bugs planted on purpose: a read past the end behind a word that only a fuzzer with feedback finds, and heap
// beyond the limit. A fuzzer that does not find the one, a replay that does not fail for the other, is dead.

#include "harness/heap.hpp"
#include "harness/input.hpp"

#include <vector>

using namespace lindra::fuzz;

namespace {

// Letter by letter, so that every right one is news to the fuzzer.
bool begins_with_word(const Input &input) {
    const unsigned char *at = input.data();
    return input.size() >= 4 && at[0] == 'L' && at[1] == 'I' && at[2] == 'N' && at[3] == 'D';
}

bool asks_for_heap(const Input &input) {
    return input.size() >= 4 && text_of({input.data(), 4}) == "heap";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const Input input({data, size});
    const HeapLimit limit(size);
    volatile unsigned sum = 0;
    if (begins_with_word(input)) sum = sum + *input.end();
    if (asks_for_heap(input)) sum = sum + static_cast<unsigned>(std::vector<char>(100 << 10).size());
    return 0;
}
