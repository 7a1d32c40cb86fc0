// SPDX-License-Identifier: MIT
//
// The extents of the files held in memory, for decoders that are told only a position. One table for the
// process, guarded, because hosts read their files from several threads.

#include "extents.hpp"

#include "gshhsmap/mapped_file.hpp"
#include "lindra.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <shared_mutex>

namespace {

std::shared_mutex extents_lock;

using Table = std::map<uintptr_t, size_t>;

// Never destroyed, because a host's static objects may still decode while the process ends; and made without
// an allocation, because a look-up cannot fail.
Table &extents() {
    alignas(Table) static unsigned char storage[sizeof(Table)];
    static auto *table = new (storage) Table;
    return *table;
}

} // namespace

const unsigned char *lindra::extent_end(const unsigned char *pos) {
    const auto at = reinterpret_cast<uintptr_t>(pos);
    const std::shared_lock<std::shared_mutex> guard(extents_lock);
    for (auto next = extents().upper_bound(at); next != extents().begin();) {
        --next;
        const auto [base, size] = *next;
        if (at - base <= size) return pos + (size - (at - base));
    }
    return nullptr;
}

int lindra_bound(const void *base, size_t size) {
    const auto at = reinterpret_cast<uintptr_t>(base);
    if (!base || size > UINTPTR_MAX - at) return -1;
    try {
        const std::unique_lock<std::shared_mutex> guard(extents_lock);
        extents()[at] = size;
    } catch (const std::bad_alloc &) {
        return -1;
    }
    return 0;
}

void lindra_unbound(const void *base) {
    lindra::gshhs::forget_mapping(static_cast<const unsigned char *>(base));
    const std::unique_lock<std::shared_mutex> guard(extents_lock);
    extents().erase(reinterpret_cast<uintptr_t>(base));
}
