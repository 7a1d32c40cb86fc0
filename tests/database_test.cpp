// SPDX-License-Identifier: MIT

#include "allocations.hpp"
#include "endless_tree.hpp"
#include "lying_row.hpp"
#include "ordinary_user.hpp"
#include "special_file.hpp"
#include "sqlite_maker.hpp"
#include "temporary_directory.hpp"
#include "torture/faults.hpp"

#include "support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace lindra::test;

namespace {

// --- SQLite's memory, taken by this program's own malloc, which an AllocationWatch counts and makes fail.

constexpr size_t front = 16; // keeps the size, and the alignment

void *sqlite_malloc(int size) {
    auto *block = static_cast<char *>(malloc(static_cast<size_t>(size) + front));
    if (!block) return nullptr;
    memcpy(block, &size, sizeof size);
    return block + front;
}
void sqlite_free(void *block) {
    if (block) free(static_cast<char *>(block) - front);
}
void *sqlite_realloc(void *block, int size) {
    auto *grown =
        static_cast<char *>(realloc(static_cast<char *>(block) - front, static_cast<size_t>(size) + front));
    if (!grown) return nullptr;
    memcpy(grown, &size, sizeof size);
    return grown + front;
}
int sqlite_size(void *block) {
    int size = 0;
    if (block) memcpy(&size, static_cast<char *>(block) - front, sizeof size);
    return size;
}
int sqlite_roundup(int size) {
    return (size + 7) / 8 * 8;
}
int sqlite_memory_init(void *) {
    return SQLITE_OK;
}
void sqlite_memory_shutdown(void *) {}

sqlite3_mem_methods usual_memory = {};
constexpr sqlite3_mem_methods counted_memory = {
    sqlite_malloc,  sqlite_free,        sqlite_realloc,         sqlite_size,
    sqlite_roundup, sqlite_memory_init, sqlite_memory_shutdown, nullptr};

// --- The connection that the library opened last, and how many statements it has prepared.

sqlite3 *library_connection = nullptr;
std::atomic<int> prepared = 0;

int count_prepared(void *, int action, const char *, const char *, const char *, const char *) {
    if (action == SQLITE_SELECT || action == SQLITE_PRAGMA) prepared++;
    return SQLITE_OK;
}

int watch_connection(sqlite3 *connection, char **, const void *) {
    library_connection = connection;
    return sqlite3_set_authorizer(connection, count_prepared, nullptr);
}

// Of SQLite's settings of it.
int option(int which) {
    int value = -1;
    sqlite3_db_config(library_connection, which, -1, &value);
    return value;
}
int pragma(const char *name) {
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(library_connection, (std::string("PRAGMA ") + name).c_str(), -1, &statement, nullptr);
    const int value = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
    sqlite3_finalize(statement);
    return value;
}

int status_sum(int what) {
    int sum = 0;
    for (sqlite3_stmt *each = sqlite3_next_stmt(library_connection, nullptr); each;
         each = sqlite3_next_stmt(library_connection, each))
        sum += sqlite3_stmt_status(each, what, 0);
    return sum;
}

constexpr const char *world =
    "CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid INTEGER, offset INTEGER);"
    "CREATE TABLE filename(fileid INTEGER, filename TEXT);"
    "CREATE INDEX by_fileid ON filename(fileid);"
    "INSERT INTO shape VALUES(1, 17, 100), (2, 18, 228), (17, 17, 356);"
    "INSERT INTO filename VALUES(17, 'shapes/roads.shp'), (18, '/data/rivers.shp');";

constexpr const char *small_pages = "PRAGMA page_size = 512;";

std::string bytes_of(const std::string &file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

size_t root_of(const std::string &file, const char *name) {
    const std::string sql = "SELECT rootpage FROM sqlite_schema WHERE name = ";
    return static_cast<size_t>(SqliteMaker(file).number(sql + "'" + name + "'"));
}

struct DatabaseTest : testing::Test {
    static void SetUpTestSuite() {
        sqlite3_shutdown();
        ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_GETMALLOC, &usual_memory), SQLITE_OK);
        ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_MALLOC, &counted_memory), SQLITE_OK);
        ASSERT_EQ(sqlite3_initialize(), SQLITE_OK);
    }
    static void TearDownTestSuite() {
        sqlite3_shutdown();
        ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_MALLOC, &usual_memory), SQLITE_OK);
    }
    ~DatabaseTest() override {
        for (const Dbptr view : open_)
            lindra_db_close(view);
    }

    // A database whose row of "filename" stands at that place of its page, and tells its length by bytes that
    // go on to the page's end.
    std::string with_endless_length(size_t place) const {
        const std::string sound = made(small_pages + std::string(world), "sound");
        std::string file = bytes_of(sound);
        const size_t page = (root_of(sound, "filename") - 1) * lying_page_size;
        file.replace(page + 3, 2, be16(1));
        file.replace(page + 8, 2, be16(static_cast<int>(place)));
        file.replace(page + place, lying_page_size - place, lying_page_size - place, '\xff');
        std::filesystem::remove(sound);
        return directory.write("lying", file);
    }

    std::string path(const char *name = "world") const { return (directory.path() / name).string(); }

    std::string made(const std::string &sql, const char *name = "world") const {
        SqliteMaker(path(name), sql);
        return path(name);
    }

    Dbptr opened(const std::string &file) {
        Dbptr view = {};
        EXPECT_EQ(lindra_db_open(file.c_str(), &view), 0);
        open_.push_back(view);
        return view;
    }

    Dbptr opened_with(const std::string &sql) { return opened(made(sql)); }

    // Opened with its statements counted.
    Dbptr watched(const std::string &file) {
        const auto entry = reinterpret_cast<void (*)()>(watch_connection);
        sqlite3_auto_extension(entry);
        const Dbptr view = opened(file);
        sqlite3_cancel_auto_extension(entry);
        return view;
    }

    static Dbptr file_row(Dbptr view, const char *fileid) {
        return dblookup(view, nullptr, "filename", "fileid", fileid);
    }

    static bool has_table(Dbptr view, const char *name) {
        return dblookup(view, nullptr, name, nullptr, nullptr).record != LINDRA_DB_NO_RECORD;
    }

    static std::string filename_of(Dbptr view) {
        char name[256];
        memset(name, '#', sizeof name);
        return dbgetv(view, nullptr, "filename", name, nullptr) == 0 ? name : "failed";
    }

    // What "filename" holds in a table of one row with that value.
    std::string read_back(const std::string &value) {
        std::filesystem::remove(path());
        const Dbptr view = opened_with(
            "CREATE TABLE filename(fileid, filename); INSERT INTO filename VALUES(17, " + value + ")");
        return filename_of(file_row(view, "17"));
    }

    // What "fileid" holds in a table of one row with that value; -1 after a failure.
    long read_number(const std::string &value, const char *type = "") {
        std::filesystem::remove(path());
        const Dbptr view = opened_with("CREATE TABLE shape(fileid " + std::string(type) +
                                       "); INSERT INTO shape VALUES(" + value + ")");
        long number = -7;
        const Dbptr row = lindra_db_next(dblookup(view, nullptr, "shape", nullptr, nullptr));
        if (dbgetv(row, nullptr, "fileid", &number, nullptr) == 0) return number;
        EXPECT_EQ(number, -7);
        return -1;
    }

    // The record that the text is found in, in a table of one row with that value.
    int64_t found(const std::string &value, const char *text, const char *type = "") {
        std::filesystem::remove(path());
        const Dbptr view = opened_with("CREATE TABLE filename(fileid " + std::string(type) +
                                       "); INSERT INTO filename VALUES(" + value + ")");
        return file_row(view, text).record;
    }

    TemporaryDirectory directory;

  private:
    std::vector<Dbptr> open_;
};

bool same(Dbptr a, Dbptr b) {
    return a.database == b.database && a.table == b.table && a.field == b.field && a.record == b.record;
}

} // namespace

// --- Opening

TEST_F(DatabaseTest, new_view_stands_on_nothing_in_particular) {
    const Dbptr view = opened_with(world);
    EXPECT_GT(view.database, 0);
    EXPECT_TRUE(has_table(view, "shape"));
    EXPECT_EQ(view.table, LINDRA_DB_ALL);
    EXPECT_EQ(view.field, LINDRA_DB_ALL);
    EXPECT_EQ(view.record, LINDRA_DB_ALL);
}

TEST_F(DatabaseTest, what_is_no_database_is_refused_and_the_view_left_alone) {
    const std::string fifo = path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string refused[] = {path("missing"),
                                   directory.path().string(),
                                   fifo,
                                   "/dev/zero",
                                   directory.write("e", ""),
                                   directory.write("text", std::string(5000, 'x')),
                                   ":memory:",
                                   ""};
    for (const std::string &each : refused) {
        Dbptr view = {1, 2, 3, 4};
        EXPECT_EQ(lindra_db_open(each.c_str(), &view), -1) << each;
        EXPECT_TRUE(same(view, {1, 2, 3, 4})) << each;
    }
    EXPECT_FALSE(std::filesystem::exists(path("missing")));
    Dbptr view;
    EXPECT_EQ(lindra_db_open(nullptr, &view), -1);
    EXPECT_EQ(lindra_db_open(path().c_str(), nullptr), -1);
}

TEST_F(DatabaseTest, any_path_names_the_file_itself) {
    for (const char *name : {"a?mode=memory", "100%41", "a#b", "file:x", ":memory:", "with blank"}) {
        std::filesystem::rename(made(world), path(name));
        EXPECT_EQ(filename_of(file_row(opened(path(name)), "18")), "/data/rivers.shp") << name;
        EXPECT_EQ(filename_of(file_row(opened(std::string("/").append(path(name))), "18")),
                  "/data/rivers.shp")
            << name;
        const std::string relative = std::filesystem::relative(path(name)).string();
        EXPECT_EQ(filename_of(file_row(opened(relative), "18")), "/data/rivers.shp") << relative;
    }
}

TEST_F(DatabaseTest, colon_names_in_the_working_directory_are_files) {
    std::filesystem::rename(made(world), path(":memory:"));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    const Dbptr view = opened(":memory:");
    std::filesystem::current_path(before);
    EXPECT_EQ(filename_of(file_row(view, "18")), "/data/rivers.shp");
}

TEST_F(DatabaseTest, closed_database_is_gone_for_every_view) {
    const Dbptr view = opened_with(world);
    const Dbptr row = file_row(view, "17");
    EXPECT_EQ(lindra_db_close(row), 0);
    EXPECT_EQ(lindra_db_close(view), -1);
    const Dbptr other = opened(path());
    EXPECT_NE(other.database, view.database);
    char *file = nullptr;
    EXPECT_EQ(filename_of(row), "failed");
    EXPECT_EQ(dbquery(row, LINDRA_DB_FILE_PATH, &file), -1);
    EXPECT_EQ(file_row(view, "17").record, LINDRA_DB_NO_RECORD);
    EXPECT_EQ(lindra_db_next(row).record, LINDRA_DB_NO_RECORD);
}

TEST_F(DatabaseTest, zeroed_view_fails_everywhere) {
    char *file = nullptr;
    long number;
    EXPECT_EQ(dbgetv(Dbptr{}, nullptr, "fileid", &number, nullptr), -1);
    EXPECT_EQ(dbquery(Dbptr{}, LINDRA_DB_FILE_PATH, &file), -1);
    EXPECT_EQ(file_row(Dbptr{}, "17").record, -102);
    EXPECT_EQ(dblookup(Dbptr{}, nullptr, nullptr, "dbALL", nullptr).record, -102);
    EXPECT_EQ(lindra_db_close(Dbptr{}), -1);
}

TEST_F(DatabaseTest, connection_has_its_defences) {
    watched(made(world));
    for (const int off : {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_VIEW,
                          SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_DQS_DML})
        EXPECT_EQ(option(off), 0) << off;
    EXPECT_EQ(option(SQLITE_DBCONFIG_DEFENSIVE), 1);
    EXPECT_EQ(sqlite3_limit(library_connection, SQLITE_LIMIT_LENGTH, -1), 1 << 20);
    EXPECT_EQ(sqlite3_limit(library_connection, SQLITE_LIMIT_ATTACHED, -1), 0);
    EXPECT_EQ(pragma("busy_timeout"), 1000);
    EXPECT_EQ(pragma("cell_size_check"), 1);
    EXPECT_EQ(pragma("temp_store"), 2);
    EXPECT_EQ(sqlite3_db_readonly(library_connection, "main"), 1);
}

TEST_F(DatabaseTest, row_of_no_table_has_no_fields) {
    made(world);
    Dbptr row = file_row(opened(path()), "17");
    ASSERT_GE(row.record, 0);
    row.table = 1 << 20;
    char name[256] = "before";
    EXPECT_EQ(dbgetv(row, nullptr, "filename", name, nullptr), -1);
    EXPECT_STREQ(name, "before");
}

// --- dbquery

TEST_F(DatabaseTest, path_is_told_as_it_was_given) {
    made(world);
    const std::string odd = directory.path().string() + "/./world";
    const Dbptr view = opened(odd);
    char *file = nullptr;
    EXPECT_EQ(dbquery(view, -357, &file), 0);
    EXPECT_EQ(file, odd);
    char *again = nullptr;
    EXPECT_EQ(dbquery(file_row(view, "17"), -357, &again), 0);
    EXPECT_EQ(again, file);
}

TEST_F(DatabaseTest, other_queries_fail) {
    const Dbptr view = opened_with(world);
    char *file = nullptr;
    EXPECT_EQ(dbquery(view, 0, &file), -1);
    EXPECT_EQ(dbquery(view, -358, &file), -1);
    EXPECT_EQ(dbquery(view, -357, nullptr), -1);
    EXPECT_EQ(file, nullptr);
}

// --- dblookup

TEST_F(DatabaseTest, shape_leads_to_its_file) {
    const Dbptr view = opened_with(world);
    const Dbptr shape = dblookup(view, nullptr, "shape", "shapeid", "17");
    long fileid = 0, offset = 0;
    ASSERT_EQ(dbgetv(shape, nullptr, "fileid", &fileid, "offset", &offset, nullptr), 0);
    EXPECT_EQ(fileid, 17);
    EXPECT_EQ(offset, 356);
    const Dbptr file = file_row(shape, "17");
    EXPECT_EQ(file.record, 1);
    const Dbptr whole = dblookup(file, nullptr, nullptr, "dbALL", nullptr);
    EXPECT_TRUE(same(whole, {file.database, file.table, LINDRA_DB_ALL, file.record}));
    EXPECT_EQ(filename_of(whole), "shapes/roads.shp");
}

TEST_F(DatabaseTest, null_members_stay) {
    const Dbptr row = file_row(opened_with(world), "17");
    EXPECT_TRUE(same(dblookup(row, nullptr, nullptr, nullptr, nullptr), row));
    const Dbptr other = dblookup(row, nullptr, nullptr, nullptr, "18");
    EXPECT_TRUE(same(other, {row.database, row.table, row.field, 2}));
    const Dbptr shape = dblookup(row, nullptr, "shape", nullptr, nullptr);
    EXPECT_NE(shape.table, row.table);
    EXPECT_EQ(shape.field, row.field);
    EXPECT_EQ(shape.record, row.record);
    EXPECT_EQ(dblookup(shape, nullptr, nullptr, nullptr, "18").record, 2);
}

TEST_F(DatabaseTest, same_names_have_the_same_numbers) {
    const Dbptr view = opened_with(world);
    for (const char *table : {"shape", "filename"}) {
        const Dbptr first = dblookup(view, nullptr, table, "fileid", nullptr);
        EXPECT_TRUE(same(dblookup(view, nullptr, table, "fileid", nullptr), first)) << table;
    }
}

TEST_F(DatabaseTest, what_is_not_there_is_no_record) {
    const Dbptr view = opened_with(world);
    EXPECT_EQ(file_row(view, "19").record, -102);
    EXPECT_EQ(file_row(view, "").record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "none", nullptr, nullptr).record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "filename", "none", nullptr).record, -102);
    EXPECT_EQ(dblookup(view, nullptr, nullptr, "fileid", "17").record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "filename", nullptr, "17").record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "filename", "dbALL", "17").record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "sqlite_schema", "name", "shape").record, -102);
    EXPECT_EQ(dblookup({view.database, 99999, 1, 1}, nullptr, nullptr, nullptr, "17").record, -102);
    EXPECT_EQ(dblookup({view.database, INT64_MIN, INT64_MAX, 1}, nullptr, nullptr, nullptr, "17").record,
              -102);
}

TEST_F(DatabaseTest, two_databases_keep_their_rows_apart) {
    const Dbptr first = opened(made(world, "first"));
    const Dbptr second = opened(made("CREATE TABLE filename(filename, fileid);"
                                     "INSERT INTO filename VALUES('x', 3), ('seas.shp', 17)",
                                     "second"));
    EXPECT_EQ(filename_of(file_row(first, "17")), "shapes/roads.shp");
    EXPECT_EQ(filename_of(file_row(second, "17")), "seas.shp");
    EXPECT_EQ(filename_of(file_row(first, "17")), "shapes/roads.shp");
}

TEST_F(DatabaseTest, view_moves_to_another_open_database_by_its_path) {
    const Dbptr first = opened(made(world, "first"));
    opened(made("CREATE TABLE filename(filename, fileid); INSERT INTO filename VALUES('seas.shp', 17)",
                "second"));
    const Dbptr row = file_row(first, "17");
    const Dbptr moved = dblookup(row, path("second").c_str(), nullptr, nullptr, "17");
    EXPECT_EQ(filename_of(moved), "seas.shp");
    EXPECT_EQ(dblookup(row, path("third").c_str(), nullptr, nullptr, nullptr).record, -102);
}

TEST_F(DatabaseTest, lowest_of_several_rows_is_found) {
    for (const char *index : {"", "CREATE INDEX by_fileid ON filename(fileid);"}) {
        std::filesystem::remove(path());
        const Dbptr view =
            opened_with("CREATE TABLE filename(fileid INTEGER, filename TEXT);" + std::string(index) +
                        "INSERT INTO filename(rowid, fileid) VALUES(9, 17), (5, 17), (7, 17), (-4, 17)");
        EXPECT_EQ(file_row(view, "17").record, 5);
    }
}

TEST_F(DatabaseTest, match_is_one_of_texts) {
    EXPECT_EQ(found("17", "17", "INTEGER"), 1);
    EXPECT_EQ(found("17", "17", "TEXT"), 1);
    EXPECT_EQ(found("17", "17", "REAL"), -102);
    EXPECT_EQ(found("17", "17"), 1);
    EXPECT_EQ(found("'17'", "17"), 1);
    EXPECT_EQ(found("'17'", "17", "TEXT"), 1);
    EXPECT_EQ(found("x'3137'", "17"), -102);
    EXPECT_EQ(found("NULL", "17", "INTEGER"), -102);
    EXPECT_EQ(found("-9223372036854775808", "-9223372036854775808", "INTEGER"), 1);
    EXPECT_EQ(found("9223372036854775807", "9223372036854775808", "INTEGER"), -102);
    for (const char *other : {"017", "+17", " 17", "17 ", "17.0", "1.7e1", "0x11", "17' OR '1'='1", "%"})
        for (const char *type : {"INTEGER", "TEXT", "REAL", ""})
            EXPECT_EQ(found("17", other, type), std::string(other) == "17.0" && *type == 'R' ? 1 : -102)
                << other << " in " << type;
    EXPECT_EQ(found("'Roads'", "roads", "TEXT COLLATE NOCASE"), -102);
    EXPECT_EQ(found("'it''s \"x\"'", "it's \"x\"", "TEXT"), 1);
}

TEST_F(DatabaseTest, names_are_the_same_in_either_case) {
    const Dbptr view =
        opened_with("CREATE TABLE FileName(FILEID, Filename); INSERT INTO FileName VALUES(17, 'a')");
    const Dbptr row = file_row(view, "17");
    EXPECT_EQ(filename_of(row), "a");
    EXPECT_TRUE(same(dblookup(view, nullptr, "FILENAME", "FileId", "17"), row));
}

TEST_F(DatabaseTest, names_never_become_statements) {
    const Dbptr view = opened_with("CREATE TABLE \"a\"\"; DROP TABLE b; --\"(\"x\"\" OR 1=1 --\", y);"
                                   "INSERT INTO \"a\"\"; DROP TABLE b; --\" VALUES('1', '2')");
    EXPECT_EQ(dblookup(view, nullptr, "a\"; DROP TABLE b; --", "x\" OR 1=1 --", "1").record, 1);
    EXPECT_EQ(dblookup(view, nullptr, "a\"; DROP TABLE b; --", "x\" OR 1=1 --", "2").record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "a", nullptr, nullptr).record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "a\"; DROP TABLE b; --", "y = y OR y", "1").record, -102);
}

TEST_F(DatabaseTest, endlessly_long_text_is_no_record) {
    const Dbptr view = opened_with(world);
    EXPECT_EQ(file_row(view, std::string(3'000'000, '1').c_str()).record, -102);
    EXPECT_EQ(dblookup(view, nullptr, std::string(3'000'000, 'x').c_str(), nullptr, nullptr).record, -102);
}

// --- lindra_db_next

TEST_F(DatabaseTest, rows_are_walked_in_their_order) {
    const Dbptr view =
        opened_with("CREATE TABLE shape(fileid INTEGER, offset INTEGER);"
                    "INSERT INTO shape(rowid, fileid) VALUES(40, 4), (0, 1), (7, 2), (-102, 9), (-1, 8),"
                    "(9223372036854775807, 5)");
    std::vector<int64_t> rows;
    Dbptr row = lindra_db_next(dblookup(view, nullptr, "shape", nullptr, nullptr));
    for (; row.record != LINDRA_DB_NO_RECORD; row = lindra_db_next(row))
        rows.push_back(row.record);
    EXPECT_EQ(rows, (std::vector<int64_t>{0, 7, 40, INT64_MAX}));
    EXPECT_EQ(lindra_db_next(row).record, LINDRA_DB_NO_RECORD);
    EXPECT_EQ(lindra_db_next(view).record, LINDRA_DB_NO_RECORD);
}

TEST_F(DatabaseTest, row_0_is_a_row) {
    Dbptr row =
        dblookup(opened_with("CREATE TABLE shape(offset); INSERT INTO shape(rowid, offset) VALUES(0, 5)"),
                 nullptr, "shape", nullptr, nullptr);
    long offset = 0;
    row.record = 0;
    EXPECT_EQ(dbgetv(row, nullptr, "offset", &offset, nullptr), 0);
    EXPECT_EQ(offset, 5);
}

TEST_F(DatabaseTest, caller_may_set_the_row_itself) {
    Dbptr row = dblookup(opened_with(world), nullptr, "shape", nullptr, nullptr);
    long offset = 0;
    row.record = 2;
    EXPECT_EQ(dbgetv(row, nullptr, "offset", &offset, nullptr), 0);
    EXPECT_EQ(offset, 228);
    for (const int64_t record : {int64_t{3}, int64_t{-1}, int64_t{-102}, INT64_MAX, INT64_MIN}) {
        row.record = record;
        EXPECT_EQ(dbgetv(row, nullptr, "offset", &offset, nullptr), -1);
    }
    EXPECT_EQ(offset, 228);
}

// --- dbgetv

TEST_F(DatabaseTest, integers_are_read_and_nothing_else_is) {
    EXPECT_EQ(read_number("17", "INTEGER"), 17);
    EXPECT_EQ(read_number("-9223372036854775808", "INTEGER"), INT64_MIN);
    EXPECT_EQ(read_number("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(read_number("'17'", "TEXT"), 17);
    EXPECT_EQ(read_number("'-5'"), -5);
    EXPECT_EQ(read_number("17.0", "INTEGER"), 17);
    for (const char *other : {"NULL", "17.5", "17.0", "x'3137'", "''", "'17x'", "' 17'", "'+17'", "'0x11'",
                              "'9223372036854775808'", "'roads'", "'17' || char(0)"})
        EXPECT_EQ(read_number(other), -1) << other;
}

TEST_F(DatabaseTest, texts_are_read_and_nothing_else_is) {
    EXPECT_EQ(read_back("'roads.shp'"), "roads.shp");
    EXPECT_EQ(read_back("''"), "");
    EXPECT_EQ(read_back("2020"), "2020");
    for (const char *other : {"NULL", "1.5", "x'61'", "'a' || char(0) || 'b'"})
        EXPECT_EQ(read_back(other), "failed") << other;
}

TEST_F(DatabaseTest, texts_over_255_bytes_are_cut_before_a_character) {
    const auto repeated = [](size_t count, const char *tail) {
        return std::string("'").append(count, 'a').append(tail).append("'");
    };
    EXPECT_EQ(read_back(repeated(254, "b")), std::string(254, 'a') + "b");
    EXPECT_EQ(read_back(repeated(255, "b")), std::string(255, 'a'));
    EXPECT_EQ(read_back(repeated(253, "ø")), std::string(253, 'a') + "ø");
    EXPECT_EQ(read_back(repeated(254, "ø")), std::string(254, 'a'));
    EXPECT_EQ(read_back(repeated(253, "€")), std::string(253, 'a'));
    EXPECT_EQ(read_back(repeated(252, "€")), std::string(252, 'a') + "€");
    EXPECT_EQ(read_back(repeated(252, "🌍")), std::string(252, 'a'));
    EXPECT_EQ(read_back(repeated(251, "🌍x")), std::string(251, 'a') + "🌍");
    EXPECT_EQ(read_back("replace(hex(zeroblob(300)), '00', CAST(x'80' AS TEXT))"), std::string(255, '\x80'));
    EXPECT_EQ(read_back(repeated(252, "") + " || CAST(x'8080808080' AS TEXT)"),
              std::string(252, 'a') + "\x80\x80\x80");
    EXPECT_EQ(read_back("hex(zeroblob(450000))"), std::string(255, '0'));
}

TEST_F(DatabaseTest, row_larger_than_any_index_entry_is_refused) {
    EXPECT_EQ(read_back("hex(zeroblob(2000000))"), "failed");
}

TEST_F(DatabaseTest, text_in_another_encoding_is_utf8_for_the_caller) {
    const Dbptr view =
        opened_with("PRAGMA encoding = 'UTF-16le'; CREATE TABLE filename(fileid TEXT, filename TEXT);"
                    "INSERT INTO filename VALUES('17', 'Øst.shp')");
    EXPECT_EQ(filename_of(file_row(view, "17")), "Øst.shp");
    long fileid = 0;
    EXPECT_EQ(dbgetv(file_row(view, "17"), nullptr, "fileid", &fileid, nullptr), 0);
    EXPECT_EQ(fileid, 17);
}

TEST_F(DatabaseTest, failure_writes_nothing) {
    const Dbptr view = opened_with("CREATE TABLE filename(fileid, offset, filename);"
                                   "INSERT INTO filename VALUES(17, NULL, 'a')");
    const Dbptr row = file_row(view, "17");
    long fileid = 5, offset = 6;
    char name[256] = "before";
    EXPECT_EQ(dbgetv(row, nullptr, "fileid", &fileid, "filename", name, "offset", &offset, nullptr), -1);
    EXPECT_EQ(dbgetv(row, nullptr, "fileid", &fileid, "recno", &offset, nullptr), -1);
    EXPECT_EQ(dbgetv(row, nullptr, "fileid", &fileid, "path", name, nullptr), -1);
    EXPECT_EQ(dbgetv(row, nullptr, "fileid", &fileid, "offset", nullptr, nullptr), -1);
    EXPECT_EQ(fileid, 5);
    EXPECT_EQ(offset, 6);
    EXPECT_STREQ(name, "before");
}

TEST_F(DatabaseTest, table_may_be_named_but_is_the_views_own) {
    const Dbptr row = file_row(opened_with(world), "17");
    long fileid = 0;
    EXPECT_EQ(dbgetv(row, "filename", "fileid", &fileid, nullptr), 0);
    EXPECT_EQ(fileid, 17);
    EXPECT_EQ(dbgetv(row, "shape", "fileid", &fileid, nullptr), -1);
    EXPECT_EQ(dbgetv(row, "none", "fileid", &fileid, nullptr), -1);
}

TEST_F(DatabaseTest, no_fields_tell_whether_the_row_is_there) {
    Dbptr row = file_row(opened_with(world), "17");
    EXPECT_EQ(dbgetv(row, nullptr, nullptr), 0);
    row.record = 3;
    EXPECT_EQ(dbgetv(row, nullptr, nullptr), -1);
}

TEST_F(DatabaseTest, declared_types_do_not_change_what_is_written) {
    const Dbptr view = opened_with("CREATE TABLE filename(fileid TEXT, filename INTEGER);"
                                   "INSERT INTO filename VALUES('17', 12345678901234)");
    struct {
        long value, guard;
    } fileid = {0, 42};
    ASSERT_EQ(dbgetv(file_row(view, "17"), nullptr, "fileid", &fileid.value, nullptr), 0);
    EXPECT_EQ(fileid.value, 17);
    EXPECT_EQ(fileid.guard, 42);
    EXPECT_EQ(filename_of(file_row(view, "17")), "12345678901234");
}

// --- Speed

TEST_F(DatabaseTest, statements_keep_nothing_of_the_callers_text) {
    const Dbptr view = watched(made(world));
    EXPECT_EQ(file_row(view, "its own text").record, -102);
    int statements = 0;
    for (sqlite3_stmt *each = sqlite3_next_stmt(library_connection, nullptr); each;
         each = sqlite3_next_stmt(library_connection, each), statements++) {
        char *sql = sqlite3_expanded_sql(each);
        EXPECT_EQ(strstr(sql, "its own text"), nullptr) << sql;
        sqlite3_free(sql);
    }
    EXPECT_GT(statements, 0);
}

TEST_F(DatabaseTest, second_lookup_prepares_nothing) {
    made(world);
    const Dbptr view = watched(path());
    const auto fetch = [view] { return filename_of(file_row(view, "17")); };
    EXPECT_EQ(fetch(), "shapes/roads.shp");
    const int before = prepared;
    EXPECT_GT(before, 0);
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(fetch(), "shapes/roads.shp");
    EXPECT_EQ(prepared, before);
    EXPECT_EQ(status_sum(SQLITE_STMTSTATUS_REPREPARE), 0);
}

TEST_F(DatabaseTest, index_and_row_number_are_used_in_a_large_table) {
    made("CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid INTEGER, offset INTEGER);"
         "CREATE INDEX by_fileid ON shape(fileid);"
         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)"
         "INSERT INTO shape SELECT i, i + 500000, i * 8 FROM n");
    const Dbptr view = watched(path());
    const Dbptr first = dblookup(view, nullptr, "shape", "fileid", "500001");
    dblookup(view, nullptr, "shape", "shapeid", "1");
    const int before = status_sum(SQLITE_STMTSTATUS_VM_STEP);
    for (int i = 1; i <= 100; i++) {
        const std::string fileid = std::to_string(500000 + i * 1000), shapeid = std::to_string(i * 1000);
        EXPECT_EQ(dblookup(first, nullptr, nullptr, "fileid", fileid.c_str()).record, i * 1000);
        EXPECT_EQ(dblookup(first, nullptr, nullptr, "shapeid", shapeid.c_str()).record, i * 1000);
    }
    EXPECT_EQ(dblookup(first, nullptr, nullptr, "fileid", "7").record, -102);
    EXPECT_EQ(status_sum(SQLITE_STMTSTATUS_FULLSCAN_STEP), 0);
    EXPECT_EQ(status_sum(SQLITE_STMTSTATUS_SORT), 0);
    EXPECT_LT(status_sum(SQLITE_STMTSTATUS_VM_STEP) - before, 202 * 40);
}

TEST_F(DatabaseTest, table_without_index_is_searched_to_its_end) {
    const Dbptr view =
        opened_with("CREATE TABLE shape(fileid);"
                    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300000)"
                    "INSERT INTO shape SELECT NULL FROM n; INSERT INTO shape VALUES('last')");
    EXPECT_EQ(dblookup(view, nullptr, "shape", "fileid", "last").record, 300001);
    std::filesystem::resize_file(path(), 600 << 20);
    const Dbptr larger = opened(path());
    EXPECT_EQ(dblookup(larger, nullptr, "shape", "fileid", "last").record, 300001);
    std::filesystem::remove(path());
    EXPECT_EQ(dblookup(larger, nullptr, "shape", "fileid", "last").record, 300001) << "as long as it was";
}

// --- Files that change or cannot be written beside

TEST_F(DatabaseTest, rows_in_the_write_ahead_log_are_seen) {
    SqliteMaker writer(path(), std::string("PRAGMA journal_mode = WAL;") + world);
    const Dbptr view = opened(path());
    EXPECT_EQ(filename_of(file_row(view, "17")), "shapes/roads.shp");
    writer.run("INSERT INTO filename VALUES(19, 'late.shp')");
    EXPECT_EQ(filename_of(file_row(view, "19")), "late.shp");
}

TEST_F(DatabaseTest, nothing_stays_locked_between_calls) {
    made(world);
    const Dbptr view = opened(path());
    const Dbptr row = file_row(view, "17");
    EXPECT_EQ(filename_of(row), "shapes/roads.shp");
    SqliteMaker writer(path(), "UPDATE filename SET filename = 'new.shp' WHERE fileid = 17");
    EXPECT_EQ(filename_of(row), "new.shp");
}

TEST_F(DatabaseTest, table_that_was_dropped_or_changed_meanwhile_fails) {
    made(world);
    const Dbptr view = opened(path());
    const Dbptr row = file_row(view, "17");
    SqliteMaker writer(path(),
                       "DROP TABLE filename; CREATE VIEW filename AS SELECT 17 AS fileid, 'x' AS filename");
    EXPECT_EQ(filename_of(row), "failed");
    EXPECT_EQ(file_row(view, "17").record, -102);
    EXPECT_EQ(dblookup(view, nullptr, "shape", "shapeid", "17").record, 17);
}

TEST_F(DatabaseTest, deleted_file_stays_readable) {
    const Dbptr view = opened_with(world);
    std::filesystem::remove(path());
    EXPECT_EQ(filename_of(file_row(view, "17")), "shapes/roads.shp");
}

TEST_F(DatabaseTest, database_is_read_where_nothing_can_be_written) {
    for (const char *mode : {"WAL", "DELETE"}) {
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0700));
        std::filesystem::remove(path());
        made("PRAGMA journal_mode = " + std::string(mode) + ";" + world);
        std::filesystem::permissions(path(), std::filesystem::perms(0444));
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0555));
        const bool is_root = geteuid() == 0;
        if (is_root) {
            ASSERT_EQ(seteuid(65534), 0);
        }
        const Dbptr view = opened(path());
        const std::string name = filename_of(file_row(view, "17"));
        if (is_root) {
            ASSERT_EQ(seteuid(0), 0);
        }
        EXPECT_EQ(name, "shapes/roads.shp") << mode;
        const auto here = std::filesystem::directory_iterator(directory.path());
        EXPECT_EQ(std::distance(begin(here), std::filesystem::end(here)), 1) << mode;
    }
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0700));
}

TEST_F(DatabaseTest, database_that_was_left_in_a_change_is_refused_where_nothing_can_be_written) {
    for (const char *beside : {"world-wal", "world-journal"}) {
        made("PRAGMA journal_mode = WAL;" + std::string(world));
        const std::string left = directory.write(beside, std::string(4, '\0'));
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0555));
        {
            const OrdinaryUser user(directory.path());
            Dbptr view = {};
            EXPECT_EQ(lindra_db_open(path().c_str(), &view), -1) << beside;
        }
        std::filesystem::permissions(directory.path(), std::filesystem::perms(0700));
        std::filesystem::remove(left);
        std::filesystem::remove(path());
    }
}

TEST_F(DatabaseTest, database_whose_log_cannot_be_made_is_read_as_it_is) {
    made("PRAGMA journal_mode = WAL;" + std::string(world));
    std::filesystem::create_symlink("nowhere/log", path("world-wal"));
    EXPECT_EQ(filename_of(file_row(opened(path()), "17")), "shapes/roads.shp");
}

TEST_F(DatabaseTest, journal_of_a_change_that_is_over_is_passed_over) {
    made(world);
    directory.write("world-journal", std::string(512, '\0'));
    EXPECT_EQ(filename_of(file_row(opened(path()), "17")), "shapes/roads.shp");
}

namespace {

// What SQLite looks for beside a database.
class SpecialFileBeside : public DatabaseTest, public testing::WithParamInterface<const char *> {
  protected:
    // A file that is waited for would be waited for without end.
    void SetUp() override { alarm(60); }
    void TearDown() override { alarm(0); }

    // What a row is read as with the file beside a database whose journal is of that mode; the database stays
    // as it is.
    std::string read_beside(const char *ending, const std::string &mode) {
        made("PRAGMA journal_mode = " + mode + ";" + world);
        const std::string before = bytes_of(path());
        make_special_file(GetParam(), path() + ending);
        Dbptr view = {};
        const bool is_open = lindra_db_open(path().c_str(), &view) == 0;
        const std::string name = is_open ? filename_of(file_row(view, "17")) : "refused";
        if (is_open) lindra_db_close(view);
        EXPECT_EQ(bytes_of(path()), before);
        for (const std::string each : {"", "-journal", "-wal", "-shm"})
            std::filesystem::remove_all(path() + each);
        return name;
    }

    static bool is_loop() { return GetParam() == std::string("loop"); }
};

} // namespace

TEST_P(SpecialFileBeside, is_refused_as_a_journal_or_log) {
    for (const char *ending : {"-journal", "-wal"})
        for (const char *mode : {"DELETE", "WAL"})
            EXPECT_EQ(read_beside(ending, mode), is_loop() ? "shapes/roads.shp" : "refused")
                << ending << mode;
}

// No other can write in write-ahead mode then, so that the database is read as it is.
TEST_P(SpecialFileBeside, is_no_memory_of_a_log) {
    for (const char *mode : {"DELETE", "WAL"})
        EXPECT_EQ(read_beside("-shm", mode), "shapes/roads.shp") << mode;
}

TEST_P(SpecialFileBeside, is_refused_as_the_memory_of_a_log_that_is_there) {
    made("PRAGMA journal_mode = WAL;" + std::string(world));
    const std::string log = directory.write("world-wal", std::string(4, '\0'));
    make_special_file(GetParam(), path("world-shm"));
    Dbptr view = {};
    EXPECT_EQ(lindra_db_open(path().c_str(), &view), -1);
    EXPECT_EQ(bytes_of(log), std::string(4, '\0'));
}

INSTANTIATE_TEST_SUITE_P(Kinds, SpecialFileBeside, testing::Values("fifo", "directory", "loop", "/dev/zero"),
                         name_of_special_file);

TEST_F(DatabaseTest, file_that_a_writer_holds_is_refused_after_a_wait) {
    made(world);
    SqliteMaker writer(path(), "BEGIN EXCLUSIVE");
    Dbptr view = {};
    EXPECT_EQ(lindra_db_open(path().c_str(), &view), -1);
    writer.run("COMMIT");
    EXPECT_EQ(lindra_db_open(path().c_str(), &view), 0);
    lindra_db_close(view);
}

// --- Hostile files

TEST_F(DatabaseTest, views_are_no_tables) {
    const Dbptr view =
        opened_with("CREATE VIEW filename AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i FROM n)"
                    "SELECT i AS fileid, 'x' AS filename, i AS rowid FROM n");
    EXPECT_FALSE(has_table(view, "filename"));
}

TEST_F(DatabaseTest, view_that_passes_for_a_table_is_none) {
    made("CREATE TABLE shape(fileid); CREATE VIEW filename AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
         "SELECT i FROM n)"
         "SELECT i AS fileid, 'x' AS filename, i AS rowid FROM n;"
         "PRAGMA writable_schema = ON; UPDATE sqlite_schema SET type = 'table', rootpage = 2 WHERE name = "
         "'filename'");
    Dbptr view = {};
    lindra_db_open(path().c_str(), &view);
    EXPECT_FALSE(has_table(view, "filename"));
    lindra_db_close(view);
}

TEST_F(DatabaseTest, virtual_tables_are_none) {
    made("CREATE VIRTUAL TABLE filename USING rtree(fileid, low, high); INSERT INTO filename VALUES(17, 1, "
         "2)");
    EXPECT_FALSE(has_table(opened(path()), "filename"));
    SqliteMaker(path(),
                "PRAGMA writable_schema = ON; UPDATE sqlite_schema SET rootpage = 2 WHERE name = 'filename'");
    EXPECT_FALSE(has_table(opened(path()), "filename"));
}

TEST_F(DatabaseTest, computed_columns_are_none) {
    const Dbptr view = opened_with("CREATE TABLE filename(fileid, filename AS (hex(zeroblob(400000))),"
                                   "offset AS (fileid + 1) STORED); INSERT INTO filename VALUES(17)");
    const Dbptr row = file_row(view, "17");
    long number = 0;
    EXPECT_EQ(row.record, 1);
    EXPECT_EQ(filename_of(row), "failed");
    EXPECT_EQ(dbgetv(row, nullptr, "offset", &number, nullptr), -1);
    EXPECT_EQ(dblookup(view, nullptr, "filename", "filename", "x").record, -102);
}

TEST_F(DatabaseTest, tables_without_row_numbers_are_none) {
    const Dbptr view = opened_with("CREATE TABLE filename(fileid PRIMARY KEY, filename) WITHOUT ROWID;"
                                   "INSERT INTO filename VALUES(17, 'a');"
                                   "CREATE TABLE shape(fileid, rowid, oid, _rowid_)");
    EXPECT_FALSE(has_table(view, "filename"));
    EXPECT_FALSE(has_table(view, "shape"));
}

TEST_F(DatabaseTest, column_that_is_called_like_the_row_number_hides_it_from_nobody) {
    const Dbptr view = opened_with("CREATE TABLE filename(fileid, filename, rowid, \"_ROWID_\");"
                                   "INSERT INTO filename VALUES(16, 'a', 5, 6), (17, 'b', 7, 8)");
    EXPECT_EQ(file_row(view, "17").record, 2);
    EXPECT_EQ(filename_of(file_row(view, "17")), "b");
    EXPECT_EQ(dblookup(view, nullptr, "filename", "rowid", "7").record, 2);
}

TEST_F(DatabaseTest, unknown_order_of_texts_is_a_failure) {
    {
        SqliteMaker maker(path());
        const auto compare = [](void *, int, const void *, int, const void *) { return 0; };
        sqlite3_create_collation(maker.connection(), "strange", SQLITE_UTF8, nullptr, compare);
        maker.run("CREATE TABLE filename(fileid TEXT COLLATE strange, filename);"
                  "CREATE INDEX by_fileid ON filename(fileid); INSERT INTO filename VALUES('17', 'a')");
    }
    EXPECT_EQ(file_row(opened(path()), "17").record, -102);
}

TEST_F(DatabaseTest, triggers_and_unknown_functions_in_the_schema_do_no_harm) {
    {
        SqliteMaker maker(path(), world);
        const auto nothing = [](sqlite3_context *context, int, sqlite3_value **) {
            sqlite3_result_int(context, 1);
        };
        sqlite3_create_function(maker.connection(), "strange", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
                                nothing, nullptr, nullptr);
        maker.run("CREATE INDEX odd ON filename(strange(fileid)); CREATE TRIGGER t AFTER INSERT ON filename "
                  "BEGIN SELECT "
                  "strange(1); END; CREATE VIEW v AS SELECT strange(2)");
    }
    EXPECT_EQ(filename_of(file_row(opened(path()), "17")), "shapes/roads.shp");
}

namespace {

// Makes every inner page of the tree lead to the next one by all its pointers, the last one to the first
// leaf: ten pages then hold more rows than anybody can read, and their numbers begin again and again.
void multiply(std::string &file, size_t root, size_t page_size) {
    const auto at = [&](size_t page) { return (page - 1) * page_size; };
    std::vector<size_t> chain = {root};
    size_t leaf = 0;
    for (size_t page = 2; page <= file.size() / page_size; page++) {
        if (file[at(page)] == 5 && page != root && chain.size() < 10) chain.push_back(page);
        if (file[at(page)] == 13 && leaf == 0) leaf = page;
    }
    ASSERT_EQ(chain.size(), 10U);
    ASSERT_NE(leaf, 0U);
    chain.push_back(leaf);
    const auto point = [&](size_t where, size_t page) {
        for (size_t i = 0; i < 4; i++)
            file[where + i] = static_cast<char>(page >> (8 * (3 - i)));
    };
    const auto u16 = [&](size_t where) {
        return static_cast<size_t>(static_cast<unsigned char>(file[where])) << 8 |
               static_cast<unsigned char>(file[where + 1]);
    };
    for (size_t i = 0; i + 1 < chain.size(); i++) {
        const size_t page = at(chain[i]);
        point(page + 8, chain[i + 1]);
        for (size_t cell = 0; cell < u16(page + 3); cell++)
            point(page + u16(page + 12 + 2 * cell), chain[i + 1]);
    }
}

} // namespace

TEST_F(DatabaseTest, tree_of_more_rows_than_the_file_can_hold_ends) {
    made("PRAGMA page_size = 512; CREATE TABLE filename(fileid, filename);"
         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 60000)"
         "INSERT INTO filename SELECT 1, 'a' FROM n");
    const auto root = static_cast<size_t>(
        SqliteMaker(path()).number("SELECT rootpage FROM sqlite_schema WHERE name = 'filename'"));
    std::string file = bytes_of(path());
    multiply(file, root, 512);
    const Dbptr view = opened(directory.write("multiplied", file));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(file_row(view, "17").record, -102);
    int64_t rows = 0;
    Dbptr row = lindra_db_next(dblookup(view, nullptr, "filename", nullptr, nullptr));
    for (; row.record != LINDRA_DB_NO_RECORD && rows < 100'000; row = lindra_db_next(row))
        rows++;
    EXPECT_LE(rows, 60'000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

// They are counted at every 10000th. A file of 320000 bytes accounts for 1380000.
TEST_F(DatabaseTest, search_may_take_as_many_steps_as_its_file_accounts_for) {
    std::string file = bytes_of(made(small_pages + std::string(world)));
    make_endless(file, root_of(path(), "filename"), 8);
    for (const auto &[size, most] : {std::pair{320'000U, 1'390'000}, {319'999U, 1'380'000}}) {
        file.resize(size);
        const Dbptr view = watched(directory.write("endless", file));
        EXPECT_EQ(dblookup(view, nullptr, "filename", "filename", "none").record, -102);
        const int steps = status_sum(SQLITE_STMTSTATUS_VM_STEP);
        EXPECT_GE(steps, most) << size;
        EXPECT_LT(steps, most + 1000) << size;
        EXPECT_EQ(dblookup(view, nullptr, "filename", "filename", "none").record, -102);
        EXPECT_GE(status_sum(SQLITE_STMTSTATUS_VM_STEP), steps + most - 10'000) << "each search anew";
    }
}

TEST_F(DatabaseTest, row_that_has_the_number_of_the_one_before_is_none) {
    const std::string rows = "CREATE TABLE shape(offset); INSERT INTO shape VALUES";
    const auto text = [](char letter) { return "('" + std::string(200, letter) + "')"; };
    std::string file = bytes_of(made(small_pages + rows + text('a') + "," + text('b') + "," + text('c')));
    const size_t third = file.find(std::string(200, 'c')) - 4; // behind a header of three bytes
    ASSERT_EQ(file[third], 3);
    file[third] = 2;
    const Dbptr view = opened(directory.write("damaged", file));
    Dbptr row = lindra_db_next(dblookup(view, nullptr, "shape", nullptr, nullptr));
    EXPECT_EQ(row.record, 1);
    row = lindra_db_next(row);
    EXPECT_EQ(row.record, 2);
    EXPECT_EQ(lindra_db_next(row).record, LINDRA_DB_NO_RECORD);
}

// --- Rows that claim more than the file has

namespace {

constexpr int64_t little = 256 << 10;

} // namespace

TEST_F(DatabaseTest, row_that_claims_4_gigabytes_takes_no_memory) {
    made(small_pages + std::string(world));
    std::string file = bytes_of(path());
    make_lying(file, root_of(path(), "filename"), LyingPage::leaf_of_table);
    const std::string lying = directory.write("lying", file);
    const int64_t held = held_by_sqlite([&] {
        const Dbptr view = opened(lying);
        EXPECT_EQ(filename_of(file_row(view, "17")), "failed");
        EXPECT_EQ(dblookup(view, nullptr, "shape", "shapeid", "17").record, 17) << "on another page";
    });
    EXPECT_LT(held, little);
}

TEST_F(DatabaseTest, row_of_the_schema_that_claims_4_gigabytes_takes_no_memory) {
    std::string file = bytes_of(made(small_pages + std::string(world)));
    make_lying(file, 1, LyingPage::leaf_of_table);
    const std::string lying = directory.write("lying", file);
    Dbptr view = {};
    EXPECT_LT(held_by_sqlite([&] { EXPECT_EQ(lindra_db_open(lying.c_str(), &view), -1); }), little);
}

TEST_F(DatabaseTest, row_in_the_log_that_claims_4_gigabytes_takes_no_memory) {
    made(small_pages + std::string("PRAGMA journal_mode = WAL;") + world);
    const size_t root = root_of(path(), "filename");
    const auto pages = static_cast<int64_t>(std::filesystem::file_size(path()) / lying_page_size);
    directory.write("world-wal",
                    log_of(lying_page(LyingPage::leaf_of_table), static_cast<int64_t>(root), pages));
    const int64_t held = held_by_sqlite([&] {
        const Dbptr view = opened(path());
        const Dbptr row = file_row(view, "17");
        EXPECT_EQ(row.record, 1);
        EXPECT_EQ(filename_of(row), "failed") << "the page in the log is the one that counts";
    });
    EXPECT_LT(held, little);
}

TEST_F(DatabaseTest, rows_of_the_longest_and_of_a_cut_length_take_no_memory) {
    for (const size_t place : {size_t{300}, lying_page_size - 1}) {
        const std::string lying = with_endless_length(place);
        EXPECT_LT(held_by_sqlite([&] { EXPECT_EQ(filename_of(file_row(opened(lying), "17")), "failed"); }),
                  little);
    }
}

// Pages of other kinds cannot be told from those of rows there.
TEST_F(DatabaseTest, files_over_4_gigabytes_are_not_looked_at) {
    made(small_pages + std::string(world));
    std::string file = bytes_of(path());
    const size_t root = root_of(path(), "filename");
    make_lying(file, root, LyingPage::leaf_of_table);
    file[root * lying_page_size - lying_row(LyingPage::leaf_of_table).size()] |= 0x20; // 8 GiB more
    const std::string lying = directory.write("lying", file);
    std::filesystem::resize_file(lying, int64_t{5} << 30);
    EXPECT_GT(held_by_sqlite([&] { filename_of(file_row(opened(lying), "17")); }), little);
}

// It is a whole one, of which only some columns are asked for.
TEST_F(DatabaseTest, row_as_long_as_the_file_is_read) {
    const char *long_row = "CREATE TABLE filename(fileid, filename, rest);"
                           "INSERT INTO filename VALUES(17, 'a.shp', zeroblob(40000000))";
    EXPECT_EQ(filename_of(file_row(opened_with(long_row), "17")), "a.shp");
}

TEST_F(DatabaseTest, row_as_long_as_file_and_log_is_read) {
    SqliteMaker writer(path(), "PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;"
                               "CREATE TABLE filename(fileid, filename, rest);"
                               "INSERT INTO filename VALUES(17, 'a.shp', zeroblob(40000000))");
    ASSERT_LT(std::filesystem::file_size(path()), 1U << 20);
    EXPECT_EQ(filename_of(file_row(opened(path()), "17")), "a.shp") << "all of it in the log";
    writer.run("PRAGMA wal_checkpoint(TRUNCATE); UPDATE filename SET filename = 'b.shp'");
    ASSERT_LT(std::filesystem::file_size(path("world-wal")), 1U << 20);
    EXPECT_EQ(filename_of(file_row(opened(path()), "17")), "b.shp") << "its beginning in the log";
}

TEST_F(DatabaseTest, long_row_is_read_or_not_where_files_fail) {
    const SqliteMaker writer(path(), "PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;"
                                     "CREATE TABLE filename(fileid, filename, rest);"
                                     "INSERT INTO filename VALUES(17, 'a.shp', zeroblob(20000000))");
    const auto read = [&] {
        Dbptr view = {};
        if (lindra_db_open(path().c_str(), &view) < 0) return std::string("failed");
        const std::string name = filename_of(file_row(view, "17"));
        lindra_db_close(view);
        return name;
    };
    int failed = 0;
    for (int nth = 1; failed == nth - 1; nth++) {
        const Faults faults(FaultKind::sqlite_file, nth, false);
        const std::string name = read();
        EXPECT_TRUE(name == "a.shp" || name == "failed") << name;
        failed += Faults::failed();
    }
    EXPECT_GT(failed, 10);
    EXPECT_EQ(read(), "a.shp");
}

namespace {

// Everything that a reader does, on whatever the file holds; what is written must fit.
void read_all(const std::string &file) {
    Dbptr view = {};
    if (lindra_db_open(file.c_str(), &view) < 0) return;
    for (const char *fileid : {"17", "18", "19"}) {
        const Dbptr row = dblookup(view, nullptr, "filename", "fileid", fileid);
        const auto name = std::make_unique<char[]>(256);
        memset(name.get(), '#', 256);
        const bool read = dbgetv(row, nullptr, "filename", name.get(), nullptr) == 0;
        EXPECT_TRUE(!read || strnlen(name.get(), 256) < 256);
    }
    Dbptr row = lindra_db_next(dblookup(view, nullptr, "shape", nullptr, nullptr));
    for (int i = 0; i < 100 && row.record != LINDRA_DB_NO_RECORD; i++) {
        const auto numbers = std::make_unique<long[]>(2);
        dbgetv(row, nullptr, "fileid", &numbers[0], "offset", &numbers[1], nullptr);
        row = lindra_db_next(row);
    }
    EXPECT_EQ(lindra_db_close(view), 0);
}

} // namespace

TEST_F(DatabaseTest, damaged_bytes_end_in_results) {
    const std::string whole = bytes_of(made(std::string("PRAGMA page_size = 512;") + world));
    for (size_t i = 0; i < whole.size(); i++) {
        if (whole[i] == 0 && i % 16 != 0) continue;
        std::string damaged = whole;
        damaged[i] = static_cast<char>(~damaged[i]);
        read_all(directory.write("damaged", damaged));
    }
}

TEST_F(DatabaseTest, cut_file_ends_in_results) {
    const std::string whole = bytes_of(made(std::string("PRAGMA page_size = 512;") + world));
    for (size_t size = 0; size < whole.size(); size += 16)
        read_all(directory.write("cut", whole.substr(0, size)));
}

TEST_F(DatabaseTest, file_cut_after_it_was_opened_ends_in_results) {
    made(std::string("PRAGMA page_size = 512;") + world);
    const Dbptr view = opened(path());
    std::filesystem::resize_file(path(), 700);
    EXPECT_EQ(file_row(view, "17").record, -102);
    std::filesystem::resize_file(path(), 0);
    EXPECT_EQ(file_row(view, "17").record, -102);
}

// --- Memory

namespace {

// Opens, looks up, reads and closes; every step succeeds whole or fails whole.
bool fetch_all(const char *file) {
    Dbptr view = {};
    if (const int status = lindra_db_open(file, &view); status != 0) {
        EXPECT_EQ(status, -1);
        return false;
    }
    char name[256] = "before";
    const Dbptr row = dblookup(view, nullptr, "filename", "fileid", "17");
    const int status = dbgetv(row, nullptr, "filename", name, nullptr);
    const bool read = status == 0;
    EXPECT_EQ(status, read ? 0 : -1);
    const bool found = lindra_db_next(dblookup(view, nullptr, "shape", nullptr, nullptr)).record == 1;
    EXPECT_STREQ(name, read ? "shapes/roads.shp" : "before");
    EXPECT_EQ(lindra_db_close(view), 0);
    return read && found;
}

} // namespace

TEST_F(DatabaseTest, each_allocation_that_fails_is_a_result_and_loses_nothing) {
    made(world);
    const std::string file = path();
    ASSERT_TRUE(fetch_all(file.c_str()));
    for (const auto mode : {AllocationWatch::once, AllocationWatch::from_then_on}) {
        int nth = 1, refused = 0;
        for (bool failed = true; failed; nth++) {
            const AllocationWatch watch(nth, mode);
            const bool fetched = fetch_all(file.c_str());
            failed = watch.failed();
            refused += !fetched;
            EXPECT_TRUE(fetched || failed);
            EXPECT_EQ(watch.live(), 0) << "allocation " << nth;
        }
        EXPECT_GT(refused, 20);
        ASSERT_TRUE(fetch_all(file.c_str()));
    }
}

TEST_F(DatabaseTest, database_works_on_after_an_allocation_failed) {
    made(world);
    bool failed = true;
    for (int nth = 1; failed; nth++) {
        const Dbptr view = opened(path());
        {
            const AllocationWatch watch(nth);
            file_row(view, "17");
            failed = watch.failed();
        }
        ASSERT_EQ(filename_of(file_row(view, "17")), "shapes/roads.shp") << "allocation " << nth;
        lindra_db_close(view);
    }
}

// --- Threads

TEST_F(DatabaseTest, views_are_used_from_several_threads) {
    const Dbptr first = opened(made(world, "first"));
    const Dbptr second = opened(made(world, "second"));
    std::vector<std::thread> threads;
    std::atomic<int> right = 0;
    for (int i = 0; i < 4; i++)
        threads.emplace_back([&right, view = i % 2 ? first : second] {
            for (int k = 0; k < 500; k++)
                right += filename_of(file_row(view, k % 2 ? "17" : "18")) ==
                         (k % 2 ? "shapes/roads.shp" : "/data/rivers.shp");
        });
    for (std::thread &each : threads)
        each.join();
    EXPECT_EQ(right, 2000);
}

TEST_F(DatabaseTest, database_closed_under_a_reader_ends_in_failures) {
    const Dbptr view = opened_with(world);
    std::atomic<bool> started = false;
    std::string last;
    std::thread reader([&] {
        do {
            last = filename_of(file_row(view, "17"));
            started = true;
        } while (last == "shapes/roads.shp");
    });
    while (!started)
        std::this_thread::yield();
    lindra_db_close(view);
    reader.join();
    EXPECT_EQ(last, "failed");
}
