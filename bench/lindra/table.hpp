// SPDX-License-Identifier: MIT
//
// What a program does that reads a whole dBase table: by the C face, one array for each record, and by the
// views of lindra.hpp.
#ifndef BENCH_LINDRA_TABLE_HPP
#define BENCH_LINDRA_TABLE_HPP

#include "../files.hpp"
#include "../works.hpp"

#include "lindra/lindra.hpp"

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>
#include <string_view>
#include <variant>

namespace bench {

// Hands the array of each record to take, along with the table.
template <class Take>
Delivered read_fields(const std::string &path, Take take) {
    const BoundFile file(path);
    DbaseFile table{};
    unsigned char *pos = file.begin();
    if (esri_decode_dbase_file(&table, file.begin(), &pos) < 0)
        throw std::runtime_error("esri_decode_dbase_file fails");
    const int rows = table.header.hdr5.numrecs;
    Arr *fields = nullptr;
    for (int i = 0; i < rows; i++) {
        if (esri_get_dbase_fields(&table, i, &fields) < 0)
            throw std::runtime_error("esri_get_dbase_fields fails");
        take(table, fields);
    }
    freearr(fields, free);
    lindra_clear_esri(DBASE_FILE, &table);
    return {static_cast<double>(rows), 0};
}

inline Delivered read_fields(const std::string &path) {
    return read_fields(path, [](const DbaseFile &, Arr *fields) { benchmark::DoNotOptimize(fields); });
}

// points: the characters of all fields.
inline Delivered count_fields(const std::string &path) {
    double characters = 0;
    Delivered count = read_fields(path, [&](const DbaseFile &table, Arr *fields) {
        for (int i = 0; i < counttbl(table.fields); i++) {
            const auto *field = static_cast<const DBASEFIELDDESCR5 *>(gettbl(table.fields, i));
            if (const auto *text = static_cast<const char *>(getarr(fields, field->name)))
                characters += static_cast<double>(strlen(text));
        }
    });
    count.points = characters;
    return count;
}

// A table of its own: shapefile opens one beside its main file.
inline lindra::attribute_table open_table(const BoundFile &file) {
    return {file.bytes(), "UTF-8", "", lindra::detail::reporter("table.dbf", {})};
}

inline double number_of(const lindra::attribute_value &value) {
    if (const auto *whole = std::get_if<int64_t>(&value)) return static_cast<double>(*whole);
    const auto *real = std::get_if<double>(&value);
    return real ? *real : 0;
}

// Every value by its type, texts in UTF-8. points: the sum of the numbers.
inline Delivered read_values(const std::string &path) {
    const BoundFile file(path);
    const lindra::attribute_table table = open_table(file);
    double sum = 0;
    for (size_t i = 0; i < table.size(); i++) {
        const lindra::attribute_row row = table.row(i);
        for (size_t j = 0; j < row.size(); j++) {
            const lindra::attribute_value value = row[j];
            benchmark::DoNotOptimize(&value);
            sum += number_of(value);
        }
    }
    return {static_cast<double>(table.size()), sum};
}

// The same, texts as they stand in the file.
inline Delivered view_values(const std::string &path) {
    const BoundFile file(path);
    const lindra::attribute_table table = open_table(file);
    double sum = 0;
    for (size_t i = 0; i < table.size(); i++) {
        const lindra::attribute_row row = table.row(i);
        for (size_t j = 0; j < row.size(); j++)
            if (table.fields()[j].type == 'C')
                benchmark::DoNotOptimize(row.raw(j));
            else
                sum += number_of(row[j]);
    }
    return {static_cast<double>(table.size()), sum};
}

} // namespace bench

#endif
