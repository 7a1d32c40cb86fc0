// SPDX-License-Identifier: MIT
#ifndef LINDRA_ESRI_STRDEFS_REGISTRY_HPP
#define LINDRA_ESRI_STRDEFS_REGISTRY_HPP

#include "fail.hpp"
#include "lindra.h"
#include "strdefs.hpp"

#include <cstdint>
#include <cstring>
#include <span>

namespace lindra::esri {

// The structures of shapefiles and dBase files.
struct Registry {
    using Count = int32_t;
    // A run of more bytes than a signed 32-bit number can tell has no size that could be allocated.
    static constexpr int64_t largest_run = INT32_MAX;
    // A prefix that is too long is met behind the structure's first line.
    static constexpr bool prefix_first = false;

    static const std::span<const StrdefsEntry> entries;

    static const Element *element(int32_t type);
    static const Shown *shown(int32_t type);
    static const char *structure_name(int32_t str_type);

    // Deliberate: a field of a type that is not read is passed over in silence.
    static int refuse(int32_t) { return 0; }

    static int fail_undefined(int32_t str_type) {
        return fail(0, "esri_unstuff_stream: str_type 0x%x not defined.\n", static_cast<unsigned>(str_type));
    }

    static int fail_malloc() { return fail(1, "esri_unstuff_stream: malloc() error.\n"); }

    static int fail_nested() { return fail(1, "esri_unstuff_stream: esri_unstuff_stream() error.\n"); }

    static int fail_cut(const char *field, int64_t count, size_t left) {
        return fail(0, "esri_unstuff_stream: %s has %lld elements, %zu bytes left.\n", field,
                    static_cast<long long>(count), left);
    }

    static int fail_depth(int32_t str_type) {
        return fail(0, "esri_unstuff_stream: str_type 0x%x is nested too deep.\n",
                    static_cast<unsigned>(str_type));
    }

    static void die_out_of_range(int32_t str_type) {
        elog_die(0, "esri_strdefs_init: str_type 0x%x out of range.\n", static_cast<unsigned>(str_type));
    }

    static void die_long_prefix(const char *prefix) {
        elog_die(0, "esri_print_generic: prefix of %zu bytes leaves no room.\n", strlen(prefix));
    }
};

using Engine = lindra::Engine<Registry>;

// Take n elements from the stream to dest; big_endian: whether the file stores them so. Return 0, or -1 when
// they are not all there.
int esri2h2(void *dest, Stream &stream, uint32_t n, int32_t big_endian);
int esri2h4(void *dest, Stream &stream, uint32_t n, int32_t big_endian);
int esri2h8(void *dest, Stream &stream, uint32_t n, int32_t big_endian);

// Decodes a structure into out, a new one when that is null.
template <class Structure>
int unstuff(int32_t str_type, Structure *&out, Source &source) {
    void *structure = out;
    const int status = Engine::unstuff(str_type, &structure, source);
    out = static_cast<Structure *>(structure);
    return status;
}

// Decodes in place.
template <class Structure>
int unstuff_into(int32_t str_type, Structure &structure, Source &source) {
    void *at = &structure;
    return Engine::unstuff(str_type, &at, source);
}

// The hooks of the structures that no field table describes. Decoders return 0 or -1.
int decode_shapefile(SHPFILE &file, Source &source);
int decode_shapefile_record(SHPRECORD &record, Source &source);
int decode_dbase_file(DbaseFile &dbf, Source &source);

} // namespace lindra::esri

#endif
