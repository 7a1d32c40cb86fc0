// SPDX-License-Identifier: MIT
//
// What the map readers share in reading a request: the resolutions, and the items of a list.
#ifndef LINDRA_SELECTION_HPP
#define LINDRA_SELECTION_HPP

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace lindra {

struct Resolution {
    char letter;
    const char *name;
};

inline constexpr Resolution resolutions[] = {
    {'c', "crude"}, {'l', "low"}, {'i', "intermediate"}, {'h', "high"}, {'f', "full"}};

// Judged by the first letter alone; anything else, and nothing, is intermediate.
inline int resolution_index(const char *word) {
    constexpr int intermediate = 2;
    if (!word) return intermediate;
    const Resolution *found = std::ranges::find(resolutions, *word, &Resolution::letter);
    return found == std::end(resolutions) ? intermediate : static_cast<int>(found - resolutions);
}

// The mask that begins at an item's third character, as atoi reads it; an item may be shorter.
inline int mask_of_item(const char *item) {
    return static_cast<int>(strtol(item + strnlen(item, 2), nullptr, 10));
}

} // namespace lindra

#endif
