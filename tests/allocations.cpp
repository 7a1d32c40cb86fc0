// SPDX-License-Identifier: MIT

#include "allocations.hpp"

#include "torture/faults.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <new>

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
char *__real_realpath(const char *path, char *resolved);
char *__real_strdup(const char *text);
char *__real_strndup(const char *text, size_t size);
iconv_t __real_iconv_open(const char *to, const char *from);
void __real_free(void *block);
}

namespace {

struct State {
    bool watching;
    bool from_then_on;
    int nth;
    int count;
    int failures;
    int live;
    size_t requested;
};

thread_local State state;

bool allowed(size_t size) {
    if (!state.watching) return true;
    state.count++;
    state.requested += size;
    const bool fails =
        state.nth > 0 && (state.from_then_on ? state.count >= state.nth : state.count == state.nth);
    state.failures += fails;
    if (!fails && !lindra::test::strikes(lindra::test::FaultKind::allocation)) return true;
    errno = ENOMEM;
    return false;
}

// What is allocated is not zero by chance; of large blocks the beginning will do.
void *with_rubbish(void *block, size_t size) {
    return block ? memset(block, 0x5A, std::min<size_t>(size, 1 << 20)) : nullptr;
}

template <class Block>
Block *counted(Block *block) {
    if (state.watching && block) state.live++;
    return block;
}

} // namespace

extern "C" {
void *__wrap_malloc(size_t size) {
    return allowed(size) ? counted(with_rubbish(__real_malloc(size), size)) : nullptr;
}
void *__wrap_calloc(size_t count, size_t size) {
    return allowed(count * size) ? counted(__real_calloc(count, size)) : nullptr;
}
void *__wrap_realloc(void *block, size_t size) {
    if (!allowed(size)) return nullptr;
    return block ? __real_realloc(block, size) : counted(__real_realloc(block, size));
}
// The text is from malloc, which the C library does not call by a name that could be wrapped.
char *__wrap_realpath(const char *path, char *resolved) {
    if (resolved) return __real_realpath(path, resolved);
    return allowed(1) ? counted(__real_realpath(path, nullptr)) : nullptr;
}
char *__wrap_strdup(const char *text) {
    return allowed(strlen(text) + 1) ? counted(__real_strdup(text)) : nullptr;
}
char *__wrap_strndup(const char *text, size_t size) {
    return allowed(strnlen(text, size) + 1) ? counted(__real_strndup(text, size)) : nullptr;
}
// Its memory is its own, and what it lacks is told in its own way.
iconv_t __wrap_iconv_open(const char *to, const char *from) {
    return allowed(1) ? __real_iconv_open(to, from) : reinterpret_cast<iconv_t>(-1);
}
void __wrap_free(void *block) {
    if (state.watching && block) state.live--;
    __real_free(block);
}
}

void *operator new(size_t size) {
    void *block = allowed(size) ? counted(__real_malloc(size ? size : 1)) : nullptr;
    if (!block) throw std::bad_alloc();
    return block;
}
void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return allowed(size) ? counted(__real_malloc(size ? size : 1)) : nullptr;
}
void operator delete(void *block) noexcept {
    free(block);
}
void operator delete(void *block, size_t) noexcept {
    free(block);
}
void operator delete(void *block, const std::nothrow_t &) noexcept {
    free(block);
}

namespace lindra::test {

AllocationWatch::AllocationWatch(int nth, Mode mode) {
    state = {true, mode == from_then_on, nth, 0, 0, 0, 0};
}
AllocationWatch::~AllocationWatch() {
    state = {};
}
bool AllocationWatch::failed() const {
    return state.failures > 0;
}
int AllocationWatch::count() const {
    return state.count;
}
int AllocationWatch::live() const {
    return live_now();
}
int AllocationWatch::live_now() {
    return state.live;
}
size_t AllocationWatch::requested() const {
    return state.requested;
}

AllocationPause::AllocationPause() : was_watching_(state.watching) {
    state.watching = false;
}
AllocationPause::~AllocationPause() {
    state.watching = was_watching_;
}

} // namespace lindra::test
