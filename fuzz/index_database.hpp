// SPDX-License-Identifier: MIT
//
// Indexes of shapes in the making, with pages as small as SQLite has them.
#ifndef LINDRA_FUZZ_INDEX_DATABASE_HPP
#define LINDRA_FUZZ_INDEX_DATABASE_HPP

#include "sqlite_maker.hpp"

#include <sqlite3.h>

#include <string>

namespace lindra::fuzz {

inline constexpr const char *index_tables = R"(
PRAGMA application_id = 0x4c645368;
PRAGMA user_version = 1;
CREATE TABLE filename(fileid INTEGER PRIMARY KEY, filename TEXT, size INTEGER, mtime_ns INTEGER, beside TEXT);
CREATE TABLE field(fileid INTEGER, position INTEGER, name TEXT, type TEXT,
    PRIMARY KEY(fileid, position)) WITHOUT ROWID;
CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid INTEGER, offset INTEGER, length INTEGER,
    recno INTEGER, shape_type INTEGER, xmin REAL, ymin REAL, xmax REAL, ymax REAL, attributes TEXT);
CREATE INDEX shape_fileid ON shape(fileid);
)";

// Left out now and then, it makes a database that is small enough for the corpus.
inline constexpr const char *index_tree =
    "CREATE VIRTUAL TABLE shape_box USING rtree(shapeid, xmin, xmax, ymin, ymax);";

inline std::string insert(const char *table, const std::string &values) {
    return std::string("INSERT OR IGNORE INTO ") + table + " VALUES(" + values + ");";
}

inline std::string content(sqlite3 *connection) {
    sqlite3_int64 size = 0;
    unsigned char *bytes = sqlite3_serialize(connection, "main", &size, 0);
    std::string all(reinterpret_cast<char *>(bytes), static_cast<size_t>(size));
    sqlite3_free(bytes);
    return all;
}

inline std::string database_of(const std::string &sql) {
    const test::SqliteMaker maker(":memory:", "PRAGMA page_size = 512;" + sql);
    return content(maker.connection());
}

// One point of a shapefile, at (1, 2); with or without a box in the tree.
inline std::string index_database(const std::string &shapefile, bool has_tree) {
    const std::string rows = insert("field", "1, 1, 'NAME', 'C'") +
                             insert("filename", "1, '" + shapefile + "', 156, 0, ''") +
                             insert("shape", R"(1, 1, 100, 20, 1, 1, 1, 2, 1, 2, '{"NAME":"x"}')");
    const std::string tree = index_tree + insert("shape_box", "1, 1, 1, 2, 2");
    return database_of(index_tables + (has_tree ? tree : "") + rows);
}

} // namespace lindra::fuzz

#endif
