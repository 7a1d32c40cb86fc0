// SPDX-License-Identifier: MIT
//
// Shapefiles with their index and table, made of given coordinates and rows, with any field of a header
// wrong; and a shapefile opened on them.
#ifndef LINDRA_TESTS_SHAPEFILE_FILES_HPP
#define LINDRA_TESTS_SHAPEFILE_FILES_HPP

#include "guarded_buffer.hpp"
#include "little_endian.hpp"
#include "shapefile_builder.hpp"

#include "lindra/lindra.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lindra::test {

inline std::string le_doubles(const std::vector<double> &numbers) {
    std::string bytes;
    for (const double number : numbers)
        bytes += le_double(number);
    return bytes;
}

using Path = std::vector<std::pair<double, double>>;

inline std::string coordinates(const std::vector<Path> &parts) {
    std::string bytes;
    for (const Path &part : parts)
        for (const auto &[x, y] : part)
            bytes += le_double(x) + le_double(y);
    return bytes;
}

inline std::string point_shape(double x, double y) {
    return le32(SHAPE_POINT) + le_double(x) + le_double(y);
}

// A polyline or polygon of any kind, up to its points.
inline std::string path_shape(int32_t type, const std::vector<Path> &parts) {
    std::string indexes;
    size_t count = 0;
    for (const Path &part : parts) {
        indexes += le32(static_cast<int64_t>(count));
        count += part.size();
    }
    return le32(type) + le_doubles({0, 0, 10, 10}) + le32(static_cast<int64_t>(parts.size())) +
           le32(static_cast<int64_t>(count)) + indexes + coordinates(parts);
}

inline std::string multipoint_shape(const Path &points) {
    return le32(SHAPE_MULTIPOINT) + le_doubles({0, 0, 10, 10}) + le32(static_cast<int64_t>(points.size())) +
           coordinates({points});
}

// The least value and the greatest, and the values, as heights and measures are stored.
inline std::string extras(const std::vector<double> &numbers) {
    return le_doubles({0, 0}) + le_doubles(numbers);
}

inline std::string file_header(size_t size, int32_t type) {
    return shp::header(static_cast<int32_t>(size / 2), type);
}

// words: what the length field says, where that is not the length.
inline std::string record_bytes(int32_t number, const std::string &contents,
                                std::optional<int32_t> words = {}) {
    return shp::record_header(number, words.value_or(static_cast<int32_t>(contents.size() / 2))) + contents;
}

// The records, one after the other, below a header that fits.
inline std::string main_file(int32_t type, const std::string &records) {
    return file_header(100 + records.size(), type) + records;
}

inline std::string main_file_of(int32_t type, const std::vector<std::string> &shapes) {
    std::string records;
    int32_t number = 0;
    for (const std::string &shape : shapes)
        records += record_bytes(++number, shape);
    return main_file(type, records);
}

// An index with an entry for each pair of offset and size of contents, in bytes.
inline std::string index_file(int32_t type, const std::vector<std::pair<size_t, size_t>> &entries) {
    std::string bytes = file_header(100 + 8 * entries.size(), type);
    for (const auto &[offset, size] : entries)
        bytes += be32(static_cast<int64_t>(offset / 2)) + be32(static_cast<int64_t>(size / 2));
    return bytes;
}

using Lines = std::vector<std::string>;

struct Column {
    std::string name;
    char type;
    int length;
    int decimals = 0;
};

struct TableHeader {
    uint8_t flags = 3;
    uint8_t language_id = 0;
    std::optional<int64_t> rows = {};
    std::optional<int> header_size = {};
    std::optional<int> row_size = {};
    std::string mark = "\r"; // behind the descriptors
};

inline std::string padded(std::string text, size_t size, char with = '\0') {
    text.resize(size, with);
    return text;
}

// rows: with their flags, and of one size each.
inline std::string table_file(const std::vector<Column> &columns, const std::vector<std::string> &rows,
                              const TableHeader &header = {}) {
    std::string descriptors;
    int row_size = 1;
    for (const Column &column : columns) {
        descriptors += padded(column.name, 11) + column.type + std::string(4, '\0') +
                       static_cast<char>(column.length) + static_cast<char>(column.decimals) +
                       std::string(14, '\0');
        row_size += column.length;
    }
    descriptors += header.mark;
    const int header_size = 32 + static_cast<int>(descriptors.size());
    std::string bytes = static_cast<char>(header.flags) + std::string("\x7a\x01\x02") +
                        le32(header.rows.value_or(static_cast<int64_t>(rows.size()))) +
                        le16(header.header_size.value_or(header_size)) +
                        le16(header.row_size.value_or(row_size)) + std::string(17, '\0') +
                        static_cast<char>(header.language_id) + std::string(2, '\0') + descriptors;
    for (const std::string &row : rows)
        bytes += row;
    return bytes + "\x1a";
}

// The files in memory that ends at pages that cannot be read, and what is told while they are read.
class OpenShapefile {
  public:
    explicit OpenShapefile(const std::string &shp, const std::string &shx = "", const std::string &dbf = "",
                           std::string cpg = "", const std::string &encoding = "")
        : shp_(shp), shx_(shx), dbf_(dbf), cpg_(std::move(cpg)),
          file_({bytes(shp_), bytes(shx_), bytes(dbf_), cpg_},
                {encoding, [this](const repair &told) { repairs_.push_back(told); }}) {}

    shapefile &operator*() { return file_; }
    shapefile *operator->() { return &file_; }
    const std::vector<repair> &repairs() const { return repairs_; }

    // How many repairs of that kind were told.
    size_t told(repair_kind kind) const {
        size_t count = 0;
        for (const repair &each : repairs_)
            count += each.kind == kind;
        return count;
    }

    // Those repairs, each with its place: "FILE:BYTE: TEXT".
    std::vector<std::string> lines(repair_kind kind) const {
        std::vector<std::string> all;
        for (const repair &each : repairs_)
            if (each.kind == kind)
                all.push_back(each.file + ":" + std::to_string(each.offset) + ": " + each.text);
        return all;
    }

  private:
    static byte_span bytes(const GuardedBuffer &buffer) { return {buffer.data(), buffer.size()}; }

    std::vector<repair> repairs_;
    GuardedBuffer shp_, shx_, dbf_;
    std::string cpg_;
    shapefile file_;
};

// Looks at everything there is in a file, and returns how many points and values there were.
inline size_t read_everything(const shapefile &file) {
    size_t seen = 0;
    for (const shape_record &record : file) {
        for (const shape_part part : record.parts())
            for (const shape_point p : part)
                seen += p.x == p.x;
        for (size_t i = 0; i < record.points().size(); i++)
            seen += record.z(i).has_value() + record.m(i).has_value();
        for (size_t i = 0; i < record.attributes().size(); i++)
            seen += record.attributes()[i].index() != 0;
        seen += geojson(record).size() + record.bbox().has_value();
    }
    return seen;
}

} // namespace lindra::test

#endif
