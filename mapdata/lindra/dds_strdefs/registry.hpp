// SPDX-License-Identifier: MIT
#ifndef LINDRA_DDS_STRDEFS_REGISTRY_HPP
#define LINDRA_DDS_STRDEFS_REGISTRY_HPP

#include "fail.hpp"
#include "lindra.h"
#include "strdefs.hpp"

#include <cstdint>
#include <cstring>
#include <span>

namespace lindra::dds {

// The structures of texture files.
struct Registry {
    using Count = uint64_t;
    static constexpr int64_t largest_run = PTRDIFF_MAX;
    // Deliberate: a prefix that is too long ends the process even where nothing would be printed.
    static constexpr bool prefix_first = true;

    static const std::span<const StrdefsEntry> entries;

    static const Element *element(int32_t type);
    static const Shown *shown(int32_t type);
    static const char *structure_name(int32_t str_type) { return dds_get_type(str_type); }

    static int refuse(int32_t type) { return fail(0, "dds_unstuff_stream: Unknown type %d.\n", type); }

    static int fail_undefined(int32_t str_type) {
        return fail(0, "dds_unstuff_stream: str_type 0x%x not defined.\n", static_cast<unsigned>(str_type));
    }

    static int fail_malloc() { return fail(1, "dds_unstuff_stream: malloc() error.\n"); }

    static int fail_nested() { return fail(1, "dds_unstuff_stream: dds_unstuff_stream() error.\n"); }

    static int fail_cut(const char *field, int64_t count, size_t left) {
        return fail(0, "dds_unstuff_stream: %s has %lld elements, %zu bytes left.\n", field,
                    static_cast<long long>(count), left);
    }

    static int fail_depth(int32_t str_type) {
        return fail(0, "dds_unstuff_stream: str_type 0x%x is nested too deep.\n",
                    static_cast<unsigned>(str_type));
    }

    static void die_out_of_range(int32_t str_type) {
        elog_die(0, "dds_strdefs_init: str_type 0x%x out of range.\n", static_cast<unsigned>(str_type));
    }

    static void die_long_prefix(const char *prefix) {
        elog_die(0, "dds_print_generic: prefix of %zu bytes leaves no room.\n", strlen(prefix));
    }
};

using Engine = lindra::Engine<Registry>;

// Takes n words from the stream to dest, one after the other whatever their slots; big_endian: whether the
// file stores them so. Returns 0, or -1 when they are not all there.
int dds2h4(void *dest, Stream &stream, uint32_t n, int32_t big_endian);

} // namespace lindra::dds

#endif
