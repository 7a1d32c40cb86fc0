// SPDX-License-Identifier: MIT
//
// The making of field tables, and their proof: what does not fit its structure or its place in the file does
// not compile.
#ifndef LINDRA_FIELD_TABLE_HPP
#define LINDRA_FIELD_TABLE_HPP

#include "strdef.hpp"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace lindra {

// Called only where a table is wrong, which then does not compile.
void table_is_wrong(const char *why);

template <size_t size>
constexpr Strdef named_row(const char (&name)[size]) {
    Strdef row{};
    if (size > sizeof row.name) table_is_wrong("the name is longer than 31 characters");
    for (size_t i = 0; i < size; i++)
        row.name[i] = name[i];
    return row;
}

// A row of count elements in a member of member_size bytes, where they take needed.
template <size_t size>
consteval Strdef field_row(const char (&name)[size], int32_t type, int32_t count, size_t member,
                           size_t member_size, size_t needed, bool big_endian) {
    if (count < 1) table_is_wrong("a row of fixed count has elements");
    if (member_size != needed) table_is_wrong("the member is not of the size of its elements");
    Strdef row = named_row(name);
    row.type = type;
    row.count = count;
    row.member = static_cast<int32_t>(member);
    row.big_endian = big_endian;
    return row;
}

// A row whose member points to an array of elements of element_size bytes, as many as a Counter says.
template <class Member, class Counter, size_t size>
consteval Strdef array_row(const char (&name)[size], int32_t type, size_t counter, size_t member,
                           size_t element_size) {
    static_assert(std::is_pointer_v<Member>, "a row of variable count has a pointer");
    static_assert(std::is_integral_v<Counter>, "a count is a number");
    if (sizeof(std::remove_pointer_t<Member>) != element_size) table_is_wrong("the array is of another type");
    if (counter >= member) table_is_wrong("the count is decoded before its elements");
    Strdef row = named_row(name);
    row.type = type;
    row.count_member = static_cast<int32_t>(counter);
    row.member = static_cast<int32_t>(member);
    return row;
}

// Whether the rows before and at the first of variable count begin at these places in the file, and the
// record ends after size bytes; 0: it has no fixed size.
template <size_t rows, size_t places>
consteval bool lies_at(const Strdef (&table)[rows], const int32_t (&offsets)[places], int32_t size,
                       int32_t (*size_of)(int32_t)) {
    int32_t at = 0;
    for (size_t i = 0; i < rows; i++) {
        if (i >= places || offsets[i] != at) return false;
        if (!table[i].count) return size == 0 && i + 1 == places;
        at += size_of(table[i].type) * table[i].count;
    }
    return at == size && rows == places;
}

// Whether every field lies at the same place in memory as in the file and is stored alike, so that the record
// can be copied as it is.
template <size_t rows>
consteval bool lies_alike(const Strdef (&table)[rows], size_t memory_size, int32_t (*size_of)(int32_t)) {
    int32_t at = 0;
    for (const Strdef &row : table) {
        if (!row.count || row.big_endian || row.member != at) return false;
        at += size_of(row.type) * row.count;
    }
    return static_cast<size_t>(at) == memory_size;
}

} // namespace lindra

#endif
