// SPDX-License-Identifier: MIT
//
// A SQLite file may come from anywhere, and its schema is a program: views, triggers, computed columns and
// virtual tables run when they are read, and pages that point at each other in a ring never end. Only plain
// tables are read here, by statements of one kind, with the defences that "Defense Against The Dark Arts"
// (sqlite.org, 2023) lists turned on, and every statement is stopped when it has taken more steps than the
// bytes of the file can account for.

#include "sqlite_file.hpp"

#include "sqlite_pages.hpp"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace lindra {

namespace {

// The longest row and text that are read: a row larger than this is no entry of an index of shapes.
constexpr int longest_row = 1 << 20;

// A row takes at least 6 bytes of its file, and a search through all rows 3 steps for each.
constexpr int64_t steps_per_byte = 4;
constexpr int64_t steps_of_any_file = 100'000;
constexpr int64_t steps_at_most = int64_t{1} << 31;
constexpr int steps_between_looks = 10'000;

constexpr int wait_for_writers_ms = 1000;

int64_t file_size(const char *path) {
    struct stat found = {};
    return path && stat(path, &found) == 0 ? found.st_size : 0;
}

// Anything but a regular file is refused before it is opened: opening a FIFO or a device can block or act. An
// empty file would pass for an empty database.
bool is_file_with_content(const std::string &path) {
    struct stat found;
    return stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode) && found.st_size != 0;
}

// A location says the same in every build of SQLite, whatever stands in the path; a plain path may be taken
// for a location, or for a database in memory.
std::string location_of(const std::string &path, std::string_view options) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string location = path.starts_with('/') ? "file://" : "file:./";
    for (const char letter : path) {
        if (letter != '%' && letter != '?' && letter != '#') {
            location += letter;
            continue;
        }
        location += '%';
        location += digits[static_cast<unsigned char>(letter) >> 4];
        location += digits[static_cast<unsigned char>(letter) & 15];
    }
    return location.append(options);
}

// What SQLite says then depends on its version and on whether it is the directory or the file system.
bool wants_files_beside_it(int result) {
    return result == SQLITE_READONLY_DIRECTORY || (result & 0xff) == SQLITE_CANTOPEN;
}

// Without these beside it, what is in the file is all there is.
bool has_no_journal(const std::string &path) {
    return access((path + "-wal").c_str(), F_OK) != 0 && access((path + "-journal").c_str(), F_OK) != 0;
}

} // namespace

const std::string *SqliteTable::column(const char *wanted) const {
    for (const std::string &each : columns)
        if (sqlite3_stricmp(each.c_str(), wanted) == 0) return &each;
    return nullptr;
}

std::unique_ptr<SqliteFile> SqliteFile::open(const std::string &path) {
    if (!is_file_with_content(path)) return nullptr;
    // A database in write-ahead mode wants files of its own beside it; where nobody may make them, nobody
    // writes.
    for (const char *options : {"?mode=ro", "?mode=ro&immutable=1"}) {
        std::unique_ptr<SqliteFile> file(new SqliteFile);
        const int result = file->connect(location_of(path, options));
        if (result == SQLITE_OK) return file;
        if (!wants_files_beside_it(result) || !has_no_journal(path)) return nullptr;
    }
    return nullptr;
}

int SqliteFile::connect(const std::string &location) {
    sqlite3 *opened = nullptr;
    const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
    const int result = open_distrusting_rows(location.c_str(), &opened, flags);
    connection_.reset(opened);
    if (result != SQLITE_OK) return result;
    size_when_opened_ = file_size(sqlite3_db_filename(opened, "main"));
    distrust();
    // What cannot be read is found out here: a statement is prepared by the schema.
    const SqliteQuery schema(*this, "SELECT 1 FROM main.sqlite_schema LIMIT 1");
    return schema.failed() ? sqlite3_extended_errcode(opened) : SQLITE_OK;
}

void SqliteFile::distrust() {
    sqlite3 *connection = connection_.get();
    for (const int option : {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_VIEW,
                             SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_DQS_DML})
        sqlite3_db_config(connection, option, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_drop_modules(connection, nullptr);
    sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, longest_row);
    sqlite3_limit(connection, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_busy_timeout(connection, wait_for_writers_ms);
    sqlite3_progress_handler(connection, steps_between_looks, stop_when_endless, this);
    sqlite3_exec(connection, "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY;", nullptr, nullptr,
                 nullptr);
}

int SqliteFile::stop_when_endless(void *file) {
    auto *self = static_cast<SqliteFile *>(file);
    self->steps_ += steps_between_looks;
    return self->steps_ > self->honest_steps();
}

// A writer may have made the file longer since; rows that are not in it yet are in the log beside it.
int64_t SqliteFile::honest_steps() const {
    const char *path = sqlite3_db_filename(connection_.get(), "main");
    const int64_t size = std::max(size_when_opened_, file_size(path)) + file_size(sqlite3_filename_wal(path));
    return std::min(steps_of_any_file + std::min(size, steps_at_most) * steps_per_byte, steps_at_most);
}

const SqliteTable *SqliteFile::table(const char *name) {
    if (const auto known = tables_.find(name); known != tables_.end()) return &known->second;
    SqliteQuery found(*this, "SELECT name FROM main.sqlite_schema WHERE type = 'table' AND rootpage > 0 "
                             "AND name = ?1 COLLATE NOCASE");
    if (!found.bind(1, name).next()) return nullptr;
    const char *spelling = found.text(0);
    if (!spelling) return nullptr;
    SqliteTable table = {spelling, {}, nullptr};
    if (!load(table)) return nullptr;
    std::string key = table.name;
    return &tables_.emplace(std::move(key), std::move(table)).first->second;
}

bool SqliteFile::load(SqliteTable &table) {
    if (!load_columns(table)) return false;
    for (const char *name : {"rowid", "_rowid_", "oid"})
        if (!table.row_number && !table.column(name)) table.row_number = name;
    // A table without row numbers gives itself away when one is asked for.
    return table.row_number && statement(select_next_row(table));
}

bool SqliteFile::load_columns(SqliteTable &table) {
    SqliteQuery columns(*this, "PRAGMA main.table_info(" + quoted(table.name) + ")");
    while (columns.next()) {
        const char *name = columns.text(1);
        if (!name) return false;
        table.columns.emplace_back(name);
    }
    return !columns.failed() && !table.columns.empty();
}

sqlite3_stmt *SqliteFile::statement(const std::string &sql) {
    if (const auto known = statements_.find(sql); known != statements_.end()) return known->second.get();
    sqlite3_stmt *prepared = nullptr;
    if (sqlite3_prepare_v3(connection_.get(), sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK)
        return nullptr;
    Statement owner(prepared);
    statements_.emplace(sql, std::move(owner));
    return prepared;
}

SqliteQuery::SqliteQuery(SqliteFile &file, const std::string &sql) {
    file.steps_ = 0;
    statement_ = file.statement(sql);
    failed_ = !statement_;
}

// Left unfinished, a statement would hold its lock on the file.
SqliteQuery::~SqliteQuery() {
    if (!statement_) return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

SqliteQuery &SqliteQuery::bind(int place, std::string_view text) {
    failed_ = failed_ || sqlite3_bind_text64(statement_, place, text.data(), text.size(), SQLITE_STATIC,
                                             SQLITE_UTF8) != SQLITE_OK;
    return *this;
}

SqliteQuery &SqliteQuery::bind(int place, int64_t number) {
    failed_ = failed_ || sqlite3_bind_int64(statement_, place, number) != SQLITE_OK;
    return *this;
}

bool SqliteQuery::next() {
    if (failed_) return false;
    const int result = sqlite3_step(statement_);
    failed_ = result != SQLITE_ROW && result != SQLITE_DONE;
    return result == SQLITE_ROW;
}

const char *SqliteQuery::text(int column) const {
    return reinterpret_cast<const char *>(sqlite3_column_text(statement_, column));
}

size_t SqliteQuery::text_size(int column) const {
    return static_cast<size_t>(sqlite3_column_bytes(statement_, column));
}

std::string quoted(std::string_view name) {
    std::string text = "\"";
    for (const char letter : name)
        text.append(letter == '"' ? 2 : 1, letter);
    return text += '"';
}

std::string select_next_row(const SqliteTable &table) {
    const std::string row = table.row_number;
    return "SELECT " + row + " FROM main." + quoted(table.name) + " WHERE " + row + " > ?1 ORDER BY " + row +
           " LIMIT 1";
}

// The first comparison finds the row through an index where there is one, and follows what the file declares
// of the column; the second holds whatever the file declares. The row number is not searched by ("+"), so
// that an index over the column is preferred.
std::string select_matching_row(const SqliteTable &table, const std::string &column) {
    const std::string row = table.row_number;
    const std::string name = quoted(column);
    return "SELECT " + row + " FROM main." + quoted(table.name) + " WHERE " + name + " = ?1 AND CAST(" +
           name + " AS TEXT) = ?2 COLLATE BINARY AND +" + row + " >= 0 ORDER BY " + row + " LIMIT 1";
}

// The row number comes first, so that no columns at all make a statement too.
std::string select_columns_of_row(const SqliteTable &table, const std::vector<const std::string *> &columns) {
    std::string names = table.row_number;
    for (const std::string *column : columns)
        names += ", " + quoted(*column);
    return "SELECT " + names + " FROM main." + quoted(table.name) + " WHERE " + table.row_number + " = ?1";
}

} // namespace lindra
