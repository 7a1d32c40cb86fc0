// SPDX-License-Identifier: MIT
//
// Bugs planted on purpose: a read past the end behind a word that only a fuzzer with feedback finds; and for
// the replay and the sweeps, heap beyond the limit, here and in a child whose end nobody asks about; a read
// past the end in such a one; memory that is lost; a loop without an end; and, where steps are counted, more
// of them than the input accounts for. A fuzzer that does not find the first, a replay or a sweep that does
// not fail for the others, is dead.

#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/steps.hpp"

#include <cstdint>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace lindra::fuzz;

namespace {

// Letter by letter, so that every right one is news to the fuzzer.
bool begins_with_word(const Input &input) {
    const unsigned char *at = input.data();
    return input.size() >= 4 && at[0] == 'L' && at[1] == 'I' && at[2] == 'N' && at[3] == 'D';
}

// A fuzzer would come by these bugs before it comes by the word.
#ifdef LINDRA_LIBFUZZER
constexpr bool only_the_word = true;
#else
constexpr bool only_the_word = false;
#endif

bool asks_for(std::string_view bug, const Input &input) {
    return !only_the_word && text_of({input.data(), input.size()}).starts_with(bug);
}

// As many rounds as the square of the size, which the compiler must not join.
unsigned count_pairs(const Input &input) {
    volatile unsigned equal = 0;
    for (const unsigned char *a = input.data(); a < input.end(); a++)
        for (const unsigned char *b = input.data(); b < input.end(); b++)
            equal = equal + (*a == *b);
    return equal;
}

// The address of memory that nobody has any more.
uintptr_t lost() {
    return reinterpret_cast<uintptr_t>(malloc(24)) ^ UINTPTR_MAX;
}

void take_heap() {
    volatile size_t size = std::vector<char>(100 << 10).size();
    static_cast<void>(size);
}

// In a child that says nothing, and whose end nobody asks about.
template <class Work>
void in_child(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        close(STDERR_FILENO);
        work();
        _exit(0);
    }
    waitpid(child, nullptr, 0);
}

void read_past_end(const Input &input) {
    volatile unsigned char byte = *input.end();
    static_cast<void>(byte);
}

} // namespace

// One damage makes the word "heap" of this.
std::vector<Fixture> lindra::fuzz::fixtures() {
    return {{"almost-heap", "heaq"}};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    const Input input({data, size});
    volatile unsigned sum = 0;
    while (asks_for("endless", input))
        sum = sum + 1;
    const HeapLimit limit(size);
    const StepLimit steps(size, 100, 1000);
    accept();
    if (begins_with_word(input)) sum = sum + *input.end();
    if (asks_for("heap", input)) take_heap();
    if (asks_for("child", input)) in_child(take_heap);
    if (asks_for("fault in a child", input)) in_child([&] { read_past_end(input); });
    if (asks_for("leak", input)) sum = sum + static_cast<unsigned>(lost() != 0);
    if (asks_for("pairs", input)) sum = sum + count_pairs(input);
    return 0;
}
