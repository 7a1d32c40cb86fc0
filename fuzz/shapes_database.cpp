// SPDX-License-Identifier: MIT
//
// Indexes of shapes, which are SQLite databases that may come from anywhere: by the views of the library, by
// esri_get_db_shp_record, and by the command's readers. SQLite itself is not instrumented: what is looked for
// is what we make of its answers.
//
// The head of the input chooses the route, and says how many bytes at its end are a journal or a write-ahead
// log beside the database.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/quiet.hpp"
#include "harness/steps.hpp"

#include "common/errors.hpp"
#include "shapes/index_reader.hpp"
#include "shapes/shape_selection.hpp"

#include "endless_tree.hpp"
#include "index_database.hpp"
#include "shapefile_files.hpp"
#include "sqlite_maker.hpp"
#include "temporary_directory.hpp"

#include <sqlite3.h>

#include <algorithm>
#include <fcntl.h>
#include <map>
#include <unistd.h>

using namespace lindra::fuzz;
using namespace lindra::test;
using namespace lindra::tools;

namespace {

enum Route { by_views, by_fetching, by_selecting, route_count };

// --- Model ---

constexpr const char *page_sizes[] = {"512", "512", "1024", "4096"};
constexpr const char *modes[] = {"", "", "", "PRAGMA auto_vacuum = 1;", "PRAGMA encoding = 'UTF-16le';"};

constexpr const char *plain_tables[] = {
    R"(CREATE TABLE filename(fileid, filename);
       CREATE TABLE shape(fileid, offset, shapeid, recno, shape_type);)",
    R"(CREATE TABLE filename(fileid TEXT, filename BLOB, rowid);
       CREATE TABLE shape(fileid INTEGER, offset TEXT, oid, _rowid_, rowid);)",
    R"(CREATE TABLE real_filename(fileid, filename);
       CREATE VIEW filename AS SELECT * FROM real_filename;
       CREATE TABLE shape(fileid INTEGER, offset INTEGER AS (fileid * 100) STORED);)",
    R"(CREATE TABLE filename(fileid INTEGER PRIMARY KEY, filename TEXT) WITHOUT ROWID;
       CREATE TABLE shape(fileid, offset CHECK (offset > 0));
       CREATE TRIGGER look AFTER INSERT ON shape BEGIN DELETE FROM shape; END;)",
};

constexpr const char *names[] = {"'a.shp'",
                                 "'a.shp'",
                                 "'b.shp'",
                                 "''",
                                 "'/dev/null'",
                                 "'../a.shp'",
                                 "x'612e736870'",
                                 "1",
                                 "NULL",
                                 "hex(zeroblob(300))",
                                 "'a.shp' || char(0) || 'x'"};
constexpr const char *numbers[] = {
    "1", "1", "2", "'1'", "' 1'", "1.0", "NULL", "-1", "9223372036854775807", "x'31'"};
constexpr const char *offsets[] = {"100", "100", "'100'",      "128", "99",
                                   "0",   "-8",  "4294967396", "1e2", "NULL"};
constexpr const char *attributes[] = {
    "'{\"NAME\":\"x\"}'", "'{}'", "'null'", "'['", "NULL", "zeroblob(2000)", "'{\"a\":1}' || char(0)"};

constexpr const char *deep_tables[] = {"shape", "filename", "field", "shape_box_node"};

std::string rows(Random &random) {
    std::string sql;
    for (unsigned count = random.below(4); count > 0; count--) {
        sql += insert("filename(fileid, filename)",
                      std::string(random.one_of(numbers)) + "," + random.one_of(names));
        sql += insert("shape(fileid, offset)",
                      std::string(random.one_of(numbers)) + "," + random.one_of(offsets));
    }
    return sql;
}

std::string index_rows(Random &random) {
    std::string sql = insert("field", "1, 1, 'NAME', 'C'") + insert("field", "1, 2, 'a', 'N'");
    for (unsigned i = 1 + random.below(3); i > 0; i--) {
        sql += insert("filename",
                      std::string(random.one_of(numbers)) + "," + random.one_of(names) + ", 156, 0, ''");
        sql +=
            insert("shape", std::to_string(i) + "," + random.one_of(numbers) + "," + random.one_of(offsets) +
                                ", 20, 1, 1, 0, 0, 10, 10," + random.one_of(attributes));
        sql += insert("shape_box", std::to_string(i) + ", 0, 10, 0, 10");
    }
    return sql;
}

// --- Databases

// Statements that a schema does not take are left out.
void run_each(sqlite3 *connection, const std::string &sql) {
    for (size_t from = 0; from < sql.size();) {
        const char *tail = nullptr;
        sqlite3_stmt *statement = nullptr;
        const int result = sqlite3_prepare_v2(connection, sql.c_str() + from, -1, &statement, &tail);
        if (result == SQLITE_OK) sqlite3_step(statement);
        sqlite3_finalize(statement);
        const size_t stop = static_cast<size_t>(tail - sql.c_str());
        from = result == SQLITE_OK ? stop : std::min(sql.find(';', from), sql.size() - 1) + 1;
    }
}

// Returns 0 when there is no such table, or its root is the file's first page.
size_t root_of(SqliteMaker &maker, const std::string &table) {
    const int root =
        maker.number("SELECT rootpage FROM sqlite_schema WHERE type = 'table' AND name = '" + table + "'");
    return root > 1 ? static_cast<size_t>(root) : 0;
}

std::string made_database(unsigned number) {
    Random random(number);
    const bool is_index = random.one_in(2);
    SqliteMaker maker(":memory:", std::string("PRAGMA page_size = ") + random.one_of(page_sizes) + ";" +
                                      random.one_of(modes) +
                                      (is_index ? index_tables : random.one_of(plain_tables)));
    if (is_index && random.one_in(2)) maker.run(index_tree);
    run_each(maker.connection(), is_index ? index_rows(random) : rows(random));
    std::string file = content(maker.connection());
    const size_t root = random.one_in(3) ? root_of(maker, random.one_of(deep_tables)) : 0;
    if (root) make_endless(file, root, 3 + random.below(4));
    return file;
}

// SQLite takes far longer to make a database than we to read it, so that there are a few dozen only.
std::string model(Random &random) {
    static std::map<unsigned, std::string> made;
    const unsigned number = random.below(64);
    if (!made.contains(number)) made[number] = made_database(number);
    return random.byte() + be16(0) + made[number];
}

// --- Reading ---

// The directory where the databases stand, with one shapefile that is there.
struct Place {
    Place() { directory.write("a.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4)})); }

    std::string path(const char *name) const { return (directory.path() / name).string(); }

    TemporaryDirectory directory;
};

const Place &place() {
    static const Place only;
    return only;
}

void write_file(const std::string &path, Bytes bytes) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    expect(descriptor >= 0 &&
               write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
           "write");
    close(descriptor);
}

// Lays the database out, with a file beside it of the last bytes, as many as the parameters say. Returns its
// path.
std::string lay_out(Parameters &parameters, const char *beside) {
    static const std::string path = place().path("shapes.db");
    for (const char *left_over : {"-wal", "-shm", "-journal"})
        unlink((path + left_over).c_str());
    const size_t wanted = parameters.half();
    const Bytes rest = parameters.rest();
    const size_t size = std::min(wanted, rest.size());
    if (size) write_file(path + beside, rest.last(size));
    write_file(path, rest.first(rest.size() - size));
    return path;
}

void read_row(Dbptr row) {
    long number = 0;
    char filename[256];
    for (const char *name : {"fileid", "offset", "shapeid", "recno", "shape_type"})
        dbgetv(row, nullptr, name, &number, static_cast<char *>(nullptr));
    if (dbgetv(row, nullptr, "filename", filename, static_cast<char *>(nullptr)) == 0)
        expect(memchr(filename, 0, sizeof filename) != nullptr, "a text is closed");
    SHPRECORD record = {};
    if (esri_get_db_shp_record(&record, row) == 0) {
        expect(record.offset <= INT64_MAX, "an offset is that of a file");
        accept();
    }
    lindra_clear_esri(ESRI_RECORD, &record);
}

void walk_table(Dbptr view, const char *name) {
    constexpr int rows_at_most = 32;
    Dbptr row = dblookup(view, nullptr, name, nullptr, nullptr);
    if (row.record == LINDRA_DB_NO_RECORD) return;
    int64_t before = -1;
    for (int i = 0; i < rows_at_most; i++) {
        row = lindra_db_next(row);
        if (row.record == LINDRA_DB_NO_RECORD) return;
        expect(row.record > before, "rows are walked in rising order");
        before = row.record;
        read_row(row);
    }
}

void read_by_views(const std::string &path) {
    Dbptr view = {};
    if (lindra_db_open(path.c_str(), &view) < 0) return;
    char *told = nullptr;
    expect(dbquery(view, LINDRA_DB_FILE_PATH, &told) == 0 && path == told, "the path is told");
    for (const char *name : {"shape", "filename", "sqlite_schema", "shape_box_node"})
        walk_table(view, name);
    for (const char *text : {"1", "", "a.shp", "100"})
        for (const char *field : {"fileid", "offset", "filename"})
            dblookup(view, path.c_str(), field[1] == 'i' ? "filename" : "shape", field, text);
    expect(lindra_db_close(view) == 0, "an open database can be closed");
}

void fetch_all(const std::string &path) {
    const std::vector<int64_t> found = select_shapes(path, {});
    IndexReader index(path, {});
    for (const int64_t shapeid : found) {
        if (shapeid > 16) return;
        const std::optional<IndexedShape> shape = index.find(shapeid);
        if (!shape) continue;
        expect(shape->broken || shape->attributes.starts_with('{') || shape->attributes == "null",
               "attributes are an object, or told to be none");
        index.file_of(*shape);
        FetchedRecord record;
        if (index.fetch(shapeid, record).empty()) accept();
    }
}

// What the command refuses, it refuses by these.
template <class Read>
void read_by_command(Read read) {
    try {
        read();
    } catch (const DataError &) {
    } catch (const UsageError &) {
    }
}

void select_some(const std::string &path) {
    size_t found = 0;
    read_by_command([&] { found += select_shapes(path, {{{-180, 180, -90, 90}}, ""}).size(); });
    read_by_command([&] { found += select_shapes(path, {{}, "NAME = 'x'"}).size(); });
    if (found == 2) accept();
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    const std::string plain =
        database_of(plain_tables[0] + insert("filename", "1, 'a.shp'") + insert("shape", "1, 100, 1, 1, 1"));
    const auto read = [](Route route) { return behind({static_cast<char>(2 * route), 0, 0}); };
    return {{"plain", plain, read(by_views)},
            {"index", small_index("a.shp"), read(by_fetching)},
            {"tree", small_tree("a.shp"), read(by_selecting)}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Parameters parameters({data, size});
    const unsigned choice = parameters.byte();
    const std::string path = lay_out(parameters, choice % 2 ? "-wal" : "-journal");
    ignore_log();
    const HeapLimit limit(size, memory_of_sqlite);
    const StepLimit steps(size, 20, 20'000);
    switch (choice / 2 % route_count) {
    case by_views:
        read_by_views(path);
        break;
    case by_fetching:
        read_by_command([&] { fetch_all(path); });
        break;
    default:
        select_some(path);
    }
    return 0;
}
