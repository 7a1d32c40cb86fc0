// SPDX-License-Identifier: MIT
//
// A dBase table, by the library's strict reader: "Data File Header Structure for the dBASE Version 7 Table
// File" (dBASE, 1999), which tells the older layout too.

#include "dump/dbase.hpp"

#include "common/captured_log.hpp"
#include "common/damage.hpp"
#include "common/standard_output.hpp"
#include "dump/record_list.hpp"

#include "lindra/lindra.h"

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace lindra::tools {

namespace {

constexpr size_t header_size = 32;
constexpr size_t descriptor_size = 32;
constexpr unsigned char terminator = 13;

// A table that is released with its fields and records.
struct Table : DbaseFile {
    Table() : DbaseFile() {}
    ~Table() { lindra_clear_esri(DBASE_FILE, static_cast<DbaseFile *>(this)); }
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;

    // Both as the library reckons: signed numbers of 16 and 32 bits.
    int32_t record_size() const { return static_cast<int16_t>(header.hdr5.numbytesrec); }
    int32_t block_size() const {
        if (!records || record_size() <= 0) return 0;
        return static_cast<int32_t>(static_cast<uint32_t>(int64_t{header.hdr5.numrecs} * record_size()));
    }
};

size_t little_endian_16(const unsigned char *from) {
    return from[0] + 256U * from[1];
}

std::string_view up_to_zero(const char *text, size_t size) {
    return {text, strnlen(text, size)};
}

Json header_facts(const DBASEHDR5 &header) {
    return {{"flags", header.flags},
            {"date_update", {header.date_update[0], header.date_update[1], header.date_update[2]}},
            {"numrecs", header.numrecs},
            {"numbyteshdr", header.numbyteshdr},
            {"numbytesrec", header.numbytesrec},
            {"incomplete", header.incomplete},
            {"encrypted", header.encrypted},
            {"mdx", header.mdx},
            {"langid", header.langid},
            {"offset", 0}};
}

Json field_facts(const DBASEFIELDDESCR5 &field, int index) {
    return {{"name", up_to_zero(field.name, sizeof field.name)},
            {"type", std::string(1, field.type)},
            {"length", field.length},
            {"count", field.count},
            {"mdx", field.mdx},
            {"offset", header_size + static_cast<size_t>(index) * descriptor_size}};
}

Json fields_facts(const Table &table) {
    Json all = Json::array();
    for (int i = 0; i < counttbl(table.fields); i++)
        all.push_back(field_facts(*static_cast<const DBASEFIELDDESCR5 *>(gettbl(table.fields, i)), i));
    return all;
}

// first: the place of the first record's fields in the file.
void print_json(const Table &table, int64_t first) {
    RecordList list({{"format", "dBase table"},
                     {"level", table.level},
                     {"header", header_facts(table.header.hdr5)},
                     {"fields", fields_facts(table)}},
                    "records");
    const int64_t size = table.record_size();
    for (int64_t at = 0; size > 0 && at + size <= table.block_size(); at += size)
        list.add({{"offset", first + at},
                  {"text", std::string_view(table.records + at, static_cast<size_t>(size))}});
    list.finish();
}

} // namespace

bool is_dbase(const InputFile &file) {
    if (file.size() <= header_size) return false;
    const unsigned char *header = file.data();
    const size_t length = little_endian_16(header + 8);
    const bool has_date = header[2] <= 12 && header[3] <= 31;
    if (!has_date || length <= header_size || length > file.size()) return false;
    for (size_t at = header_size; at < length; at += descriptor_size)
        if (header[at] == terminator) return true;
    return false;
}

void dump_dbase(const InputFile &file, bool json) {
    unsigned char *cursor = file.data();
    Table table;
    const CapturedLog log;
    const int status = esri_decode_dbase_file(&table, file.data(), &cursor);
    std::optional<DataError> told;
    if (status < 0) told = damage(file, cursor, log);
    if (json)
        print_json(table, cursor - file.data());
    else
        print_to_standard_output([&] { lindra_print_dbase_file("", &table); });
    if (told) throw DataError(*told);
}

} // namespace lindra::tools
