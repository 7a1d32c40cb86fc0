// SPDX-License-Identifier: MIT

#include "overrun.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace lindra::fuzz {

namespace {

struct Overrun {
    char text[160]; // empty while there is none
};

// Common to this process and its children.
Overrun *shared = nullptr;

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
    shared->text[0] = '\0';
}

void require_sound_children() {
    if (shared->text[0]) tell_and_end(shared->text, ", in a child process");
}

} // namespace lindra::fuzz
