// SPDX-License-Identifier: MIT
//
// Failing calls of one kind in the library under test, which the test program links with these calls wrapped.
#ifndef LINDRA_TESTS_FAULTS_HPP
#define LINDRA_TESTS_FAULTS_HPP

#include <cerrno>

namespace lindra::test {

enum class FaultKind {
    allocation,        // of the library
    system_call,       // stat, fstat, access, open, read, close, mmap, munmap, mprotect
    short_read,        // read gives half of what was asked for
    interrupted_read,  // read ends with EINTR
    sqlite_allocation, // of SQLite
    sqlite_file,       // SQLite's own system calls
    ended_read         // read gives nothing, as behind the end
};

// While one lives, the nth call of the kind fails on this thread: once, or it and all later. reason: what
// stat, fstat and access of the library fail with.
class Faults {
  public:
    Faults(FaultKind kind, int nth, bool from_then_on, int reason = EIO);
    ~Faults();
    Faults(const Faults &) = delete;
    Faults &operator=(const Faults &) = delete;

    static int calls(); // of the kind, so far
    static int calls_of_any_kind();
    static int failed();
};

// Whether this call is to fail, for those that stand in for the calls.
bool strikes(FaultKind kind);

// Mappings made less mappings that the library gave back on this thread; and files opened less files closed
// while calls of the library fail. A mapping that munmap refused to release was given back: it stays in
// memory, and nobody could do more. A file that close complains of is closed.
int live_mappings();
int live_descriptors();

} // namespace lindra::test

#endif
