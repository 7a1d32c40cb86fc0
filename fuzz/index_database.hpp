// SPDX-License-Identifier: MIT
//
// Indexes of shapes in the making, with pages as small as SQLite has them.
#ifndef LINDRA_FUZZ_INDEX_DATABASE_HPP
#define LINDRA_FUZZ_INDEX_DATABASE_HPP

#include "sqlite_maker.hpp"

#include <sqlite3.h>

#include <string>

namespace lindra::fuzz {

// A connection takes room for the first 20 pages at once, and holds one or two more, of as many bytes as the
// file says: up to 64 KiB, whatever the size of the file. Two connections are open at once. A row that goes
// on in further pages has 8 bytes for each of them, of 476 bytes, and may claim 16 MiB before its length is
// compared with the file's; a statement looks at up to four rows.
inline constexpr size_t first_pages = 22 * (64 << 10);
inline constexpr size_t claimed_pages = (16 << 20) / 476;
inline constexpr size_t memory_of_sqlite = 2 * first_pages + 4 * 8 * claimed_pages;

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

// What fetching one point of a shapefile needs, at (1, 2), and no more.
inline std::string small_index(const std::string &shapefile) {
    return database_of(R"(
PRAGMA application_id = 0x4c645368;
PRAGMA user_version = 1;
CREATE TABLE filename(fileid INTEGER PRIMARY KEY, filename, size, mtime_ns, beside);
CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid, offset, length, recno, attributes);
)" + insert("filename", "1, '" + shapefile + "', 156, 0, ''") +
                       insert("shape", R"(1, 1, 100, 20, 1, '{"NAME":"x"}')"));
}

// What selecting it by a window and by an expression needs.
inline std::string small_tree(const std::string &shapefile) {
    return database_of(R"(
PRAGMA application_id = 0x4c645368;
PRAGMA user_version = 1;
CREATE TABLE filename(fileid INTEGER PRIMARY KEY, filename);
CREATE TABLE field(name);
CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid, recno, shape_type, xmin, ymin, xmax, ymax, attributes);
)" + std::string(index_tree) +
                       insert("filename", "1, '" + shapefile + "'") + insert("field", "'NAME'") +
                       insert("shape_box", "1, 1, 1, 2, 2") +
                       insert("shape", R"(1, 1, 1, 1, 1, 2, 1, 2, '{"NAME":"x"}')"));
}

} // namespace lindra::fuzz

#endif
