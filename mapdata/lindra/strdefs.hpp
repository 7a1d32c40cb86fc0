// SPDX-License-Identifier: MIT
//
// The structure-definition engine: binary records described by tables instead of code.
//
// A field table has a row for each field of a record in the order of the file: its type, how many elements it
// has, its byte order, and the member of the structure in memory that receives it. A count of 0 says that the
// number of elements stands in a member decoded before; such elements get an array of their own. A structure
// that no table can describe, such as a whole file, has hooks instead: functions that decode and print it.
//
// The tables of one family of formats make a registry. A registry is a struct of constants: its entries, what
// its type codes mean, how their elements are printed, and the wording of its complaints. The engine is
// written once and instantiated for each registry; it knows no format.
#ifndef LINDRA_STRDEFS_HPP
#define LINDRA_STRDEFS_HPP

#include "allocate.hpp"
#include "source.hpp"
#include "strdef.hpp"
#include "support.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <span>
#include <utility>

namespace lindra {

// --- What a registry is made of ---------------------------------------------------------------------------

// The name of a code. Tables are searched in order.
struct Codedef {
    int32_t code;
    const char *name;
};

using DecodeHook = int(void *structure, Source &source);
using PrintHook = void(const char *prefix, void *structure, int index);

// One structure: a field table, or hooks.
struct StrdefsEntry {
    int32_t str_type;
    int32_t size; // in memory, bytes
    const Strdef *fields;
    int32_t nfields;
    DecodeHook *decode;
    PrintHook *print;

    std::span<const Strdef> rows() const { return {fields, static_cast<size_t>(nfields)}; }
};

// Takes n elements from the stream to dest. Returns 0, or -1 when they are not all there.
using Convert = int(void *dest, Stream &stream, uint32_t n, int32_t big_endian);

// What a type code means: a number or byte, which is converted, or a structure of the same registry.
struct Element {
    size_t size;        // in the file, bytes
    size_t memory_size; // in a member or an array, bytes
    Convert *convert;   // of a run; null for a structure
    int32_t str_type;   // of the structure
    bool alike;         // whether the structure lies in memory as it does in the file
    bool may_vary;      // whether a row of variable count may have this type
};

// How the elements of a type are printed. print shows the first of left elements at from and returns how many
// it has shown. The steps lead from one element to the next, in bytes; of a type that is not shown in rows of
// variable count the second is unused.
struct Shown {
    using Print = int(const Strdef &row, const char *indentation, const void *from, int left);

    int32_t limit;      // elements shown of a row
    bool separated;     // by ", ", and a line end after the last
    bool may_vary;      // whether a row of variable count is shown
    ptrdiff_t step;     // in a row of fixed count
    ptrdiff_t var_step; // in a row of variable count
    Print *print;
};

inline const char *name_of(std::span<const Codedef> codes, uint32_t code, const char *otherwise) {
    for (const Codedef &row : codes)
        if (static_cast<uint32_t>(row.code) == code) return row.name;
    return otherwise;
}

// --- The engine -------------------------------------------------------------------------------------------

template <class Registry>
class Engine {
  public:
    // Prefixes grow by two blanks a level and stand in buffers of one size.
    using Indentation = std::array<char, 512>;

    // Builds the index, once.
    static int init() {
        if (!first_.load(std::memory_order_acquire)) return 0;
        const std::lock_guard<std::mutex> guard(lock_);
        if (first_.load(std::memory_order_relaxed)) build_index();
        return 0;
    }

    // The entry of a code, or null: always before the first init.
    static const StrdefsEntry *find(int str_type) {
        if (first_.load(std::memory_order_acquire)) return nullptr;
        const auto slot = static_cast<uint32_t>(str_type);
        return slot < index_.size() ? index_[slot] : nullptr;
    }

    // Decodes the structure at the source's position into *out, a new one when that is null.
    static int unstuff(int str_type, void **out, Source &source) {
        init();
        const StrdefsEntry *entry = find(str_type);
        if (!entry) return Registry::fail_undefined(str_type);
        if (!*out) *out = allocate(entry->size);
        if (!*out) return Registry::fail_malloc();
        // Deliberate: a structure of the caller's is cleared whatever it owns.
        memset(*out, 0, static_cast<size_t>(entry->size));
        if (entry->fields) return unstuff_fields(entry->rows(), static_cast<unsigned char *>(*out), source);
        return entry->decode ? unstuff_by_hook(*entry, *out, source) : 0;
    }

    static constexpr int in_no_list = -1;

    // Prints the structure after prefix; index: its number in a list, or negative. One that was not decoded
    // is null and not printed.
    static void print(const char *prefix, int str_type, const void *structure, int index = in_no_list) {
        if constexpr (Registry::prefix_first) require_room(prefix, "  ");
        const StrdefsEntry *entry = find(str_type);
        if (!entry || !structure) return;
        if (!entry->fields) {
            // Hooks print what they are given and change nothing.
            if (entry->print)
                entry->print(indented(prefix, "  ").data(), const_cast<void *>(structure), index);
            return;
        }
        print_head(prefix, Registry::structure_name(str_type), index);
        const Indentation fields = indented(prefix, "  ");
        for (const Strdef &row : entry->rows())
            print_row(row, fields.data(), static_cast<const unsigned char *>(structure));
    }

    // Releases the arrays of a structure that has a field table.
    static void free_arrays(const StrdefsEntry &entry, void *structure) {
        for (const Strdef &row : entry.rows())
            if (!row.count) free(array(row, static_cast<const unsigned char *>(structure)));
    }

    // The prefix and what follows it.
    static Indentation indented(const char *prefix, const char *blanks) {
        require_room(prefix, blanks);
        Indentation result;
        stpcpy(stpcpy(result.data(), prefix), blanks);
        return result;
    }

  private:
    static void build_index() {
        for (const StrdefsEntry &entry : Registry::entries) {
            // Deliberate: the index has more slots than codes are accepted for.
            if (entry.str_type < 0 || entry.str_type >= codes) Registry::die_out_of_range(entry.str_type);
            index_[static_cast<size_t>(entry.str_type)] = &entry;
        }
        first_.store(false, std::memory_order_release);
    }

    // Deliberate: a prefix without room in the buffer ends the process instead of being cut.
    static void require_room(const char *prefix, const char *blanks) {
        if (strlen(prefix) + strlen(blanks) >= sizeof(Indentation)) Registry::die_long_prefix(prefix);
    }

    static constexpr int32_t codes = 200;
    static constexpr size_t slots = 512;
    static constexpr int deepest = 8; // hooks within hooks: well-formed files need two

    static int unstuff_by_hook(const StrdefsEntry &entry, void *structure, Source &source) {
        if (source.depth == deepest) return Registry::fail_depth(entry.str_type);
        source.depth++;
        const int status = entry.decode(structure, source);
        source.depth--;
        return status;
    }

    static int unstuff_fields(std::span<const Strdef> rows, unsigned char *structure, Source &source) {
        for (const Strdef &row : rows)
            if (unstuff_field(row, structure, source) < 0) return -1;
        return 0;
    }

    static int unstuff_field(const Strdef &row, unsigned char *structure, Source &source) {
        const Element *element = Registry::element(row.type);
        if (!element || (!row.count && !element->may_vary)) return Registry::refuse(row.type);
        const int64_t n = elements(row, structure);
        if (source.stream.lacks(n, element->size))
            return Registry::fail_cut(row.name, n, source.stream.left());
        if (row.count) return unstuff_elements(*element, row, n, structure + row.member, source);

        unsigned char *block = allocate_array(*element, n);
        memcpy(structure + row.member, &block, sizeof block);
        if (!block) return Registry::fail_malloc();
        return unstuff_elements(*element, row, n, block, source);
    }

    static unsigned char *allocate_array(const Element &element, int64_t n) {
        const auto size = static_cast<int64_t>(element.memory_size);
        const int64_t largest = element.convert ? Registry::largest_run : PTRDIFF_MAX;
        if (n < 0 || n > largest / size) return nullptr;
        return static_cast<unsigned char *>(allocate(n * size));
    }

    static int unstuff_elements(const Element &element, const Strdef &row, int64_t n, unsigned char *to,
                                Source &source) {
        if (element.convert)
            return element.convert(to, source.stream, static_cast<uint32_t>(n), row.big_endian);
        if (element.alike) return copy_structures(element, n, to, source.stream);
        for (int64_t i = 0; i < n; i++) {
            void *at = to + static_cast<size_t>(i) * element.memory_size;
            if (unstuff(element.str_type, &at, source) < 0) return Registry::fail_nested();
        }
        return 0;
    }

    // A run of structures that lie in memory as in the file is one copy.
    static int copy_structures(const Element &element, int64_t n, unsigned char *to, Stream &stream) {
        const size_t size = static_cast<size_t>(n) * element.size;
        const unsigned char *from = stream.bytes(size);
        if (!from) return Registry::fail_nested();
        memcpy(to, from, size);
        return 0;
    }

    static int64_t elements(const Strdef &row, const unsigned char *structure) {
        if (row.count) return row.count;
        typename Registry::Count n;
        memcpy(&n, structure + row.count_member, sizeof n);
        return std::cmp_greater(n, INT64_MAX) ? INT64_MAX : static_cast<int64_t>(n);
    }

    static void print_head(const char *prefix, const char *name, int index) {
        if (index >= 0)
            printf("%s%s(%d):\n", prefix, name, index);
        else
            printf("%s%s:\n", prefix, name);
    }

    static void print_row(const Strdef &row, const char *indentation, const unsigned char *structure) {
        printf("%s%s=", indentation, row.name);
        const Shown *shown = Registry::shown(row.type);
        // Deliberate: no line end follows a field of a type that is not shown.
        if (!shown || (!row.count && !shown->may_vary)) return;
        const unsigned char *first = row.count ? structure + row.member : array(row, structure);
        print_elements(row, *shown, indentation, first, first ? elements(row, structure) : 0);
    }

    static void print_elements(const Strdef &row, const Shown &shown, const char *indentation,
                               const unsigned char *first, int64_t n) {
        const ptrdiff_t step = row.count ? shown.step : shown.var_step;
        const int last = static_cast<int>(std::min<int64_t>(n, shown.limit));
        for (int i = 0; i < last;) {
            if (i && shown.separated) fputs(", ", stdout);
            i += shown.print(row, indentation, first + i * step, last - i);
        }
        if (shown.separated) fputs(n > shown.limit ? ", ...\n" : "\n", stdout);
    }

    // The elements of a row of variable count; null when its decoding was not reached.
    static unsigned char *array(const Strdef &row, const unsigned char *structure) {
        unsigned char *block;
        memcpy(&block, structure + row.member, sizeof block);
        return block;
    }

    static inline std::atomic<bool> first_{true};
    static inline std::mutex lock_;
    static inline std::array<const StrdefsEntry *, slots> index_{};
};

} // namespace lindra

#endif
