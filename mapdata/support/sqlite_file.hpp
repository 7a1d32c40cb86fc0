// SPDX-License-Identifier: MIT
//
// One SQLite file, read and trusted in nothing: what its schema declares is never run, no statement goes on
// for longer than an honest file of that size needs, and names reach a statement only after they were found
// in the schema. Everything here may throw std::bad_alloc; one file belongs to one thread at a time.
#ifndef LINDRA_SQLITE_FILE_HPP
#define LINDRA_SQLITE_FILE_HPP

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lindra {

// SQLite's names are the same in either case of ASCII letters.
struct CaseBlind {
    using is_transparent = void;
    bool operator()(const std::string &a, const std::string &b) const { return less(a.c_str(), b.c_str()); }
    bool operator()(const std::string &a, const char *b) const { return less(a.c_str(), b); }
    bool operator()(const char *a, const std::string &b) const { return less(a, b.c_str()); }

  private:
    static bool less(const char *a, const char *b) { return sqlite3_stricmp(a, b) < 0; }
};

// An ordinary table, its names as the schema spells them. Columns that are computed are not among its own.
struct SqliteTable {
    std::string name;
    std::vector<std::string> columns;
    const char *row_number; // that of SQLite's names for it which no column has taken

    // Returns null when there is none of that name.
    const std::string *column(const char *wanted) const;
};

class SqliteFile {
  public:
    // Returns null when path is no regular file that SQLite can read.
    static std::unique_ptr<SqliteFile> open(const std::string &path);

    SqliteFile(const SqliteFile &) = delete;
    SqliteFile &operator=(const SqliteFile &) = delete;

    // Returns null when there is no such table, or none whose rows are numbered. The table stays as it was
    // found at first.
    const SqliteTable *table(const char *name);

  private:
    friend class SqliteQuery;

    struct Closer {
        void operator()(sqlite3 *connection) const { sqlite3_close(connection); }
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

    SqliteFile() = default;
    int connect(const std::string &location);
    void distrust();
    bool load(SqliteTable &table);
    bool load_columns(SqliteTable &table);
    sqlite3_stmt *statement(const std::string &sql);
    static int stop_when_endless(void *file);
    int64_t honest_steps() const;

    std::unique_ptr<sqlite3, Closer> connection_;
    std::map<std::string, Statement> statements_;
    std::map<std::string, SqliteTable, CaseBlind> tables_;
    int64_t size_when_opened_ = 0;
    int64_t steps_ = 0;
};

// One run of a statement, which the file keeps prepared for the next one. Texts must outlive it.
class SqliteQuery {
  public:
    SqliteQuery(SqliteFile &file, const std::string &sql);
    ~SqliteQuery();
    SqliteQuery(const SqliteQuery &) = delete;
    SqliteQuery &operator=(const SqliteQuery &) = delete;

    SqliteQuery &bind(int place, std::string_view text);
    SqliteQuery &bind(int place, int64_t number);

    // Goes to the next row; false when there is none, or after a failure.
    bool next();
    bool failed() const { return failed_; }

    // Of the row it stands on, columns counted from 0. The type is that of the value before it was asked for
    // as text; the text is null when memory is exhausted, and valid until the next row.
    int type(int column) const { return sqlite3_column_type(statement_, column); }
    int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
    const char *text(int column) const;
    size_t text_size(int column) const;

  private:
    sqlite3_stmt *statement_;
    bool failed_;
};

// Statements over tables and columns that were found in the schema.
std::string quoted(std::string_view name);
std::string select_next_row(const SqliteTable &table);
std::string select_matching_row(const SqliteTable &table, const std::string &column);
std::string select_columns_of_row(const SqliteTable &table, const std::vector<const std::string *> &columns);

} // namespace lindra

#endif
