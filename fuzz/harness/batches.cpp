// SPDX-License-Identifier: MIT

#include "batches.hpp"

#include "fixture.hpp"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace lindra::fuzz {

namespace {

constexpr unsigned inputs_of_a_process = 500;

unsigned patience = 60; // seconds

// The signal that comes when the time is up ends the process.
void run(const std::string &input) {
    const itimerval time = {{0, 0}, {static_cast<time_t>(patience), 0}};
    setitimer(ITIMER_PROF, &time, nullptr);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
}

// Whether work ends well in a process of its own, which leaks nothing, where that is looked after.
template <class Work>
bool ends_well(Work work) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        perror("replay: fork");
        exit(2);
    }
    if (child == 0) {
        work();
        exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGPROF)
        fprintf(stderr, "replay: no end after %u s of processor time\n", patience);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Returns how many of the inputs fail, each for itself.
size_t run_alone(unsigned first, unsigned last, const InputOf &input_of,
                 const std::function<void(unsigned number)> &tell) {
    size_t failures = 0;
    for (unsigned number = first; number < last; number++) {
        if (ends_well([&] { run(input_of(number)); })) continue;
        tell(number);
        failures++;
    }
    return failures;
}

} // namespace

void set_patience(unsigned seconds) {
    patience = seconds;
}

bool is_accepted(const std::string &input) {
    return ends_well([&] {
        run(input);
        if (!was_accepted) exit(1);
    });
}

size_t run_all(unsigned count, const InputOf &input_of, const std::function<void(unsigned number)> &tell) {
    size_t failures = 0;
    for (unsigned first = 0; first < count; first += inputs_of_a_process) {
        const unsigned last = std::min(count, first + inputs_of_a_process);
        const auto run_together = [&] {
            for (unsigned number = first; number < last; number++)
                run(input_of(number));
        };
        if (ends_well(run_together)) continue;
        const size_t found = run_alone(first, last, input_of, tell);
        if (!found)
            fprintf(stderr, "replay: FAILED on inputs %u to %u, but only together\n", first, last - 1);
        failures += std::max<size_t>(found, 1);
    }
    return failures;
}

} // namespace lindra::fuzz
