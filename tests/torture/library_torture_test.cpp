// SPDX-License-Identifier: MIT
//
// Every exported function, with every one of its calls failing: docs/torture.md tells what is claimed. A
// function that asks nobody for anything is listed as such, and held to it.

#include "allocations.hpp"
#include "bounded_buffer.hpp"
#include "dbase_builder.hpp"
#include "dds_builder.hpp"
#include "gmt_builder.hpp"
#include "gshhs_builder.hpp"
#include "leak_allowed.hpp"
#include "log_capture.hpp"
#include "netcdf_builder.hpp"
#include "printed.hpp"
#include "shapefile_builder.hpp"
#include "sqlite_maker.hpp"
#include "temporary_directory.hpp"
#include "torture/faults.hpp"

#include "lindra/lindra.h"

#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace lindra::test {

namespace {

// One function, called with something to work on.
struct Trial {
    virtual ~Trial() = default;
    // What is there before; nothing fails, and what it takes is counted.
    virtual void prepare() {}
    // Whether the call succeeded. After a failure it is called again.
    virtual bool call() = 0;
    // What it gave, as text.
    virtual std::string seen() { return {}; }
    // What is not as documented after a failure.
    virtual std::string wrong_after_failure() { return {}; }
    // Of what is documented to be lost by the failure that was just met.
    virtual bool may_lose(const Lines &) { return false; }
    // Releases everything, of a failed call, too.
    virtual void release() = 0;
    // With what a complaint may begin; none: it makes none.
    virtual Lines complaints() { return {}; }
};

using Maker = std::function<std::unique_ptr<Trial>()>;

// --- The trials -------------------------------------------------------------------------------------------

struct NewTbl : Trial {
    Tbl *list = nullptr;
    bool call() override { return (list = newtbl(3)) != nullptr; }
    std::string seen() override { return std::to_string(counttbl(list)); }
    void release() override { freetbl(list, nullptr); }
};

struct SetTbl : NewTbl {
    int entry = 0;
    void prepare() override {
        list = newtbl(1);
        settbl(list, -1, &entry);
    }
    bool call() override { return settbl(list, -1, &entry) == 1; }
    std::string wrong_after_failure() override {
        return counttbl(list) == 1 && gettbl(list, 0) == &entry ? "" : "the list has changed";
    }
};

struct NewArr : Trial {
    Arr *arr = nullptr;
    bool call() override { return (arr = newarr(nullptr)) != nullptr; }
    void release() override { freearr(arr, nullptr); }
};

struct SetArr : NewArr {
    int value = 0;
    const std::string key = std::string(40, 'k');
    void prepare() override {
        arr = newarr(nullptr);
        setarr(arr, "before", &value);
    }
    bool call() override { return setarr(arr, key.c_str(), &value) == 0; }
    std::string seen() override { return getarr(arr, key.c_str()) == &value ? "there" : "absent"; }
    std::string wrong_after_failure() override {
        return !getarr(arr, key.c_str()) && getarr(arr, "before") == &value ? "" : "the array has changed";
    }
};

struct SplitList : Trial {
    int argc = -1;
    char **argv = nullptr;
    bool call() override { return splitlist("f:1, c:2 and more", &argc, &argv) == 0; }
    std::string seen() override { return std::to_string(argc) + argv[0] + argv[3]; }
    std::string wrong_after_failure() override { return argc == 0 && !argv ? "" : "argc or argv is set"; }
    void release() override { freeargs(argc, argv); }
};

struct DataFile : Trial {
    TemporaryDirectory directory;
    std::string there = directory.write("maps/it", "x");
    Environment data{"LINDRA_DATA", directory.path().c_str()};
    char *path = nullptr;
    bool call() override { return (path = datafile(nullptr, "maps/it")) != nullptr; }
    std::string seen() override { return path == there ? "found" : path; }
    void release() override { free(path); }
};

struct DataDirectories : Trial {
    char *text = nullptr;
    bool call() override { return (text = lindra_data_directories(nullptr)) != nullptr; }
    std::string seen() override { return text; }
    void release() override { free(text); }
};

struct MapFile : Trial {
    TemporaryDirectory directory;
    std::string path = directory.write("file", std::string(5000, 'x') + "end");
    char *data = nullptr;
    int64_t size = 0;
    bool call() override { return (size = mapfile(path.c_str(), nullptr, &data)) >= 0; }
    std::string seen() override { return {data, static_cast<size_t>(size)}; }
    std::string wrong_after_failure() override { return size == -1 && !data ? "" : "data is set"; }
    void release() override { lindra_unmapfile(data, size); }
};

// The system may refuse to release a mapping, of which nobody hears.
struct UnmapFile : MapFile {
    void prepare() override { MapFile::call(); }
    bool call() override {
        lindra_unmapfile(data, size);
        return true;
    }
    std::string seen() override { return {}; }
    void release() override {}
};

struct MapLargeFile : MapFile {
    MapLargeFile() { path = directory.write("large", std::string((16 << 20) + 1, 'y')); }
    std::string seen() override { return std::to_string(size) + data[size - 1]; }
};

struct MapThroughCache : MapFile {
    Arr *cache = nullptr;
    bool call() override { return (size = mapfile(path.c_str(), &cache, &data)) >= 0; }
    void release() override {
        MapFile::release();
        freearr(cache, free);
    }
};

struct Bound : Trial {
    char byte = 0;
    bool call() override { return lindra_bound(&byte, 1) == 0; }
    void release() override { lindra_unbound(&byte); }
};

// --- Databases

// In UTF-16, so that the texts are converted, which takes memory.
std::string database_bytes() {
    const TemporaryDirectory directory;
    const std::string path = (directory.path() / "made.db").string();
    SqliteMaker(path, "PRAGMA encoding = 'UTF-16le';"
                      "CREATE TABLE shape(shapeid INTEGER PRIMARY KEY, fileid, offset);"
                      "CREATE TABLE filename(fileid INTEGER, filename TEXT);"
                      "INSERT INTO shape VALUES(1, 7, 100), (2, 7, 128);"
                      "INSERT INTO filename VALUES(7, 'points.shp');");
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What was fetched once is kept under the database's path: each trial has a path of its own.
struct Database : Trial {
    TemporaryDirectory directory;
    std::string path;
    Dbptr db = {-1, -1, -1, -1};
    Database() {
        static const std::string bytes = database_bytes();
        path = directory.write("shapes.db", bytes);
        directory.write("points.shp",
                        shp::file(SHAPE_MULTIPOINT, {shp::record(1, shp::shape(SHAPE_MULTIPOINT))}));
    }
    void prepare() override { lindra_db_open(path.c_str(), &db); }
    void release() override { lindra_db_close(db); }
    Dbptr first_row() const { return lindra_db_next(dblookup(db, nullptr, "shape", nullptr, nullptr)); }
};

struct DbOpen : Database {
    Dbptr opened = {-7, -7, -7, -7};
    void prepare() override {}
    bool call() override { return lindra_db_open(path.c_str(), &opened) == 0; }
    std::string seen() override { return std::to_string(opened.table); }
    std::string wrong_after_failure() override { return opened.database == -7 ? "" : "the view has changed"; }
    void release() override { lindra_db_close(opened); }
};

// What SQLite complains of while it closes leaves nothing to be done.
struct DbClose : Database {
    int status = -7;
    bool call() override { return (status = lindra_db_close(db)) == 0; }
    std::string seen() override { return std::to_string(status); }
    void release() override {}
};

struct DbLookup : Database {
    Dbptr found = {};
    bool call() override {
        found = dblookup(db, path.c_str(), "filename", "fileid", "7");
        return found.record != LINDRA_DB_NO_RECORD;
    }
    std::string seen() override { return std::to_string(found.record); }
};

struct DbNext : Database {
    Dbptr found = {};
    Dbptr table = {};
    void prepare() override {
        Database::prepare();
        table = dblookup(db, nullptr, "shape", nullptr, nullptr);
    }
    bool call() override { return (found = lindra_db_next(table)).record != LINDRA_DB_NO_RECORD; }
    std::string seen() override { return std::to_string(found.record); }
};

struct DbGetv : DbNext {
    long fileid = -7, offset = -7;
    void prepare() override {
        DbNext::prepare();
        table = first_row();
    }
    bool call() override {
        return dbgetv(table, "shape", "fileid", &fileid, "offset", &offset, static_cast<char *>(nullptr)) ==
               0;
    }
    std::string seen() override { return std::to_string(fileid) + " " + std::to_string(offset); }
    std::string wrong_after_failure() override {
        return fileid == -7 && offset == -7 ? "" : "something was written";
    }
};

struct DbShape : DbGetv {
    SHPRECORD shape = {};
    bool call() override {
        lindra_clear_esri(ESRI_RECORD, &shape);
        return esri_get_db_shp_record(&shape, table) == 0;
    }
    std::string seen() override { return std::to_string(shape.hdr.number) + (shape.shape ? "shape" : ""); }
    std::string wrong_after_failure() override { return {}; }
    void release() override {
        lindra_clear_esri(ESRI_RECORD, &shape);
        Database::release();
    }
    Lines complaints() override {
        return {"0 esri_get_db_shp_record: dbgetv() error.",
                "0 esri_get_db_shp_record: Cannot find fileid=7",
                "0 esri_get_db_shp_record: newarr() error.",
                "0 esri_get_db_shp_record: setarr(",
                "0 esri_get_db_shp_record: mapfile(",
                "0 esri_unstuff_stream: number has 1 elements, 0 bytes left.",
                "0 esri_decode_shapefile_record: esri_unstuff_stream() error.",
                "1 esri_unstuff_stream: malloc() error.",
                "0 esri_get_db_shp_record: esri_decode_shapefile_record() error."};
    }
};

// --- Decoders of what stands in memory

struct Decoding : Trial {
    explicit Decoding(const std::string &bytes) : buffer(bytes) {}
    BoundedBuffer buffer;
    unsigned char *pos = nullptr;
    unsigned char **begin() {
        pos = buffer.data();
        return &pos;
    }
};

struct EsriStream : Decoding {
    EsriStream()
        : Decoding(shp::file(SHAPE_MULTIPATCH, {shp::record(1, shp::shape(SHAPE_MULTIPATCH)),
                                                shp::record(2, shp::shape(SHAPE_POLYLINEM))})) {}
    void *file = nullptr;
    bool call() override {
        release();
        return esri_unstuff_stream(ESRI_FILE, &file, buffer.data(), begin()) == 0;
    }
    std::string seen() override {
        return printed([&] { esri_print_shapefile("", static_cast<SHPFILE *>(file)); });
    }
    void release() override {
        lindra_free_esri(ESRI_FILE, file);
        file = nullptr;
    }
    Lines complaints() override {
        return {"1 esri_unstuff_stream: malloc() error.", "0 esri_decode_shapefile: newtbl() error.",
                "0 esri_decode_shapefile: settbl() error.",
                "0 esri_decode_shapefile: esri_unstuff_stream() error.",
                "0 esri_decode_shapefile_record: esri_unstuff_stream() error."};
    }
};

struct EsriFile : EsriStream {
    SHPFILE own = {};
    bool call() override {
        release();
        return esri_decode_shapefile(&own, buffer.data(), begin()) == 0;
    }
    std::string seen() override {
        return printed([&] { esri_print_shapefile("", &own); });
    }
    void release() override { lindra_clear_esri(ESRI_FILE, &own); }
};

struct Dbase : Decoding {
    Dbase() : Decoding(cities().bytes()) {}
    DbaseFile dbf = {};
    bool call() override {
        clrtbl(dbf.fields, free); // what the decoder does not release itself
        return esri_decode_dbase_file(&dbf, buffer.data(), begin()) == 0;
    }
    std::string seen() override {
        return printed([&] { esri_print_dbase_file("", &dbf); });
    }
    std::string wrong_after_failure() override { return dbf.records ? "records are there" : ""; }
    void release() override { lindra_clear_esri(DBASE_FILE, &dbf); }
    Lines complaints() override {
        return {"0 esri_decode_dbase_file: newtbl() error.", "1 esri_unstuff_stream: malloc() error.",
                "0 esri_decode_dbase_file: esri_unstuff_stream() error.",
                "0 esri_decode_dbase_file: settbl() error.", "0 esri_decode_dbase_file: malloc("};
    }
};

struct DbaseFields : Dbase {
    Arr *fields = nullptr;
    void prepare() override { esri_decode_dbase_file(&dbf, buffer.data(), begin()); }
    bool call() override { return esri_get_dbase_fields(&dbf, 1, &fields) == 0; }
    std::string seen() override {
        std::string all;
        for (const char *name : {"NAME", "PEOPLE", "KIND"})
            all += static_cast<const char *>(getarr(fields, name)) + std::string(";");
        return all;
    }
    std::string wrong_after_failure() override { return {}; }
    void release() override {
        freearr(fields, free);
        Dbase::release();
    }
    Lines complaints() override {
        return {"0 esri_get_dbase_fields: newarr() error.", "0 esri_get_dbase_fields: strdup(",
                "0 esri_get_dbase_fields: setarr("};
    }
};

struct NetcdfWhole : Decoding {
    NetcdfWhole() : Decoding(rich_header().bytes()) {}
    NetcdfHeader *hdr = nullptr;
    bool call() override { return netcdf_unstuff_header(begin(), &hdr) == 0; }
    std::string seen() override { return listing(hdr); }
    void release() override {
        netcdf_clear_header(hdr);
        free(hdr);
    }
    Lines complaints() override {
        return {"1 netcdf_unstuff_header: malloc(hdr) error.",
                "1 netcdf_unstuff_header: malloc(hdr->dims) error.",
                "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->dims->name) error.",
                "1 netcdf_unstuff_string: malloc() error.",
                "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error.",
                "1 netcdf_unstuff_attrs: malloc(attrs) error.",
                "1 netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.",
                "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.",
                "1 netcdf_unstuff_values: malloc(values->values,",
                "1 netcdf_unstuff_header: malloc(hdr->vars) error.",
                "0 netcdf_unstuff_header: newarr(hdr->vars_array) error.",
                "1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->vars->name) error.",
                "1 netcdf_unstuff_header: setarr(hdr->vars_array,",
                "1 netcdf_unstuff_header: malloc(hdr->vars[",
                "0 netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars["};
    }
};

struct NetcdfAttributes : Decoding {
    NetcdfAttributes()
        : Decoding(
              nc::list(nc::attribute_tag, {nc::text_attribute("title", "abc"),
                                           nc::attribute("two", nc::short_code, 2, be16(1) + be16(2))})) {}
    NetcdfAttr *attrs = nullptr;
    int count = 0;
    bool call() override {
        release();
        return netcdf_unstuff_attrs(begin(), &count, &attrs) == 0;
    }
    std::string seen() override { return std::to_string(count) + attrs[0].name + attrs[1].name; }
    void release() override {
        for (int i = 0; i < count; i++) {
            free(attrs[i].name);
            free(attrs[i].values.values);
        }
        free(attrs);
        attrs = nullptr;
        count = 0;
    }
    Lines complaints() override {
        return {"1 netcdf_unstuff_attrs: malloc(attrs) error.",
                "1 netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.",
                "1 netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.",
                "1 netcdf_unstuff_string: malloc() error.",
                "1 netcdf_unstuff_values: malloc(values->values,"};
    }
};

struct NetcdfValuesAlone : Decoding {
    NetcdfValuesAlone() : Decoding(be32(1) + be32(2)) {}
    NetcdfValues values = {nc::int_code, 2, nullptr};
    bool call() override { return netcdf_unstuff_values(begin(), &values) == 0; }
    std::string seen() override { return netcdf_value2str(nc::int_code, 1, values.values); }
    std::string wrong_after_failure() override {
        return !values.values && pos == buffer.data() ? "" : "block or position";
    }
    void release() override { free(values.values); }
    Lines complaints() override { return {"1 netcdf_unstuff_values: malloc(values->values,"}; }
};

struct NetcdfName : Decoding {
    NetcdfName() : Decoding(nc::name("longitude")) {}
    char *name = nullptr;
    bool call() override { return (name = netcdf_unstuff_string(begin())) != nullptr; }
    std::string seen() override { return name; }
    std::string wrong_after_failure() override { return pos == buffer.data() + 4 ? "" : "position"; }
    void release() override { free(name); }
    Lines complaints() override { return {"1 netcdf_unstuff_string: malloc() error."}; }
};

struct GshhsHeader : Decoding {
    GshhsHeader() : Decoding(square(1, 2).bytes()) {}
    GSHHSHdr *hdr = nullptr;
    bool call() override { return gshhs_unstuff_hdr(&hdr, begin()) == 0; }
    std::string seen() override { return std::to_string(hdr->n) + " " + std::to_string(hdr->west); }
    std::string wrong_after_failure() override { return !hdr && pos == buffer.data() ? "" : "position"; }
    void release() override { free(hdr); }
    Lines complaints() override { return {"1 gshhs_unstuff_hdr: malloc(GSHHSHdr) error."}; }
};

struct DdsStream : Decoding {
    DdsStream() : Decoding(dds::Header().bytes()) {}
    void *header = nullptr;
    bool call() override {
        begin();
        pos += 4;
        return dds_unstuff_stream(DDS_TYPE_HEADER, &header, buffer.data(), &pos) == 0;
    }
    std::string seen() override { return std::to_string(static_cast<DDS_HEADER *>(header)->dwFlags); }
    void release() override { free(header); }
    Lines complaints() override { return {"1 dds_unstuff_stream: malloc() error."}; }
};

struct Dds : Decoding {
    Dds()
        : Decoding(dds::Header().sized(8, 8, 2).bytes() + dds::plain_block(1) + dds::plain_block(2) +
                   dds::plain_block(3) + dds::plain_block(4) + dds::plain_block(5)) {}
    DdsFile *file = nullptr;
    bool call() override { return dds_decode_file(&file, -1, buffer.data(), begin()) == 0; }
    std::string seen() override {
        return printed([&] { dds_print_file("", file); });
    }
    void release() override { lindra_free_dds(file); }
    Lines complaints() override {
        return {"1 dds_decode_file: malloc() error.", "0 dds_decode_file: newtbl() error."};
    }
};

// --- Coastlines, borders and rivers

struct MapData : Trial {
    TemporaryDirectory directory;
    Environment data{"LINDRA_DATA", directory.path().c_str()};
    MapData() {
        directory.write("maps/lindra/gshhs_c.b", file_of(std::vector<RawPolygon>(2001, square(10, 10))));
        BinnedFile lines;
        lines.bins[0] = std::vector<BinnedSegment>(2001);
        directory.write("maps/lindra/binned_border_c.cdf", lines.bytes());
    }
};

// What a selection has mapped, which its handle does not release.
struct Mapped {
    unsigned char *data = nullptr;
    int64_t size = 0;

    void release() const {
        lindra_unbound(data);
        lindra_unmapfile(reinterpret_cast<char *>(data), size);
    }
};

struct CoastOpen : Trial {
    GshhsMap *gs = nullptr;
    bool call() override { return gshhsmap_open(&gs) == 0; }
    std::string seen() override { return std::to_string(gs->nsegs); }
    void release() override { lindra_free_gshhsmap(gs); }
    Lines complaints() override { return {"1 gshhsmap_open: malloc(gshhsmap) error."}; }
};

struct CoastSelect : MapData {
    GshhsMap *gs = nullptr;
    void prepare() override { gshhsmap_open(&gs); }
    bool call() override { return gshhsmap_select(gs, "f:0", "c", 0, 360, -90, 90, 0, 0) == 2001; }
    std::string seen() override { return std::to_string(gs->nsegs); }
    Mapped mapped() const { return {gs->cache_data[0], gs->cache_size[0]}; }
    void release() override {
        mapped().release();
        lindra_free_gshhsmap(gs);
    }
    Lines complaints() override {
        return {"0 gshhsmap_select: splitlist() error.", "0 gshhs_select: datafile(",
                "0 gshhsmap_select: mapfile(",           "1 gshhsmap_select: lindra_bound(",
                "1 gshhs_select: malloc(gs->segs,",      "1 gshhs_select: realloc(gmt->segs,"};
    }
};

// Arrays that the caller owns; see the header for what they are after a failure.
struct Delivery {
    float *lon = nullptr, *lat = nullptr;
    int nalloc = 0, n = 0, level = 0, inside = 0;
    char type[4] = "";

    // The first allocation leaves what it got; a later one loses the storage of the null pointer.
    void forget() {
        free(lon);
        free(lat);
        lon = lat = nullptr;
        nalloc = 0;
    }
    std::string text() const { return std::to_string(n) + type + std::to_string(lon[n - 1]); }
};

struct CoastNext : CoastSelect, Delivery {
    void prepare() override {
        CoastSelect::prepare();
        CoastSelect::call();
    }
    bool call() override { return gshhsmap_nextseg(gs, &n, &nalloc, &lon, &lat, type, &level, &inside) == 1; }
    std::string seen() override { return text(); }
    std::string wrong_after_failure() override {
        forget();
        return gs->iseg == 0 ? "" : "the polygon is passed over";
    }
    void release() override {
        forget();
        CoastSelect::release();
    }
    Lines complaints() override { return {"1 gshhs_nextseg: malloc(lon,", "1 gshhs_nextseg: malloc(lat,"}; }
};

struct LinesOpen : Trial {
    GmtMap *gmt = nullptr;
    bool call() override { return gmtmap_open(&gmt) == 0; }
    std::string seen() override { return gmt->files[0].name; }
    void release() override { lindra_free_gmtmap(gmt); }
    Lines complaints() override { return {"1 gmtmap_open: malloc(gmtmap) error."}; }
};

struct LinesSelect : MapData {
    GmtMap *gmt = nullptr;
    void prepare() override { gmtmap_open(&gmt); }
    bool call() override { return gmtmap_select(gmt, "p:1", "c", 0, 360, -90, 90) == 2001; }
    std::string seen() override { return std::to_string(gmt->nsegs); }
    Mapped mapped() const {
        const NetcdfHeader *hdr = gmt->files[0].hdr;
        if (!hdr) return {};
        const std::string path = (directory.path() / "maps/lindra/binned_border_c.cdf").string();
        return {hdr->base, static_cast<int64_t>(std::filesystem::file_size(path))};
    }
    void release() override {
        mapped().release();
        lindra_free_gmtmap(gmt);
    }
    // A header that could not be read in whole is lost with its file; a later selection maps it again.
    bool may_lose(const Lines &said) override {
        return said.back().starts_with("0 gmtmap_select: netcdf_unstuff_header(");
    }
    Lines complaints() override {
        Lines all = {"0 gmtmap_select: splitlist() error.",
                     "0 gmtmap_select: datafile(",
                     "0 gmtmap_select: mapfile(",
                     "1 gmtmap_select: lindra_bound(",
                     "0 gmtmap_select: netcdf_unstuff_header(",
                     "1 gmtmap: malloc(gmt->segs,",
                     "1 gmtmap_select: realloc(gmt->segs,"};
        for (const char *part : {"dims->name) error.", "vars->name) error."})
            all.push_back(std::string("1 netcdf_unstuff_header: netcdf_unstuff_string(hdr->") + part);
        for (const char *of_header :
             {"1 netcdf_unstuff_header: malloc(hdr) error.",
              "1 netcdf_unstuff_header: malloc(hdr->dims) error.", "1 netcdf_unstuff_string: malloc() error.",
              "1 netcdf_unstuff_header: malloc(hdr->vars) error.",
              "0 netcdf_unstuff_header: newarr(hdr->vars_array) error.",
              "1 netcdf_unstuff_header: setarr(hdr->vars_array,",
              "1 netcdf_unstuff_header: malloc(hdr->vars["})
            all.emplace_back(of_header);
        return all;
    }
};

struct LinesNext : LinesSelect, Delivery {
    void prepare() override {
        LinesSelect::prepare();
        LinesSelect::call();
    }
    bool call() override { return gmtmap_nextseg(gmt, &n, &nalloc, &lon, &lat, type, &level) == 1; }
    std::string seen() override { return text(); }
    std::string wrong_after_failure() override {
        forget();
        return gmt->iseg == 0 ? "" : "the segment is passed over";
    }
    bool may_lose(const Lines &) override { return false; }
    void release() override {
        forget();
        LinesSelect::release();
    }
    Lines complaints() override { return {"1 gmtmap_nextseg: malloc(lon,", "1 gmtmap_nextseg: malloc(lat,"}; }
};

template <class T>
Maker of() {
    return [] { return std::make_unique<T>(); };
}

const std::multimap<std::string, Maker> trials = {
    {"newtbl", of<NewTbl>()},
    {"settbl", of<SetTbl>()},
    {"newarr", of<NewArr>()},
    {"setarr", of<SetArr>()},
    {"splitlist", of<SplitList>()},
    {"datafile", of<DataFile>()},
    {"lindra_data_directories", of<DataDirectories>()},
    {"mapfile", of<MapFile>()},
    {"mapfile", of<MapLargeFile>()},
    {"mapfile", of<MapThroughCache>()},
    {"lindra_unmapfile", of<UnmapFile>()},
    {"lindra_bound", of<Bound>()},
    {"lindra_db_open", of<DbOpen>()},
    {"lindra_db_close", of<DbClose>()},
    {"dblookup", of<DbLookup>()},
    {"lindra_db_next", of<DbNext>()},
    {"dbgetv", of<DbGetv>()},
    {"esri_get_db_shp_record", of<DbShape>()},
    {"esri_unstuff_stream", of<EsriStream>()},
    {"esri_decode_shapefile", of<EsriFile>()},
    {"esri_decode_dbase_file", of<Dbase>()},
    {"esri_get_dbase_fields", of<DbaseFields>()},
    {"netcdf_unstuff_header", of<NetcdfWhole>()},
    {"netcdf_unstuff_attrs", of<NetcdfAttributes>()},
    {"netcdf_unstuff_values", of<NetcdfValuesAlone>()},
    {"netcdf_unstuff_string", of<NetcdfName>()},
    {"gshhs_unstuff_hdr", of<GshhsHeader>()},
    {"gshhsmap_open", of<CoastOpen>()},
    {"gshhsmap_select", of<CoastSelect>()},
    {"gshhsmap_nextseg", of<CoastNext>()},
    {"gmtmap_open", of<LinesOpen>()},
    {"gmtmap_select", of<LinesSelect>()},
    {"gmtmap_nextseg", of<LinesNext>()},
    {"dds_unstuff_stream", of<DdsStream>()},
    {"dds_decode_file", of<Dds>()},
};

// --- The functions that ask for nothing -------------------------------------------------------------------

// What they are called with, full of contents. What a function has released is null.
struct Things {
    Things() {
        esri.call();
        table.call();
        header.call();
        dds.call();
        coast.prepare();
        coast.call();
        lines.prepare();
        lines.call();
        coast_mapped = coast.mapped();
        lines_mapped = lines.mapped();
        database.call();
        words.call();
        bound.call();
        for (const char *text : {"one", "two"}) {
            settbl(list, -1, strdup(text));
            setarr(arr, text, strdup(text));
        }
        lindra_unstuff_texture(&texture, dds.buffer.data(), dds.buffer.size(), nullptr, nullptr);
        lindra_texture_image(&texture, 0, &image);
    }
    ~Things() {
        esri.release();
        table.release();
        header.release();
        dds.release();
        coast_mapped.release();
        lindra_free_gshhsmap(coast.gs);
        lines_mapped.release();
        lindra_free_gmtmap(lines.gmt);
        database.release();
        words.release();
        bound.release();
        freetbl(list, free);
        freearr(arr, free);
    }
    Things(const Things &) = delete;
    Things &operator=(const Things &) = delete;

    SHPFILE &shapes() const { return *static_cast<SHPFILE *>(esri.file); }
    unsigned char *blocks() const { return dds.buffer.data() + 128; }

    EsriStream esri;
    Dbase table;
    NetcdfWhole header;
    Dds dds;
    CoastSelect coast;
    LinesSelect lines;
    Mapped coast_mapped, lines_mapped;
    DbOpen database;
    SplitList words;
    Bound bound;
    Tbl *list = newtbl(2);
    Arr *arr = newarr(nullptr);
    LindraTexture texture = {};
    LindraImage image = {};
    uint32_t pixels[256] = {};
    float square[4] = {0, 1, 1, 0};
    char buffer[256] = " text ";
    int messages = 0;
};

// Whether the function did what it is for. What is printed is looked at behind it.
using Quiet = std::function<bool(Things &)>;

// Whether release gives blocks back.
template <class Release>
bool gives_back(const Release &release) {
    const int before = AllocationWatch::live_now();
    release();
    return AllocationWatch::live_now() < before;
}

bool is(const char *text, const std::string &wanted) {
    return text && text == wanted;
}

const std::map<std::string, Quiet> quiet = {
    {"gettbl", [](Things &t) { return is(static_cast<char *>(gettbl(t.list, 1)), "two"); }},
    {"counttbl", [](Things &t) { return counttbl(t.list) == 2; }},
    {"clrtbl", [](Things &t) { return gives_back([&] { clrtbl(t.list, free); }) && counttbl(t.list) == 0; }},
    {"freetbl", [](Things &t) { return gives_back([&] { freetbl(std::exchange(t.list, nullptr), free); }); }},
    {"getarr", [](Things &t) { return is(static_cast<char *>(getarr(t.arr, "two")), "two"); }},
    {"freearr", [](Things &t) { return gives_back([&] { freearr(std::exchange(t.arr, nullptr), free); }); }},
    {"freeargs",
     [](Things &t) {
         return gives_back(
             [&] { freeargs(std::exchange(t.words.argc, 0), std::exchange(t.words.argv, nullptr)); });
     }},
    {"strtrim", [](Things &t) { return is(strtrim(t.buffer), "text"); }},
    {"N2H2",
     [](Things &t) {
         N2H2(t.pixels, t.buffer, 2);
         return t.pixels[0] != 0;
     }},
    {"N2H4",
     [](Things &t) {
         N2H4(t.pixels, t.buffer, 2);
         return t.pixels[0] != 0;
     }},
    {"N2H8",
     [](Things &t) {
         N2H8(t.pixels, t.buffer, 2);
         return t.pixels[1] != 0;
     }},
    {"elog_log",
     [](Things &) {
         elog_log(0, "torture: %d.\n", 1);
         return true;
     }},
    {"lindra_set_log_handler",
     [](Things &t) {
         lindra_set_log_handler([](void *count, int, const char *) { ++*static_cast<int *>(count); },
                                &t.messages);
         elog_log(0, "torture: %d.\n", 1);
         lindra_set_log_handler(nullptr, nullptr);
         return t.messages == 1;
     }},
    {"lindra_unbound", [](Things &t) { return gives_back([&] { lindra_unbound(&t.bound.byte); }); }},
    {"dbquery",
     [](Things &t) {
         char *path = nullptr;
         return dbquery(t.database.opened, LINDRA_DB_FILE_PATH, &path) == 0 && is(path, t.database.path);
     }},
    {"esri_strdefs_init",
     [](Things &) {
         esri_strdefs_init();
         return true;
     }},
    {"esri_get_shapetype", [](Things &) { return esri_get_shapetype(5) != nullptr; }},
    {"esri_print_shapefile",
     [](Things &t) {
         esri_print_shapefile("", &t.shapes());
         return true;
     }},
    {"esri_print_shapefile_record",
     [](Things &t) {
         esri_print_shapefile_record("", static_cast<SHPRECORD *>(gettbl(t.shapes().records, 0)), 0);
         return true;
     }},
    {"esri_print_dbase_file",
     [](Things &t) {
         esri_print_dbase_file("", &t.table.dbf);
         return true;
     }},
    {"lindra_clear_esri",
     [](Things &t) { return gives_back([&] { lindra_clear_esri(ESRI_FILE, t.esri.file); }); }},
    {"lindra_free_esri",
     [](Things &t) {
         return gives_back([&] { lindra_free_esri(ESRI_FILE, std::exchange(t.esri.file, nullptr)); });
     }},
    {"gshhs_skip_pts",
     [](Things &t) {
         unsigned char *at = t.coast.gs->segs[0].pts;
         gshhs_skip_pts(&t.coast.gs->segs[0].hdr, &at);
         return at > t.coast.gs->segs[0].pts;
     }},
    {"gshhsmap_reset",
     [](Things &t) {
         t.coast.gs->iseg = 7;
         gshhsmap_reset(t.coast.gs);
         return t.coast.gs->iseg == 0;
     }},
    {"gshhsmap_inside_eo",
     [](Things &t) {
         float latitudes[] = {0, 0, 1, 1};
         return gshhsmap_inside_eo(4, t.square, latitudes, 0.5F, 0.5F) != 0;
     }},
    {"lindra_free_gshhsmap",
     [](Things &t) { return gives_back([&] { lindra_free_gshhsmap(std::exchange(t.coast.gs, nullptr)); }); }},
    {"netcdf_clear_header", [](Things &t) { return gives_back([&] { netcdf_clear_header(t.header.hdr); }); }},
    {"netcdf_print_header",
     [](Things &t) {
         netcdf_print_header(t.header.hdr, stdout);
         return true;
     }},
    {"netcdf_print_vals",
     [](Things &t) {
         netcdf_print_vals(&t.header.hdr->attrs[0].values, "", stdout);
         return true;
     }},
    {"netcdf_type2str", [](Things &) { return netcdf_type2str(nc::int_code) != nullptr; }},
    {"netcdf_value2str",
     [](Things &t) {
         t.pixels[1] = 17;
         return is(netcdf_value2str(nc::int_code, 1, t.pixels), "17");
     }},
    {"gmtmap_process_border_hdr",
     [](Things &t) { return gmtmap_process_border_hdr(&t.lines.gmt->files[0]) == 0; }},
    {"lindra_free_gmtmap",
     [](Things &t) { return gives_back([&] { lindra_free_gmtmap(std::exchange(t.lines.gmt, nullptr)); }); }},
    {"dds_strdefs_init",
     [](Things &) {
         dds_strdefs_init();
         return true;
     }},
    {"dds_get_type", [](Things &) { return dds_get_type(2) != nullptr; }},
    {"dds_get_word_type", [](Things &) { return dds_get_word_type(2) != nullptr; }},
    {"dds_get_dds_bitmap", [](Things &t) { return *dds_get_dds_bitmap(-1, t.buffer) != '\0'; }},
    {"dds_get_pixelformat_bitmap",
     [](Things &t) { return *dds_get_pixelformat_bitmap(-1, t.buffer) != '\0'; }},
    {"dds_get_ddscaps_bitmap", [](Things &t) { return *dds_get_ddscaps_bitmap(-1, t.buffer) != '\0'; }},
    {"dds_print_file",
     [](Things &t) {
         dds_print_file("", t.dds.file);
         return true;
     }},
    {"dds_print_file_callback",
     [](Things &t) {
         dds_print_file_callback("", t.dds.file);
         return true;
     }},
    {"lindra_free_dds",
     [](Things &t) { return gives_back([&] { lindra_free_dds(std::exchange(t.dds.file, nullptr)); }); }},
    {"PackARGB", [](Things &) { return PackARGB(1, 2, 3, 4) != 0; }},
    {"DecompressBlockDXT1",
     [](Things &t) {
         DecompressBlockDXT1(0, 0, 4, t.blocks(), t.pixels);
         return t.pixels[0] != 0;
     }},
    {"DecompressBlockDXT5",
     [](Things &t) {
         DecompressBlockDXT5(0, 0, 4, t.blocks(), t.pixels);
         return t.pixels[0] != 0;
     }},
    {"BlockDecompressImageDXT1",
     [](Things &t) {
         BlockDecompressImageDXT1(4, 4, t.blocks(), t.pixels);
         return t.pixels[0] != 0;
     }},
    {"BlockDecompressImageDXT5",
     [](Things &t) {
         BlockDecompressImageDXT5(4, 4, t.blocks(), t.pixels);
         return t.pixels[0] != 0;
     }},
    {"lindra_version", [](Things &) { return lindra_version() != nullptr; }},
    {"lindra_print_dbase_file",
     [](Things &t) {
         lindra_print_dbase_file("", &t.table.dbf);
         return true;
     }},
    {"lindra_unstuff_texture",
     [](Things &t) {
         return lindra_unstuff_texture(&t.texture, t.dds.buffer.data(), t.dds.buffer.size(), nullptr,
                                       nullptr) == 0;
     }},
    {"lindra_texture_image", [](Things &t) { return lindra_texture_image(&t.texture, 0, &t.image) == 0; }},
    {"lindra_expand_image",
     [](Things &t) { return lindra_expand_image(&t.texture, &t.image, t.pixels) == 0 && t.pixels[0] != 0; }},
};

// --- The torture ------------------------------------------------------------------------------------------

struct Outcome {
    int calls = 0;
    bool failed = false;
    bool succeeded = false;
    int live = 0;     // blocks, after everything was released
    int mappings = 0; // likewise
    std::string seen;
    Lines said;
};

// The nth call of the kind fails; then the function is called again.
Outcome run(const Maker &make, FaultKind kind, int nth, bool from_then_on) {
    const std::unique_ptr<Trial> trial = make();
    LogCapture log;
    Outcome outcome;
    const int mappings = live_mappings();
    const int descriptors = live_descriptors();
    AllocationWatch watch;
    trial->prepare();
    {
        const Faults faults(kind, nth, from_then_on);
        outcome.succeeded = trial->call();
        outcome.calls = Faults::calls();
        outcome.failed = Faults::failed() > 0;
    }
    bool may_lose = false;
    {
        const AllocationPause pause;
        outcome.said = log.take();
        if (outcome.succeeded) outcome.seen = trial->seen();
        may_lose = !outcome.succeeded && !outcome.said.empty() && trial->may_lose(outcome.said);
    }
    if (!outcome.succeeded) {
        EXPECT_EQ(trial->wrong_after_failure(), "");
        EXPECT_TRUE(trial->call()) << "after the failure";
        const AllocationPause pause;
        EXPECT_EQ(log.take(), Lines{});
        outcome.seen = trial->seen();
        for (const std::string &line : outcome.said) {
            const Lines known = trial->complaints();
            EXPECT_TRUE(std::any_of(known.begin(), known.end(), [&](const std::string &text) {
                return line.starts_with(text);
            })) << line;
        }
        EXPECT_EQ(outcome.said.empty(), trial->complaints().empty());
    }
    trial->release();
    outcome.live = may_lose ? INT32_MIN : watch.live();
    const AllocationPause pause;
    outcome.mappings = live_mappings() - mappings;
    EXPECT_EQ(live_descriptors(), descriptors);
    return outcome;
}

constexpr FaultKind kinds[] = {FaultKind::allocation,        FaultKind::system_call,
                               FaultKind::short_read,        FaultKind::interrupted_read,
                               FaultKind::sqlite_allocation, FaultKind::sqlite_file};
constexpr const char *kind_names[] = {"allocation",       "system_call",       "short_read",
                                      "interrupted_read", "sqlite_allocation", "sqlite_file"};

// Every call fails once, and every call and all after it. Returns how many faults there were.
int torture(const std::string &name, const Maker &make, FaultKind kind) {
    run(make, kind, 0, false); // what is kept for the life of the process is there
    const Outcome undisturbed = run(make, kind, 0, false);
    EXPECT_TRUE(undisturbed.succeeded) << name;
    const bool must_succeed = kind == FaultKind::short_read || kind == FaultKind::interrupted_read;
    int faults = 0;
    for (const bool from_then_on : {false, true}) {
        if (kind == FaultKind::interrupted_read && from_then_on) break; // without end
        for (int nth = 1; nth <= undisturbed.calls; nth++) {
            SCOPED_TRACE(name + "/" + kind_names[static_cast<int>(kind)] + "/" +
                         (from_then_on ? "on/" : "once/") + std::to_string(nth));
            const LeakAllowed what_is_documented;
            const Outcome outcome = run(make, kind, nth, from_then_on);
            EXPECT_TRUE(outcome.failed);
            EXPECT_EQ(outcome.seen, undisturbed.seen);
            if (must_succeed) {
                EXPECT_TRUE(outcome.succeeded);
            }
            if (outcome.live != INT32_MIN) {
                EXPECT_EQ(outcome.live, undisturbed.live);
                EXPECT_EQ(outcome.mappings, undisturbed.mappings);
            }
            faults++;
        }
    }
    return faults;
}

class LibraryTorture : public testing::TestWithParam<std::pair<const std::string, Maker>> {};

TEST_P(LibraryTorture, every_failing_call_is_survived) {
    int faults = 0;
    for (const FaultKind kind : kinds) {
        const int count = torture(GetParam().first, GetParam().second, kind);
        RecordProperty(kind_names[static_cast<int>(kind)], count);
        faults += count;
    }
    EXPECT_GT(faults, 0);
}

std::string name_of(const testing::TestParamInfo<std::pair<const std::string, Maker>> &info) {
    return info.param.first + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Functions, LibraryTorture, testing::ValuesIn(trials.begin(), trials.end()), name_of);

TEST(LibraryTorture, the_others_ask_for_nothing) {
    for (const auto &[name, call] : quiet) {
        Things things;
        bool is_done = false;
        int calls = 0;
        testing::internal::CaptureStderr();
        const std::string text = printed([&, &made = call] {
            const AllocationWatch watch;
            const Faults none(FaultKind::allocation, 0, false);
            is_done = made(things);
            calls = Faults::calls_of_any_kind();
        });
        EXPECT_EQ(testing::internal::GetCapturedStderr(), name == "elog_log" ? "torture: 1.\n" : "") << name;
        EXPECT_TRUE(is_done) << name;
        EXPECT_EQ(text.empty(), name.find("_print_") == name.npos) << name << ": " << text;
        EXPECT_EQ(calls, 0) << name;
    }
}

// So that a count of none is none: each of the calls that are wrapped, made here.
class CountedCalls : public testing::Test {
  protected:
    template <class Call>
    int count(FaultKind kind, Call call) {
        seen_.insert(kind);
        const AllocationWatch watch;
        const Faults none(kind, 0, false);
        call();
        EXPECT_GE(Faults::calls_of_any_kind(), Faults::calls());
        return Faults::calls();
    }

    template <class Allocate>
    int count_allocations(Allocate allocate) {
        const int calls = count(FaultKind::allocation, [&] { block_ = allocate(); });
        free(block_);
        return calls;
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.write("file", "text");
    void *volatile block_ = nullptr; // that the compiler leaves no allocation out
    std::set<FaultKind> seen_;
};

TEST_F(CountedCalls, are_those_of_every_kind) {
    const char *path = path_.c_str();
    EXPECT_EQ(count_allocations([] { return malloc(1); }), 1);
    EXPECT_EQ(count_allocations([] { return calloc(1, 1); }), 1);
    EXPECT_EQ(count_allocations([] { return realloc(nullptr, 1); }), 1);
    EXPECT_EQ(count_allocations([&] { return strdup(path); }), 1);
    EXPECT_EQ(count_allocations([&] { return strndup(path, 1); }), 1);
    EXPECT_EQ(count_allocations([&] { return realpath(path, nullptr); }), 1);
    EXPECT_EQ(count(FaultKind::allocation, [&] { block_ = ::operator new(1); }), 1);
    ::operator delete(block_);

    constexpr size_t page = 4096;
    int file = -1;
    void *at = nullptr;
    struct stat found;
    char byte = 0;
    const auto read_byte = [&] { EXPECT_EQ(read(file, &byte, 1), 1); };
    EXPECT_EQ(count(FaultKind::system_call, [&] { stat(path, &found); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, [&] { EXPECT_EQ(access(path, R_OK), 0); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, [&] { file = open(path, O_RDONLY | O_CLOEXEC); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, [&] { fstat(file, &found); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, read_byte), 1);
    EXPECT_EQ(count(FaultKind::short_read, read_byte), 1);
    EXPECT_EQ(count(FaultKind::interrupted_read, read_byte), 1);
    EXPECT_EQ(
        count(FaultKind::system_call, [&] { at = mmap(nullptr, page, PROT_READ, MAP_PRIVATE, file, 0); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, [&] { mprotect(at, page, PROT_NONE); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, [&] { munmap(at, page); }), 1);
    EXPECT_EQ(count(FaultKind::system_call, [&] { close(file); }), 1);

    EXPECT_EQ(count(FaultKind::sqlite_allocation, [&] { block_ = sqlite3_malloc(1); }), 1);
    EXPECT_EQ(count(FaultKind::sqlite_allocation, [&] { block_ = sqlite3_realloc(block_, 1000); }), 1);
    sqlite3_free(block_);
    const std::string database = (directory_.path() / "database").string();
    EXPECT_GT(count(FaultKind::sqlite_file, [&] { SqliteMaker(database, "CREATE TABLE t(x)"); }), 0);
    EXPECT_EQ(seen_, std::set(std::begin(kinds), std::end(kinds)));
}

TEST(LibraryTorture, ending_the_process_with_a_complaint_needs_no_memory) {
    EXPECT_EXIT(
        {
            const AllocationWatch watch;
            const Faults faults(FaultKind::allocation, 1, true);
            elog_die(1, "torture: the end.\n");
        },
        testing::ExitedWithCode(1), "torture: the end");
}

TEST(DataFile, a_place_that_the_system_fails_to_look_up_is_not_passed_over) {
    const TemporaryDirectory first, second;
    first.write("maps/it", "x");
    second.write("maps/it", "y");
    const Environment data("LINDRA_DATA", (first.path().string() + ":" + second.path().string()).c_str());
    int calls;
    {
        const Faults none(FaultKind::system_call, 0, false);
        free(datafile("LINDRA_DATA", "maps/it"));
        calls = Faults::calls();
    }
    ASSERT_GT(calls, 0);
    for (int nth = 1; nth <= calls; nth++) {
        const Faults faults(FaultKind::system_call, nth, false);
        char *path = datafile("LINDRA_DATA", "maps/it");
        EXPECT_TRUE(!path || !Faults::failed()) << path;
        free(path);
    }
}

TEST(DataFile, only_a_place_where_nothing_is_or_nothing_may_be_seen_is_passed_over) {
    const TemporaryDirectory first, second;
    first.write("it", "x");
    const std::string in_second = second.write("it", "y");
    const Environment data("LINDRA_DATA", (first.path().string() + ":" + second.path().string()).c_str());
    const auto found = [] {
        char *path = datafile("LINDRA_DATA", "it");
        const std::string text = path ? path : "none";
        free(path);
        return text;
    };
    int last; // the look at the first directory's file
    {
        const Faults none(FaultKind::system_call, 0, false);
        ASSERT_EQ(found(), (first.path() / "it").string());
        last = Faults::calls();
    }
    for (const int reason : {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EACCES}) {
        const Faults faults(FaultKind::system_call, last, false, reason);
        EXPECT_EQ(found(), in_second) << strerror(reason);
    }
    for (const int reason : {EIO, ENOMEM, EOVERFLOW, ESTALE, ETIMEDOUT, ENODEV, EPERM}) {
        const Faults faults(FaultKind::system_call, last, false, reason);
        EXPECT_EQ(found(), "none") << strerror(reason);
    }
}

// A function that is new is tortured, or found to ask for nothing.
TEST(LibraryTorture, every_exported_function_is_there) {
    std::set<std::string> known = {"elog_die"};
    for (const auto &[name, make] : trials)
        known.insert(name);
    for (const auto &[name, call] : quiet)
        known.insert(name);
    std::set<std::string> exported;
    std::ifstream list(LINDRA_EXPORTED_SYMBOLS);
    for (std::string name; std::getline(list, name);)
        exported.insert(name);
    EXPECT_EQ(known, exported);
}

} // namespace

} // namespace lindra::test
