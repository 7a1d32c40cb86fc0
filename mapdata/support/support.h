/* SPDX-License-Identifier: MIT */
/*
 * The general services that every lindra reader stands on: lists, associative arrays, text, byte order, log,
 * data files, file mapping and database views. They know no map format.
 *
 * A failure is reported through the result alone (null or negative). No function here throws. Null lists,
 * arrays and texts are accepted wherever a pointer is read and behave as empty ones, unless said otherwise.
 * Separate lists and arrays may be used from separate threads; one list or array belongs to one thread at a
 * time.
 */
#ifndef LINDRA_SUPPORT_H
#define LINDRA_SUPPORT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LINDRA_API __attribute__((__visibility__("default")))
#define LINDRA_PRINTF(text, first) __attribute__((__format__(__printf__, text, first)))

/* --- Lists ---------------------------------------------------------------------------------------------- */

/* Tbl: an ordered, growable list of untyped pointers, indexed from 0. The entries stay the caller's. */
typedef struct Tbl Tbl;

/* newtbl returns a new empty list with room for n entries (0: no room yet), or null when memory is exhausted
 * or n is negative. The caller releases it with freetbl. */
LINDRA_API Tbl *newtbl(int n);

/* settbl stores p at index, which may be any place up to the current count; -1, or the count itself, appends.
 * Returns the index stored at, or -1 (list unchanged) for a null list, another index or exhausted memory. */
LINDRA_API int settbl(Tbl *list, int index, void *p);

/* gettbl returns the pointer at index i, or null when i is not below the count. */
LINDRA_API void *gettbl(Tbl *list, int i);

/* counttbl returns the number of entries. */
LINDRA_API int counttbl(Tbl *list);

/* clrtbl empties the list and keeps its storage; each entry is handed to free_fn first unless that is null.
 */
LINDRA_API void clrtbl(Tbl *list, void (*free_fn)(void *));

/* freetbl is clrtbl followed by the release of the list itself. */
LINDRA_API void freetbl(Tbl *list, void (*free_fn)(void *));

/* --- Associative arrays --------------------------------------------------------------------------------- */

/* Arr: an associative array from a text key, which it copies, to an untyped pointer, which stays the
 * caller's. */
typedef struct Arr Arr;

/* newarr returns a new empty array whose keys are compared by cmp (null: strcmp), or null when memory is
 * exhausted. The caller releases it with freearr. */
LINDRA_API Arr *newarr(int (*cmp)(const char *, const char *));

/* setarr stores value under key, in place of the value that was there. Returns 0, or -1 (array unchanged) for
 * a null array or key or exhausted memory. */
LINDRA_API int setarr(Arr *arr, const char *key, void *value);

/* getarr returns the value under key, or null when the key is absent. */
LINDRA_API void *getarr(Arr *arr, const char *key);

/* freearr releases the array; each value is handed to free_fn first unless that is null. */
LINDRA_API void freearr(Arr *arr, void (*free_fn)(void *));

/* --- Text ----------------------------------------------------------------------------------------------- */

/* splitlist splits text into the items between blanks, tabs, line ends and commas; runs of these count as
 * one. Fills argc and a new vector of new strings, closed by a null pointer; the caller releases both with
 * freeargs. Returns 0, or -1 for a null text or exhausted memory; argc is then 0 and argv null. */
LINDRA_API int splitlist(const char *text, int *argc, char ***argv);

/* freeargs releases what splitlist returned. */
LINDRA_API void freeargs(int argc, char **argv);

/* strtrim removes the white space (blank, \t \n \v \f \r) around text in place and returns text. */
LINDRA_API char *strtrim(char *text);

/* --- Byte order ----------------------------------------------------------------------------------------- */

/* N2H2, N2H4 and N2H8 copy n big-endian items of 2, 4 or 8 bytes from src to dest in host order. dest and src
 * are the same place or do not overlap, and need no alignment. With n of 0 or less nothing is touched. */
LINDRA_API void N2H2(void *dest, const void *src, int n);
LINDRA_API void N2H4(void *dest, const void *src, int n);
LINDRA_API void N2H8(void *dest, const void *src, int n);

/* --- Log ------------------------------------------------------------------------------------------------ */

/* elog_log records one complaint: flag 1 after a failed allocation or nested call, 0 for bad input, then a
 * printf format and its arguments; the text begins with the reporting function's name and a colon and ends
 * with a line end. It goes to the handler set by lindra_set_log_handler, else to standard error, without the
 * flag. Texts over 8191 bytes are cut. May be called from any thread. */
LINDRA_API void elog_log(int flag, const char *format, ...) LINDRA_PRINTF(2, 3);

/* elog_die does as elog_log and ends the process with exit(1). */
LINDRA_API void elog_die(int flag, const char *format, ...) LINDRA_PRINTF(2, 3) __attribute__((noreturn));

/* --- Data files and mapping ----------------------------------------------------------------------------- */

/* datafile returns the full path of the first regular file named relative_path below the data directories, or
 * null when none has it, the system fails to look one up (EIO, ENOMEM, EOVERFLOW), or memory is exhausted;
 * the caller frees it. The directories, in order: those of the environment variable env (null: LINDRA_DATA),
 * a colon-separated list; $XDG_DATA_HOME, else ~/.local/share; the share/ directory of the place the library
 * is installed in; those of $XDG_DATA_DIRS, else /usr/local/share and /usr/share. Empty and relative entries
 * of the XDG variables are passed over, as the XDG Base Directory Specification (2021) wants it. */
LINDRA_API char *datafile(const char *env, const char *relative_path);

/* mapfile makes the whole regular file at path readable in memory for the life of the process, or until
 * lindra_unmapfile, stores the address of its first byte in data and returns its size in bytes. Files up to
 * 16 MiB are read into private memory that ends at an unreadable page; larger ones are mapped, and a byte of
 * them that others cut off meanwhile is a fault (SIGBUS) where it is read. With a cache handle (the address
 * of an Arr pointer that is null at first) a file mapped through it before is not mapped again: the same
 * address and size are returned. Returns -1 with null in data when path is no readable regular file, or
 * memory is exhausted. A cache handle and its strings are the caller's; its mappings stay. */
LINDRA_API int64_t mapfile(const char *path, Arr **cache, char **data);

/* --- Database views ------------------------------------------------------------------------------------- */

/* Dbptr: a view of a SQLite database (file format 3): which database, which table, which field, which row. It
 * is passed by value and owns nothing. The members are numbers that this library gives out, valid in this
 * process only, except that record is the row's number in its table (SQLite's rowid, 0 or above; other rows
 * are not seen), which the caller may set. Views are opened with lindra_db_open.
 *
 * A table is an ordinary table of the file whose rows are numbered, and a field one of its columns that is
 * not computed; views, virtual tables and whatever else the file declares do not exist here, and nothing
 * that it declares is run. Names are compared without regard to the case of ASCII letters, as SQLite does.
 * The tables and fields of an open database are those that it had when they were named first. A search stops
 * as a failure after as many steps as a file of its size can account for, and waits up to a second for a
 * writer.
 *
 * Views may be used from any thread; calls for one database wait for each other. */
typedef struct Dbptr {
    int64_t database, table, field, record;
} Dbptr;

/* The numbers that have a meaning of their own in a view, and the code of dbquery. */
enum {
    LINDRA_DB_NO_RECORD = -102, /* record: no such record */
    LINDRA_DB_ALL = -1,         /* table, field or record: none in particular, all of them */
    LINDRA_DB_FILE_PATH = -357  /* dbquery: the path of the database's file */
};

/* dbgetv copies fields of the view's row into the caller's variables: name, address, name, address, ..., and
 * a null pointer at the end. The name alone says what stands at the address: "fileid", "offset", "shapeid",
 * "recno" and "shape_type" a long, "filename" a buffer of 256 bytes; other names are a failure. table is null
 * or names the view's own table. An integer field takes an integer or its decimal text, a text field a text
 * without NUL bytes or an integer. A text longer than 255 bytes is cut there, or before the UTF-8 character
 * that stands across. Returns 0, or -1 with nothing written: no such database, row or field, a value that is
 * null or of another type, a row of more than 1 MiB, a database that cannot be read, exhausted memory. */
LINDRA_API int dbgetv(Dbptr db, const char *table, ...) __attribute__((__sentinel__));

/* dbquery stores in result, for code LINDRA_DB_FILE_PATH, the path of the view's database as it was given to
 * lindra_db_open. The text is the library's, must not be changed and is valid until the database is closed.
 * Returns 0, or -1 with result as it was for another code or when the database is not open. */
LINDRA_API int dbquery(Dbptr db, int code, char **result);

/* dblookup returns db moved: to the open database whose path was given as database, to the table of that
 * name, to the field of that name of its table ("dbALL": all fields), and to the row in which the field's
 * value, written as text, is record; null leaves each as it is. Of several rows it is the one with the lowest
 * number, those that hold an integer before those that hold its text. An index over the field is used;
 * without one the table is read through. When anything is not found or fails, the result's record is
 * LINDRA_DB_NO_RECORD and its other members are of no use. */
LINDRA_API Dbptr dblookup(Dbptr db, const char *database, const char *table, const char *field,
                          const char *record);

/* lindra_db_open opens the SQLite file at path to be read and sets db to a view of it with everything else
 * LINDRA_DB_ALL. Each call opens the file anew. The file is never written; one in write-ahead mode gets
 * SQLite's -wal and -shm files beside it where they can be made. Returns 0, or -1 with db as it was: no
 * regular file or none of SQLite's, one that cannot be read or that needs repair by a writer first, no
 * regular file in the place of its journal or log, exhausted memory. */
LINDRA_API int lindra_db_open(const char *path, Dbptr *db);

/* lindra_db_close closes the database of a view and releases its memory; every view of it then fails. Returns
 * 0, or -1 when it is not open. */
LINDRA_API int lindra_db_close(Dbptr db);

/* lindra_db_next returns db moved to the next row of its table in the order of row numbers, from record
 * LINDRA_DB_ALL to the first; after the last one, or after a failure, record is LINDRA_DB_NO_RECORD and stays
 * so. */
LINDRA_API Dbptr lindra_db_next(Dbptr db);

/* --- Extensions ----------------------------------------------------------------------------------------- */

/* lindra_unmapfile releases the memory of a file that mapfile made readable without a cache handle: data and
 * size are what it stored and returned. Null is accepted. */
LINDRA_API void lindra_unmapfile(char *data, int64_t size);

/* lindra_set_log_handler hands every later message of elog_log, line end included, to handler along with
 * context; null brings standard error back. The text is valid during the call only. The handler may be called
 * from every thread that uses the library. */
typedef void (*lindra_log_handler)(void *context, int flag, const char *text);
LINDRA_API void lindra_set_log_handler(lindra_log_handler handler, void *context);

/* lindra_data_directories returns the directories that datafile searches for the same env, in order, joined
 * by line ends; or null when the system fails to look one up or memory is exhausted. The caller frees it. */
LINDRA_API char *lindra_data_directories(const char *env);

#ifdef __cplusplus
}
#endif

#endif
