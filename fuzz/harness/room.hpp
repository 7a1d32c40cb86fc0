// SPDX-License-Identifier: MIT
#ifndef LINDRA_FUZZ_ROOM_HPP
#define LINDRA_FUZZ_ROOM_HPP

#include <array>
#include <cstdint>

namespace lindra::fuzz {

// What a count or a length is that only just fits into the bytes behind it, or does not: these bytes, one
// more, and how many elements of 2, 4, 8 and 16 bytes they have room for.
constexpr std::array<uint64_t, 6> numbers_of_room(uint64_t left) {
    return {left, left + 1, left / 2, left / 4, left / 8, left / 16};
}

} // namespace lindra::fuzz

#endif
