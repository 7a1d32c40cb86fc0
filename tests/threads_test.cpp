// SPDX-License-Identifier: MIT
//
// Separate handles on separate threads: every thread does the same work at the same time, and each finds what
// it would find alone. Built with the thread sanitizer, this program also shows that nothing is shared
// unguarded.

#include "cut_files.hpp"
#include "dbase_builder.hpp"
#include "gmt_builder.hpp"
#include "gshhs_builder.hpp"
#include "netcdf_builder.hpp"
#include "shapefile_builder.hpp"
#include "sqlite_maker.hpp"
#include "texture_builder.hpp"

#include "lindra/lindra.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

// The thread sanitizer takes the zeros that a guard puts in place for a write to what other threads read. The
// kernel exchanges the pages; who reads them meanwhile reads bytes of a file that is gone, of this age or
// that. One test does it on purpose. The sanitizer's library looks the function up by name.
extern "C" [[gnu::visibility("default")]] const char *__tsan_default_suppressions();

const char *__tsan_default_suppressions() {
    return "race:threads_that_share_a_texture_learn_all_that_it_was_cut\n";
}

namespace lindra::test {
namespace {

constexpr size_t threads = 8;
constexpr int rounds = 50;

// Calls work with the number of each thread, all of them at once.
void on_all_threads(const std::function<void(size_t)> &work) {
    std::barrier start(threads);
    std::vector<std::jthread> all;
    for (size_t i = 0; i < threads; i++)
        all.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
}

// Bytes in known extent, apart from those of any other thread.
class Bounded {
  public:
    explicit Bounded(const std::string &bytes) : bytes_(bytes) { lindra_bound(data(), bytes_.size()); }
    ~Bounded() { lindra_unbound(data()); }
    Bounded(const Bounded &) = delete;
    Bounded &operator=(const Bounded &) = delete;

    unsigned char *data() { return reinterpret_cast<unsigned char *>(bytes_.data()); }

  private:
    std::string bytes_;
};

std::string shapes(int count) {
    std::vector<std::string> records;
    for (int i = 0; i < count; i++)
        records.push_back(shp::record(i + 1, shp::shape(SHAPE_POLYGONZ)));
    return shp::file(SHAPE_POLYGONZ, records);
}

// --- First use --------------------------------------------------------------------------------------------

// What the call prints goes nowhere.
void print_nowhere() {
    if (!freopen("/dev/null", "w", stdout)) abort();
}

// Each of these is a process of its own, in which nothing was used before.
class FirstUseDeathTest : public testing::Test {
  protected:
    FirstUseDeathTest() { testing::GTEST_FLAG(death_test_style) = "threadsafe"; }
};

// Ends the process; with 1 when a thread did not find what it should.
[[noreturn]] void use_first(const std::function<bool()> &work) {
    print_nowhere();
    std::atomic<bool> is_right = true;
    on_all_threads([&](size_t) {
        if (!work()) is_right = false;
    });
    exit(is_right ? 0 : 1);
}

bool decodes_a_shapefile() {
    Bounded bytes(shapes(3));
    unsigned char *cursor = bytes.data();
    void *out = nullptr;
    if (esri_unstuff_stream(ESRI_FILE, &out, bytes.data(), &cursor) != 0) return false;
    auto *file = static_cast<SHPFILE *>(out);
    esri_print_shapefile("", file);
    const bool is_right = file->hdr.magic == 9994 && counttbl(file->records) == 3;
    lindra_free_esri(ESRI_FILE, file);
    return is_right;
}

bool decodes_a_texture() {
    Bounded bytes(dds::Texture{}.file());
    unsigned char *cursor = bytes.data();
    DdsFile *file = nullptr;
    if (dds_decode_file(&file, 1, bytes.data(), &cursor) != 0) return false;
    dds_print_file("", file);
    const bool is_right = file->header.dwSize == 124 && counttbl(file->mipmaps) == 1;
    lindra_free_dds(file);
    return is_right;
}

// The text of a field of the table's second record; empty where it is not read.
std::string text_of_second(DbaseFile &table, const char *field) {
    Arr *fields = nullptr;
    esri_get_dbase_fields(&table, 1, &fields);
    const auto *const found = static_cast<const char *>(getarr(fields, field));
    std::string text = found ? found : "";
    freearr(fields, free);
    return text;
}

bool decodes_a_table() {
    Bounded bytes(cities().bytes());
    unsigned char *cursor = bytes.data();
    DbaseFile table = {};
    if (esri_decode_dbase_file(&table, bytes.data(), &cursor) != 0) return false;
    lindra_print_dbase_file("", &table);
    const bool is_right = text_of_second(table, "NAME") == "Bonn";
    lindra_clear_esri(DBASE_FILE, &table);
    return is_right;
}

TEST_F(FirstUseDeathTest, structures_of_tables) {
    EXPECT_EXIT(use_first(decodes_a_table), testing::ExitedWithCode(0), "");
}

TEST_F(FirstUseDeathTest, structures_of_shapefiles) {
    EXPECT_EXIT(use_first(decodes_a_shapefile), testing::ExitedWithCode(0), "");
}

TEST_F(FirstUseDeathTest, structures_of_textures) {
    EXPECT_EXIT(use_first(decodes_a_texture), testing::ExitedWithCode(0), "");
}

TEST_F(FirstUseDeathTest, both_initializers_called_outright) {
    EXPECT_EXIT(use_first([] { return esri_strdefs_init() == 0 && dds_strdefs_init() == 0; }),
                testing::ExitedWithCode(0), "");
}

TEST_F(FirstUseDeathTest, extents_and_textures_of_the_face) {
    EXPECT_EXIT(use_first([] {
                    const std::string bytes = dds::Texture{}.file();
                    const texture file(
                        byte_span(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size()));
                    return file.expand(file.images()[0]).size() == 64;
                }),
                testing::ExitedWithCode(0), "");
}

// --- Decoding ---------------------------------------------------------------------------------------------

class Threads : public testing::Test {
  protected:
    TemporaryDirectory directory;
};

TEST_F(Threads, extents_come_and_go_while_others_decode) {
    const std::string whole = shapes(2);
    const std::string cut = whole.substr(0, whole.size() - 1);
    lindra_set_log_handler([](void *, int, const char *) {}, nullptr);
    on_all_threads([&](size_t) {
        for (int i = 0; i < rounds; i++)
            for (const bool is_whole : {true, false}) {
                Bounded bytes(is_whole ? whole : cut);
                unsigned char *cursor = bytes.data();
                void *out = nullptr;
                EXPECT_EQ(esri_unstuff_stream(ESRI_FILE, &out, bytes.data(), &cursor), is_whole ? 0 : -1);
                lindra_free_esri(ESRI_FILE, out);
            }
    });
    lindra_set_log_handler(nullptr, nullptr);
}

TEST_F(Threads, records_are_fetched_through_one_view_and_through_views_of_their_own) {
    const std::string database = (directory.path() / "world").string();
    std::string rows = "CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid, offset);"
                       "CREATE TABLE filename(fileid INTEGER, filename TEXT);";
    for (int file = 0; file < 4; file++) {
        const std::string name = "roads" + std::to_string(file) + ".shp";
        directory.write(name, shp::file(SHAPE_POINT, {shp::record(file + 1, shp::shape(SHAPE_POINT))}));
        rows += "INSERT INTO shape(fileid, offset) VALUES(" + std::to_string(file) + ", 100);" +
                "INSERT INTO filename VALUES(" + std::to_string(file) + ", '" + name + "');";
    }
    SqliteMaker(database, rows);
    Dbptr shared = {};
    ASSERT_EQ(lindra_db_open(database.c_str(), &shared), 0);
    on_all_threads([&](size_t thread) {
        Dbptr view = shared;
        const bool is_own = thread % 2;
        if (is_own) {
            EXPECT_EQ(lindra_db_open(database.c_str(), &view), 0);
        }
        const Dbptr table = dblookup(view, nullptr, "shape", nullptr, nullptr);
        for (int i = 0; i < rounds; i++) {
            const int file = static_cast<int>((thread + static_cast<size_t>(i)) % 4);
            SHPRECORD shape = {};
            const std::string id = std::to_string(file + 1);
            EXPECT_EQ(
                esri_get_db_shp_record(&shape, dblookup(table, nullptr, nullptr, "shapeid", id.c_str())), 0);
            EXPECT_EQ(shape.hdr.number, file + 1);
            lindra_clear_esri(ESRI_RECORD, &shape);
        }
        if (is_own) {
            EXPECT_EQ(lindra_db_close(view), 0);
        }
    });
    lindra_db_close(shared);
}

TEST_F(Threads, tables_are_decoded_into_structures_of_their_own) {
    on_all_threads([](size_t thread) {
        const std::string people = std::to_string(1000 + thread);
        DbaseFile table = {};
        for (int i = 0; i < rounds; i++) {
            RawTable model = cities();
            model.records[1] = "Bonn          " + people + "t";
            Bounded bytes(model.bytes());
            unsigned char *cursor = bytes.data();
            EXPECT_EQ(esri_decode_dbase_file(&table, bytes.data(), &cursor), 0);
            EXPECT_EQ(text_of_second(table, "PEOPLE"), people);
            clrtbl(table.fields, free);
        }
        lindra_clear_esri(DBASE_FILE, &table);
    });
}

TEST_F(Threads, netcdf_headers_are_decoded_and_printed_each_to_a_stream_of_its_own) {
    on_all_threads([](size_t thread) {
        RawHeader model = rich_header();
        const std::string name = "thread" + std::to_string(thread);
        model.attrs.push_back(nc::text_attribute(name, "is here"));
        NetcdfHeader *header = nullptr;
        std::string first;
        for (int i = 0; i < rounds; i++) {
            Bounded bytes(model.bytes());
            unsigned char *cursor = bytes.data();
            EXPECT_EQ(netcdf_unstuff_header(&cursor, &header), 0);
            const std::string printed = listing(header);
            if (i == 0) first = printed;
            EXPECT_EQ(printed, first);
        }
        EXPECT_NE(first.find(name), std::string::npos);
        EXPECT_NE(first.find("is here"), std::string::npos);
        netcdf_clear_header(header);
        free(header);
    });
}

TEST_F(Threads, texts_of_netcdf_types_and_values_are_those_of_the_thread) {
    on_all_threads([](size_t thread) {
        for (int i = 0; i < 20 * rounds; i++) {
            int32_t value = static_cast<int32_t>(thread) * 1000 + i;
            const char *const text = netcdf_value2str(4, 0, &value);
            const int code = 100 + static_cast<int>(thread);
            const char *const type = netcdf_type2str(code);
            std::this_thread::yield();
            EXPECT_EQ(text, std::to_string(value));
            EXPECT_NE(std::string(type).find(std::to_string(code)), std::string::npos) << type;
        }
    });
}

// --- Selections -------------------------------------------------------------------------------------------

TEST_F(Threads, coastlines_are_selected_by_handles_of_their_own) {
    const Environment data("LINDRA_DATA", directory.path().c_str());
    std::vector<RawPolygon> polygons;
    for (int i = 0; i < 100; i++)
        polygons.push_back(square(i, i % 50));
    directory.write("maps/lindra/gshhs_c.b", file_of(polygons));
    on_all_threads([](size_t thread) {
        const auto west = static_cast<double>(thread) * 10;
        for (int i = 0; i < 5; i++) {
            Coast coast;
            const int selected = coast.select("f:0", "c", west + 0.5, west + 3.5, -90, 90);
            EXPECT_EQ(selected, 4);
            for (int k = 0; k < selected; k++)
                EXPECT_EQ(coast.next().status, 1);
            EXPECT_EQ(coast.next().status, 0);
        }
    });
}

// One mapping for all: the first walk and the first delivery of the large polygon remember what they meet. A
// handle that fails in its walk maps the file and remembers nothing.
TEST_F(Threads, coastlines_are_selected_by_handles_that_share_a_mapping) {
    const Environment data("LINDRA_DATA", directory.path().c_str());
    RawPolygon spiral;
    for (int i = 0; i < 140'000; i++)
        spiral.points.emplace_back(20 + 10 * std::cos(0.01 * i), 20 + 1e-4 * i);
    constexpr int no_level = 0;
    directory.write("maps/lindra/gshhs_c.b", file_of({spiral, square(12, 21), square(12, 21, 1, no_level)}));
    Coast first;
    lindra_set_log_handler([](void *, int, const char *) {}, nullptr);
    ASSERT_EQ(first.select_globe("f:1"), -1);
    lindra_set_log_handler(nullptr, nullptr);
    on_all_threads([&](size_t) {
        Coast coast;
        coast.gs->cache_data[0] = first.gs->cache_data[0];
        coast.gs->cache_size[0] = first.gs->cache_size[0];
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(coast.select("f:0", "c", 12, 15, 20, 23), 3);
            const Delivered large = coast.next();
            EXPECT_EQ(large.status, 1);
            EXPECT_GT(large.npts, 1000);
            EXPECT_LT(large.npts, 140'000);
            EXPECT_EQ(coast.next().npts, 5);
        }
    });
}

TEST_F(Threads, borders_are_selected_by_handles_of_their_own) {
    BinnedLines alone;
    const int all = alone.select("p:7 r:1");
    ASSERT_GT(all, 0);
    const std::vector<float> first = alone.next().lon;
    on_all_threads([&](size_t) {
        BinnedLines lines;
        EXPECT_EQ(lines.select("p:7 r:1"), all);
        EXPECT_EQ(lines.next().lon, first);
        int delivered = 1;
        while (lines.next().status == 1)
            delivered++;
        EXPECT_EQ(delivered, all);
    });
}

// --- The C++ face -----------------------------------------------------------------------------------------

TEST_F(Threads, one_shapefile_is_read_by_objects_of_their_own) {
    const std::string path =
        directory.write("towns.shp", main_file_of(SHAPE_POINT, {point_shape(1, 2), point_shape(3, 4)}));
    directory.write("towns.dbf", table_file({{"NAME", 'C', 4}}, {" a\xf6  ", " b   "}));
    on_all_threads([&](size_t) {
        for (int i = 0; i < rounds; i++) {
            const shapefile file(path);
            double sum = 0;
            for (const shape_record &record : file)
                sum += record.points()[0].x;
            EXPECT_EQ(sum, 4);
            EXPECT_EQ(std::get<std::string>(file[0].attributes()["NAME"]), "a\xc3\xb6");
        }
    });
}

TEST_F(Threads, one_texture_is_looked_at_by_all) {
    for (const dds::Storage &storage :
         {dds::dxt1(), dds::compressed(3, dds::fourcc("DXT3")), dds::compressed(5, dds::fourcc("DXT5"))}) {
        const dds::Texture model{storage, 64, 32, 6};
        const texture file(directory.write("image.dds", model.file()));
        const std::vector<uint32_t> first = file.expand(file.images()[0]);
        on_all_threads([&](size_t thread) {
            for (int i = 0; i < rounds; i++) {
                EXPECT_EQ(file.expand(file.images()[0]), first);
                EXPECT_FALSE(file.expand(file.images()[thread % 6]).empty());
            }
        });
    }
}

TEST_F(Threads, guards_come_and_go) {
    const std::string path = LargeShapes::write(directory);
    on_all_threads([&](size_t thread) {
        const shapefile file(path);
        for (int i = 0; i < rounds; i++) {
            const shape_record record = file[(thread + static_cast<size_t>(i)) % LargeShapes::count];
            EXPECT_EQ(guarded(file, [&] { return record.points()[static_cast<size_t>(i)].x; }), 0);
        }
    });
}

TEST_F(Threads, guarded_threads_learn_each_that_the_file_was_cut) {
    const std::string path = LargeShapes::write(directory);
    Cutter cutter(path, page);
    std::barrier together(threads);
    std::atomic<int> errors = 0;
    on_all_threads([&](size_t thread) {
        const shapefile file(path);
        try {
            guarded(file, [&] {
                together.arrive_and_wait();
                if (thread == 0) cutter.cut();
                together.arrive_and_wait();
                for (const shape_record &record : file)
                    for (const shape_point p : record.points())
                        EXPECT_EQ(p.x, 0);
            });
        } catch (const error &reason) {
            EXPECT_EQ(reason.file(), path);
            errors++;
        }
    });
    EXPECT_EQ(errors, static_cast<int>(threads));
}

TEST_F(Threads, threads_that_share_a_texture_learn_all_that_it_was_cut) {
    const std::string path = LargeTexture::write(directory);
    const texture file(path);
    Cutter(path, page).cut();
    std::atomic<int> errors = 0;
    on_all_threads([&](size_t thread) {
        try {
            (void)file.expand(file.images()[thread % LargeTexture::faces]);
        } catch (const error &) {
            errors++;
        }
    });
    EXPECT_EQ(errors, static_cast<int>(threads));
}

// --- The log ----------------------------------------------------------------------------------------------

TEST_F(Threads, one_handler_hears_every_thread) {
    std::atomic<int> heard = 0;
    lindra_set_log_handler(
        [](void *context, int, const char *text) {
            const bool is_right = std::string(text).ends_with(" is one of many.\n");
            *static_cast<std::atomic<int> *>(context) += is_right;
        },
        &heard);
    on_all_threads([](size_t thread) {
        for (int i = 0; i < rounds; i++)
            elog_log(0, "threads_test: %zu-%d is one of many.\n", thread, i);
    });
    lindra_set_log_handler(nullptr, nullptr);
    EXPECT_EQ(heard, static_cast<int>(threads) * rounds);
}

} // namespace
} // namespace lindra::test
