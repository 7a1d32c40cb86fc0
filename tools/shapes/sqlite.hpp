// SPDX-License-Identifier: MIT
//
// A SQLite database of the command's own: the connection and its statements. Every failure throws SqliteError
// with the file's name and what SQLite says.
#ifndef LINDRA_TOOLS_SQLITE_HPP
#define LINDRA_TOOLS_SQLITE_HPP

#include "common/errors.hpp"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace lindra::tools {

// What SQLite says, and its number for it.
struct SqliteError : DataError {
    SqliteError(const std::string &text, int number, std::string told)
        : DataError(text), result(number), message(std::move(told)) {}

    int result;
    std::string message;
};

class SqliteConnection {
  public:
    enum class Access { read, write };

    // Opens the file at path, an absolute one; for writing it is made when it is not there. Nothing that the
    // schema of a file declares is run (views, triggers, functions in it), and a text in double quotes is a
    // name and nothing else. A statement that reads is stopped when it has taken more steps than the bytes of
    // the file can account for, since damaged pages that lead to each other hold rows without end.
    SqliteConnection(std::string path, Access access);

    const std::string &path() const { return path_; }
    sqlite3 *handle() const { return handle_.get(); }

    void run(const char *sql);
    int64_t number(const char *sql);

    // For statements that have far more to do for each row than to read it.
    void allow_long_statements();

    [[noreturn]] void fail() const;

  private:
    friend class SqliteStatement;

    // Where SQLite looks for it, wherever the connection is moved.
    struct Steps {
        int64_t taken = 0;
        int64_t allowed = 0;
    };

    struct Closer {
        void operator()(sqlite3 *handle) const { sqlite3_close_v2(handle); }
    };

    [[noreturn]] void fail(int result, const std::string &message) const;
    [[noreturn]] void fail_without_handle(int result) const;
    void distrust();
    void allow_steps(int64_t for_each_byte);
    static int stop_when_endless(void *steps);

    std::string path_;
    std::unique_ptr<Steps> steps_ = std::make_unique<Steps>();
    std::unique_ptr<sqlite3, Closer> handle_;
};

// A prepared statement. Places and columns are counted as SQLite does: places from 1, columns from 0.
class SqliteStatement {
  public:
    SqliteStatement(SqliteConnection &connection, const std::string &sql);

    SqliteStatement &bind(int place, int64_t number);
    SqliteStatement &bind(int place, double number);
    SqliteStatement &bind(int place, std::string_view text);
    SqliteStatement &bind_null(int place);

    // Goes to the next row; after the last one the statement is ready to be run again.
    bool next();

    // Runs a statement that has no rows.
    void run() {
        while (next()) {
        }
    }

    int64_t integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }
    std::string text(int column) const;
    bool is_null(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }

  private:
    struct Finalizer {
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };

    void check(int result) const;

    SqliteConnection *connection_;
    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

// The name as SQL has it, in double quotes.
std::string quoted_name(std::string_view name);

} // namespace lindra::tools

#endif
