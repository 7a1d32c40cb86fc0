// SPDX-License-Identifier: MIT
//
// A sanitizer tells of every block itself. Without one the program has malloc and its kin of its own, which
// the shared libraries then call too, and which leave the work to the C library's.

#include "heap.hpp"

#include "overrun.hpp"
#include "peaks.hpp"
#include "sanitized.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>

namespace {

constexpr size_t bytes_per_byte = 16;
constexpr size_t bytes_of_any_input = 64 << 10;

struct Count {
    bool counting;
    int64_t live;
    int64_t peak; // of live
    int64_t limit;
    size_t input_size;
};

thread_local Count count;

struct Balance {
    bool counting;
    int64_t held;
};

thread_local Balance balance;

// Nothing here may allocate.
[[noreturn]] void exceed() {
    count.counting = false;
    char text[160];
    snprintf(text, sizeof text, "heap: %lld bytes held for an input of %zu, at most %lld allowed",
             static_cast<long long>(count.live), count.input_size, static_cast<long long>(count.limit));
    lindra::fuzz::end_by_overrun(text);
}

void add(size_t size) {
    if (balance.counting) balance.held += static_cast<int64_t>(size);
    if (!count.counting) return;
    count.live += static_cast<int64_t>(size);
    if (count.live <= count.peak) return;
    count.peak = count.live;
    if (count.peak > count.limit) exceed();
}

void subtract(size_t size) {
    if (balance.counting) balance.held -= static_cast<int64_t>(size);
    if (count.counting) count.live -= static_cast<int64_t>(size);
}

} // namespace

namespace lindra::fuzz {

HeapLimit::HeapLimit(size_t input_size, size_t constant) {
    watch_children();
    const size_t limit = bytes_per_byte * input_size + bytes_of_any_input + constant;
    count = {true, 0, 0, static_cast<int64_t>(limit), input_size};
}
HeapLimit::~HeapLimit() {
    const Count reached = count;
    count = {};
    require_sound_children();
    keep_higher(peaks().heap, {static_cast<uint64_t>(reached.peak), static_cast<uint64_t>(reached.limit),
                               reached.input_size});
}

HeapPause::HeapPause() : was_counting_(count.counting) {
    count.counting = false;
}
HeapPause::~HeapPause() {
    count.counting = was_counting_;
}

HeapBalance::HeapBalance() {
    balance = {true, 0};
}
HeapBalance::~HeapBalance() {
    const int64_t held = balance.held;
    balance = {};
    if (held == 0) return;
    fprintf(stderr, "leak: %lld bytes are held at the end\n", static_cast<long long>(held));
    abort();
}

} // namespace lindra::fuzz

#if defined(LINDRA_ADDRESS_SANITIZER) || defined(LINDRA_THREAD_SANITIZER)

extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*on_malloc)(const volatile void *, size_t),
                                              void (*on_free)(const volatile void *));
size_t __sanitizer_get_allocated_size(const volatile void *block);
}

namespace {

void on_malloc(const volatile void *, size_t size) {
    add(size);
}

void on_free(const volatile void *block) {
    if ((count.counting || balance.counting) && block) subtract(__sanitizer_get_allocated_size(block));
}

[[maybe_unused]] const int installed = __sanitizer_install_malloc_and_free_hooks(on_malloc, on_free);

} // namespace

#else

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are the C library's.
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t members, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
// NOLINTEND(bugprone-reserved-identifier)

[[gnu::visibility("default")]] void *malloc(size_t size) {
    void *block = __libc_malloc(size);
    add(malloc_usable_size(block));
    return block;
}
[[gnu::visibility("default")]] void *calloc(size_t members, size_t size) {
    void *block = __libc_calloc(members, size);
    add(malloc_usable_size(block));
    return block;
}
// The old block and the new one are held together for a while.
[[gnu::visibility("default")]] void *realloc(void *old, size_t size) {
    const size_t old_size = malloc_usable_size(old);
    void *block = __libc_realloc(old, size);
    if (!block && size) return nullptr;
    add(malloc_usable_size(block));
    subtract(old_size);
    return block;
}
[[gnu::visibility("default")]] void *aligned_alloc(size_t alignment, size_t size) {
    void *block = __libc_memalign(alignment, size);
    add(malloc_usable_size(block));
    return block;
}
[[gnu::visibility("default")]] void free(void *block) {
    subtract(malloc_usable_size(block));
    __libc_free(block);
}
}

#endif
