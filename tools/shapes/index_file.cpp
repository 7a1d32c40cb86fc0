// SPDX-License-Identifier: MIT
//
// What the library's fetch of shapes reads are the tables shape and filename. The R*Tree has 32-bit numbers,
// rounded outward, so that it finds what may meet a window; the columns of shape decide.

#include "shapes/index_file.hpp"

#include "common/errors.hpp"
#include "common/memory.hpp"
#include "common/presence.hpp"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

// "LdSh", in the header of the file, and the number of the layout below.
constexpr int64_t application_mark = 0x4c645368;
constexpr int64_t layout_version = 1;

// Numbers of files and shapes are never used again.
constexpr const char *schema = R"(
PRAGMA application_id = 0x4c645368;
PRAGMA user_version = 1;
CREATE TABLE filename(
    fileid INTEGER PRIMARY KEY AUTOINCREMENT,
    filename TEXT NOT NULL UNIQUE,
    size INTEGER NOT NULL,
    mtime_ns INTEGER NOT NULL,
    beside TEXT NOT NULL);
CREATE TABLE field(
    fileid INTEGER NOT NULL,
    position INTEGER NOT NULL,
    name TEXT NOT NULL,
    type TEXT NOT NULL,
    PRIMARY KEY(fileid, position)) WITHOUT ROWID;
CREATE TABLE shape(
    shapeid INTEGER PRIMARY KEY AUTOINCREMENT,
    fileid INTEGER NOT NULL,
    offset INTEGER NOT NULL,
    length INTEGER NOT NULL,
    recno INTEGER NOT NULL,
    shape_type INTEGER NOT NULL,
    xmin REAL, ymin REAL, xmax REAL, ymax REAL,
    attributes TEXT);
CREATE INDEX shape_fileid ON shape(fileid);
CREATE VIRTUAL TABLE shape_box USING rtree(shapeid, xmin, xmax, ymin, ymax);
)";

void require_regular_file(const fs::path &path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw DataError(path.string() + " is no regular file; name another one for the index");
}

void require_index(SqliteConnection &connection) {
    if (connection.number("PRAGMA application_id") != application_mark)
        throw DataError(connection.path() + " is a database of another kind, and no index of shapes");
    if (const int64_t version = connection.number("PRAGMA user_version"); version != layout_version)
        throw DataError(connection.path() + " is an index of version " + std::to_string(version) +
                        ", and this lindra has version " + std::to_string(layout_version) +
                        "; make a new one with lindra index");
}

// A link that leads nowhere, or round, is there for those who look.
[[noreturn]] void refuse_absent(const fs::path &path) {
    std::error_code unknown;
    if (fs::is_symlink(fs::symlink_status(path, unknown)))
        throw DataError(path.string() + " is a link that leads nowhere; name the index itself");
    throw DataError(path.string() + " is not there; make it with lindra index DIRECTORY -o " + path.string());
}

// Where SQLite may make no file it tries to read one, and then tells that there is none.
void require_place(const fs::path &path) {
    const fs::path directory = path.parent_path();
    if (!is_there(directory))
        throw DataError(path.string() + " cannot be made; make the directory " + directory.string() +
                        " first");
    if (!is_there(path) && access(directory.c_str(), W_OK | X_OK) != 0)
        throw DataError(path.string() + " cannot be made: " + std::strerror(errno));
}

} // namespace

fs::path absolute_path(const fs::path &path) {
    if (path.empty()) throw UsageError("the name of a file is empty; leave it out, or name one");
    std::error_code reason;
    fs::path absolute = fs::absolute(path, reason);
    require_memory(reason.value());
    if (reason)
        throw DataError("the directory that lindra runs in cannot be found: " + reason.message() +
                        "; go to another one, or name " + path.string() + " by its whole path");
    return absolute;
}

fs::path whole_path(const fs::path &path) {
    const fs::path absolute = absolute_path(path);
    std::error_code unresolved;
    const fs::path whole = fs::weakly_canonical(absolute, unresolved);
    return unresolved ? absolute.lexically_normal() : whole;
}

SqliteConnection open_index(const fs::path &path) {
    require_regular_file(path);
    if (!is_there(path)) refuse_absent(path);
    // SQLite would take it for a database without tables.
    std::error_code ignored;
    if (fs::file_size(path, ignored) == 0)
        throw DataError(path.string() + " is empty; if no run of lindra index has just begun it, run one");
    SqliteConnection connection(path.string(), SqliteConnection::Access::read);
    require_index(connection);
    return connection;
}

SqliteConnection open_index_for_writing(const fs::path &path) {
    require_regular_file(path);
    require_place(path);
    SqliteConnection connection(path.string(), SqliteConnection::Access::write);
    connection.run("PRAGMA cache_size = -65536; BEGIN IMMEDIATE");
    if (fs::file_size(path) == 0)
        connection.run(schema);
    else
        require_index(connection);
    return connection;
}

} // namespace lindra::tools
