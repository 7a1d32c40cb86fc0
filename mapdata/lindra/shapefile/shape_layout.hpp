// SPDX-License-Identifier: MIT
//
// Where the fields of shapefiles and tables lie on disk, worked out by the compiler from the rows that the
// decoders of the C face run on (esri_strdefs/tables.hpp). No offset of a field is written down here.
//
// A field behind arrays has no fixed place, but one that follows from the counts of parts and points alone.
//
// The functions up to the tables are constexpr only because clang 14 takes no consteval function that calls
// another one with its own arguments. Every result is a constant: a table that is wrong does not compile.
#ifndef LINDRA_SHAPEFILE_SHAPE_LAYOUT_HPP
#define LINDRA_SHAPEFILE_SHAPE_LAYOUT_HPP

#include "../bytes.hpp"
#include "../esri_strdefs/tables.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lindra::detail {

// A place in a record: fixed bytes, and some for each part and for each point before it.
struct place {
    static constexpr int32_t none = -1;

    int32_t fixed = none; // none: the record has no such field
    int32_t per_part = 0;
    int32_t per_point = 0;

    constexpr bool exists() const { return fixed != none; }

    // Cannot overflow: the counts have 32 bits, the factors a few.
    constexpr uint64_t at(uint32_t parts, uint32_t points = {}) const {
        return static_cast<uint64_t>(fixed) + uint64_t{parts} * static_cast<uint32_t>(per_part) +
               uint64_t{points} * static_cast<uint32_t>(per_point);
    }
};

// The row of a name, or the number of rows.
template <size_t rows>
constexpr size_t row_of(const Strdef (&table)[rows], std::string_view name) {
    for (size_t i = 0; i < rows; i++)
        if (std::string_view(table[i].name) == name) return i;
    return rows;
}

// Whether the row's elements are counted by the field of that name.
template <size_t rows>
constexpr bool counted_by(const Strdef (&table)[rows], const Strdef &row, std::string_view counter) {
    const size_t i = row_of(table, counter);
    return i < rows && row.count_member == table[i].member;
}

template <size_t rows>
constexpr void step_over(place &at, const Strdef (&table)[rows], const Strdef &row) {
    if (row.count)
        at.fixed += esri::size_of(row.type) * row.count;
    else if (counted_by(table, row, "numparts"))
        at.per_part += esri::size_of(row.type);
    else if (counted_by(table, row, "numpoints"))
        at.per_point += esri::size_of(row.type);
    else
        table_is_wrong("the elements are counted by neither parts nor points");
}

// The place where row i begins; that of all rows: where the record ends.
template <size_t rows>
constexpr place place_of_row(const Strdef (&table)[rows], size_t row) {
    place at{0, 0, 0};
    for (size_t i = 0; i < row; i++)
        step_over(at, table, table[i]);
    return at;
}

// The place of a little-endian field of that type, or none.
template <size_t rows>
constexpr place place_of(const Strdef (&table)[rows], std::string_view name, int32_t type) {
    const size_t row = row_of(table, name);
    if (row == rows) return {};
    if (table[row].type != type) table_is_wrong("the field is of another type");
    if (table[row].big_endian) table_is_wrong("shapes are little-endian");
    return place_of_row(table, row);
}

// A number that lies at one place in every record of its kind.
template <class T>
struct number_field {
    size_t offset;
    bool big_endian;

    T operator()(const unsigned char *record) const {
        return big_endian ? load_be<T>(record + offset) : load_le<T>(record + offset);
    }
};

template <class T, size_t rows>
constexpr number_field<T> number_of(const Strdef (&table)[rows], std::string_view name) {
    const size_t row = row_of(table, name);
    if (row == rows) table_is_wrong("there is no field of that name");
    const place at = place_of_row(table, row);
    if (at.per_part || at.per_point) table_is_wrong("the field has no fixed place");
    if (esri::size_of(table[row].type) * table[row].count != sizeof(T))
        table_is_wrong("the field is of another size");
    return {static_cast<size_t>(at.fixed), table[row].big_endian != 0};
}

template <size_t rows>
constexpr size_t offset_of(const Strdef (&table)[rows], std::string_view name) {
    const size_t row = row_of(table, name);
    if (row == rows) table_is_wrong("there is no field of that name");
    return static_cast<size_t>(place_of_row(table, row).fixed);
}

template <size_t rows>
constexpr size_t size_of_record(const Strdef (&table)[rows]) {
    const place end = place_of_row(table, rows);
    if (end.per_part || end.per_point) table_is_wrong("the record has no fixed size");
    return static_cast<size_t>(end.fixed);
}

// --- Shapes -----------------------------------------------------------------------------------------------

struct shape_layout {
    int32_t type;
    place bbox, numparts, numpoints; // none in points
    place parts, parttypes;
    place points; // of a point: where its x stands
    place zarray, marray;
    place zarray_end, marray_end;
    place required; // where a record may end: the measures, which come last, may be missing
};

constexpr place first_that_exists(place one, place other) {
    return one.exists() ? one : other;
}

constexpr place behind(place at, int32_t per_point, bool single) {
    if (!at.exists()) return at;
    (single ? at.fixed : at.per_point) += per_point;
    return at;
}

template <size_t rows>
constexpr shape_layout layout_of(int32_t type, const Strdef (&table)[rows]) {
    shape_layout layout{};
    layout.type = type;
    layout.bbox = place_of(table, "bbox", esri::box);
    layout.numparts = place_of(table, "numparts", esri::integer);
    layout.numpoints = place_of(table, "numpoints", esri::integer);
    layout.parts = place_of(table, "parts", esri::integer);
    layout.parttypes = place_of(table, "parttypes", esri::integer);
    layout.points =
        first_that_exists(place_of(table, "points", esri::point), place_of(table, "x", esri::real));
    layout.zarray =
        first_that_exists(place_of(table, "zarray", esri::real), place_of(table, "z", esri::real));
    layout.marray =
        first_that_exists(place_of(table, "marray", esri::real), place_of(table, "m", esri::real));
    const bool single = !layout.numpoints.exists();
    layout.zarray_end = behind(layout.zarray, esri::size_of(esri::real), single);
    layout.marray_end = behind(layout.marray, esri::size_of(esri::real), single);
    layout.required = first_that_exists(first_that_exists(place_of(table, "mmin", esri::real), layout.marray),
                                        place_of_row(table, rows));
    return layout;
}

// A point is two numbers side by side, in a record of its own as in an array.
constexpr size_t point_size = size_of_record(esri::SHPPOINT_Strdef);
static_assert(offset_of(esri::SHPPOINT_Strdef, "x") == 0);
static_assert(offset_of(esri::SHPPOINT_Strdef, "y") == sizeof(double));
static_assert(offset_of(esri::SHPRECPOINT_Strdef, "y") == offset_of(esri::SHPRECPOINT_Strdef, "x") + 8);
static_assert(offset_of(esri::SHPRECPOINTM_Strdef, "y") == offset_of(esri::SHPRECPOINTM_Strdef, "x") + 8);
static_assert(offset_of(esri::SHPRECPOINTZ_Strdef, "y") == offset_of(esri::SHPRECPOINTZ_Strdef, "x") + 8);

inline constexpr std::array shape_layouts = {
    layout_of(SHAPE_NULL, esri::SHPRECNULL_Strdef),
    layout_of(SHAPE_POINT, esri::SHPRECPOINT_Strdef),
    layout_of(SHAPE_POLYLINE, esri::SHPRECPOLYL_Strdef),
    layout_of(SHAPE_POLYGON, esri::SHPRECPOLYG_Strdef),
    layout_of(SHAPE_MULTIPOINT, esri::SHPRECMPOINT_Strdef),
    layout_of(SHAPE_POINTZ, esri::SHPRECPOINTZ_Strdef),
    layout_of(SHAPE_POLYLINEZ, esri::SHPRECPOLYLZ_Strdef),
    layout_of(SHAPE_POLYGONZ, esri::SHPRECPOLYGZ_Strdef),
    layout_of(SHAPE_MULTIPOINTZ, esri::SHPRECMPOINTZ_Strdef),
    layout_of(SHAPE_POINTM, esri::SHPRECPOINTM_Strdef),
    layout_of(SHAPE_POLYLINEM, esri::SHPRECPOLYLM_Strdef),
    layout_of(SHAPE_POLYGONM, esri::SHPRECPOLYGM_Strdef),
    layout_of(SHAPE_MULTIPOINTM, esri::SHPRECMPOINTM_Strdef),
    layout_of(SHAPE_MULTIPATCH, esri::SHPRECMULTIPA_Strdef),
};

// For each shape type the number of its layout; where there is none, that of some other type's.
constexpr std::array<uint8_t, 32> slots_of_layouts() {
    std::array<uint8_t, 32> slots{};
    for (size_t i = 0; i < shape_layouts.size(); i++)
        slots.at(static_cast<size_t>(shape_layouts[i].type)) = static_cast<uint8_t>(i);
    return slots;
}

// The layout of a shape type, or null.
inline const shape_layout *find_layout(int32_t type) {
    static constexpr auto slots = slots_of_layouts();
    const shape_layout &layout = shape_layouts[slots[static_cast<uint32_t>(type) % slots.size()]];
    return layout.type == type ? &layout : nullptr;
}

// A shape begins with its type.
constexpr auto shape_type_of = number_of<int32_t>(esri::SHPRECNULL_Strdef, "shape_type");
constexpr size_t shape_type_size = size_of_record(esri::SHPRECNULL_Strdef);

// --- Headers ----------------------------------------------------------------------------------------------

constexpr size_t file_header_size = size_of_record(esri::SHPFILEHDR_Strdef);
constexpr auto file_magic = number_of<int32_t>(esri::SHPFILEHDR_Strdef, "magic");
constexpr auto file_length = number_of<int32_t>(esri::SHPFILEHDR_Strdef, "length");
constexpr auto file_version = number_of<int32_t>(esri::SHPFILEHDR_Strdef, "version");
constexpr auto file_shape_type = number_of<int32_t>(esri::SHPFILEHDR_Strdef, "shape_type");
constexpr auto file_xmin = number_of<double>(esri::SHPFILEHDR_Strdef, "xmin");
constexpr auto file_ymin = number_of<double>(esri::SHPFILEHDR_Strdef, "ymin");
constexpr auto file_xmax = number_of<double>(esri::SHPFILEHDR_Strdef, "xmax");
constexpr auto file_ymax = number_of<double>(esri::SHPFILEHDR_Strdef, "ymax");

constexpr size_t record_header_size = size_of_record(esri::SHPRECHDR_Strdef);
constexpr auto record_number = number_of<int32_t>(esri::SHPRECHDR_Strdef, "number");
constexpr auto record_length = number_of<int32_t>(esri::SHPRECHDR_Strdef, "length");

} // namespace lindra::detail

#endif
