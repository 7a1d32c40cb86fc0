// SPDX-License-Identifier: MIT
//
// `lindra index`, and that what it makes finds the same as a look at every record.

#include "indexed_shapes.hpp"
#include "lying_row.hpp"
#include "ordinary_user.hpp"

#include "shapes/index_file.hpp"
#include "shapes/shape_selection.hpp"
#include "shapes/shapefile_walk.hpp"
#include "shapes/sqlite.hpp"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <unistd.h>

using namespace lindra::test;
using namespace lindra::tools;
namespace fs = std::filesystem;

namespace {

using Index = IndexedShapes;

const std::vector<Column> name_column = {{"NAME", 'C', 8}};

std::string summary(int shapes, int read, int unchanged, int removed) {
    return std::to_string(shapes) + (shapes == 1 ? " shape; " : " shapes; ") + std::to_string(read) +
           (read == 1 ? " file read, " : " files read, ") + std::to_string(unchanged) + " unchanged, " +
           std::to_string(removed) + " removed\n";
}

// --- Every record looked at ---

struct Box {
    double xmin, ymin, xmax, ymax;
};

std::optional<Box> box_of(const SHPRECORD &record) {
    if (record.shape_type == SHAPE_NULL) return std::nullopt;
    if (record.shape_type == SHAPE_POINT) {
        const auto &point = *static_cast<const SHPRECPOINT *>(record.shape);
        return Box{point.x, point.y, point.x, point.y};
    }
    const SHPBOX &box = static_cast<const SHPRECPOLYL *>(record.shape)->bbox;
    return Box{box.xmin, box.ymin, box.xmax, box.ymax};
}

// The boxes of all records, by the strict reader.
std::vector<std::optional<Box>> boxes_of(const std::string &path) {
    char *data = nullptr;
    const int64_t size = mapfile(path.c_str(), nullptr, &data);
    auto *base = reinterpret_cast<unsigned char *>(data);
    lindra_bound(base, static_cast<size_t>(size));
    unsigned char *cursor = base;
    void *decoded = nullptr;
    EXPECT_EQ(esri_unstuff_stream(ESRI_FILE, &decoded, base, &cursor), 0) << path;
    auto *file = static_cast<SHPFILE *>(decoded);
    std::vector<std::optional<Box>> boxes;
    for (int i = 0; i < counttbl(file->records); i++)
        boxes.push_back(box_of(*static_cast<const SHPRECORD *>(gettbl(file->records, i))));
    lindra_free_esri(ESRI_FILE, file);
    return boxes;
}

bool meets(const std::optional<Box> &box, const ShapeWindow &window) {
    return box && box->xmin <= window.east && box->xmax >= window.west && box->ymin <= window.north &&
           box->ymax >= window.south;
}

// Coordinates that are hard for an index of 32-bit numbers: near each other, and of any size.
class Coordinates {
  public:
    double any() {
        static constexpr double sizes[] = {1, 100, 4e6, 1e20, 1e300};
        const double size = sizes[engine_() % std::size(sizes)];
        seen_.push_back(std::uniform_real_distribution(-size, size)(engine_));
        return seen_.back();
    }

    // Every second one is one that was there before, or next to it.
    double edge() {
        if (engine_() % 2) return any();
        const double value = seen_[engine_() % seen_.size()];
        const double infinity = std::numeric_limits<double>::infinity();
        return engine_() % 2 ? value : std::nextafter(value, engine_() % 2 ? infinity : -infinity);
    }

    std::pair<double, double> interval(double a, double b) const { return std::minmax(a, b); }

    std::string shape() {
        const auto kind = engine_() % 10;
        if (kind == 0) return le32(SHAPE_NULL);
        if (kind < 5) return point_shape(any(), any());
        const auto [xmin, xmax] = interval(any(), any());
        const auto [ymin, ymax] = interval(any(), any());
        return diagonal(xmin, ymin, xmax, ymax);
    }

    ShapeWindow window() {
        const auto [west, east] = interval(edge(), edge());
        const auto [south, north] = interval(edge(), edge());
        return {west, east, south, north};
    }

  private:
    std::mt19937_64 engine_{20260101};
    std::vector<double> seen_;
};

// While one lives, SQLite has no way to the files of the system.
class NoWayToFiles {
  public:
    NoWayToFiles() {
        while (sqlite3_vfs *way = sqlite3_vfs_find(nullptr)) {
            ways_.push_back(way);
            sqlite3_vfs_unregister(way);
        }
    }
    // The first one was the default.
    ~NoWayToFiles() {
        for (sqlite3_vfs *way : ways_)
            sqlite3_vfs_register(way, way == ways_.front());
    }
    NoWayToFiles(const NoWayToFiles &) = delete;
    NoWayToFiles &operator=(const NoWayToFiles &) = delete;

  private:
    std::vector<sqlite3_vfs *> ways_;
};

} // namespace

// What it lacks is not for good: the file counts as changed.
TEST_F(Index, table_that_cannot_be_read_is_told_and_read_by_the_next_run) {
    write("roads", {diagonal(0, 0, 1, 1)});
    std::filesystem::create_directory(path("roads.dbf"));
    for (int run = 0; run < 2; run++) {
        const Result result = index();
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(has(result.errors, "roads.dbf: is no regular file")) << result.errors;
        EXPECT_TRUE(has(result.errors, summary(1, 1, 0, 0))) << result.errors;
    }
}

TEST_F(Index, finds_what_a_look_at_every_record_finds_in_1000_random_windows) {
    Coordinates coordinates;
    std::vector<std::optional<Box>> boxes;
    for (const std::string name : {"a", "b", "c"}) {
        std::vector<std::string> shapes;
        for (int i = 0; i < 700; i++)
            shapes.push_back(coordinates.shape());
        write(name, shapes);
        for (const std::optional<Box> &box : boxes_of(path(name + ".shp")))
            boxes.push_back(box);
    }
    ASSERT_EQ(index().code, 0);
    ASSERT_EQ(shapes(), 2100);
    size_t found = 0;
    for (int i = 0; i < 1000; i++) {
        const ShapeWindow window = coordinates.window();
        std::vector<int64_t> expected;
        for (size_t k = 0; k < boxes.size(); k++)
            if (meets(boxes[k], window)) expected.push_back(static_cast<int64_t>(k) + 1);
        ASSERT_EQ(select_shapes(database(), {{window}, ""}), expected)
            << window.west << "/" << window.east << "/" << window.south << "/" << window.north;
        found += expected.size();
    }
    EXPECT_GT(found, 100'000U);
}

TEST_F(Index, has_of_each_shape_what_the_file_says) {
    write("roads", {diagonal(1, 2, 3, 4), le32(SHAPE_NULL)}, {{"NAME", 'C', 8}, {"LANES", 'N', 3}},
          {" Ring    12 ", " \"Q\" \\      "});
    ASSERT_EQ(index().code, 0);
    SqliteMaker file(database());
    EXPECT_EQ(file.number("SELECT count(*) FROM shape WHERE shapeid = 1 AND offset = 100 AND recno = 1 AND "
                          "shape_type = 3 AND xmin = 1 AND ymin = 2 AND xmax = 3 AND ymax = 4 AND "
                          "attributes = '{\"NAME\":\"Ring\",\"LANES\":12}'"),
              1);
    EXPECT_EQ(
        file.number("SELECT count(*) FROM shape WHERE shapeid = 2 AND recno = 2 AND shape_type = 0 AND "
                    "xmin IS NULL AND attributes ->> 'NAME' = '\"Q\" \\' AND attributes ->> 'LANES' IS NULL"),
        1);
    EXPECT_EQ(file.number("SELECT count(*) FROM shape_box"), 1);
    EXPECT_EQ(file.number("SELECT count(*) FROM field WHERE fileid = 1 AND name IN ('NAME', 'LANES')"), 2);
}

TEST_F(Index, box_that_is_none_is_that_of_the_points) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::string shape = diagonal(1, 2, 3, 4);
    write("roads", {with_box(shape, {3, 4, 1, 2}), with_box(shape, {nan, 2, 3, 4}), point_shape(nan, 1)});
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(number("SELECT count(*) FROM shape WHERE xmin = 1 AND ymin = 2 AND xmax = 3 AND ymax = 4"), 2);
    EXPECT_EQ(number("SELECT count(*) FROM shape WHERE xmin IS NULL"), 1);
}

TEST_F(Index, shapes_whose_rows_are_deleted_are_left_out) {
    write("roads", {point_shape(1, 1), point_shape(2, 2)}, name_column, {"*gone    ", " there   "});
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(number("SELECT recno FROM shape"), 2);
    EXPECT_EQ(shapes(), 1);
}

TEST_F(Index, second_run_reads_nothing) {
    write("a", {point_shape(1, 1)});
    write("b", {point_shape(2, 2), point_shape(3, 3)});
    EXPECT_TRUE(has(index().errors, summary(3, 2, 0, 0)));
    const std::string before = read_file(database());
    EXPECT_TRUE(has(index().errors, summary(3, 0, 2, 0)));
    EXPECT_EQ(read_file(database()), before);
}

TEST_F(Index, changed_files_are_read_again) {
    write("a", {point_shape(1, 1)}, name_column, {" old     "});
    write("b", {point_shape(2, 2)});
    ASSERT_EQ(index().code, 0);
    write("a", {point_shape(5, 1), point_shape(6, 1)}, name_column, {" old     ", " old     "});
    EXPECT_TRUE(has(index().errors, summary(3, 1, 1, 0)));
    EXPECT_EQ(number("SELECT count(*) FROM shape WHERE xmin >= 5"), 2);
    EXPECT_EQ(number("SELECT count(*) FROM shape_box"), 3);
}

TEST_F(Index, table_that_changed_is_read_again) {
    write("a", {point_shape(1, 1)}, name_column, {" old     "});
    ASSERT_EQ(index().code, 0);
    const auto later = fs::last_write_time(path("a.dbf")) + std::chrono::seconds(1);
    directory.write("a.dbf", table_file(name_column, {" new     "}));
    fs::last_write_time(path("a.dbf"), later);
    EXPECT_TRUE(has(index().errors, summary(1, 1, 0, 0)));
    EXPECT_EQ(number("SELECT count(*) FROM shape WHERE attributes = '{\"NAME\":\"new\"}'"), 1);
}

TEST_F(Index, numbers_of_shapes_are_not_used_again) {
    write("a", {point_shape(1, 1)});
    ASSERT_EQ(index().code, 0);
    write("a", {point_shape(5, 1), point_shape(6, 1)});
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(number("SELECT min(shapeid) FROM shape"), 2);
    EXPECT_EQ(number("SELECT fileid FROM filename"), 1);
}

TEST_F(Index, files_that_are_gone_are_taken_out_where_it_looks) {
    write("here/a", {point_shape(1, 1)});
    write("here/b", {point_shape(1, 1)});
    write("there/c", {point_shape(1, 1)});
    ASSERT_EQ(index().code, 0);
    fs::remove(path("here/a.shp"));
    fs::remove(path("there/c.shp"));
    EXPECT_TRUE(has(index(path("here")).errors, summary(2, 0, 1, 1)));
    EXPECT_EQ(number("SELECT count(*) FROM filename WHERE filename = 'there/c.shp'"), 1);
    EXPECT_TRUE(has(index(path("there/c.shp")).errors, summary(1, 0, 0, 1)));
}

TEST_F(Index, files_that_may_not_be_looked_up_stay_and_are_told) {
    const OrdinaryUser user(directory.path());
    write("locked/a", {point_shape(1, 1)});
    write("b", {point_shape(2, 2)});
    ASSERT_EQ(index().code, 0);
    const LockedDirectory locked(path("locked"));
    const Result result = index();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "locked/a.shp cannot be looked up: Permission denied\n")) << result.errors;
    EXPECT_EQ(shapes(), 2);
    const Result fetched = fetch("--id 1,2 --format geojson");
    EXPECT_EQ(fetched.code, 1);
    EXPECT_TRUE(has(fetched.errors, "locked/a.shp cannot be looked up: Permission denied\n"))
        << fetched.errors;
    EXPECT_TRUE(has(fetched.output, "b.shp")) << "the other is fetched";
}

TEST_F(Index, index_that_may_not_be_looked_up_is_not_taken_for_absent) {
    const OrdinaryUser user(directory.path());
    fs::create_directory(path("locked"));
    const LockedDirectory locked(path("locked"));
    const std::string place = path("locked/shapes.db");
    EXPECT_EQ(run_lindra("fetch " + place).errors,
              "lindra: " + place + " cannot be looked up: Permission denied\n");
}

TEST_F(Index, ending_is_not_added_to_a_name_that_may_not_be_looked_up) {
    const OrdinaryUser user(directory.path());
    write("a", {point_shape(1, 1)});
    fs::create_directory(path("locked"));
    fs::create_symlink(path("locked/it"), path("a"));
    EXPECT_EQ(walk_shapefiles({path("a")}).files, std::set{path("a.shp")}) << "the link leads to nothing";
    const LockedDirectory locked(path("locked"));
    const ShapefileWalk walk = walk_shapefiles({path("a")});
    EXPECT_TRUE(walk.files.empty());
    EXPECT_EQ(walk.problems, std::vector{path("a") + " cannot be looked up: Permission denied"});
}

// --- Rows that claim more than the file has

namespace {

// The index of one shapefile on pages of 512 bytes, in whose table or index of that name one row lies.
std::string lying_index(const TemporaryDirectory &directory, const char *name, LyingPage kind) {
    const std::string path = (directory.path() / "shapes.db").string();
    SqliteMaker maker(path, "PRAGMA page_size = 512; VACUUM");
    const int root =
        maker.number(std::string("SELECT rootpage FROM sqlite_schema WHERE name = '") + name + "'");
    std::string file = read_file(path);
    make_lying(file, static_cast<size_t>(root), kind);
    return directory.write("lying.db", file);
}

} // namespace

TEST_F(Index, rows_that_claim_4_gigabytes_are_damage_and_take_no_memory) {
    write("a", {point_shape(1, 1)}, name_column, {" x       "});
    ASSERT_EQ(index().code, 0);
    struct Lie {
        const char *name;
        LyingPage kind;
    };
    for (const Lie lie : {Lie{"shape", LyingPage::leaf_of_table}, Lie{"filename", LyingPage::leaf_of_table},
                          Lie{"field", LyingPage::leaf_of_index}, Lie{"field", LyingPage::inner_of_index}}) {
        const std::string lying = lying_index(directory, lie.name, lie.kind);
        const int64_t held = held_by_sqlite([&] {
            EXPECT_THROW(select_shapes(lying, {{}, "NAME = 'x'"}), DataError) << lie.name;
        });
        EXPECT_LT(held, 1 << 20) << lie.name;
    }
}

TEST_F(Index, damaged_file_is_told_with_its_place_and_the_rest_goes_on) {
    const std::string whole = main_file_of(SHAPE_POINT, {point_shape(1, 1), point_shape(2, 2)});
    directory.write("cut.shp", whole.substr(0, whole.size() - 10));
    directory.write("no_shapefile.shp", "hello");
    write("sound", {point_shape(3, 3)});
    const Result result = index();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "cut.shp: byte 132: ")) << result.errors;
    EXPECT_TRUE(has(result.errors, "no_shapefile.shp: byte 5: ends in its header\n")) << result.errors;
    EXPECT_TRUE(has(result.errors, "lindra: 2 files could not be read in whole")) << result.errors;
    EXPECT_EQ(number("SELECT count(*) FROM shape JOIN filename USING(fileid) WHERE filename = 'sound.shp'"),
              1);
    EXPECT_EQ(number("SELECT count(*) FROM filename WHERE filename = 'no_shapefile.shp'"), 0);
}

TEST_F(Index, file_that_cannot_be_read_any_more_is_taken_out) {
    write("a", {point_shape(1, 1)});
    ASSERT_EQ(index().code, 0);
    directory.write("a.shp", "hello");
    EXPECT_EQ(index().code, 1);
    EXPECT_EQ(shapes(), 0);
    EXPECT_EQ(number("SELECT count(*) FROM filename"), 0);
}

TEST_F(Index, names_below_the_database_are_relative_and_the_others_absolute) {
    write("maps/roads", {point_shape(1, 1)});
    fs::create_directory(path("elsewhere"));
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(number("SELECT filename = 'maps/roads.shp' FROM filename"), 1);
    ASSERT_EQ(run_lindra("index " + path("maps") + " -o " + path("elsewhere/shapes.db")).code, 0);
    const std::string absolute = fs::canonical(path("maps/roads.shp")).string();
    EXPECT_EQ(
        SqliteMaker(path("elsewhere/shapes.db")).number("SELECT filename = '" + absolute + "' FROM filename"),
        1);
}

TEST_F(Index, one_file_by_several_names_is_one_file) {
    write("maps/roads", {point_shape(1, 1)});
    const std::string maps = path("maps");
    ASSERT_EQ(index(maps + " " + maps + "/roads " + maps + "/../maps//roads.shp").code, 0);
    EXPECT_EQ(shapes(), 1);
}

TEST_F(Index, walk_takes_endings_in_any_case_and_links_that_go_round) {
    write("a/b/roads", {point_shape(1, 1)});
    directory.write("a/RIVERS.SHP", main_file_of(SHAPE_POINT, {point_shape(2, 2)}));
    directory.write("a/notes.shp.txt", "no shapefile");
    fs::create_directory(path("a/folder.shp"));
    fs::create_directory_symlink(path("a"), path("a/b/round"));
    fs::create_symlink(path("a/nothing"), path("a/broken.shp"));
    const Result result = index();
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(shapes(), 2);
    EXPECT_EQ(number("SELECT fileid FROM filename WHERE filename = 'a/RIVERS.SHP'"), 1);
    EXPECT_EQ(number("SELECT fileid FROM filename WHERE filename = 'a/b/roads.shp'"), 2);
}

TEST_F(Index, names_of_any_bytes_are_found_again) {
    const std::string names[] = {"it's \"quoted\"", "two\nlines", "caf\xe9", "%3f?x=1#y", " "};
    for (const std::string &name : names)
        write("maps/" + name, {point_shape(1, 1)});
    ASSERT_EQ(index().code, 0);
    ASSERT_EQ(shapes(), 5);
    EXPECT_EQ(fetch("").code, 0);
    const Result result = fetch("--format geojson");
    EXPECT_EQ(nlohmann::json::parse(result.output)["features"].size(), 5U);
}

TEST_F(Index, name_too_long_for_the_views_is_told_and_passed_over) {
    const std::string folder(130, 'd');
    write(folder + "/" + std::string(120, 'n'), {point_shape(1, 1)}); // 255 bytes with the ending
    write(folder + "/" + std::string(121, 'n'), {point_shape(1, 1)});
    const Result result = index();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "the name is longer than 255 bytes")) << result.errors;
    EXPECT_EQ(shapes(), 1);
    EXPECT_EQ(fetch("").code, 0);
}

TEST_F(Index, attributes_of_any_bytes_are_sound_json) {
    std::string every_byte(255, ' ');
    for (size_t i = 0; i < every_byte.size(); i++)
        every_byte[i] = static_cast<char>(i + 1);
    const std::string row = padded(" ", 1) + every_byte + "q*****";
    for (const std::string encoding : {"UTF-8", "1252", "no such thing"}) {
        write("a", {point_shape(1, 1)}, {{"\"\\\x01'", 'C', 255}, {"", 'C', 1}, {"X", 'N', 5}}, {row},
              encoding);
        (void)index();
        EXPECT_EQ(number("SELECT json_valid(attributes) FROM shape"), 1);
        const Result result = fetch("--format geojson");
        ASSERT_EQ(result.code, 0);
        const auto properties = nlohmann::json::parse(result.output)["features"][0]["properties"];
        EXPECT_EQ(properties["FIELD_2"], "q");
        EXPECT_TRUE(properties["X"].is_null());
        EXPECT_GT(properties["\"\\\x01'"].get<std::string>().size(), 250U);
    }
}

TEST_F(Index, attributes_of_64_kb_are_kept_and_those_too_large_for_the_views_told_and_left_out) {
    const std::vector<Column> columns(800, {"NOTE", 'C', 255});
    const std::string large = padded(" ", 1 + 800 * 255, '\x01'); // six bytes of JSON each
    directory.write("a.shp", main_file_of(SHAPE_POINT, {point_shape(1, 1)}));
    directory.write("a.dbf", table_file(columns, {large}, {.row_size = 0}));
    // The high byte of the length stands where a number has its decimals.
    directory.write("b.shp", main_file_of(SHAPE_POINT, {point_shape(1, 1)}));
    directory.write("b.dbf", table_file({{"NOTE", 'C', 60'000 & 255, 60'000 >> 8}},
                                        {padded(" ", 60'001, '\x01')}, {.row_size = 60'001}));
    const Result result = index();
    EXPECT_TRUE(has(result.errors, "bytes of attributes, which are left out") || has(result.errors, "(and "))
        << result.errors;
    EXPECT_EQ(number("SELECT attributes IS NULL FROM shape WHERE shapeid = 1"), 1);
    EXPECT_EQ(number("SELECT length(attributes) > 360000 FROM shape WHERE shapeid = 2"), 1);
    EXPECT_EQ(fetch("").code, 0);
}

TEST_F(Index, encoding_is_for_tables_that_tell_none_and_reads_again) {
    write("a", {point_shape(1, 1)}, name_column, {" \xe9       "}, "");
    fs::remove(path("a.cpg"));
    ASSERT_EQ(index().code, 0);
    EXPECT_EQ(number("SELECT attributes ->> 'NAME' = 'é' FROM shape"), 1);
    ASSERT_EQ(index(directory.path().string() + " --encoding CP437").code, 0);
    EXPECT_EQ(number("SELECT attributes ->> 'NAME' = 'Θ' FROM shape"), 1);
}

TEST_F(Index, database_that_is_not_opened_for_want_of_memory_is_told_apart) {
    const auto open = [&] { SqliteConnection(path("any.db"), SqliteConnection::Access::write); };
    sqlite3_hard_heap_limit64(1);
    EXPECT_THROW(open(), std::bad_alloc);
    sqlite3_hard_heap_limit64(0);
    const NoWayToFiles none;
    try {
        open();
        FAIL() << "it was opened";
    } catch (const SqliteError &error) {
        EXPECT_EQ(error.what(), path("any.db") + ": " + sqlite3_errstr(SQLITE_ERROR));
    }
}

TEST_F(Index, file_of_another_kind_is_refused_and_stays) {
    write("a", {point_shape(1, 1)});
    directory.write("shapes.db",
                    "my letters, which are long enough to be looked at: " + std::string(1000, 'x'));
    const std::string letters = read_file(database());
    EXPECT_EQ(index().code, 1);
    EXPECT_EQ(read_file(database()), letters);
    EXPECT_EQ(fetch("").code, 1);
    fs::remove(database());
    SqliteMaker(database(), "CREATE TABLE shape(mine); INSERT INTO shape VALUES(1)");
    const std::string foreign = read_file(database());
    const Result result = index();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "is a database of another kind, and no index of shapes\n"))
        << result.errors;
    EXPECT_EQ(read_file(database()), foreign);
    EXPECT_EQ(fetch("").code, 1);
}

TEST_F(Index, index_of_another_version_is_refused) {
    write("a", {point_shape(1, 1)});
    ASSERT_EQ(index().code, 0);
    SqliteMaker(database(), "PRAGMA user_version = 99");
    const Result result = index();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "is an index of version 99, and this lindra has version 1"))
        << result.errors;
    EXPECT_EQ(fetch("").code, 1);
}

TEST_F(Index, place_that_cannot_be_written_is_an_error_and_nothing_is_left) {
    write("a", {point_shape(1, 1)});
    for (const std::string &place :
         {path("no/such/folder/shapes.db"), directory.path().string(), std::string("/dev/null")}) {
        const Result result = run_lindra("index " + path("a.shp") + " -o " + place);
        EXPECT_EQ(result.code, 1) << place;
        EXPECT_TRUE(has(result.errors, place)) << result.errors;
    }
    const Result full = run_lindra("index " + path("a.shp") + " -o /dev/full");
    EXPECT_EQ(full.code, 1);
    const Result nowhere = run_lindra("index " + path("a.shp") + " -o " + path("no/shapes.db"));
    EXPECT_TRUE(
        has(nowhere.errors, "; make the directory " + fs::canonical(directory.path()).string() + "/no first"))
        << nowhere.errors;
}

TEST_F(Index, folder_that_may_not_be_written_is_told_with_the_reason) {
    write("a", {point_shape(1, 1)});
    fs::create_directory(path("locked"));
    fs::permissions(path("locked"), static_cast<fs::perms>(0555));
    const OrdinaryUser user(directory.path());
    const Result result = run_lindra("index " + path("a.shp") + " -o " + path("locked/shapes.db"));
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, "locked/shapes.db cannot be made: Permission denied")) << result.errors;
}

TEST_F(Index, encoding_that_is_unknown_is_a_wrong_argument) {
    write("a", {point_shape(1, 1)});
    const Result result = index(path("a.shp") + " --encoding foo");
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.errors, "lindra: there is no encoding 'foo'; `iconv -l` lists them\n");
    EXPECT_FALSE(fs::exists(database()));
}

TEST_F(Index, names_that_are_empty_are_wrong_arguments) {
    write("a", {point_shape(1, 1)});
    const Result input = run_lindra("index '' -o " + database());
    EXPECT_EQ(input.code, 2);
    EXPECT_EQ(input.errors, "lindra: the name of a file is empty; leave it out, or name one\n");
    const Result output = run_lindra("index " + path("a.shp") + " -o ''");
    EXPECT_EQ(output.code, 2);
    EXPECT_EQ(output.errors, "lindra: --output is empty; give it a value, or leave it out\n");
    EXPECT_FALSE(fs::exists(database()));
}

TEST_F(Index, directory_that_is_gone_is_told_with_what_to_do) {
    write("a", {point_shape(1, 1)});
    const std::string away =
        "mkdir " + path("gone") + " && cd " + path("gone") + " && rmdir " + path("gone") + " && ";
    const std::string line =
        away + LINDRA_COMMAND_PATH " index a.shp -o " + database() + " 2>" + path("errors");
    EXPECT_NE(std::system(line.c_str()), 0);
    EXPECT_EQ(read_file(path("errors")),
              "lindra: the directory that lindra runs in cannot be found: No such file or "
              "directory; go to another one, or name a.shp by its whole path\n");
}

// Runs the index under a limit of the size of files, in blocks of 512 bytes.
struct LimitedIndex : Index {
    std::string errors;

    int run(int blocks, const std::string &name) {
        const std::string line = "ulimit -f " + std::to_string(blocks) + "; " LINDRA_COMMAND_PATH " index " +
                                 path(name) + " -o " + database() + " 2>" + path("errors");
        const int status = std::system(line.c_str());
        errors = read_file(path("errors"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(LimitedIndex, limit_is_told_and_nothing_is_left_of_a_new_database) {
    write("a", {point_shape(1, 1)});
    EXPECT_EQ(run(1, "a.shp"), 1);
    EXPECT_TRUE(has(errors, "lindra: " + database() + ": ")) << errors;
    EXPECT_FALSE(fs::exists(database()));
    EXPECT_FALSE(fs::exists(database() + "-journal"));
}

// SQLite goes back by itself as far as it can, and its reason must stay the one that is told.
TEST_F(LimitedIndex, database_that_may_not_grow_stays_as_it_was) {
    write("a", {point_shape(1, 1)});
    ASSERT_EQ(index().code, 0);
    write("b", std::vector<std::string>(5000, point_shape(2, 2)));
    for (const int blocks : {1, 16, 200}) {
        EXPECT_EQ(run(blocks, "b.shp"), 1);
        EXPECT_TRUE(has(errors, "lindra: " + database() + ": ")) << errors;
        EXPECT_FALSE(has(errors, "savepoint")) << errors;
        EXPECT_EQ(shapes(), 1);
    }
}

// The superuser may write everywhere but where the kernel makes the files.
TEST_F(Index, folder_that_takes_no_files_is_an_error) {
    write("maps/a", {point_shape(1, 1)});
    fs::create_directory(path("locked"));
    fs::permissions(path("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    const std::string place = geteuid() == 0 ? "/proc/shapes.db" : path("locked/shapes.db");
    const Result result = run_lindra("index " + path("maps") + " -o " + place);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(has(result.errors, place)) << result.errors;
    EXPECT_FALSE(fs::exists(place));
}

TEST_F(Index, nothing_to_index_is_an_error_and_makes_no_database) {
    for (const std::string &place : {directory.path().string(), path("missing"), path("missing.shp")}) {
        const Result result = index(place);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(has(result.errors, "there is no .shp file at ")) << result.errors;
        EXPECT_FALSE(fs::exists(database()));
    }
    directory.write("notes.txt", "x");
    EXPECT_EQ(index(path("notes.txt")).code, 1);
    EXPECT_FALSE(fs::exists(database()));
    EXPECT_EQ(run_lindra("index").code, 2);
}

TEST_F(Index, new_database_stays_only_with_a_file_in_it) {
    directory.write("text.shp", "text");
    const Result none = index();
    EXPECT_EQ(none.code, 1);
    EXPECT_TRUE(has(none.errors, "text.shp: ")) << none.errors;
    EXPECT_TRUE(has(none.errors, "1 file could not be read in whole; no database was made")) << none.errors;
    EXPECT_FALSE(fs::exists(database()));
    write("a", {});
    const Result some = index();
    EXPECT_EQ(some.code, 1);
    EXPECT_TRUE(has(some.errors, "all else is in " + database())) << some.errors;
    EXPECT_EQ(number("SELECT count(*) FROM filename"), 1);
    EXPECT_EQ(index(path("text.shp")).code, 1);
    EXPECT_EQ(number("SELECT count(*) FROM filename"), 1);
}

// However far it comes: what is in the database is whole, and the next run makes the rest.
TEST_F(Index, run_that_is_cut_short_keeps_whole_files_and_the_next_goes_on) {
    std::vector<std::string> many;
    for (int i = 0; i < 2000; i++)
        many.push_back(point_shape(i, i));
    for (int i = 0; i < 40; i++)
        write(std::string("f").append(std::to_string(i)), many);
    const std::string arguments =
        " " LINDRA_COMMAND_PATH " index " + directory.path().string() + " -o " + database() + " 2>/dev/null";
    for (const std::string cut : {"-s INT 0.05", "-s INT 0.2", "-s KILL 0.1", "-s TERM 0.3"}) {
        (void)std::system(("timeout " + cut + arguments).c_str());
        if (!fs::exists(database()) || fs::file_size(database()) == 0) continue;
        SqliteMaker file(database());
        EXPECT_EQ(
            file.number("SELECT count(*) FROM (SELECT count(*) AS n FROM filename JOIN shape USING(fileid) "
                        "GROUP BY fileid) WHERE n <> 2000"),
            0)
            << cut;
    }
    EXPECT_EQ(index().code, 0);
    EXPECT_EQ(shapes(), 80'000);
    EXPECT_EQ(number("SELECT count(*) FROM shape_box"), 80'000);
}
