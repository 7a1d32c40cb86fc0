// SPDX-License-Identifier: MIT
//
// The extents of the files held in memory, for decoders that are told only a position. One table for the
// process, guarded, because hosts read their files from several threads.

#include "extents.hpp"

#include "lindra.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <utility>

namespace {

std::shared_mutex extents_lock;

struct Extent {
    size_t size;
    std::shared_ptr<lindra::Memo> memo;
};

using Table = std::map<uintptr_t, Extent>;

// Never destroyed, because a host's static objects may still decode while the process ends; and made without
// an allocation, because a look-up cannot fail.
Table &extents() {
    alignas(Table) static unsigned char storage[sizeof(Table)];
    static auto *table = new (storage) Table;
    return *table;
}

// The extent that the position lies in, of nested ones the inner one, or the end.
Table::iterator find_extent(uintptr_t at) {
    for (auto next = extents().upper_bound(at); next != extents().begin();) {
        --next;
        if (at - next->first <= next->second.size) return next;
    }
    return extents().end();
}

} // namespace

const unsigned char *lindra::extent_end(const unsigned char *pos) {
    const auto at = reinterpret_cast<uintptr_t>(pos);
    const std::shared_lock<std::shared_mutex> guard(extents_lock);
    const auto found = find_extent(at);
    return found == extents().end() ? nullptr : pos + (found->second.size - (at - found->first));
}

void lindra::keep_memo(const unsigned char *base, std::shared_ptr<Memo> memo) {
    const std::unique_lock<std::shared_mutex> guard(extents_lock);
    const auto found = extents().find(reinterpret_cast<uintptr_t>(base));
    if (found != extents().end()) found->second.memo = std::move(memo);
}

std::shared_ptr<lindra::Memo> lindra::memo_at(const unsigned char *pos) {
    const std::shared_lock<std::shared_mutex> guard(extents_lock);
    const auto found = find_extent(reinterpret_cast<uintptr_t>(pos));
    return found == extents().end() ? nullptr : found->second.memo;
}

int lindra_bound(const void *base, size_t size) {
    const auto at = reinterpret_cast<uintptr_t>(base);
    if (!base || size > UINTPTR_MAX - at) return -1;
    try {
        const std::unique_lock<std::shared_mutex> guard(extents_lock);
        extents()[at] = {size, nullptr};
    } catch (const std::bad_alloc &) {
        return -1;
    }
    return 0;
}

void lindra_unbound(const void *base) {
    const std::unique_lock<std::shared_mutex> guard(extents_lock);
    extents().erase(reinterpret_cast<uintptr_t>(base));
}
