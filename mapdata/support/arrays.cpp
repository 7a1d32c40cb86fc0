// SPDX-License-Identifier: MIT
//
// Associative arrays over the standard ordered map. Look-ups compare the caller's text as it is; only setarr
// of a new key makes a copy.

#include "support.h"

#include <cstring>
#include <map>
#include <new>
#include <string>

namespace {

struct KeyOrder {
    using is_transparent = void;
    int (*compare)(const char *, const char *);

    static const char *text(const std::string &key) { return key.c_str(); }
    static const char *text(const char *key) { return key; }

    template <class A, class B>
    bool operator()(const A &a, const B &b) const {
        return compare(text(a), text(b)) < 0;
    }
};

} // namespace

struct Arr {
    std::map<std::string, void *, KeyOrder> values;
};

Arr *newarr(int (*cmp)(const char *, const char *)) {
    return new (std::nothrow) Arr{std::map<std::string, void *, KeyOrder>(KeyOrder{cmp ? cmp : strcmp})};
}

int setarr(Arr *arr, const char *key, void *value) {
    if (!arr || !key) return -1;
    const auto place = arr->values.lower_bound(key);
    if (place != arr->values.end() && !arr->values.key_comp()(key, place->first)) {
        place->second = value;
        return 0;
    }
    try {
        arr->values.emplace_hint(place, key, value);
    } catch (const std::bad_alloc &) {
        return -1;
    }
    return 0;
}

void *getarr(Arr *arr, const char *key) {
    if (!arr || !key) return nullptr;
    auto found = arr->values.find(key);
    return found == arr->values.end() ? nullptr : found->second;
}

void freearr(Arr *arr, void (*free_fn)(void *)) {
    if (!arr) return;
    if (free_fn)
        for (auto &entry : arr->values)
            free_fn(entry.second);
    delete arr;
}
