// SPDX-License-Identifier: MIT
//
// A row of a SQLite file tells its length where it begins, and goes on in a chain of further pages ("Database
// File Format", sqlite.org). Before SQLite follows the chain it takes memory for the numbers of all its
// pages: 70 MB for a row of a few bytes that claims 4 GiB. No setting of a connection has it compare that
// length with the file's, so that it is done here where every page comes by: in the reading of the file. For
// this SQLite's way to the files of a system (its VFS) is wrapped: all calls go through to that of the
// system; what is read of a database and of the log beside it is looked at, if it is a page of rows.
//
// Nor does SQLite look at what it opens: a FIFO with the name of a journal blocks it, and it opens again when
// a signal ends that. What is no regular file is refused here, too; and so is a super-journal, the list of
// the databases of one change: the journal beside a database names it, by any path, and when the change has
// been taken back SQLite deletes what stands there.
//
// That a page is one of rows is told by its first byte. The pages of a chain begin with the number of the
// next one, whose first byte is 0 in every file that is short enough for a row to claim more than it; so does
// a page that tells the parents of others, which has 0 rows where its first byte is that of an index. Files
// of more than 4 GiB are not looked at.

#include "sqlite_pages.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <span>
#include <sys/stat.h>

namespace lindra {

namespace {

// A writer's row of less than that may be read again before all of it stands in the file.
constexpr uint64_t always_allowed = 1 << 24;

// --- Pages

using Page = std::span<const unsigned char>;

constexpr size_t smallest_page = 512;
constexpr char file_mark[] = "SQLite format 3";
constexpr size_t file_header_size = 100;
constexpr size_t cell_count_offset = 3;

enum PageType : unsigned char { inner_of_index = 2, leaf_of_index = 10, leaf_of_table = 13 };

// Within the page: the places of rows are told at even ones, and a page has an even size.
size_t u16(Page page, size_t at) {
    return static_cast<size_t>(page[at] << 8 | page[at + 1]);
}

// What the row at that place claims; bytes behind the page are taken for 0.
uint64_t length_of_row(Page page, size_t at) {
    constexpr size_t longest_number = 9;
    uint64_t length = 0;
    for (size_t end = at + longest_number; at < end && at < page.size(); at++) {
        length = length << 7 | (page[at] & 0x7f);
        if (page[at] < 0x80) break;
    }
    return length;
}

bool has_rows(unsigned char type) {
    return type == inner_of_index || type == leaf_of_index || type == leaf_of_table;
}

// A page of another kind has none.
uint64_t longest_row(Page page) {
    const size_t header = memcmp(page.data(), file_mark, sizeof file_mark) == 0 ? file_header_size : 0;
    const unsigned char type = page[header];
    const size_t rows = has_rows(type) ? u16(page, header + cell_count_offset) : 0;
    const bool is_inner = type == inner_of_index;
    const size_t places = header + (is_inner ? 12 : 8);
    const size_t child = is_inner ? 4 : 0; // the number of a page, before the row
    const size_t end = std::min(places + 2 * rows, page.size());
    uint64_t longest = 0;
    for (size_t at = places; at < end; at += 2)
        longest = std::max(longest, length_of_row(page, u16(page, at) % page.size() + child));
    return longest;
}

// --- Files

// The system's file stands behind it.
struct CheckedFile : sqlite3_file {
    sqlite3_file *database; // whose pages are read; null when they are not to be looked at
};

sqlite3_file *real(sqlite3_file *file) {
    return reinterpret_cast<sqlite3_file *>(static_cast<CheckedFile *>(file) + 1);
}

sqlite3_vfs *real(sqlite3_vfs *vfs) {
    return static_cast<sqlite3_vfs *>(vfs->pAppData);
}

const sqlite3_io_methods *methods_of(sqlite3_file *file) {
    return file->pMethods;
}

const sqlite3_vfs *methods_of(sqlite3_vfs *vfs) {
    return vfs;
}

// The function of that name which calls the system's.
template <auto method>
struct Through;
template <class Methods, class Object, class Result, class... Arguments,
          Result (*Methods::*method)(Object *, Arguments...)>
struct Through<method> {
    static Result call(Object *object, Arguments... arguments) {
        return (methods_of(real(object))->*method)(real(object), arguments...);
    }
};

int size_of(sqlite3_file *file, uint64_t &out_size) {
    sqlite3_int64 size = 0;
    const int result = file->pMethods->xFileSize(file, &size);
    out_size = static_cast<uint64_t>(size);
    return result;
}

// Of a page in the log the row may stand in either file. Returns SQLITE_OK when there is room for it.
int look_for_room(CheckedFile *file, uint64_t row) {
    if (row <= always_allowed) return SQLITE_OK;
    uint64_t database, log = 0;
    if (const int result = size_of(file->database, database); result != SQLITE_OK) return result;
    if (file->database != file)
        if (const int result = size_of(file, log); result != SQLITE_OK) return result;
    return row <= database + log || database > UINT32_MAX ? SQLITE_OK : SQLITE_CORRUPT;
}

// Pages are read whole. What else has such a size begins with the number of a page, or is a part of a row in
// a chain. What the file lacks of a page is 0.
int read(sqlite3_file *file, void *to, int size, sqlite3_int64 from) {
    const int result = real(file)->pMethods->xRead(real(file), to, size, from);
    auto *self = static_cast<CheckedFile *>(file);
    const auto page_size = static_cast<size_t>(size);
    const bool is_read = result == SQLITE_OK || result == SQLITE_IOERR_SHORT_READ;
    if (!is_read || !self->database || page_size < smallest_page || !std::has_single_bit(page_size))
        return result;
    const Page page(static_cast<const unsigned char *>(to), page_size);
    const int room = look_for_room(self, longest_row(page));
    return room == SQLITE_OK ? result : room;
}

// Version 2 maps no files; version 1 shares no memory, so that there is no log.
constexpr sqlite3_io_methods methods(int version) {
    using M = sqlite3_io_methods;
    M all = {};
    all.iVersion = version;
    all.xClose = Through<&M::xClose>::call;
    all.xRead = read;
    all.xWrite = Through<&M::xWrite>::call;
    all.xTruncate = Through<&M::xTruncate>::call;
    all.xSync = Through<&M::xSync>::call;
    all.xFileSize = Through<&M::xFileSize>::call;
    all.xLock = Through<&M::xLock>::call;
    all.xUnlock = Through<&M::xUnlock>::call;
    all.xCheckReservedLock = Through<&M::xCheckReservedLock>::call;
    all.xFileControl = Through<&M::xFileControl>::call;
    all.xSectorSize = Through<&M::xSectorSize>::call;
    all.xDeviceCharacteristics = Through<&M::xDeviceCharacteristics>::call;
    if (version < 2) return all;
    all.xShmMap = Through<&M::xShmMap>::call;
    all.xShmLock = Through<&M::xShmLock>::call;
    all.xShmBarrier = Through<&M::xShmBarrier>::call;
    all.xShmUnmap = Through<&M::xShmUnmap>::call;
    return all;
}

// What is not there may be made.
bool is_file_or_absent(const char *name) {
    struct stat found;
    if (stat(name, &found) != 0) return errno == ENOENT;
    errno = 0; // which a caller may ask for
    return S_ISREG(found.st_mode);
}

// The files that SQLite keeps nowhere have no name. The memory that is shared behind a log it opens past the
// way to files.
int refuse_special_files(const char *name, int flags) {
    // Of the plain SQLITE_CANTOPEN it concludes that a journal has a change to be taken back.
    constexpr int refused = SQLITE_CANTOPEN_ISDIR;
    if (!name) return SQLITE_OK;
    if (!is_file_or_absent(name)) return refused;
    if (!(flags & SQLITE_OPEN_WAL)) return SQLITE_OK;
    const std::unique_ptr<char, decltype(&sqlite3_free)> memory(
        sqlite3_mprintf("%s-shm", sqlite3_filename_database(name)), sqlite3_free);
    if (!memory) return SQLITE_NOMEM;
    return is_file_or_absent(memory.get()) ? SQLITE_OK : refused;
}

sqlite3_file *database_of(const char *name, sqlite3_file *file, int flags) {
    if (flags & SQLITE_OPEN_MAIN_DB) return file;
    return flags & SQLITE_OPEN_WAL ? sqlite3_database_file_object(name) : nullptr;
}

int open_file(sqlite3_vfs *vfs, const char *name, sqlite3_file *file, int flags, int *out_flags) {
    static constexpr sqlite3_io_methods without_memory = methods(1), with_memory = methods(2);
    auto *self = new (file) CheckedFile{{nullptr}, database_of(name, file, flags)};
    if (flags & SQLITE_OPEN_SUPER_JOURNAL) return SQLITE_AUTH;
    if (const int refused = refuse_special_files(name, flags); refused != SQLITE_OK) return refused;
    const int result = real(vfs)->xOpen(real(vfs), name, real(file), flags, out_flags);
    // What has methods will be closed, even if opening it failed.
    if (const sqlite3_io_methods *found = real(file)->pMethods)
        self->pMethods = found->iVersion < 2 ? &without_memory : &with_memory;
    return result;
}

// What the system's lacks, the wrapped one lacks.
template <auto method>
auto through(const sqlite3_vfs *system) {
    return system->*method ? Through<method>::call : nullptr;
}

sqlite3_vfs wrapped(sqlite3_vfs *system) {
    using V = sqlite3_vfs;
    V all = {};
    all.iVersion = std::min(system->iVersion, 2);
    all.szOsFile = static_cast<int>(sizeof(CheckedFile)) + system->szOsFile;
    all.mxPathname = system->mxPathname;
    all.zName = "lindra";
    all.pAppData = system;
    all.xOpen = open_file;
    all.xDelete = through<&V::xDelete>(system);
    all.xAccess = through<&V::xAccess>(system);
    all.xFullPathname = through<&V::xFullPathname>(system);
    all.xDlOpen = through<&V::xDlOpen>(system);
    all.xDlError = through<&V::xDlError>(system);
    all.xDlSym = through<&V::xDlSym>(system);
    all.xDlClose = through<&V::xDlClose>(system);
    all.xRandomness = through<&V::xRandomness>(system);
    all.xSleep = through<&V::xSleep>(system);
    all.xCurrentTime = through<&V::xCurrentTime>(system);
    all.xGetLastError = through<&V::xGetLastError>(system);
    all.xCurrentTimeInt64 = through<&V::xCurrentTimeInt64>(system);
    return all;
}

} // namespace

// A connection finds its way by a name, which others see too while it is registered: no longer than it takes.
int open_distrusting_rows(const char *location, sqlite3 **out, int flags) {
    *out = nullptr;
    sqlite3_vfs *system = sqlite3_vfs_find(nullptr);
    if (!system) return SQLITE_ERROR;
    static std::mutex one_at_a_time;
    const std::lock_guard<std::mutex> guard(one_at_a_time);
    static sqlite3_vfs vfs = wrapped(system);
    if (const int result = sqlite3_vfs_register(&vfs, 0); result != SQLITE_OK) return result;
    const int result = sqlite3_open_v2(location, out, flags, vfs.zName);
    sqlite3_vfs_unregister(&vfs);
    return result;
}

} // namespace lindra
