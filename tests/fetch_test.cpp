// SPDX-License-Identifier: MIT
//
// Shapes by way of a database. The caches are those of the process, so that each test has files of its own.

#include "allocations.hpp"
#include "log_capture.hpp"
#include "shapefile_builder.hpp"
#include "sqlite_maker.hpp"
#include "temporary_directory.hpp"

#include "lindra/lindra.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

using namespace lindra::test;

namespace {

constexpr size_t first_record = 100;

std::string row(long fileid, long offset) {
    return "INSERT INTO shape(fileid, offset) VALUES(" + std::to_string(fileid) + ", " +
           std::to_string(offset) + ");";
}

std::string name_row(long fileid, const std::string &filename) {
    return "INSERT INTO filename VALUES(" + std::to_string(fileid) + ", '" + filename + "');";
}

constexpr const char *tables = "CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid, offset);"
                               "CREATE TABLE filename(fileid INTEGER, filename TEXT);";

// A file of points whose number tells them apart.
std::string points(int count, int first = 1) {
    std::vector<std::string> records;
    for (int i = 0; i < count; i++)
        records.push_back(shp::record(first + i, shp::shape(SHAPE_POINT)));
    return shp::file(SHAPE_POINT, records);
}

struct FetchTest : testing::Test {
    TemporaryDirectory directory;
    LogCapture log;
    SHPRECORD shape = {};
    std::vector<Dbptr> open;

    ~FetchTest() override {
        lindra_clear_esri(ESRI_RECORD, &shape);
        for (const Dbptr &db : open)
            lindra_db_close(db);
    }

    std::string path(const std::string &name) const { return (directory.path() / name).string(); }

    // A view on the first row of the shape table of a new database.
    Dbptr database(const std::string &rows, const std::string &name = "world") {
        SqliteMaker(path(name), tables + rows);
        return view(path(name));
    }

    Dbptr view(const std::string &database_path) {
        Dbptr db = {};
        EXPECT_EQ(lindra_db_open(database_path.c_str(), &db), 0);
        open.push_back(db);
        return dblookup(db, nullptr, "shape", "shapeid", "1");
    }

    int fetch(Dbptr db) {
        lindra_clear_esri(ESRI_RECORD, &shape);
        return esri_get_db_shp_record(&shape, db);
    }

    void expect_failure(Dbptr db, const Lines &expected) {
        EXPECT_EQ(fetch(db), -1);
        EXPECT_EQ(log.take(), expected);
    }
};

using FetchDeathTest = FetchTest;

const std::string decode_failed = "0 esri_get_db_shp_record: esri_decode_shapefile_record() error.\n";
const std::string record_failed = "0 esri_decode_shapefile_record: esri_unstuff_stream() error.\n";

} // namespace

TEST_F(FetchTest, first_record_of_a_file_lies_at_100) {
    directory.write("roads.shp", points(2));
    const Dbptr db = database(row(7, first_record) + name_row(7, path("roads.shp")));
    ASSERT_EQ(fetch(db), 0);
    EXPECT_EQ(shape.offset, first_record);
    EXPECT_EQ(shape.hdr.number, 1);
    ASSERT_EQ(shape.shape_type, SHAPE_POINT);
    EXPECT_EQ(static_cast<SHPRECPOINT *>(shape.shape)->x, shp::x_of(1));
    EXPECT_EQ(log.take(), Lines{});
}

TEST_F(FetchTest, every_record_is_fetched_from_its_offset) {
    directory.write("roads.shp", points(3));
    const Dbptr db = database(row(7, 100) + row(7, 128) + row(7, 156) + name_row(7, path("roads.shp")));
    for (int i = 1; i <= 3; i++) {
        ASSERT_EQ(fetch(dblookup(db, nullptr, nullptr, "shapeid", std::to_string(i).c_str())), 0);
        EXPECT_EQ(shape.hdr.number, i);
    }
}

TEST_F(FetchTest, relative_name_counts_from_the_directory_of_the_database) {
    directory.write("db/shapes/roads.shp", points(1));
    EXPECT_EQ(fetch(database(row(7, 100) + name_row(7, "shapes/roads.shp"), "db/world")), 0);
}

TEST_F(FetchTest, relative_name_counts_from_the_working_directory_when_the_databases_path_has_no_slash) {
    directory.write("shapes/roads.shp", points(1, 42));
    SqliteMaker(path("world"), tables + row(7, 100) + name_row(7, "shapes/roads.shp"));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    EXPECT_EQ(fetch(view("world")), 0);
    EXPECT_EQ(shape.hdr.number, 42);
    std::filesystem::current_path(before);
}

TEST_F(FetchTest, databases_with_the_same_identifier_have_their_own_files) {
    directory.write("a/shapes.shp", points(1, 11));
    directory.write("b/shapes.shp", points(1, 22));
    const std::string rows = row(7, 100) + name_row(7, "shapes.shp");
    const Dbptr a = database(rows, "a/world");
    const Dbptr b = database(rows, "b/world");
    ASSERT_EQ(fetch(a), 0);
    EXPECT_EQ(shape.hdr.number, 11);
    ASSERT_EQ(fetch(b), 0);
    EXPECT_EQ(shape.hdr.number, 22);
}

TEST_F(FetchTest, second_fetch_looks_nothing_up_and_maps_nothing) {
    directory.write("roads.shp", points(2));
    const Dbptr db = database(row(7, 100) + row(7, 128) + name_row(7, "roads.shp"));
    ASSERT_EQ(fetch(db), 0);
    std::filesystem::remove(path("roads.shp"));
    SqliteMaker(path("world"), "DELETE FROM filename;");
    ASSERT_EQ(fetch(dblookup(db, nullptr, nullptr, "shapeid", "2")), 0);
    EXPECT_EQ(shape.hdr.number, 2);
}

TEST_F(FetchTest, row_without_its_fields_is_a_failure) {
    const Lines no_fields = {"0 esri_get_db_shp_record: dbgetv() error.\n"};
    expect_failure(database("INSERT INTO shape(fileid, offset) VALUES(NULL, 100);"), no_fields);
    expect_failure(database("INSERT INTO shape(fileid, offset) VALUES(7, 'here');", "other"), no_fields);
    expect_failure(Dbptr{-1, -1, -1, -1}, no_fields);
}

TEST_F(FetchTest, identifier_without_a_row_is_a_failure) {
    expect_failure(database(row(-12, 100)),
                   {"0 esri_get_db_shp_record: Cannot find fileid=-12 in filename table.\n"});
}

TEST_F(FetchTest, file_without_a_name_is_a_failure) {
    expect_failure(database(row(7, 100) + "INSERT INTO filename VALUES(7, NULL);"),
                   {"0 esri_get_db_shp_record: dbgetv() error.\n"});
}

TEST_F(FetchTest, decoding_goes_on_after_a_failed_mapping_and_finds_nothing) {
    const std::string missing = path("missing.shp");
    const Dbptr db = database(row(7, 100) + row(7, 0) + name_row(7, missing));
    for (const char *shapeid : {"1", "2"})
        expect_failure(dblookup(db, nullptr, nullptr, "shapeid", shapeid),
                       {"0 esri_get_db_shp_record: mapfile(" + missing + ") error.\n",
                        "0 esri_unstuff_stream: number has 1 elements, 0 bytes left.\n", record_failed,
                        decode_failed});
    EXPECT_EQ(shape.shape, nullptr);
}

TEST_F(FetchTest, empty_file_is_one_and_has_nothing) {
    directory.write("roads.shp", "");
    expect_failure(
        database(row(7, 0) + name_row(7, "roads.shp")),
        {"0 esri_unstuff_stream: number has 1 elements, 0 bytes left.\n", record_failed, decode_failed});
}

TEST_F(FetchTest, file_that_appears_later_is_mapped_then) {
    const Dbptr db = database(row(7, 100) + name_row(7, "roads.shp"));
    EXPECT_EQ(fetch(db), -1);
    directory.write("roads.shp", points(1));
    EXPECT_EQ(fetch(db), 0);
}

TEST_F(FetchTest, offset_outside_the_file_finds_nothing) {
    directory.write("roads.shp", points(1));
    const Lines nothing = {"0 esri_unstuff_stream: number has 1 elements, 0 bytes left.\n", record_failed,
                           decode_failed};
    int database_number = 0;
    for (const long offset : {128L, 129L, -1L, -100L, 1L << 40, INT64_MAX, INT64_MIN})
        expect_failure(database(row(7, offset) + name_row(7, "roads.shp"), std::to_string(database_number++)),
                       nothing);
}

// The header of the file, taken for that of a record: its number is the magic one, and its words are zero.
TEST_F(FetchTest, offset_0_lies_in_the_file) {
    directory.write("roads.shp", points(1));
    ASSERT_EQ(fetch(database(row(7, 0) + name_row(7, "roads.shp"))), 0);
    EXPECT_EQ(shape.offset, 0U);
    EXPECT_EQ(shape.hdr.number, 9994);
    EXPECT_EQ(shape.shape_type, SHAPE_NULL);
}

TEST_F(FetchTest, record_that_is_cut_is_a_failure) {
    directory.write("roads.shp", points(1));
    expect_failure(database(row(7, 120) + name_row(7, "roads.shp")),
                   {"0 esri_decode_shapefile_record: shape type is cut, 0 bytes left.\n", decode_failed});
}

TEST_F(FetchTest, shape_of_the_callers_is_left_to_the_caller) {
    directory.write("roads.shp", points(2));
    const Dbptr db = database(row(7, 100) + name_row(7, "roads.shp"));
    ASSERT_EQ(fetch(db), 0);
    void *earlier = shape.shape;
    ASSERT_EQ(esri_get_db_shp_record(&shape, db), 0);
    EXPECT_NE(shape.shape, earlier);
    lindra_free_esri(SHAPE_POINT, earlier);
}

// The database's own allocations are not counted here, nor those of the process's caches, which stay.
TEST_F(FetchTest, memory_that_runs_out_is_a_failure_and_the_next_fetch_succeeds) {
    directory.write("roads.shp", points(1));
    int succeeded = 0;
    int not_kept = 0; // paths
    for (int nth = 1; !succeeded; nth++) {
        const std::string name = "world" + std::to_string(nth);
        const Dbptr db = database(row(7, 100) + name_row(7, "roads.shp"), name);
        {
            const AllocationWatch watch(nth);
            const int status = fetch(db);
            const AllocationPause pause;
            succeeded = !watch.failed();
            const Lines said = log.take();
            EXPECT_EQ(said.empty(), status == 0);
            not_kept += said == Lines{"0 esri_get_db_shp_record: setarr(" + path(name) + ":7) error.\n"};
        }
        EXPECT_EQ(fetch(db), 0);
        ASSERT_LT(nth, 200);
    }
    EXPECT_GT(not_kept, 0);
}

namespace {

enum Ending { other = 3, without_failure, without_cache };

// Lets an allocation of the process's first fetch fail, and ends the process.
[[noreturn]] void end_by_first_fetch(int nth, LogCapture &log, const std::function<int()> &fetch) {
    bool failed;
    int status;
    {
        const AllocationWatch watch(nth);
        status = fetch();
        failed = watch.failed();
    }
    if (!failed) exit(without_failure);
    const bool is_cache = log.take() == Lines{"0 esri_get_db_shp_record: newarr() error.\n"};
    exit(is_cache && status == -1 && fetch() == 0 ? without_cache : other);
}

} // namespace

// Each in a process of its own, as the cache stays for ever.
TEST_F(FetchDeathTest, first_fetch_without_memory_for_the_cache_is_a_failure_and_the_next_succeeds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    directory.write("roads.shp", points(1));
    const Dbptr db = database(row(7, 100) + name_row(7, "roads.shp"));
    int ending = other;
    for (int nth = 1; ending == other; nth++) {
        const auto ends = [&ending](int status) {
            ending = WEXITSTATUS(status);
            return WIFEXITED(status);
        };
        EXPECT_EXIT(end_by_first_fetch(nth, log, [&] { return fetch(db); }), ends, "");
        ASSERT_LT(nth, 100);
    }
    EXPECT_EQ(ending, without_cache);
}

TEST_F(FetchTest, threads_share_the_caches) {
    directory.write("roads.shp", points(50));
    std::string rows = name_row(7, "roads.shp");
    for (int i = 0; i < 50; i++)
        rows += row(7, 100 + 28 * i);
    const Dbptr db = database(rows);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([db] {
            for (int i = 1; i <= 50; i++) {
                SHPRECORD mine = {};
                const std::string id = std::to_string(i);
                EXPECT_EQ(
                    esri_get_db_shp_record(&mine, dblookup(db, nullptr, nullptr, "shapeid", id.c_str())), 0);
                EXPECT_EQ(mine.hdr.number, i);
                lindra_clear_esri(ESRI_RECORD, &mine);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}
