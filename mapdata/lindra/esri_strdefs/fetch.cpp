// SPDX-License-Identifier: MIT
//
// Single shapes by way of a database. A view's row names a file, by its identifier, and the byte offset of a
// record in it; the table "filename" has the path that belongs to the identifier.
//
// Paths once found and files once mapped are kept for the life of the process, so that a later change of the
// table goes unseen.

#include "lindra.h"

#include "esri_strdefs/registry.hpp"
#include "fail.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

using lindra::fail;
using lindra::Source;
using namespace lindra::esri;

namespace {

constexpr size_t filename_size = 256; // what dbgetv fills
constexpr size_t path_size = PATH_MAX + filename_size;
constexpr size_t fileid_size = 32;
constexpr size_t key_size = PATH_MAX + fileid_size;

// The caches of the process, which are never released.
std::mutex caches_lock;
Arr *fname_arr; // from "database path:file identifier" to the path of the file
Arr *maparr;    // the files mapped

struct File {
    unsigned char *data = nullptr;
    size_t size = 0;
};

int read_filename(Dbptr db, long fileid, char *filename) {
    char text[fileid_size];
    snprintf(text, sizeof text, "%ld", fileid);
    db = dblookup(db, nullptr, "filename", "fileid", text);
    if (db.record == LINDRA_DB_NO_RECORD)
        return fail(0, "esri_get_db_shp_record: Cannot find fileid=%ld in filename table.\n", fileid);
    db = dblookup(db, nullptr, nullptr, "dbALL", nullptr);
    if (dbgetv(db, nullptr, "filename", filename, static_cast<char *>(nullptr)) < 0)
        return fail(0, "esri_get_db_shp_record: dbgetv() error.\n");
    return 0;
}

// A relative name counts from the directory of the database.
int resolve(const char *database, const char *filename, char *path) {
    const char *slash = filename[0] == '/' ? nullptr : strrchr(database, '/');
    const int directory = slash ? static_cast<int>(slash + 1 - database) : 0;
    const int length = snprintf(path, path_size, "%.*s%s", directory, database, filename);
    if (static_cast<size_t>(length) >= path_size)
        return fail(0, "esri_get_db_shp_record: path of %s is too long.\n", filename);
    return 0;
}

int keep_path(const char *key, const char *path) {
    char *copy = strdup(path);
    if (!copy || setarr(fname_arr, key, copy) < 0) {
        free(copy);
        return fail(0, "esri_get_db_shp_record: setarr(%s) error.\n", key);
    }
    return 0;
}

int find_path(Dbptr db, const char *database, long fileid, const char *key) {
    char filename[filename_size];
    char path[path_size];
    if (read_filename(db, fileid, filename) < 0 || resolve(database, filename, path) < 0) return -1;
    return keep_path(key, path);
}

// Finds the path in the cache, or else by way of the database.
int look_up(Dbptr db, long fileid, const char *&out_path) {
    if (!fname_arr) fname_arr = newarr(nullptr);
    if (!fname_arr) return fail(0, "esri_get_db_shp_record: newarr() error.\n");
    char *database = nullptr;
    if (dbquery(db, LINDRA_DB_FILE_PATH, &database) < 0)
        return fail(0, "esri_get_db_shp_record: dbquery() error.\n");
    char key[key_size];
    const int length = snprintf(key, sizeof key, "%s:%ld", database, fileid);
    if (static_cast<size_t>(length) >= sizeof key)
        return fail(0, "esri_get_db_shp_record: path of the database is too long.\n");
    if (!getarr(fname_arr, key) && find_path(db, database, fileid, key) < 0) return -1;
    out_path = static_cast<const char *>(getarr(fname_arr, key));
    return 0;
}

// Deliberate: a file that cannot be mapped is a complaint and no end; decoding then finds nothing there.
File map_file(const char *path) {
    char *data = nullptr;
    const int64_t size = mapfile(path, &maparr, &data);
    if (size < 0) {
        (void)fail(0, "esri_get_db_shp_record: mapfile(%s) error.\n", path);
        return {};
    }
    return {reinterpret_cast<unsigned char *>(data), static_cast<size_t>(size)};
}

int find_file(Dbptr db, long fileid, File &out_file) {
    const std::lock_guard<std::mutex> guard(caches_lock);
    const char *path = nullptr;
    if (look_up(db, fileid, path) < 0) return -1;
    out_file = map_file(path);
    return 0;
}

// Decodes the record at offset, of which nothing is there when that lies outside the file. As a size, one
// below zero lies behind every file.
int decode_at(SHPRECORD *shape, const File &file, long offset) {
    unsigned char nothing = 0;
    unsigned char *base = file.data ? file.data : &nothing;
    unsigned char *cursor = base + std::min(static_cast<size_t>(offset), file.size);
    Source source(base, &cursor, base + file.size);
    return decode_shapefile_record(*shape, source);
}

} // namespace

int esri_get_db_shp_record(SHPRECORD *shape, Dbptr db) {
    long fileid;
    long offset;
    if (dbgetv(db, nullptr, "fileid", &fileid, "offset", &offset, static_cast<char *>(nullptr)) < 0)
        return fail(0, "esri_get_db_shp_record: dbgetv() error.\n");
    File file;
    if (find_file(db, fileid, file) < 0) return -1;
    if (decode_at(shape, file, offset) < 0)
        return fail(0, "esri_get_db_shp_record: esri_decode_shapefile_record() error.\n");
    return 0;
}
