// SPDX-License-Identifier: MIT

#include "shapes/sqlite.hpp"

#include "common/memory.hpp"

#include "sqlite_pages.hpp"

#include <cstring>
#include <filesystem>
#include <new>

namespace lindra::tools {

namespace {

constexpr int wait_for_others_ms = 5000;
constexpr int longest_value = 1 << 24; // bytes: no shape has more attributes

// A row takes at least 6 bytes of its file, and the longest of our own statements some 50 steps for each.
constexpr int64_t steps_per_byte = 64;
constexpr int64_t steps_per_byte_of_long_statement = 4096;
constexpr int64_t steps_of_any_file = 100'000;
constexpr int steps_between_looks = 10'000;

// 0 for what is not there.
int64_t file_size(const std::string &path) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(path, missing);
    return missing ? 0 : static_cast<int64_t>(size);
}

std::string advice(int result) {
    if ((result & 0xff) == SQLITE_BUSY)
        return ": another program is writing it; try again when that has ended";
    if ((result & 0xff) == SQLITE_INTERRUPT)
        return " after more steps than a file of its size can account for; it is damaged, or too much is "
               "asked of it";
    if ((result & 0xff) == SQLITE_CORRUPT)
        return "; the file is damaged: delete it and make it anew with lindra index";
    if ((result & 0xff) == SQLITE_NOTADB) return "; name one that lindra index has made";
    if (result == SQLITE_READONLY_ROLLBACK) return ": a run of lindra index was cut short; run it again";
    return "";
}

} // namespace

SqliteConnection::SqliteConnection(std::string path, Access access) : path_(std::move(path)) {
    const int flags =
        access == Access::read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3 *handle = nullptr;
    const int result = open_distrusting_rows(path_.c_str(), &handle, flags);
    handle_.reset(handle);
    if (!handle) fail_without_handle(result);
    sqlite3_extended_result_codes(handle, 1);
    if (result != SQLITE_OK) fail();
    distrust();
    if (access == Access::read) allow_steps(steps_per_byte);
}

// What is not in the file yet is in the log beside it.
void SqliteConnection::allow_steps(int64_t for_each_byte) {
    steps_->allowed = steps_of_any_file + for_each_byte * (file_size(path_) + file_size(path_ + "-wal"));
    sqlite3_progress_handler(handle(), steps_between_looks, stop_when_endless, steps_.get());
}

void SqliteConnection::allow_long_statements() {
    allow_steps(steps_per_byte_of_long_statement);
}

int SqliteConnection::stop_when_endless(void *steps) {
    auto *self = static_cast<Steps *>(steps);
    self->taken += steps_between_looks;
    return self->taken > self->allowed;
}

// After "Defense Against The Dark Arts" (sqlite.org, 2023).
void SqliteConnection::distrust() {
    for (const int setting :
         {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_TRUSTED_SCHEMA,
          SQLITE_DBCONFIG_DQS_DML, SQLITE_DBCONFIG_DQS_DDL})
        sqlite3_db_config(handle(), setting, 0, nullptr);
    sqlite3_db_config(handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_limit(handle(), SQLITE_LIMIT_LENGTH, longest_value);
    sqlite3_limit(handle(), SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_busy_timeout(handle(), wait_for_others_ms);
    sqlite3_exec(handle(), "PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY", nullptr, nullptr,
                 nullptr);
}

void SqliteConnection::run(const char *sql) {
    if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

int64_t SqliteConnection::number(const char *sql) {
    SqliteStatement statement(*this, sql);
    return statement.next() ? statement.integer(0) : 0;
}

void SqliteConnection::fail() const {
    const int result = sqlite3_extended_errcode(handle());
    const int reason = sqlite3_system_errno(handle());
    const bool is_of_system = (result & 0xff) == SQLITE_CANTOPEN || (result & 0xff) == SQLITE_IOERR;
    require_memory(is_of_system ? reason : 0);
    fail(result, sqlite3_errmsg(handle()) +
                     (is_of_system && reason ? std::string(": ") + std::strerror(reason) : ""));
}

// SQLite's own way to say that it has no memory is to give none.
void SqliteConnection::fail_without_handle(int result) const {
    if (result == SQLITE_OK) throw std::bad_alloc();
    fail(result, sqlite3_errstr(result));
}

void SqliteConnection::fail(int result, const std::string &message) const {
    if ((result & 0xff) == SQLITE_NOMEM || result == SQLITE_IOERR_NOMEM) throw std::bad_alloc();
    throw SqliteError(path_ + ": " + message + advice(result), result & 0xff, message);
}

SqliteStatement::SqliteStatement(SqliteConnection &connection, const std::string &sql)
    : connection_(&connection) {
    sqlite3_stmt *statement = nullptr;
    const int result = sqlite3_prepare_v3(connection.handle(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT,
                                          &statement, nullptr);
    statement_.reset(statement);
    check(result);
}

void SqliteStatement::check(int result) const {
    if (result != SQLITE_OK) connection_->fail();
}

SqliteStatement &SqliteStatement::bind(int place, int64_t number) {
    check(sqlite3_bind_int64(statement_.get(), place, number));
    return *this;
}

SqliteStatement &SqliteStatement::bind(int place, double number) {
    check(sqlite3_bind_double(statement_.get(), place, number));
    return *this;
}

SqliteStatement &SqliteStatement::bind(int place, std::string_view text) {
    check(sqlite3_bind_text64(statement_.get(), place, text.data(), text.size(), SQLITE_TRANSIENT,
                              SQLITE_UTF8));
    return *this;
}

SqliteStatement &SqliteStatement::bind_null(int place) {
    check(sqlite3_bind_null(statement_.get(), place));
    return *this;
}

bool SqliteStatement::next() {
    if (!sqlite3_stmt_busy(statement_.get())) connection_->steps_->taken = 0;
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) connection_->fail();
    sqlite3_reset(statement_.get());
    return false;
}

std::string SqliteStatement::text(int column) const {
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement_.get(), column));
    if (!text) return {};
    return {text, static_cast<size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

std::string quoted_name(std::string_view name) {
    std::string text = "\"";
    for (const char letter : name)
        text.append(letter == '"' ? 2 : 1, letter);
    return text += '"';
}

} // namespace lindra::tools
