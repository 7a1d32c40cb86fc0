// SPDX-License-Identifier: MIT
#ifndef LINDRA_SQLITE_PAGES_HPP
#define LINDRA_SQLITE_PAGES_HPP

#include <sqlite3.h>

namespace lindra {

// sqlite3_open_v2 of a database that may come from anywhere. A page that holds a row longer than 16 MiB and
// than the whole file is a damaged one (SQLITE_CORRUPT), so that SQLite takes no memory for what the row
// claims; in files of more than 4 GiB it may. No file is mapped but the memory that is shared behind a log,
// and what is there and no regular file is not opened (SQLITE_CANTOPEN): neither the database nor what SQLite
// looks for beside it, its journal, its log and that memory; nor is a file that the journal names
// (SQLITE_AUTH, when the change has been taken back). The way to files that SQLite had by default
// at the first opening is the one of all: a host that has its own registers it before, and leaves it there.
int open_distrusting_rows(const char *location, sqlite3 **out, int flags);

} // namespace lindra

#endif
