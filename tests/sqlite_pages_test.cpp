// SPDX-License-Identifier: MIT
//
// The way to SQLite's files that looks at every page. Pages are made byte by byte ("Database File Format",
// sqlite.org), written into a database, and read into buffers that end at an unreadable page.

#include "big_endian.hpp"
#include "guarded_buffer.hpp"
#include "special_file.hpp"
#include "sqlite_maker.hpp"
#include "temporary_directory.hpp"
#include "torture/faults.hpp"

#include "sqlite_pages.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>
#include <vector>

using namespace lindra::test;

namespace {

constexpr uint64_t mib = 1 << 20;
constexpr uint64_t in_any_file = 16 * mib; // the longest row
constexpr char inner_of_index = 2, leaf_of_index = 10, leaf_of_table = 13;

// Seven bits a byte, the highest first.
std::string number(uint64_t value) {
    std::string bytes(1, static_cast<char>(value & 0x7f));
    while (value >>= 7)
        bytes.insert(bytes.begin(), static_cast<char>(0x80 | (value & 0x7f)));
    return bytes;
}

// Its first bytes, which tell where its rows are.
std::string page_head(char kind, int rows) {
    const std::string child = kind == inner_of_index ? be32(2) : "";
    return kind + be16(0) + be16(rows) + be16(0) + '\0' + child;
}

// With rows that begin so; before a row of an inner page stands the number of a child.
std::string page_of(char kind, const std::vector<std::string> &rows, size_t size = 512) {
    std::string page = page_head(kind, static_cast<int>(rows.size()));
    for (size_t i = 0; i < rows.size(); i++)
        page += be16(static_cast<int>(256 + 16 * i));
    for (const std::string &row : rows) {
        page.resize(256 + 16 * static_cast<size_t>(&row - rows.data()));
        page += (kind == inner_of_index ? be32(3) : "") + row;
    }
    page.resize(size);
    return page;
}

// With one row, which begins at that place and goes on to the page's end.
std::string page_with_last(char kind, size_t place, const std::string &row) {
    std::string page = page_head(kind, 1) + be16(static_cast<int>(place));
    page.resize(512 - row.size());
    return page + row;
}

const std::string too_long = page_of(leaf_of_table, {number(in_any_file + 1)});

sqlite3_file *file_of(sqlite3 *connection, int which = SQLITE_FCNTL_FILE_POINTER) {
    sqlite3_file *file = nullptr;
    sqlite3_file_control(connection, "main", which, &file);
    return file;
}

struct SqlitePages : testing::Test {
    TemporaryDirectory directory;
    std::string path = (directory.path() / "database").string();
    SqliteMaker writer{path, "PRAGMA page_size = 512; PRAGMA journal_mode = WAL; CREATE TABLE t(x)"};
    sqlite3 *connection = nullptr;

    SqlitePages() {
        EXPECT_EQ(lindra::open_distrusting_rows(path.c_str(), &connection, SQLITE_OPEN_READONLY), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(connection, "SELECT * FROM t", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~SqlitePages() override { sqlite3_close(connection); }

    static void put(const std::string &bytes, const std::string &file, int64_t at) {
        std::fstream out(file, std::ios::in | std::ios::out | std::ios::binary);
        out.seekp(at).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    // What reading the page says that was put there.
    int read(const std::string &page, int64_t at = 4096) const {
        put(page, path, at);
        return read_from(file_of(connection), page.size(), at);
    }

    static int read_from(sqlite3_file *file, size_t size, int64_t at) {
        const GuardedBuffer buffer(std::string(size, '\0'));
        return file->pMethods->xRead(file, buffer.data(), static_cast<int>(size), at);
    }

    void resize(uint64_t size) const { std::filesystem::resize_file(path, size); }
};

// --- The way while it is registered: extensions are asked meanwhile.

sqlite3_vfs way;
sqlite3_vfs *default_way = nullptr;

int keep_way(sqlite3 *, char **, const void *) {
    if (const sqlite3_vfs *found = sqlite3_vfs_find("lindra")) way = *found;
    default_way = sqlite3_vfs_find(nullptr);
    return SQLITE_OK;
}

void open_watched(const std::string &path) {
    way = {};
    const auto entry = reinterpret_cast<void (*)()>(keep_way);
    sqlite3_auto_extension(entry);
    sqlite3 *connection = nullptr;
    EXPECT_EQ(lindra::open_distrusting_rows(path.c_str(), &connection, SQLITE_OPEN_READONLY), SQLITE_OK);
    sqlite3_cancel_auto_extension(entry);
    sqlite3_close(connection);
}

} // namespace

// --- Rows

TEST_F(SqlitePages, row_of_16_mib_may_stand_in_any_file) {
    EXPECT_EQ(read(page_of(leaf_of_table, {number(in_any_file)})), SQLITE_OK);
    EXPECT_EQ(read(page_of(leaf_of_table, {number(in_any_file + 1)})), SQLITE_CORRUPT);
}

TEST_F(SqlitePages, longer_row_may_be_as_long_as_the_file) {
    resize(20 * mib);
    EXPECT_EQ(read(page_of(leaf_of_table, {number(20 * mib)})), SQLITE_OK);
    EXPECT_EQ(read(page_of(leaf_of_table, {number(20 * mib + 1)})), SQLITE_CORRUPT);
}

TEST_F(SqlitePages, row_in_the_log_may_be_as_long_as_both_files) {
    const std::string log = path + "-wal";
    resize(12 * mib);
    std::filesystem::resize_file(log, 8 * mib);
    const auto read_log = [&](uint64_t length) {
        put(page_of(leaf_of_table, {number(length)}), log, mib);
        return read_from(file_of(connection, SQLITE_FCNTL_JOURNAL_POINTER), 512, mib);
    };
    EXPECT_EQ(read_log(20 * mib), SQLITE_OK);
    EXPECT_EQ(read_log(20 * mib + 1), SQLITE_CORRUPT);
    EXPECT_EQ(read(page_of(leaf_of_table, {number(20 * mib)})), SQLITE_CORRUPT) << "that one is not";
}

TEST_F(SqlitePages, files_of_4_gib_are_not_looked_at) {
    const std::string page = page_of(leaf_of_table, {number(uint64_t{1} << 40)});
    resize(UINT32_MAX);
    EXPECT_EQ(read(page), SQLITE_CORRUPT);
    resize(uint64_t{UINT32_MAX} + 1);
    EXPECT_EQ(read(page), SQLITE_OK);
}

TEST_F(SqlitePages, every_kind_of_page_with_rows_is_looked_at_and_no_other) {
    for (int kind = 0; kind < 256; kind++) {
        const bool has_rows = kind == inner_of_index || kind == leaf_of_index || kind == leaf_of_table;
        EXPECT_EQ(read(page_of(static_cast<char>(kind), {number(in_any_file + 1)})),
                  has_rows ? SQLITE_CORRUPT : SQLITE_OK)
            << kind;
    }
}

TEST_F(SqlitePages, header_of_the_file_stands_before_the_first_page) {
    for (const char kind : {inner_of_index, leaf_of_table}) {
        const std::string head = page_head(kind, 2) + be16(300) + be16(400);
        const std::string rest = number(in_any_file + 1);
        std::string page = std::string("SQLite format 3", 16) + std::string(84, '\1') + head;
        page.resize(kind == inner_of_index ? 404 : 400);
        page += rest;
        page.resize(512);
        EXPECT_EQ(read(page), SQLITE_CORRUPT);
        page[15] = '\1';
        EXPECT_EQ(read(page), SQLITE_OK) << "no header";
    }
}

TEST_F(SqlitePages, every_row_is_looked_at) {
    for (const char kind : {inner_of_index, leaf_of_index, leaf_of_table}) {
        const std::vector<std::string> sound(5, number(7));
        EXPECT_EQ(read(page_of(kind, sound)), SQLITE_OK);
        for (size_t i = 0; i < sound.size(); i++) {
            std::vector<std::string> rows = sound;
            rows[i] = number(in_any_file + 1);
            EXPECT_EQ(read(page_of(kind, rows)), SQLITE_CORRUPT) << i;
        }
    }
}

TEST_F(SqlitePages, places_behind_those_of_the_rows_are_none) {
    std::string page = page_of(leaf_of_table, {number(7), number(in_any_file + 1)});
    EXPECT_EQ(read(page), SQLITE_CORRUPT);
    EXPECT_EQ(read(page.replace(3, 2, be16(1))), SQLITE_OK);
    EXPECT_EQ(read(page.replace(3, 2, be16(0))), SQLITE_OK);
}

TEST_F(SqlitePages, more_rows_than_a_page_has_places_for_are_cut) {
    std::string page = page_head(leaf_of_table, 0xffff);
    for (size_t i = 0; page.size() < 510; i++)
        page += be16(2); // a length of 127 at most
    EXPECT_EQ(read(page + be16(2)), SQLITE_OK);
    page.replace(8, 5, number(in_any_file + 1) + '\0');
    EXPECT_EQ(read(page + be16(2)), SQLITE_OK);
    EXPECT_EQ(read(page + be16(8)), SQLITE_CORRUPT) << "the last place counts";
}

TEST_F(SqlitePages, places_outside_the_page_are_taken_for_places_in_it) {
    std::string page = page_of(leaf_of_table, {number(in_any_file + 1)});
    EXPECT_EQ(read(page.replace(8, 2, be16(512 + 256))), SQLITE_CORRUPT);
    EXPECT_EQ(read(page.replace(8, 2, be16(512 + 300))), SQLITE_OK);
}

TEST_F(SqlitePages, length_ends_with_the_page) {
    const auto read_last = [&](char kind, size_t place, size_t bytes) {
        return read(page_with_last(kind, place, std::string(bytes, '\xff')));
    };
    EXPECT_EQ(read_last(leaf_of_table, 511, 1), SQLITE_OK);
    EXPECT_EQ(read_last(leaf_of_table, 509, 3), SQLITE_OK) << "2 MiB";
    EXPECT_EQ(read_last(leaf_of_table, 508, 4), SQLITE_CORRUPT) << "256 MiB";
    EXPECT_EQ(read_last(inner_of_index, 504, 4), SQLITE_CORRUPT);
    for (size_t place = 505; place < 512; place++)
        EXPECT_EQ(read_last(inner_of_index, place, 3), SQLITE_OK) << place;
}

TEST_F(SqlitePages, length_has_9_bytes_at_most) {
    const std::string longest = '\xfe' + std::string(8, '\x80');
    EXPECT_EQ(read(page_of(leaf_of_table, {longest})), SQLITE_CORRUPT) << "a tenth would push its first out";
    EXPECT_EQ(read(page_of(leaf_of_table, {std::string(9, '\x80') + number(in_any_file + 1)})), SQLITE_OK);
}

// --- Reading

TEST_F(SqlitePages, only_what_has_the_size_of_a_page_is_looked_at) {
    const std::vector<std::string> rows = {number(in_any_file + 1)};
    for (const size_t size : {512U, 1024U, 4096U, 65536U})
        EXPECT_EQ(read(page_of(leaf_of_table, rows, size)), SQLITE_CORRUPT) << size;
    for (const size_t size : {300U, 511U, 513U, 768U, 1536U})
        EXPECT_EQ(read(page_of(leaf_of_table, rows, size)), SQLITE_OK) << size;
    std::string half = too_long.substr(0, 256);
    half.replace(8, 2, be16(100)).replace(100, 4, number(in_any_file + 1));
    EXPECT_EQ(read(half), SQLITE_OK);
}

TEST_F(SqlitePages, what_the_file_has_of_a_page_is_looked_at) {
    put(too_long, path, 4096);
    resize(4096 + 400);
    EXPECT_EQ(read_from(file_of(connection), 512, 4096), SQLITE_CORRUPT);
    put(page_of(leaf_of_table, {number(7)}), path, 4096);
    resize(4096 + 400);
    EXPECT_EQ(read_from(file_of(connection), 512, 4096), SQLITE_IOERR_SHORT_READ);
}

TEST_F(SqlitePages, what_cannot_be_read_is_not_looked_at) {
    const GuardedBuffer before(too_long);
    sqlite3_file *file = file_of(connection);
    const Faults faults(FaultKind::sqlite_file, 1, true);
    EXPECT_EQ(file->pMethods->xRead(file, before.data(), 512, 0) & 0xff, SQLITE_IOERR);
}

TEST_F(SqlitePages, long_row_in_a_file_of_unknown_size_is_not_read) {
    put(too_long, path, 4096);
    const GuardedBuffer buffer(std::string(512, '\0'));
    sqlite3_file *file = file_of(connection);
    const Faults faults(FaultKind::sqlite_file, 2, false);
    EXPECT_EQ(file->pMethods->xRead(file, buffer.data(), 512, 4096), SQLITE_IOERR_FSTAT);
}

// --- The way itself

TEST_F(SqlitePages, file_has_every_method_but_those_of_mapping) {
    const sqlite3_io_methods &methods = *file_of(connection)->pMethods;
    EXPECT_EQ(methods.iVersion, 2);
    EXPECT_TRUE(methods.xClose && methods.xRead && methods.xWrite && methods.xTruncate && methods.xSync);
    EXPECT_TRUE(methods.xFileSize && methods.xLock && methods.xUnlock && methods.xCheckReservedLock);
    EXPECT_TRUE(methods.xFileControl && methods.xSectorSize && methods.xDeviceCharacteristics);
    EXPECT_TRUE(methods.xShmMap && methods.xShmLock && methods.xShmBarrier && methods.xShmUnmap);
    EXPECT_FALSE(methods.xFetch || methods.xUnfetch);
}

TEST_F(SqlitePages, way_has_every_method_that_the_systems_has) {
    open_watched(path);
    EXPECT_STREQ(way.zName, "lindra");
    EXPECT_EQ(way.iVersion, 2);
    const sqlite3_vfs &system = *sqlite3_vfs_find(nullptr);
    EXPECT_EQ(way.mxPathname, system.mxPathname);
    EXPECT_GT(way.szOsFile, system.szOsFile);
    EXPECT_TRUE(way.xOpen && way.xDelete && way.xAccess && way.xFullPathname);
    EXPECT_EQ(way.xDlOpen != nullptr, system.xDlOpen != nullptr);
    EXPECT_EQ(way.xDlError != nullptr, system.xDlError != nullptr);
    EXPECT_EQ(way.xDlSym != nullptr, system.xDlSym != nullptr);
    EXPECT_EQ(way.xDlClose != nullptr, system.xDlClose != nullptr);
    EXPECT_TRUE(way.xRandomness && way.xSleep && way.xCurrentTime && way.xGetLastError);
    EXPECT_TRUE(way.xCurrentTimeInt64);
}

TEST_F(SqlitePages, way_is_there_only_while_a_database_is_opened_and_never_the_default) {
    sqlite3_vfs *system = sqlite3_vfs_find(nullptr);
    open_watched(path);
    EXPECT_EQ(default_way, system);
    EXPECT_EQ(sqlite3_vfs_find(nullptr), system);
    EXPECT_EQ(sqlite3_vfs_find("lindra"), nullptr);
}

// --- What is opened

namespace {

// What opening the database, and reading its schema and log, says.
int read_schema(const std::string &path) {
    sqlite3 *connection = nullptr;
    int result = lindra::open_distrusting_rows(path.c_str(), &connection, SQLITE_OPEN_READONLY);
    if (result == SQLITE_OK) result = sqlite3_exec(connection, "SELECT * FROM t", nullptr, nullptr, nullptr);
    if (result != SQLITE_OK && connection) result = sqlite3_extended_errcode(connection);
    sqlite3_close(connection);
    return result;
}

} // namespace

TEST_F(SqlitePages, what_is_no_regular_file_is_not_opened) {
    const std::string special = path + "-special";
    for (const char *kind : {"fifo", "directory", "/dev/zero"}) {
        make_special_file(kind, special);
        EXPECT_EQ(read_schema(special), SQLITE_CANTOPEN_ISDIR) << kind;
        std::filesystem::remove(special);
    }
}

TEST_F(SqlitePages, link_to_a_regular_file_is_followed) {
    const std::string link = (directory.path() / "link").string();
    std::filesystem::create_symlink(path, link);
    EXPECT_EQ(read_schema(link), SQLITE_OK);
}

TEST_F(SqlitePages, what_cannot_be_looked_at_is_not_opened) {
    int failed = 0;
    for (int nth = 1; failed == nth - 1; nth++) {
        const Faults faults(FaultKind::system_call, nth, false);
        const int result = read_schema(path);
        failed += Faults::failed();
        EXPECT_EQ(result, Faults::failed() ? SQLITE_CANTOPEN_ISDIR : SQLITE_OK) << nth;
    }
    EXPECT_EQ(failed, 3) << "the database, its log and the memory of that";
}

TEST_F(SqlitePages, lack_of_memory_while_files_are_opened_is_told) {
    int failed = 0;
    for (int nth = 1; failed == nth - 1; nth++) {
        const Faults faults(FaultKind::sqlite_allocation, nth, false);
        const int result = read_schema(path);
        failed += Faults::failed();
        EXPECT_TRUE(Faults::failed() || result == SQLITE_OK) << nth;
        EXPECT_TRUE(result == SQLITE_OK || result == SQLITE_NOMEM || result == SQLITE_IOERR_NOMEM) << result;
    }
    EXPECT_GT(failed, 10);
}

TEST_F(SqlitePages, file_that_a_journal_names_is_not_opened) {
    open_watched(path);
    std::vector<char> room(static_cast<size_t>(way.szOsFile));
    auto *file = reinterpret_cast<sqlite3_file *>(room.data());
    const int flags = SQLITE_OPEN_SUPER_JOURNAL | SQLITE_OPEN_READONLY;
    EXPECT_EQ(way.xOpen(&way, path.c_str(), file, flags, nullptr), SQLITE_AUTH);
    EXPECT_EQ(file->pMethods, nullptr);
}

TEST_F(SqlitePages, file_without_a_name_is_one_of_the_systems_making) {
    open_watched(path);
    std::vector<char> room(static_cast<size_t>(way.szOsFile));
    auto *file = reinterpret_cast<sqlite3_file *>(room.data());
    const int flags = SQLITE_OPEN_TEMP_DB | SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE |
                      SQLITE_OPEN_EXCLUSIVE | SQLITE_OPEN_DELETEONCLOSE;
    ASSERT_EQ(way.xOpen(&way, nullptr, file, flags, nullptr), SQLITE_OK);
    EXPECT_EQ(file->pMethods->xWrite(file, "x", 1, 0), SQLITE_OK);
    EXPECT_EQ(file->pMethods->xClose(file), SQLITE_OK);
}

TEST(SqliteThatCannotStart, opens_nothing) {
    sqlite3_mem_methods usual;
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &usual);
    sqlite3_mem_methods none = usual;
    none.xInit = [](void *) { return SQLITE_NOMEM; };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &none);
    auto *connection = reinterpret_cast<sqlite3 *>(&none);
    EXPECT_EQ(lindra::open_distrusting_rows("/dev/null", &connection, SQLITE_OPEN_READONLY), SQLITE_ERROR);
    EXPECT_EQ(connection, nullptr);
    sqlite3_config(SQLITE_CONFIG_MALLOC, &usual);
    EXPECT_EQ(sqlite3_initialize(), SQLITE_OK);
}

namespace {

// --- A host's way to files, of which there are versions

int host_version;
char *host_file = nullptr; // of the database

int open_as_host(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *out_flags) {
    static std::list<sqlite3_io_methods> all;
    if (flags & SQLITE_OPEN_MAIN_DB) host_file = reinterpret_cast<char *>(file);
    sqlite3_vfs *system = sqlite3_vfs_find("unix");
    const int result = system->xOpen(system, name, file, flags, out_flags);
    if (!file->pMethods) return result;
    all.push_back(*file->pMethods);
    all.back().iVersion = host_version;
    file->pMethods = &all.back();
    return result;
}

// Ends the process with the version of a file's methods; and 10, where it shares memory; and 100, where the
// host's file does not end with the room that was asked for.
[[noreturn]] void open_through_host(int version, const std::string &path) {
    host_version = version;
    static sqlite3_vfs host = *sqlite3_vfs_find("unix");
    host.zName = "host";
    host.xOpen = open_as_host;
    sqlite3_vfs_register(&host, 1);
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(keep_way));
    sqlite3 *connection = nullptr;
    lindra::open_distrusting_rows(path.c_str(), &connection, SQLITE_OPEN_READONLY);
    sqlite3_file *file = file_of(connection);
    const bool fits = host_file + host.szOsFile == reinterpret_cast<char *>(file) + way.szOsFile;
    exit(file->pMethods->iVersion + (file->pMethods->xShmMap ? 10 : 0) + (fits ? 0 : 100));
}

} // namespace

// Each in a process of its own, in which nothing was opened before.
TEST(SqlitePagesDeathTest, files_of_a_host_share_memory_from_version_2_on) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TemporaryDirectory directory;
    const std::string path = (directory.path() / "database").string();
    SqliteMaker(path, "CREATE TABLE t(x)");
    EXPECT_EXIT(open_through_host(1, path), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(open_through_host(2, path), testing::ExitedWithCode(12), "");
    EXPECT_EXIT(open_through_host(3, path), testing::ExitedWithCode(12), "");
}
