// SPDX-License-Identifier: MIT
//
// Lists of untyped pointers over one malloc'd array that doubles when it is full.

#include "support.h"

#include <climits>
#include <cstddef>
#include <cstdlib>

struct Tbl {
    int count;
    unsigned capacity;
    void **entries;
};

namespace {

constexpr unsigned first_capacity = 8;

bool make_room(Tbl *list) {
    if (static_cast<unsigned>(list->count) < list->capacity) return true;
    if (list->count == INT_MAX) return false;
    const unsigned capacity = list->capacity ? 2 * list->capacity : first_capacity;
    void *grown = realloc(list->entries, capacity * sizeof(void *));
    if (!grown) return false;
    list->entries = static_cast<void **>(grown);
    list->capacity = capacity;
    return true;
}

} // namespace

Tbl *newtbl(int n) {
    if (n < 0) return nullptr;
    auto *list = static_cast<Tbl *>(calloc(1, sizeof(Tbl)));
    if (!list || n == 0) return list;
    list->entries = static_cast<void **>(calloc(static_cast<size_t>(n), sizeof(void *)));
    if (!list->entries) {
        free(list);
        return nullptr;
    }
    list->capacity = static_cast<unsigned>(n);
    return list;
}

int settbl(Tbl *list, int index, void *p) {
    if (!list || index < -1 || index > list->count) return -1;
    if (index == -1) index = list->count;
    if (index == list->count) {
        if (!make_room(list)) return -1;
        list->count++;
    }
    list->entries[index] = p;
    return index;
}

void *gettbl(Tbl *list, int i) {
    if (!list || i < 0 || i >= list->count) return nullptr;
    return list->entries[i];
}

int counttbl(Tbl *list) {
    return list ? list->count : 0;
}

void clrtbl(Tbl *list, void (*free_fn)(void *)) {
    if (!list) return;
    for (int i = 0; free_fn && i < list->count; i++)
        free_fn(list->entries[i]);
    list->count = 0;
}

void freetbl(Tbl *list, void (*free_fn)(void *)) {
    if (!list) return;
    clrtbl(list, free_fn);
    free(list->entries);
    free(list);
}
