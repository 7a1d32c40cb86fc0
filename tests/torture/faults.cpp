// SPDX-License-Identifier: MIT

#include "torture/faults.hpp"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" {
int __real_stat(const char *path, struct stat *out);
int __real_fstat(int descriptor, struct stat *out);
int __real_access(const char *path, int mode);
int __real_open(const char *path, int flags, mode_t mode);
int __real_close(int descriptor);
ssize_t __real_read(int descriptor, void *to, size_t size);
void *__real_mmap(void *at, size_t size, int rights, int flags, int descriptor, off_t offset);
int __real_munmap(void *at, size_t size);
int __real_mprotect(void *at, size_t size, int rights);
}

namespace lindra::test {

namespace {

struct State {
    bool is_armed;
    FaultKind kind;
    int nth;
    bool from_then_on;
    int reason;
    int calls, failed;
    int calls_of_any_kind;
};

thread_local State state;
thread_local int mappings, descriptors;

int refused(int error) {
    errno = error;
    return -1;
}

} // namespace

Faults::Faults(FaultKind kind, int nth, bool from_then_on, int reason) {
    state = {true, kind, nth, from_then_on, reason, 0, 0, 0};
}
Faults::~Faults() {
    state.is_armed = false;
}
int Faults::calls() {
    return state.calls;
}
int Faults::calls_of_any_kind() {
    return state.calls_of_any_kind;
}
int Faults::failed() {
    return state.failed;
}

bool strikes(FaultKind kind) {
    if (!state.is_armed) return false;
    state.calls_of_any_kind++;
    if (kind != state.kind) return false;
    state.calls++;
    const bool fails = state.from_then_on ? state.calls >= state.nth : state.calls == state.nth;
    state.failed += fails;
    return fails;
}

int live_mappings() {
    return mappings;
}
int live_descriptors() {
    return descriptors;
}

// --- SQLite, which is a library of its own ---

namespace {

sqlite3_mem_methods usual;

void *allocate(int size) {
    return strikes(FaultKind::sqlite_allocation) ? nullptr : usual.xMalloc(size);
}
void *reallocate(void *block, int size) {
    return strikes(FaultKind::sqlite_allocation) ? nullptr : usual.xRealloc(block, size);
}

int open_file(const char *path, int flags, int mode) {
    return strikes(FaultKind::sqlite_file) ? refused(EMFILE)
                                           : __real_open(path, flags, static_cast<mode_t>(mode));
}
int stat_file(const char *path, struct stat *out) {
    return strikes(FaultKind::sqlite_file) ? refused(EIO) : __real_stat(path, out);
}
int fstat_file(int descriptor, struct stat *out) {
    return strikes(FaultKind::sqlite_file) ? refused(EIO) : __real_fstat(descriptor, out);
}
int access_file(const char *path, int mode) {
    return strikes(FaultKind::sqlite_file) ? refused(EIO) : __real_access(path, mode);
}
int close_file(int descriptor) {
    const int status = __real_close(descriptor);
    return strikes(FaultKind::sqlite_file) ? refused(EIO) : status;
}
ssize_t pread_file(int descriptor, void *to, size_t size, off_t at) {
    return strikes(FaultKind::sqlite_file) ? refused(EIO) : pread(descriptor, to, size, at);
}

void replace(const char *name, sqlite3_syscall_ptr call) {
    sqlite3_vfs *files = sqlite3_vfs_find(nullptr);
    files->xSetSystemCall(files, name, call);
}

// Before SQLite is used for the first time. Without look-aside memory each of its allocations is one of ours.
const bool sqlite_is_ready = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &usual);
    sqlite3_mem_methods ours = usual;
    ours.xMalloc = allocate;
    ours.xRealloc = reallocate;
    sqlite3_config(SQLITE_CONFIG_MALLOC, &ours);
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
    sqlite3_initialize();
    replace("open", reinterpret_cast<sqlite3_syscall_ptr>(open_file));
    replace("stat", reinterpret_cast<sqlite3_syscall_ptr>(stat_file));
    replace("fstat", reinterpret_cast<sqlite3_syscall_ptr>(fstat_file));
    replace("access", reinterpret_cast<sqlite3_syscall_ptr>(access_file));
    replace("close", reinterpret_cast<sqlite3_syscall_ptr>(close_file));
    for (const char *name : {"pread", "pread64"})
        replace(name, reinterpret_cast<sqlite3_syscall_ptr>(pread_file));
    return true;
}();

} // namespace

} // namespace lindra::test

// --- The library's own calls ---

using namespace lindra::test;

extern "C" {
int __wrap_stat(const char *path, struct stat *out) {
    return strikes(FaultKind::system_call) ? refused(state.reason) : __real_stat(path, out);
}
int __wrap_fstat(int descriptor, struct stat *out) {
    return strikes(FaultKind::system_call) ? refused(state.reason) : __real_fstat(descriptor, out);
}
int __wrap_access(const char *path, int mode) {
    return strikes(FaultKind::system_call) ? refused(state.reason) : __real_access(path, mode);
}
int __wrap_open(const char *path, int flags, mode_t mode) {
    if (strikes(FaultKind::system_call)) return refused(EMFILE);
    const int descriptor = __real_open(path, flags, mode);
    descriptors += state.is_armed && descriptor >= 0;
    return descriptor;
}
int __wrap_close(int descriptor) {
    descriptors -= state.is_armed;
    const int status = __real_close(descriptor);
    return strikes(FaultKind::system_call) ? refused(EIO) : status;
}
ssize_t __wrap_read(int descriptor, void *to, size_t size) {
    if (strikes(FaultKind::system_call)) return refused(EIO);
    if (strikes(FaultKind::interrupted_read)) return refused(EINTR);
    if (strikes(FaultKind::ended_read)) return 0;
    return __real_read(descriptor, to, strikes(FaultKind::short_read) ? (size + 1) / 2 : size);
}
void *__wrap_mmap(void *at, size_t size, int rights, int flags, int descriptor, off_t offset) {
    if (strikes(FaultKind::system_call)) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    void *region = __real_mmap(at, size, rights, flags, descriptor, offset);
    mappings += region != MAP_FAILED && !(flags & MAP_FIXED);
    return region;
}
int __wrap_munmap(void *at, size_t size) {
    mappings--;
    return strikes(FaultKind::system_call) ? refused(ENOMEM) : __real_munmap(at, size);
}
int __wrap_mprotect(void *at, size_t size, int rights) {
    return strikes(FaultKind::system_call) ? refused(ENOMEM) : __real_mprotect(at, size, rights);
}
}
