// SPDX-License-Identifier: MIT
//
// The compiler has every basic block call __sanitizer_cov_trace_pc (-fsanitize-coverage=trace-pc), which is
// ours. Nothing that it does may be a step itself.

#include "steps.hpp"

#include "overrun.hpp"
#include "peaks.hpp"

#include <cstdio>

namespace {

struct Count {
    uint64_t taken, allowed; // nothing is counted while 0 are allowed
    size_t input_size;
};

thread_local Count count;

#ifdef LINDRA_COUNT_STEPS
[[noreturn]] void exceed(const Count &reached) {
    char text[100];
    snprintf(text, sizeof text, "steps: more than %llu for an input of %zu",
             static_cast<unsigned long long>(reached.allowed), reached.input_size);
    lindra::fuzz::end_by_overrun(text);
}
#endif

} // namespace

#ifdef LINDRA_COUNT_STEPS
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is the compiler's.
extern "C" [[gnu::visibility("default"), gnu::no_sanitize_coverage]] void __sanitizer_cov_trace_pc();

void __sanitizer_cov_trace_pc() {
    if (!count.allowed || ++count.taken <= count.allowed) return;
    // What comes now has steps of its own.
    const Count reached = count;
    count = {};
    exceed(reached);
}
#endif

namespace lindra::fuzz {

StepLimit::StepLimit(size_t input_size, uint64_t for_each_byte, uint64_t constant) {
    watch_children();
    count = {0, for_each_byte * input_size + constant, input_size};
}
StepLimit::~StepLimit() {
    const Count reached = count;
    count = {};
    require_sound_children();
    keep_higher(peaks().steps, {reached.taken, reached.allowed, reached.input_size});
}

} // namespace lindra::fuzz
