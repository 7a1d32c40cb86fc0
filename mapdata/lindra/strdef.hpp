// SPDX-License-Identifier: MIT
//
// A row of the field tables. It stands by itself because the C++ face, which derives the places of fields in
// a file from the same rows, knows no more of the engine.
#ifndef LINDRA_STRDEF_HPP
#define LINDRA_STRDEF_HPP

#include <cstdint>

namespace lindra {

// One field of a record.
struct Strdef {
    char name[32]; // as it is printed
    int32_t type;
    int32_t count;        // of elements; 0: as many as the count member says
    int32_t count_member; // where in the structure the count stands, when count is 0
    int32_t member;       // where in the structure the value stands, or the pointer to its array
    int32_t big_endian;
};
static_assert(sizeof(Strdef) == 52);

} // namespace lindra

#endif
