// SPDX-License-Identifier: MIT
//
// dBase tables of level 5: "Data File Header Structure for the dBASE Version 7 Table File" (dBASE, 1999)
// tells them beside their successor.
//
// A header of 32 bytes, descriptors of 32 bytes each up to a byte 13, then the records, all of one size: a
// flag (blank, or * when the record is deleted) and the fields' texts without separators. Numbers are
// little-endian. The header's own length is odd in a standard file, which is how the flag of the first record
// is told from padding: it is stepped over with the header, so that every slot of the copied records begins
// with a record's first field and ends with the flag of the next.

#include "lindra.h"

#include "allocate.hpp"
#include "esri_strdefs/registry.hpp"
#include "fail.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace lindra::esri {

namespace {

constexpr unsigned char terminator = 13;
constexpr int32_t largest_printed = 512;

int fail_unstuff() {
    return fail(0, "esri_decode_dbase_file: esri_unstuff_stream() error.\n");
}

// Record sizes are signed here, as is the product of a size and a number of records.
int32_t record_size(const DbaseFile &dbf) {
    return static_cast<int16_t>(dbf.header.hdr5.numbytesrec);
}

int32_t product(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(int64_t{a} * b));
}

// Of all records together.
int32_t records_size(const DbaseFile &dbf) {
    return product(dbf.header.hdr5.numrecs, record_size(dbf));
}

// The size of the block stands in the header, so that neither outlives the other.
void drop_records(DbaseFile &dbf) {
    free(dbf.records);
    dbf.records = nullptr;
}

bool is_level_7(const DbaseFile &dbf) {
    return dbf.level == 7;
}

int decode_level(DbaseFile &dbf, const Source &source) {
    const unsigned char *version = source.stream.peek(1);
    if (!version) return fail(0, "esri_decode_dbase_file: file is empty.\n");
    dbf.level = *version & 3;
    if (dbf.level == 3) dbf.level = 5;
    // Deliberate: two bits never tell 4, so that no file is of level 7.
    if (dbf.level == 4) dbf.level = 7;
    if (dbf.level != 5)
        return fail(0, "esri_decode_dbase_file: dbase level = %d - only level 5 supported.\n", dbf.level);
    return 0;
}

int decode_descriptor(DbaseFile &dbf, Source &source) {
    void *descriptor = nullptr;
    const int32_t str_type = is_level_7(dbf) ? DBASE_FIELDDESCRIPTOR7 : DBASE_FIELDDESCRIPTOR5;
    if (Engine::unstuff(str_type, &descriptor, source) < 0) {
        // Nobody else knows of it.
        free(descriptor);
        return fail_unstuff();
    }
    if (settbl(dbf.fields, -1, descriptor) < 0) {
        free(descriptor);
        return fail(0, "esri_decode_dbase_file: settbl() error.\n");
    }
    return 0;
}

int decode_descriptors(DbaseFile &dbf, Source &source) {
    for (;;) {
        const unsigned char *next = source.stream.peek(1);
        if (!next)
            return fail(0, "esri_decode_dbase_file: file ends in its field descriptors, after %d of them.\n",
                        counttbl(dbf.fields));
        if (*next == terminator) break;
        if (decode_descriptor(dbf, source) < 0) return -1;
    }
    return 0;
}

// The terminator, and the flag of the first record.
void skip_to_fields(const DbaseFile &dbf, Source &source) {
    source.stream.skip(1);
    if (dbf.header.hdr5.numbyteshdr % 2 != 0) source.stream.skip(1);
}

// Many files end with the last record, without the mark that stands in the place of a next record's flag.
int copy_records(DbaseFile &dbf, Source &source) {
    const int32_t size = records_size(dbf);
    const size_t there = source.stream.left();
    if (std::cmp_greater(int64_t{size} - 1, there))
        return fail(0, "esri_decode_dbase_file: records have %d bytes, %zu bytes left.\n", size, there);

    auto *records = static_cast<char *>(allocate(size));
    if (!records) return fail(0, "esri_decode_dbase_file: malloc(%d) error.\n", size);
    const auto wanted = static_cast<size_t>(size);
    const size_t copied = std::min(wanted, there);
    memcpy(records, source.stream.pos(), copied);
    memset(records + copied, ' ', wanted - copied);
    dbf.records = records;
    return 0;
}

// --- Fields -----------------------------------------------------------------------------------------------

bool is_white_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// What strtrim leaves of the text of at most limit bytes at from.
std::string_view trimmed(const char *from, size_t limit) {
    const char *end = from + strnlen(from, limit);
    while (end != from && is_white_space(end[-1]))
        end--;
    while (from != end && is_white_space(*from))
        from++;
    return {from, end};
}

// The trimmed name of a field.
struct Key {
    explicit Key(const DBASEFIELDDESCR5 &field) {
        const std::string_view name = trimmed(field.name, sizeof field.name);
        name.copy(text, name.size());
    }
    char text[sizeof DBASEFIELDDESCR5::name + 1] = {};
};

int keep_field(Arr *fields, const char *key, std::string_view text) {
    char *value = strndup(text.data(), text.size());
    if (!value)
        return fail(0, "esri_get_dbase_fields: strdup(%.*s) error.\n", static_cast<int>(text.size()),
                    text.data());
    void *earlier = getarr(fields, key);
    if (setarr(fields, key, value) < 0) {
        free(value);
        return fail(0, "esri_get_dbase_fields: setarr(%s) error.\n", key);
    }
    free(earlier);
    return 0;
}

// Deliberate: neither the number of records nor the size of one is a limit, only the end of the block.
int get_fields(const DbaseFile &dbf, int index, Arr *fields) {
    int64_t at = int64_t{index} * record_size(dbf);
    for (int i = 0; i < counttbl(dbf.fields); i++) {
        const auto *field = static_cast<const DBASEFIELDDESCR5 *>(gettbl(dbf.fields, i));
        // Deliberate: a field of another type does not count, so that those after it are read too far left.
        if (field->type != 'C' && field->type != 'N') continue;
        const Key key(*field);
        if (at < 0 || at + field->length > records_size(dbf))
            return fail(0,
                        "esri_get_dbase_fields: field %s of record %d is outside the %d bytes of records.\n",
                        key.text, index, records_size(dbf));
        if (keep_field(fields, key.text, trimmed(dbf.records + at, field->length)) < 0) return -1;
        at += field->length;
    }
    return 0;
}

// --- Printing ---------------------------------------------------------------------------------------------

// As many as the block of records holds.
int32_t slots(const DbaseFile &dbf) {
    const int32_t size = record_size(dbf);
    if (!dbf.records || size <= 0) return 0;
    return std::min(dbf.header.hdr5.numrecs, records_size(dbf) / size);
}

void print_slots(const DbaseFile &dbf) {
    const int32_t size = record_size(dbf);
    for (int32_t i = 0; i < slots(dbf); i++)
        printf("%.*s\n", size, dbf.records + static_cast<ptrdiff_t>(i) * size);
}

void print_head(const char *prefix, const DbaseFile &dbf) {
    Engine::print(prefix, is_level_7(dbf) ? DBASE_FILEHDR7 : DBASE_FILEHDR5, &dbf.header);
    for (int i = 0; i < counttbl(dbf.fields); i++)
        Engine::print(prefix, is_level_7(dbf) ? DBASE_FIELDDESCRIPTOR7 : DBASE_FIELDDESCRIPTOR5,
                      gettbl(dbf.fields, i), i);
    if (is_level_7(dbf)) Engine::print(prefix, DBASE_FIELDPROPERTIES, &dbf.field_properties);
}

} // namespace

int decode_dbase_file(DbaseFile &dbf, Source &source) {
    // Deliberate: the descriptors of an earlier file are dropped, not freed.
    if (dbf.fields)
        clrtbl(dbf.fields, nullptr);
    else
        dbf.fields = newtbl(0);
    if (!dbf.fields) return fail(0, "esri_decode_dbase_file: newtbl() error.\n");
    if (decode_level(dbf, source) < 0) return -1;
    drop_records(dbf);
    if (unstuff_into(is_level_7(dbf) ? DBASE_FILEHDR7 : DBASE_FILEHDR5, dbf.header, source) < 0)
        return fail_unstuff();
    if (decode_descriptors(dbf, source) < 0) return -1;
    skip_to_fields(dbf, source);
    if (is_level_7(dbf) && unstuff_into(DBASE_FIELDPROPERTIES, dbf.field_properties, source) < 0)
        return fail_unstuff();
    return copy_records(dbf, source);
}

} // namespace lindra::esri

using namespace lindra::esri;
using lindra::fail;

int esri_decode_dbase_file(DbaseFile *dbf, unsigned char *base, unsigned char **cursor) {
    lindra::Source source(base, cursor);
    return decode_dbase_file(*dbf, source);
}

int esri_get_dbase_fields(DbaseFile *dbf, int index, Arr **fields) {
    freearr(*fields, free);
    *fields = nullptr;
    if (!dbf->records) return 0;
    *fields = newarr(nullptr);
    if (!*fields) return fail(0, "esri_get_dbase_fields: newarr() error.\n");
    return get_fields(*dbf, index, *fields);
}

void esri_print_dbase_file(const char *prefix, DbaseFile *dbf) {
    print_head(prefix, *dbf);
    // Deliberate: a record that is longer than a line ends the process.
    if (slots(*dbf) > 0 && record_size(*dbf) > largest_printed)
        elog_die(0, "esri_print_dbase_file_callback: record of %d bytes is longer than %d.\n",
                 record_size(*dbf), largest_printed);
    print_slots(*dbf);
}

void lindra_print_dbase_file(const char *prefix, DbaseFile *dbf) {
    print_head(prefix, *dbf);
    print_slots(*dbf);
}
