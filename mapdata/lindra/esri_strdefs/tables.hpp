// SPDX-License-Identifier: MIT
//
// The field tables of shapefiles and dBase files: "ESRI Shapefile Technical Description" (ESRI, 1998) and
// "Data File Header Structure for the dBASE Version 7 Table File" (dBASE, 1999), which tells the older layout
// too.
//
// In a shapefile the headers are big-endian in parts, everything else is little-endian. Rows after one of
// variable count have no fixed place: they are read where the one before ends.
#ifndef LINDRA_ESRI_STRDEFS_TABLES_HPP
#define LINDRA_ESRI_STRDEFS_TABLES_HPP

#include "../field_table.hpp"
#include "../lindra.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace lindra::esri {

enum Type : int32_t { integer = 1, real = 2, point = 3, box = 4, character = 5, byte = 6, word = 7 };

// The bytes that one element of a type takes in the file; in memory it takes as many.
constexpr int32_t size_of(int32_t type) {
    constexpr int32_t sizes[] = {0, 4, 8, sizeof(SHPPOINT), sizeof(SHPBOX), 1, 1, 2};
    return sizes[type];
}

constexpr bool little = false;
constexpr bool big = true;

// This header is installed with the C++ face, into programs that may have macros of these names.
#pragma push_macro("FIELD")
#pragma push_macro("ARRAY")
#undef FIELD
#undef ARRAY

// A row whose member is named once. A text of several characters has room for a closing zero byte, which is
// not in the file.
#define FIELD(structure, member, type, count, big_endian)                                                    \
    field_row(#member, type, count, offsetof(structure, member), sizeof(structure::member),                  \
              size_of(type) * (count) + ((type) == character && (count) > 1 ? 1 : 0), big_endian)

// A row whose elements stand in an array, counter of them.
#define ARRAY(structure, member, type, counter)                                                              \
    array_row<decltype(structure::member), decltype(structure::counter)>(                                    \
        #member, type, offsetof(structure, counter), offsetof(structure, member), size_of(type))

// Whether the rows before and at the first of variable count begin at these places in the file, and the
// record ends after size bytes; 0: it has no fixed size.
template <size_t rows, size_t places>
consteval bool lies_at(const Strdef (&table)[rows], const int32_t (&offsets)[places], int32_t size) {
    return lindra::lies_at(table, offsets, size, size_of);
}

constexpr Strdef SHPPOINT_Strdef[] = {
    FIELD(SHPPOINT, x, real, 1, little),
    FIELD(SHPPOINT, y, real, 1, little),
};
static_assert(std::size(SHPPOINT_Strdef) == 2);
static_assert(lies_at(SHPPOINT_Strdef, {0, 8}, 16));

constexpr Strdef SHPBOX_Strdef[] = {
    FIELD(SHPBOX, xmin, real, 1, little),
    FIELD(SHPBOX, ymin, real, 1, little),
    FIELD(SHPBOX, xmax, real, 1, little),
    FIELD(SHPBOX, ymax, real, 1, little),
};
static_assert(std::size(SHPBOX_Strdef) == 4);
static_assert(lies_at(SHPBOX_Strdef, {0, 8, 16, 24}, 32));

constexpr Strdef SHPFILEHDR_Strdef[] = {
    FIELD(SHPFILEHDR, magic, integer, 1, big),         FIELD(SHPFILEHDR, unused1, integer, 1, big),
    FIELD(SHPFILEHDR, unused2, integer, 1, big),       FIELD(SHPFILEHDR, unused3, integer, 1, big),
    FIELD(SHPFILEHDR, unused4, integer, 1, big),       FIELD(SHPFILEHDR, unused5, integer, 1, big),
    FIELD(SHPFILEHDR, length, integer, 1, big),        FIELD(SHPFILEHDR, version, integer, 1, little),
    FIELD(SHPFILEHDR, shape_type, integer, 1, little), FIELD(SHPFILEHDR, xmin, real, 1, little),
    FIELD(SHPFILEHDR, ymin, real, 1, little),          FIELD(SHPFILEHDR, xmax, real, 1, little),
    FIELD(SHPFILEHDR, ymax, real, 1, little),          FIELD(SHPFILEHDR, zmin, real, 1, little),
    FIELD(SHPFILEHDR, zmax, real, 1, little),          FIELD(SHPFILEHDR, mmin, real, 1, little),
    FIELD(SHPFILEHDR, mmax, real, 1, little),
};
static_assert(std::size(SHPFILEHDR_Strdef) == 17);
static_assert(lies_at(SHPFILEHDR_Strdef, {0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 44, 52, 60, 68, 76, 84, 92},
                      100));

constexpr Strdef SHPRECHDR_Strdef[] = {
    FIELD(SHPRECHDR, number, integer, 1, big),
    FIELD(SHPRECHDR, length, integer, 1, big),
};
static_assert(std::size(SHPRECHDR_Strdef) == 2);
static_assert(lies_at(SHPRECHDR_Strdef, {0, 4}, 8));

constexpr Strdef SHPRECNULL_Strdef[] = {
    FIELD(SHPRECNULL, shape_type, integer, 1, little),
};
static_assert(std::size(SHPRECNULL_Strdef) == 1);
static_assert(lies_at(SHPRECNULL_Strdef, {0}, 4));

constexpr Strdef SHPRECPOINT_Strdef[] = {
    FIELD(SHPRECPOINT, shape_type, integer, 1, little),
    FIELD(SHPRECPOINT, x, real, 1, little),
    FIELD(SHPRECPOINT, y, real, 1, little),
};
static_assert(std::size(SHPRECPOINT_Strdef) == 3);
static_assert(lies_at(SHPRECPOINT_Strdef, {0, 4, 12}, 20));

constexpr Strdef SHPRECPOINTM_Strdef[] = {
    FIELD(SHPRECPOINTM, shape_type, integer, 1, little),
    FIELD(SHPRECPOINTM, x, real, 1, little),
    FIELD(SHPRECPOINTM, y, real, 1, little),
    FIELD(SHPRECPOINTM, m, real, 1, little),
};
static_assert(std::size(SHPRECPOINTM_Strdef) == 4);
static_assert(lies_at(SHPRECPOINTM_Strdef, {0, 4, 12, 20}, 28));

constexpr Strdef SHPRECPOINTZ_Strdef[] = {
    FIELD(SHPRECPOINTZ, shape_type, integer, 1, little),
    FIELD(SHPRECPOINTZ, x, real, 1, little),
    FIELD(SHPRECPOINTZ, y, real, 1, little),
    FIELD(SHPRECPOINTZ, z, real, 1, little),
    FIELD(SHPRECPOINTZ, m, real, 1, little),
};
static_assert(std::size(SHPRECPOINTZ_Strdef) == 5);
static_assert(lies_at(SHPRECPOINTZ_Strdef, {0, 4, 12, 20, 28}, 36));

constexpr Strdef SHPRECMPOINT_Strdef[] = {
    FIELD(SHPRECMPOINT, shape_type, integer, 1, little),
    FIELD(SHPRECMPOINT, bbox, box, 1, little),
    FIELD(SHPRECMPOINT, numpoints, integer, 1, little),
    ARRAY(SHPRECMPOINT, points, point, numpoints),
};
static_assert(std::size(SHPRECMPOINT_Strdef) == 4);
static_assert(lies_at(SHPRECMPOINT_Strdef, {0, 4, 36, 40}, 0));

constexpr Strdef SHPRECMPOINTM_Strdef[] = {
    FIELD(SHPRECMPOINTM, shape_type, integer, 1, little), FIELD(SHPRECMPOINTM, bbox, box, 1, little),
    FIELD(SHPRECMPOINTM, numpoints, integer, 1, little),  ARRAY(SHPRECMPOINTM, points, point, numpoints),
    FIELD(SHPRECMPOINTM, mmin, real, 1, little),          FIELD(SHPRECMPOINTM, mmax, real, 1, little),
    ARRAY(SHPRECMPOINTM, marray, real, numpoints),
};
static_assert(std::size(SHPRECMPOINTM_Strdef) == 7);
static_assert(lies_at(SHPRECMPOINTM_Strdef, {0, 4, 36, 40}, 0));

constexpr Strdef SHPRECMPOINTZ_Strdef[] = {
    FIELD(SHPRECMPOINTZ, shape_type, integer, 1, little), FIELD(SHPRECMPOINTZ, bbox, box, 1, little),
    FIELD(SHPRECMPOINTZ, numpoints, integer, 1, little),  ARRAY(SHPRECMPOINTZ, points, point, numpoints),
    FIELD(SHPRECMPOINTZ, zmin, real, 1, little),          FIELD(SHPRECMPOINTZ, zmax, real, 1, little),
    ARRAY(SHPRECMPOINTZ, zarray, real, numpoints),        FIELD(SHPRECMPOINTZ, mmin, real, 1, little),
    FIELD(SHPRECMPOINTZ, mmax, real, 1, little),          ARRAY(SHPRECMPOINTZ, marray, real, numpoints),
};
static_assert(std::size(SHPRECMPOINTZ_Strdef) == 10);
static_assert(lies_at(SHPRECMPOINTZ_Strdef, {0, 4, 36, 40}, 0));

constexpr Strdef SHPRECPOLYL_Strdef[] = {
    FIELD(SHPRECPOLYL, shape_type, integer, 1, little), FIELD(SHPRECPOLYL, bbox, box, 1, little),
    FIELD(SHPRECPOLYL, numparts, integer, 1, little),   FIELD(SHPRECPOLYL, numpoints, integer, 1, little),
    ARRAY(SHPRECPOLYL, parts, integer, numparts),       ARRAY(SHPRECPOLYL, points, point, numpoints),
};
static_assert(std::size(SHPRECPOLYL_Strdef) == 6);
static_assert(lies_at(SHPRECPOLYL_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef SHPRECPOLYG_Strdef[] = {
    FIELD(SHPRECPOLYG, shape_type, integer, 1, little), FIELD(SHPRECPOLYG, bbox, box, 1, little),
    FIELD(SHPRECPOLYG, numparts, integer, 1, little),   FIELD(SHPRECPOLYG, numpoints, integer, 1, little),
    ARRAY(SHPRECPOLYG, parts, integer, numparts),       ARRAY(SHPRECPOLYG, points, point, numpoints),
};
static_assert(std::size(SHPRECPOLYG_Strdef) == 6);
static_assert(lies_at(SHPRECPOLYG_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef SHPRECPOLYLM_Strdef[] = {
    FIELD(SHPRECPOLYLM, shape_type, integer, 1, little), FIELD(SHPRECPOLYLM, bbox, box, 1, little),
    FIELD(SHPRECPOLYLM, numparts, integer, 1, little),   FIELD(SHPRECPOLYLM, numpoints, integer, 1, little),
    ARRAY(SHPRECPOLYLM, parts, integer, numparts),       ARRAY(SHPRECPOLYLM, points, point, numpoints),
    FIELD(SHPRECPOLYLM, mmin, real, 1, little),          FIELD(SHPRECPOLYLM, mmax, real, 1, little),
    ARRAY(SHPRECPOLYLM, marray, real, numpoints),
};
static_assert(std::size(SHPRECPOLYLM_Strdef) == 9);
static_assert(lies_at(SHPRECPOLYLM_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef SHPRECPOLYGM_Strdef[] = {
    FIELD(SHPRECPOLYGM, shape_type, integer, 1, little), FIELD(SHPRECPOLYGM, bbox, box, 1, little),
    FIELD(SHPRECPOLYGM, numparts, integer, 1, little),   FIELD(SHPRECPOLYGM, numpoints, integer, 1, little),
    ARRAY(SHPRECPOLYGM, parts, integer, numparts),       ARRAY(SHPRECPOLYGM, points, point, numpoints),
    FIELD(SHPRECPOLYGM, mmin, real, 1, little),          FIELD(SHPRECPOLYGM, mmax, real, 1, little),
    ARRAY(SHPRECPOLYGM, marray, real, numpoints),
};
static_assert(std::size(SHPRECPOLYGM_Strdef) == 9);
static_assert(lies_at(SHPRECPOLYGM_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef SHPRECPOLYLZ_Strdef[] = {
    FIELD(SHPRECPOLYLZ, shape_type, integer, 1, little), FIELD(SHPRECPOLYLZ, bbox, box, 1, little),
    FIELD(SHPRECPOLYLZ, numparts, integer, 1, little),   FIELD(SHPRECPOLYLZ, numpoints, integer, 1, little),
    ARRAY(SHPRECPOLYLZ, parts, integer, numparts),       ARRAY(SHPRECPOLYLZ, points, point, numpoints),
    FIELD(SHPRECPOLYLZ, zmin, real, 1, little),          FIELD(SHPRECPOLYLZ, zmax, real, 1, little),
    ARRAY(SHPRECPOLYLZ, zarray, real, numpoints),        FIELD(SHPRECPOLYLZ, mmin, real, 1, little),
    FIELD(SHPRECPOLYLZ, mmax, real, 1, little),          ARRAY(SHPRECPOLYLZ, marray, real, numpoints),
};
static_assert(std::size(SHPRECPOLYLZ_Strdef) == 12);
static_assert(lies_at(SHPRECPOLYLZ_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef SHPRECPOLYGZ_Strdef[] = {
    FIELD(SHPRECPOLYGZ, shape_type, integer, 1, little), FIELD(SHPRECPOLYGZ, bbox, box, 1, little),
    FIELD(SHPRECPOLYGZ, numparts, integer, 1, little),   FIELD(SHPRECPOLYGZ, numpoints, integer, 1, little),
    ARRAY(SHPRECPOLYGZ, parts, integer, numparts),       ARRAY(SHPRECPOLYGZ, points, point, numpoints),
    FIELD(SHPRECPOLYGZ, zmin, real, 1, little),          FIELD(SHPRECPOLYGZ, zmax, real, 1, little),
    ARRAY(SHPRECPOLYGZ, zarray, real, numpoints),        FIELD(SHPRECPOLYGZ, mmin, real, 1, little),
    FIELD(SHPRECPOLYGZ, mmax, real, 1, little),          ARRAY(SHPRECPOLYGZ, marray, real, numpoints),
};
static_assert(std::size(SHPRECPOLYGZ_Strdef) == 12);
static_assert(lies_at(SHPRECPOLYGZ_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef SHPRECMULTIPA_Strdef[] = {
    FIELD(SHPRECMULTIPA, shape_type, integer, 1, little), FIELD(SHPRECMULTIPA, bbox, box, 1, little),
    FIELD(SHPRECMULTIPA, numparts, integer, 1, little),   FIELD(SHPRECMULTIPA, numpoints, integer, 1, little),
    ARRAY(SHPRECMULTIPA, parts, integer, numparts),       ARRAY(SHPRECMULTIPA, parttypes, integer, numparts),
    ARRAY(SHPRECMULTIPA, points, point, numpoints),       FIELD(SHPRECMULTIPA, zmin, real, 1, little),
    FIELD(SHPRECMULTIPA, zmax, real, 1, little),          ARRAY(SHPRECMULTIPA, zarray, real, numpoints),
    FIELD(SHPRECMULTIPA, mmin, real, 1, little),          FIELD(SHPRECMULTIPA, mmax, real, 1, little),
    ARRAY(SHPRECMULTIPA, marray, real, numpoints),
};
static_assert(std::size(SHPRECMULTIPA_Strdef) == 13);
static_assert(lies_at(SHPRECMULTIPA_Strdef, {0, 4, 36, 40, 44}, 0));

constexpr Strdef DBASEHDR5_Strdef[] = {
    FIELD(DBASEHDR5, flags, byte, 1, little),       FIELD(DBASEHDR5, date_update, byte, 3, little),
    FIELD(DBASEHDR5, numrecs, integer, 1, little),  FIELD(DBASEHDR5, numbyteshdr, word, 1, little),
    FIELD(DBASEHDR5, numbytesrec, word, 1, little), FIELD(DBASEHDR5, unused1, word, 1, little),
    FIELD(DBASEHDR5, incomplete, byte, 1, little),  FIELD(DBASEHDR5, encrypted, byte, 1, little),
    FIELD(DBASEHDR5, unused2, integer, 1, little),  FIELD(DBASEHDR5, unused3, integer, 1, little),
    FIELD(DBASEHDR5, unused4, integer, 1, little),  FIELD(DBASEHDR5, mdx, byte, 1, little),
    FIELD(DBASEHDR5, langid, byte, 1, little),      FIELD(DBASEHDR5, unused5, word, 1, little),
};
static_assert(std::size(DBASEHDR5_Strdef) == 14);
static_assert(lies_at(DBASEHDR5_Strdef, {0, 1, 4, 8, 10, 12, 14, 15, 16, 20, 24, 28, 29, 30}, 32));

constexpr Strdef DBASEHDR7_Strdef[] = {
    FIELD(DBASEHDR7, flags, byte, 1, little),        FIELD(DBASEHDR7, date_update, byte, 3, little),
    FIELD(DBASEHDR7, numrecs, integer, 1, little),   FIELD(DBASEHDR7, numbyteshdr, word, 1, little),
    FIELD(DBASEHDR7, numbytesrec, word, 1, little),  FIELD(DBASEHDR7, unused1, word, 1, little),
    FIELD(DBASEHDR7, incomplete, byte, 1, little),   FIELD(DBASEHDR7, encrypted, byte, 1, little),
    FIELD(DBASEHDR7, unused2, integer, 1, little),   FIELD(DBASEHDR7, unused3, integer, 1, little),
    FIELD(DBASEHDR7, unused4, integer, 1, little),   FIELD(DBASEHDR7, mdx, byte, 1, little),
    FIELD(DBASEHDR7, langid, byte, 1, little),       FIELD(DBASEHDR7, unused5, word, 1, little),
    FIELD(DBASEHDR7, langdr, character, 32, little), FIELD(DBASEHDR7, unused6, integer, 1, little),
};
static_assert(std::size(DBASEHDR7_Strdef) == 16);
static_assert(lies_at(DBASEHDR7_Strdef, {0, 1, 4, 8, 10, 12, 14, 15, 16, 20, 24, 28, 29, 30, 32, 64}, 68));

constexpr Strdef DBASEFIELDDESCR5_Strdef[] = {
    FIELD(DBASEFIELDDESCR5, name, character, 11, little), FIELD(DBASEFIELDDESCR5, type, character, 1, little),
    FIELD(DBASEFIELDDESCR5, unused4, integer, 1, little), FIELD(DBASEFIELDDESCR5, length, byte, 1, little),
    FIELD(DBASEFIELDDESCR5, count, byte, 1, little),      FIELD(DBASEFIELDDESCR5, workid, word, 1, little),
    FIELD(DBASEFIELDDESCR5, example, byte, 1, little),    FIELD(DBASEFIELDDESCR5, unused5, byte, 10, little),
    FIELD(DBASEFIELDDESCR5, mdx, byte, 1, little),
};
static_assert(std::size(DBASEFIELDDESCR5_Strdef) == 9);
static_assert(lies_at(DBASEFIELDDESCR5_Strdef, {0, 11, 12, 16, 17, 18, 20, 21, 31}, 32));

constexpr Strdef DBASEFIELDDESCR7_Strdef[] = {
    FIELD(DBASEFIELDDESCR7, name, character, 32, little), FIELD(DBASEFIELDDESCR7, type, character, 1, little),
    FIELD(DBASEFIELDDESCR7, length, byte, 1, little),     FIELD(DBASEFIELDDESCR7, count, byte, 1, little),
    FIELD(DBASEFIELDDESCR7, unused1, word, 1, little),    FIELD(DBASEFIELDDESCR7, mdx, byte, 1, little),
    FIELD(DBASEFIELDDESCR7, unused2, word, 1, little),    FIELD(DBASEFIELDDESCR7, next, integer, 1, little),
    FIELD(DBASEFIELDDESCR7, unused3, integer, 1, little),
};
static_assert(std::size(DBASEFIELDDESCR7_Strdef) == 9);
static_assert(lies_at(DBASEFIELDDESCR7_Strdef, {0, 32, 33, 34, 35, 37, 38, 40, 44}, 48));

#undef FIELD
#undef ARRAY
#pragma pop_macro("ARRAY")
#pragma pop_macro("FIELD")

} // namespace lindra::esri

#endif
