// SPDX-License-Identifier: MIT
//
// The main file of a shapefile: "ESRI Shapefile Technical Description" (ESRI, 1998).
//
// A header of 100 bytes, then records: a header of 8 bytes, big-endian, and a shape, little-endian, whose
// first word is its type. Lengths count words of 16 bits; a record's leaves out its header.
//
// The field tables say where a shape ends, the length fields how many records there are. Where these differ,
// as when a shape lacks the measures that its table ends with, the next record is read where the tables end.

#include "lindra.h"

#include "esri_strdefs/registry.hpp"
#include "fail.hpp"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace lindra::esri {

namespace {

constexpr int64_t file_header_size = 100;
constexpr int64_t record_header_size = 8;

int fail_file() {
    return fail(0, "esri_decode_shapefile: esri_unstuff_stream() error.\n");
}

int fail_record() {
    return fail(0, "esri_decode_shapefile_record: esri_unstuff_stream() error.\n");
}

// Appends the next record. remaining: the bytes that the length fields leave.
int decode_next(SHPFILE &file, int32_t &remaining, Source &source) {
    SHPRECORD *record = nullptr;
    if (unstuff(ESRI_RECORD, record, source) < 0) {
        // Nobody else knows of it.
        lindra_free_esri(ESRI_RECORD, record);
        return fail_file();
    }
    if (settbl(file.records, -1, record) < 0) {
        lindra_free_esri(ESRI_RECORD, record);
        return fail(0, "esri_decode_shapefile: settbl() error.\n");
    }
    const int64_t size = record_header_size + int64_t{2} * record->hdr.length;
    remaining = static_cast<int32_t>(static_cast<uint32_t>(remaining - size));
    return 0;
}

} // namespace

// Deliberate: neither the magic number nor the version nor the header's shape type is looked at.
int decode_shapefile(SHPFILE &file, Source &source) {
    if (file.records)
        clrtbl(file.records, nullptr);
    else
        file.records = newtbl(0);
    if (!file.records) return fail(0, "esri_decode_shapefile: newtbl() error.\n");
    if (unstuff_into(ESRI_FILEHDR, file.hdr, source) < 0) return fail_file();

    // A signed 32-bit number, as the length that it is made of.
    auto remaining =
        static_cast<int32_t>(static_cast<uint32_t>(int64_t{2} * file.hdr.length - file_header_size));
    while (remaining > 0)
        if (decode_next(file, remaining, source) < 0) return -1;
    return 0;
}

int decode_shapefile_record(SHPRECORD &record, Source &source) {
    record.offset =
        reinterpret_cast<uintptr_t>(source.stream.pos()) - reinterpret_cast<uintptr_t>(source.base);
    record.shape = nullptr;
    if (unstuff_into(ESRI_RECORDHDR, record.hdr, source) < 0) return fail_record();

    // Not taken: the shape's own table reads its type once more.
    const unsigned char *shape_type = source.stream.peek(sizeof record.shape_type);
    if (!shape_type)
        return fail(0, "esri_decode_shapefile_record: shape type is cut, %zu bytes left.\n",
                    source.stream.left());
    memcpy(&record.shape_type, shape_type, sizeof record.shape_type);
    return unstuff(record.shape_type, record.shape, source) < 0 ? fail_record() : 0;
}

} // namespace lindra::esri

using namespace lindra::esri;

int esri_decode_shapefile(SHPFILE *file, unsigned char *base, unsigned char **pos) {
    lindra::Source source(base, pos);
    return decode_shapefile(*file, source);
}

void esri_print_shapefile(const char *prefix, SHPFILE *file) {
    Engine::print(prefix, ESRI_FILEHDR, &file->hdr);
    for (int i = 0; i < counttbl(file->records); i++)
        esri_print_shapefile_record(prefix, static_cast<SHPRECORD *>(gettbl(file->records, i)), i);
}

void esri_print_shapefile_record(const char *prefix, SHPRECORD *record, int index) {
    if (index >= 0) printf("%sRecord(%d):\n", prefix, index);
    const Engine::Indentation indentation = Engine::indented(prefix, index >= 0 ? "  " : "");
    printf("%soffset=%lu\n", indentation.data(), static_cast<unsigned long>(record->offset));
    Engine::print(indentation.data(), ESRI_RECORDHDR, &record->hdr);
    Engine::print(indentation.data(), record->shape_type, record->shape, index);
}
