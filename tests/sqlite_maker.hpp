// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_SQLITE_MAKER_HPP
#define LINDRA_TESTS_SQLITE_MAKER_HPP

#include <sqlite3.h>

#include <stdexcept>
#include <string>

namespace lindra::test {

// A connection that makes and changes a database, by SQLite itself.
class SqliteMaker {
  public:
    explicit SqliteMaker(const std::string &path, const std::string &sql = "") {
        if (sqlite3_open(path.c_str(), &connection_) != SQLITE_OK) throw std::runtime_error("sqlite3_open");
        run(sql);
    }
    ~SqliteMaker() { sqlite3_close(connection_); }
    SqliteMaker(const SqliteMaker &) = delete;
    SqliteMaker &operator=(const SqliteMaker &) = delete;

    sqlite3 *connection() const { return connection_; }

    void run(const std::string &sql) {
        char *message = nullptr;
        if (sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK)
            throw std::runtime_error(message ? message : "sqlite3_exec");
    }

    int number(const std::string &sql) {
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr);
        const int value = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
        sqlite3_finalize(statement);
        return value;
    }

  private:
    sqlite3 *connection_ = nullptr;
};

} // namespace lindra::test

#endif
