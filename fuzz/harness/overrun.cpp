// SPDX-License-Identifier: MIT

#include "overrun.hpp"

#include "sanitized.hpp"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <execinfo.h>
#include <sys/mman.h>
#include <unistd.h>

namespace lindra::fuzz {

namespace {

struct Overrun {
    pid_t watcher;  // the process that the children are of
    char text[160]; // empty while there is none
};

// Common to this process and its children.
Overrun *shared = nullptr;

// --- Faults of children ---

using Stack = std::array<void *, 64>;

bool is_theirs(void *place) {
    Dl_info found;
    if (!dladdr(place, &found) || !found.dli_fname) return false;
    return strstr(found.dli_fname, "libnetcdf") || strstr(found.dli_fname, "libhdf5");
}

// Nothing here may allocate.
void tell_fault() {
    if (!shared || getpid() == shared->watcher || shared->text[0]) return;
    Stack stack;
    const int depth = backtrace(stack.data(), stack.size());
    for (int i = 0; i < depth; i++)
        if (is_theirs(stack[static_cast<size_t>(i)])) return;
    strcpy(shared->text, "fault: a bad access, or what a sanitizer complains of");
}

#ifndef LINDRA_ADDRESS_SANITIZER
extern "C" void tell_fault_and_end(int signal_number) {
    tell_fault();
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}
#endif

// The first stack that is looked at loads what looks at it, which allocates: before anything is measured.
bool hear_faults() {
    Stack stack;
    backtrace(stack.data(), stack.size());
#ifndef LINDRA_ADDRESS_SANITIZER
    for (const int number : {SIGSEGV, SIGILL, SIGFPE, SIGABRT})
        signal(number, tell_fault_and_end);
#endif
    return true;
}

[[maybe_unused]] const bool hears_faults = hear_faults();

// --- Limits ---

void make_shared() {
    void *memory = mmap(nullptr, sizeof(Overrun), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) abort();
    shared = static_cast<Overrun *>(memory);
}

// Not to a stream, which the target may have put in the place of standard error.
[[noreturn]] void tell_and_end(const char *text, const char *where) {
    char line[200];
    snprintf(line, sizeof line, "%s%s\n", text, where);
    if (write(STDERR_FILENO, line, strlen(line)) < 0) abort();
    abort();
}

} // namespace

void end_by_overrun(const char *text) {
    if (shared) snprintf(shared->text, sizeof shared->text, "%s", text);
    tell_and_end(text, "");
}

void watch_children() {
    if (!shared) make_shared();
    shared->watcher = getpid();
    shared->text[0] = '\0';
}

void require_sound_children() {
    if (shared->text[0]) tell_and_end(shared->text, ", in a child process");
}

} // namespace lindra::fuzz

#ifdef LINDRA_ADDRESS_SANITIZER
// What the sanitizers call, by these names, when they have something to complain of.
// NOLINTBEGIN(bugprone-reserved-identifier): the names are theirs.
extern "C" [[gnu::visibility("default")]] void __asan_on_error();
extern "C" [[gnu::visibility("default")]] void __ubsan_on_report();

void __asan_on_error() {
    lindra::fuzz::tell_fault();
}
void __ubsan_on_report() {
    lindra::fuzz::tell_fault();
}
// NOLINTEND(bugprone-reserved-identifier)
#endif
