// SPDX-License-Identifier: MIT
//
// Shapefiles by the C++ face, with index, table and encoding: everything there is in them is looked at, made
// GeoJSON, and looked at again with nobody listening to the repairs, which must not change what is read.
//
// The head of the input says how long the index, the table and the name of the encoding are; they follow, and
// the main file is the rest.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/steps.hpp"

#include "shapefile_files.hpp"

#include <algorithm>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

constexpr const char *encodings[] = {"",       "UTF-8",       "CP1252",          "SHIFT_JIS",
                                     "UTF-16", "ISO-2022-JP", "no such encoding"};

// The conversion of texts and its tables are the C library's; it keeps the latter.
constexpr size_t iconv_tables = 256 << 10;

// --- Model ---

std::string files(const std::string &shx, const std::string &dbf, const std::string &cpg, unsigned encoding,
                  const std::string &shp) {
    return be16(static_cast<int>(shx.size())) + be16(static_cast<int>(dbf.size())) +
           static_cast<char>(cpg.size()) + static_cast<char>(encoding) + shx + dbf + cpg + shp;
}

std::string random_table(Random &random, unsigned rows) {
    std::vector<Column> columns(random.below(4));
    size_t size = 0;
    for (Column &column : columns) {
        column = {random.bytes(random.below(11)), random.one_of("CCNNFDLM"),
                  static_cast<int>(random.below(12))};
        size += static_cast<size_t>(column.length);
    }
    std::vector<std::string> all(rows);
    for (std::string &row : all) {
        row = random.one_in(6) ? "*" : " ";
        while (row.size() <= size)
            row += random.one_in(2) ? static_cast<char>('0' + random.below(10)) : random.byte();
    }
    TableHeader header;
    header.language_id = static_cast<uint8_t>(random.below(256));
    return table_file(columns, all, header);
}

std::string model(Random &random) {
    const int type = shp::types[random.below(static_cast<unsigned>(shp::types.size()))].first;
    std::string records;
    std::vector<std::pair<size_t, size_t>> entries;
    for (unsigned count = random.below(5); count > 0; count--) {
        const int points = static_cast<int>(random.below(6));
        const int parts = static_cast<int>(random.below(static_cast<unsigned>(points) + 1));
        std::string contents = shp::shape(type, parts, points);
        if (random.one_in(4)) contents += random.bytes(2 * random.below(8));
        entries.emplace_back(100 + records.size(), contents.size());
        records += record_bytes(static_cast<int32_t>(entries.size()), contents);
        if (random.one_in(4)) records += random.bytes(2 * random.below(8));
    }
    if (random.one_in(4)) std::ranges::reverse(entries);
    const auto rows = static_cast<unsigned>(entries.size());
    return files(random.one_in(3) ? "" : index_file(type, entries),
                 random.one_in(3) ? "" : random_table(random, rows),
                 random.one_in(2) ? "" : random.one_of(encodings), random.below(8), main_file(type, records));
}

// --- Fixtures ---

// Two records and their index.
Fixture with_files(const std::string &name, int type, const std::string &contents) {
    const size_t size = contents.size();
    const std::string shx = index_file(type, {{100, size}, {108 + size, size}});
    return {name, main_file_of(type, {contents, contents}),
            [shx](const std::string &file) { return files(shx, "", "", 0, file); }};
}

// Measures stand last, and may be left out.
std::string without_measures(int type) {
    const std::string shape = shp::shape(type);
    constexpr size_t points = 3;
    const size_t measures = shp::is_point(type) ? 8 : 16 + 8 * points;
    return shape.substr(0, shape.size() - measures);
}

// A ring long enough for boxes round its runs, squares each in the one before it, and triangles beside it in
// a corner of its bounds.
std::string many_rings() {
    Path octagon;
    for (const auto &[x, y] :
         Path{{0, 4}, {0, 8}, {4, 12}, {8, 12}, {12, 8}, {12, 4}, {8, 0}, {4, 0}, {0, 4}}) {
        if (!octagon.empty())
            octagon.emplace_back((octagon.back().first + x) / 2, (octagon.back().second + y) / 2);
        octagon.emplace_back(x, y);
    }
    std::vector<Path> rings = {octagon};
    for (double i = 1; i < 4; i++)
        rings.push_back({{3 + i, 3 + i}, {3 + i, 9 - i}, {9 - i, 9 - i}, {9 - i, 3 + i}, {3 + i, 3 + i}});
    for (double i = 0; i < 3; i++)
        rings.push_back({{11, 11 + i / 4}, {12, 11 + i / 4}, {12, 11.25 + i / 4}, {11, 11 + i / 4}});
    return path_shape(SHAPE_POLYGON, rings);
}

std::string table_of_every_type() {
    TableHeader header;
    header.language_id = 0x57;
    return table_file(
        {{"NAME", 'C', 6}, {"N", 'N', 4, 1}, {"F", 'F', 4}, {"L", 'L', 1}, {"D", 'D', 8}, {"M", 'M', 10}},
        {" Bonn\xe4  1.5 -12T19991231         1", "*K\xf6ln       9   ?        0123456789"}, header);
}

// So many records with that shape.
std::vector<std::string> many(int count, const std::string &shape) {
    std::vector<std::string> records;
    for (int number = 1; number <= count; number++)
        records.push_back(shp::record(number, shape));
    return records;
}

std::string many_rows() {
    return table_file({{"NAME", 'C', 40}, {"N", 'N', 20}},
                      std::vector<std::string>(500, std::string(61, ' ')));
}

// Of one byte each.
std::string many_fields(size_t fields, size_t rows) {
    const std::vector<Column> columns(fields, {"SAME", 'N', 1});
    return table_file(columns, std::vector<std::string>(rows, ' ' + std::string(fields, '7')));
}

// --- Reading ---

struct Files {
    explicit Files(Parameters &from) {
        const size_t shx_size = from.half(), dbf_size = from.half(), cpg_size = from.byte();
        encoding = from.one_of(encodings);
        rest = from.rest();
        shx = take(shx_size);
        dbf = take(dbf_size);
        cpg = take(cpg_size);
        shp = rest;
    }

    Bytes shx, dbf, cpg, shp;
    const char *encoding;

  private:
    Bytes take(size_t size) {
        const Bytes taken = rest.first(std::min(size, rest.size()));
        rest = rest.subspan(taken.size());
        return taken;
    }

    Bytes rest;
};

lindra::byte_span span_of(const ExactCopy &copy) {
    return {copy.data(), copy.size()};
}

// Returns how much was seen; 0 for what is no shapefile.
size_t read(const lindra::shapefile_bytes &files, const lindra::shapefile_options &options) {
    try {
        const lindra::shapefile file(files, options);
        return 1 + read_everything(file);
    } catch (const lindra::error &) {
        return 0;
    }
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    std::vector<Fixture> all;
    for (const auto &[type, name] : shp::types) {
        all.push_back(with_files(std::string(name) + ".shp", type, shp::shape(type)));
        if (shp::has_m(type))
            all.push_back(
                with_files(std::string(name) + "-without-measures.shp", type, without_measures(type)));
    }
    const std::string shp = main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4)});
    const std::string shx = index_file(SHAPE_POINT, {{100, 20}, {128, 20}});
    const std::string dbf = table_of_every_type();
    const auto put_large = [&](const char *name, const std::string &main, const std::string &table) {
        all.push_back(
            large({name, main, [=](const std::string &file) { return files("", table, "", 0, file); }}));
    };
    const auto put = [&](const char *name, const std::string &file, auto input) {
        all.push_back({name, file, input});
    };
    all.push_back({"many-rings.shp", main_file_of(SHAPE_POLYGON, {many_rings()}),
                   [](const std::string &file) { return files("", "", "", 0, file); }});
    put("points.shp", shp, [=](const std::string &file) { return files(shx, dbf, "", 0, file); });
    put("points.shx", shx, [=](const std::string &file) { return files(file, dbf, "", 0, shp); });
    put("points.dbf", dbf, [=](const std::string &file) { return files(shx, file, "", 0, shp); });
    put("points-utf16.dbf", dbf, [=](const std::string &file) { return files(shx, file, "UTF-16", 0, shp); });
    put_large("many-null-shapes", shp::file(SHAPE_POLYGON, many(10'000, shp::shape(SHAPE_NULL))), "");
    put_large("many-points", shp::file(SHAPE_POINT, many(10'000, shp::shape(SHAPE_POINT))), "");
    put_large("many-parts", shp::file(SHAPE_POLYGON, many(1, shp::shape(SHAPE_POLYGON, 20'000, 20'000))), "");
    put_large("nothing-but-gaps", shp::file(SHAPE_POINT, {std::string(200'000, '\1')}), "");
    put_large("many-rows", shp::file(SHAPE_POINT, many(500, shp::shape(SHAPE_POINT))), many_rows());
    put_large("many-fields", shp::file(SHAPE_POINT, many(3, shp::shape(SHAPE_POINT))), many_fields(1000, 3));
    put_large("narrow-fields", shp::file(SHAPE_POINT, many(60, shp::shape(SHAPE_POINT))),
              many_fields(500, 60));
    put("points.cpg", "SHIFT_JIS", [=](const std::string &file) { return files(shx, dbf, file, 0, shp); });
    return all;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Parameters parameters({data, size});
    const Files files(parameters);
    const ExactCopy shp(files.shp), shx(files.shx), dbf(files.dbf), cpg(files.cpg);
    const lindra::shapefile_bytes bytes = {span_of(shp), span_of(shx), span_of(dbf),
                                           text_of({cpg.data(), cpg.size()})};
    const HeapLimit limit(size, iconv_tables);
    // A value may have one byte in the table, and is looked at four times, with the name of its field.
    const StepLimit steps(size + 6 * files.dbf.size(), 50, 2000);
    size_t repairs = 0;
    const auto count = [&](const lindra::repair &told) { repairs += !told.text.empty(); };
    const size_t heard = read(bytes, {files.encoding, count});
    const size_t unheard = read(bytes, {files.encoding, {}});
    if (heard > 0) accept();
    expect(heard == unheard, "the same is read whether repairs are heard or not");
    return 0;
}
