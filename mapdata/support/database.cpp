// SPDX-License-Identifier: MIT
//
// Database views. A view is four numbers, so it owns nothing: the first is looked up among the open
// databases, the second and third among the names that views have been given, and the fourth is SQLite's row
// number. Any number that says nothing is a failed result. Handles are not used again, so that a view of a
// database that was closed never reaches another one.

#include "support.h"

#include "sqlite_file.hpp"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <mutex>
#include <new>
#include <optional>

using namespace lindra;

namespace {

constexpr size_t text_size = 256;

// What a field's destination is must not depend on what the file declares or holds.
enum class Kind { integer, text };
struct KnownField {
    const char *name;
    Kind kind;
};
constexpr KnownField known_fields[] = {
    {"fileid", Kind::integer}, {"offset", Kind::integer},     {"shapeid", Kind::integer},
    {"recno", Kind::integer},  {"shape_type", Kind::integer}, {"filename", Kind::text},
};
static_assert(sizeof(long) == sizeof(int64_t));

struct Database {
    int64_t handle; // given when it is entered
    std::string path;
    std::unique_ptr<SqliteFile> file;
    std::mutex lock; // over the file
};
using Owner = std::shared_ptr<Database>;

struct Registry {
    std::mutex lock;
    int64_t last_handle = 0;
    std::map<int64_t, Owner> databases;
    std::vector<std::string> names; // of tables and fields; the first one's number is 1
};

// Never destroyed, because a host's static objects may still use views while the process ends.
Registry &registry() {
    alignas(Registry) static unsigned char storage[sizeof(Registry)];
    static auto *all = new (storage) Registry;
    return *all;
}

Owner database_of(int64_t handle) {
    const std::lock_guard<std::mutex> guard(registry().lock);
    const auto found = registry().databases.find(handle);
    return found == registry().databases.end() ? nullptr : found->second;
}

Owner database_at(const char *path) {
    const std::lock_guard<std::mutex> guard(registry().lock);
    for (const auto &[handle, database] : registry().databases)
        if (database->path == path) return database;
    return nullptr;
}

int64_t number_of(const std::string &name) {
    const std::lock_guard<std::mutex> guard(registry().lock);
    std::vector<std::string> &names = registry().names;
    const auto place = std::find(names.begin(), names.end(), name) - names.begin();
    if (place == std::ssize(names)) names.push_back(name);
    return place + 1;
}

std::optional<std::string> name_of(int64_t number) {
    const std::lock_guard<std::mutex> guard(registry().lock);
    const std::vector<std::string> &names = registry().names;
    if (number < 1 || number > static_cast<int64_t>(names.size())) return std::nullopt;
    return names[static_cast<size_t>(number) - 1];
}

Dbptr without_record(Dbptr view) {
    view.record = LINDRA_DB_NO_RECORD;
    return view;
}

const SqliteTable *table_of(Dbptr view, SqliteFile &file) {
    const std::optional<std::string> name = name_of(view.table);
    return name ? file.table(name->c_str()) : nullptr;
}

const std::string *field_of(Dbptr view, const SqliteTable &table) {
    const std::optional<std::string> name = name_of(view.field);
    return name ? table.column(name->c_str()) : nullptr;
}

std::optional<int64_t> as_integer(std::string_view text) {
    int64_t value;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// --- Looking up

int64_t matching_row(SqliteQuery &query) {
    if (!query.next()) return LINDRA_DB_NO_RECORD;
    return query.number(0);
}

// An integer is looked for as one first: a column that declares no type holds integers and texts apart.
int64_t matching_row(SqliteFile &file, const std::string &sql, std::string_view text) {
    if (const std::optional<int64_t> number = as_integer(text)) {
        SqliteQuery query(file, sql);
        const int64_t row = matching_row(query.bind(1, *number).bind(2, text));
        if (row != LINDRA_DB_NO_RECORD) return row;
    }
    SqliteQuery query(file, sql);
    return matching_row(query.bind(1, text).bind(2, text));
}

bool set_table(Dbptr &view, SqliteFile &file, const char *name) {
    const SqliteTable *table = file.table(name);
    if (table) view.table = number_of(table->name);
    return table != nullptr;
}

bool set_field(Dbptr &view, SqliteFile &file, const char *name) {
    if (strcmp(name, "dbALL") == 0) {
        view.field = LINDRA_DB_ALL;
        return true;
    }
    const SqliteTable *table = table_of(view, file);
    const std::string *column = table ? table->column(name) : nullptr;
    if (column) view.field = number_of(*column);
    return column != nullptr;
}

bool set_record(Dbptr &view, SqliteFile &file, const char *text) {
    const SqliteTable *table = table_of(view, file);
    const std::string *column = table ? field_of(view, *table) : nullptr;
    if (!column) return false;
    view.record = matching_row(file, select_matching_row(*table, *column), text);
    return view.record != LINDRA_DB_NO_RECORD;
}

Dbptr look_up(Dbptr view, const char *path, const char *table, const char *field, const char *record) {
    const Owner database = path ? database_at(path) : database_of(view.database);
    if (!database) return without_record(view);
    const std::lock_guard<std::mutex> guard(database->lock);
    SqliteFile &file = *database->file;
    view.database = database->handle;
    if (table && !set_table(view, file, table)) return without_record(view);
    if (field && !set_field(view, file, field)) return without_record(view);
    if (record && !set_record(view, file, record)) return without_record(view);
    return view;
}

Dbptr next_row(Dbptr view) {
    const Owner database = database_of(view.database);
    if (!database || view.record < LINDRA_DB_ALL) return without_record(view);
    const std::lock_guard<std::mutex> guard(database->lock);
    const SqliteTable *table = table_of(view, *database->file);
    if (!table) return without_record(view);
    SqliteQuery query(*database->file, select_next_row(*table));
    const int64_t row = matching_row(query.bind(1, view.record));
    // Rows out of their order, in a damaged file, would make the caller's loop endless.
    if (row <= view.record) return without_record(view);
    view.record = row;
    return view;
}

// --- Reading

struct Wanted {
    const KnownField *field;
    void *to;
};

struct Value {
    int64_t number = 0;
    std::string_view text;
};

const KnownField *known_field(const char *name) {
    for (const KnownField &field : known_fields)
        if (strcmp(field.name, name) == 0) return &field;
    return nullptr;
}

// Reads pairs of a name and an address up to a null name.
bool read_wanted(va_list arguments, std::vector<Wanted> &out) {
    while (const char *name = va_arg(arguments, const char *)) {
        const Wanted wanted = {known_field(name), va_arg(arguments, void *)};
        if (!wanted.field || !wanted.to) return false;
        out.push_back(wanted);
    }
    return true;
}

std::optional<Value> text_value(const SqliteQuery &row, int column) {
    const int type = row.type(column);
    if (type != SQLITE_TEXT && type != SQLITE_INTEGER) return std::nullopt;
    const char *text = row.text(column);
    const size_t size = row.text_size(column);
    if (!text || memchr(text, 0, size)) return std::nullopt;
    return Value{0, {text, size}};
}

std::optional<Value> integer_value(const SqliteQuery &row, int column) {
    if (row.type(column) == SQLITE_INTEGER) return Value{row.number(column), {}};
    if (row.type(column) != SQLITE_TEXT) return std::nullopt;
    const std::optional<Value> text = text_value(row, column);
    const std::optional<int64_t> number = text ? as_integer(text->text) : std::nullopt;
    if (!number) return std::nullopt;
    return Value{*number, {}};
}

// A character of UTF-8 has up to three bytes of the form 10xxxxxx after its first; a text with more of them
// is no UTF-8 and is cut anywhere.
std::string_view cut(std::string_view text) {
    if (text.size() < text_size) return text;
    const auto continues = [text](size_t i) { return (static_cast<unsigned char>(text[i]) & 0xc0) == 0x80; };
    size_t size = text_size - 1;
    while (size > text_size - 4 && continues(size))
        size--;
    return text.substr(0, continues(size) ? text_size - 1 : size);
}

void store(const Value &value, const Wanted &wanted) {
    if (wanted.field->kind == Kind::integer) {
        *static_cast<long *>(wanted.to) = value.number;
        return;
    }
    const std::string_view text = cut(value.text);
    char *to = static_cast<char *>(wanted.to);
    memcpy(to, text.data(), text.size());
    to[text.size()] = '\0';
}

// All values are found good before the first is stored.
int store_row(const SqliteQuery &row, const std::vector<Wanted> &wanted) {
    std::vector<Value> values;
    for (size_t i = 0; i < wanted.size(); i++) {
        const int column = static_cast<int>(i) + 1;
        const auto value =
            wanted[i].field->kind == Kind::text ? text_value(row, column) : integer_value(row, column);
        if (!value) return -1;
        values.push_back(*value);
    }
    for (size_t i = 0; i < wanted.size(); i++)
        store(values[i], wanted[i]);
    return 0;
}

std::vector<const std::string *> columns_of(const SqliteTable &table, const std::vector<Wanted> &wanted) {
    std::vector<const std::string *> columns;
    for (const Wanted &each : wanted)
        if (const std::string *column = table.column(each.field->name)) columns.push_back(column);
    return columns;
}

int read_row(Dbptr view, const char *table_name, va_list arguments) {
    std::vector<Wanted> wanted;
    const Owner database = database_of(view.database);
    if (!database || view.record < 0 || !read_wanted(arguments, wanted)) return -1;
    const std::lock_guard<std::mutex> guard(database->lock);
    const SqliteTable *table = table_of(view, *database->file);
    if (!table) return -1;
    if (table_name && database->file->table(table_name) != table) return -1;
    const std::vector<const std::string *> columns = columns_of(*table, wanted);
    if (columns.size() != wanted.size()) return -1;
    SqliteQuery row(*database->file, select_columns_of_row(*table, columns));
    return row.bind(1, view.record).next() ? store_row(row, wanted) : -1;
}

// --- Opening

int64_t enter(const Owner &database) {
    const std::lock_guard<std::mutex> guard(registry().lock);
    database->handle = registry().last_handle + 1;
    registry().databases.emplace(database->handle, database);
    return ++registry().last_handle;
}

int open_database(const char *path, Dbptr &view) {
    const auto database = std::make_shared<Database>();
    database->path = path;
    database->file = SqliteFile::open(database->path);
    if (!database->file) return -1;
    view = {enter(database), LINDRA_DB_ALL, LINDRA_DB_ALL, LINDRA_DB_ALL};
    return 0;
}

// The file is closed outside the lock, after those who are reading it.
Owner leave(int64_t handle) {
    const std::lock_guard<std::mutex> guard(registry().lock);
    const auto found = registry().databases.find(handle);
    if (found == registry().databases.end()) return nullptr;
    Owner database = std::move(found->second);
    registry().databases.erase(found);
    return database;
}

} // namespace

int dbgetv(Dbptr db, const char *table, ...) {
    va_list arguments;
    va_start(arguments, table);
    int result;
    try {
        result = read_row(db, table, arguments);
    } catch (const std::exception &) {
        result = -1;
    }
    va_end(arguments);
    return result;
}

int dbquery(Dbptr db, int code, char **result) {
    if (code != LINDRA_DB_FILE_PATH || !result) return -1;
    const Owner database = database_of(db.database);
    if (!database) return -1;
    *result = database->path.data();
    return 0;
}

Dbptr dblookup(Dbptr db, const char *database, const char *table, const char *field, const char *record) {
    try {
        return look_up(db, database, table, field, record);
    } catch (const std::exception &) {
        return without_record(db);
    }
}

int lindra_db_open(const char *path, Dbptr *db) {
    if (!path || !db) return -1;
    try {
        return open_database(path, *db);
    } catch (const std::exception &) {
        return -1;
    }
}

int lindra_db_close(Dbptr db) {
    return leave(db.database) ? 0 : -1;
}

Dbptr lindra_db_next(Dbptr db) {
    try {
        return next_row(db);
    } catch (const std::exception &) {
        return without_record(db);
    }
}
