// SPDX-License-Identifier: MIT
//
// Everything that is done to the files of a sweep: they are cut at every length; every byte becomes 0x00,
// 0x7f, 0x80, 0xff, one more and one less, and has each of its bits turned over; and at every offset a word
// of 2, 4 and 8 bytes in either order becomes a number that a count, a length or an offset is not.
#ifndef LINDRA_FUZZ_DAMAGE_HPP
#define LINDRA_FUZZ_DAMAGE_HPP

#include <cstddef>
#include <optional>
#include <string>

namespace lindra::fuzz {

// How many kinds of damage there are at each offset.
inline constexpr unsigned kinds_of_damage = 81;

// kind: below kinds_of_damage. Nothing where the file is too short for it, would stay as it is, or is met as
// another kind.
std::optional<std::string> damaged(const std::string &file, size_t at, unsigned kind);

// What was done, for people.
std::string damage_name(size_t at, unsigned kind);

} // namespace lindra::fuzz

#endif
