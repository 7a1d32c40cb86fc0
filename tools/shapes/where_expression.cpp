// SPDX-License-Identifier: MIT
//
// Tokens as "SQLite Query Language: Expressions" (sqlite.org) has them, as far as they can hide or contain a
// parenthesis or a semicolon.

#include "shapes/where_expression.hpp"

#include "common/errors.hpp"

#include <algorithm>
#include <map>
#include <optional>

namespace lindra::tools {

namespace {

[[noreturn]] void refuse(std::string_view text, const std::string &why) {
    throw UsageError("the expression " + std::string(text) + " " + why);
}

// --- One expression ---

// How a token ends that begins at the head of rest; nothing for one that hides nothing.
std::optional<std::string_view> end_of_token(std::string_view rest) {
    if (rest.starts_with("--")) return "\n";
    if (rest.starts_with("/*")) return "*/";
    switch (rest.front()) {
    case '\'':
        return "'";
    case '"':
        return "\"";
    case '`':
        return "`";
    case '[':
        return "]";
    default:
        return std::nullopt;
    }
}

// Behind the token, which begins at the head of rest. A quote that is doubled within a text ends one token
// and begins another, which comes to the same.
std::string_view behind_token(std::string_view text, std::string_view rest, std::string_view end) {
    const size_t opening = end == "*/" || end == "\n" ? 2 : 1;
    const size_t stop = rest.find(end, opening);
    if (stop != rest.npos) return rest.substr(stop + end.size());
    if (end == "\n") return {};
    refuse(text, "has no end: " + std::string(end) + " is missing");
}

int depth_behind(std::string_view text, char letter, int depth) {
    if (letter == ';') refuse(text, "is more than one: leave out the semicolon");
    if (std::string_view("?:@$#").find(letter) != std::string_view::npos)
        refuse(text,
               std::string("has a parameter, ") + letter + "; put names with that sign in double quotes");
    if (letter == '(') return depth + 1;
    if (letter == ')' && depth == 0) refuse(text, "closes a parenthesis that it has not opened");
    return letter == ')' ? depth - 1 : depth;
}

// --- Columns ---

struct CaseBlind {
    bool operator()(const std::string &a, const std::string &b) const {
        return sqlite3_stricmp(a.c_str(), b.c_str()) < 0;
    }
};

bool contains(std::string_view text, std::string_view part) {
    const auto same = [](char a, char b) { return sqlite3_strnicmp(&a, &b, 1) == 0; };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

std::string quoted_text(std::string_view text) {
    std::string result = "'";
    for (const char letter : text)
        result.append(letter == '\'' ? 2 : 1, letter);
    return result += '\'';
}

// Paths into JSON have no way to write what stands with a backslash in it.
bool fits_in_path(std::string_view name) {
    return std::ranges::none_of(name, [](unsigned char c) { return c < ' ' || c == '"' || c == '\\'; });
}

std::string value_of(const std::string &name) {
    if (fits_in_path(name)) return "json_extract(s.attributes, " + quoted_text("$.\"" + name + "\"") + ")";
    return "(SELECT atom FROM json_each(s.attributes) WHERE key = " + quoted_text(name) + ")";
}

std::string value_of_any(const std::vector<std::string> &names) {
    if (names.size() == 1) return value_of(names.front());
    std::string values;
    for (const std::string &name : names)
        values += (values.empty() ? "" : ", ") + value_of(name);
    return "coalesce(" + values + ")";
}

// --- What is allowed ---

constexpr const char *tables[] = {"shape", "filename", "shape_box", "json_each"};

constexpr const char *functions[] = {
    "->",     "->>",      "abs",      "avg",    "ceil",      "ceiling",   "char",         "coalesce", "count",
    "date",   "datetime", "exp",      "floor",  "glob",      "hex",       "ifnull",       "iif",      "instr",
    "length", "like",     "ln",       "log",    "json_each", "julianday", "json_extract", "lower",    "ltrim",
    "max",    "min",      "mod",      "nullif", "pow",       "power",     "replace",      "round",    "rtrim",
    "sign",   "sqrt",     "strftime", "substr", "substring", "sum",       "time",         "total",    "trim",
    "trunc",  "typeof",   "unicode",  "upper"};

template <size_t count>
bool is_one_of(const char *const (&names)[count], const char *name) {
    return name &&
           std::ranges::any_of(names, [&](const char *each) { return sqlite3_stricmp(each, name) == 0; });
}

int authorize(void *, int action, const char *first, const char *second, const char *, const char *) {
    switch (action) {
    case SQLITE_SELECT:
        return SQLITE_OK;
    case SQLITE_READ:
        return is_one_of(tables, first) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_FUNCTION:
        return is_one_of(functions, second) ? SQLITE_OK : SQLITE_DENY;
    default:
        return SQLITE_DENY;
    }
}

} // namespace

void require_one_expression(std::string_view text) {
    int depth = 0;
    for (std::string_view rest = text; !rest.empty();) {
        if (const std::optional<std::string_view> end = end_of_token(rest)) {
            rest = behind_token(text, rest, *end);
            continue;
        }
        depth = depth_behind(text, rest.front(), depth);
        rest.remove_prefix(1);
    }
    if (depth > 0) refuse(text, "has no end: ) is missing");
}

// SQLite takes a limited number of columns, and one file may have more attributes than that.
std::string attribute_columns(const std::vector<std::string> &names, std::string_view text) {
    std::map<std::string, std::vector<std::string>, CaseBlind> columns;
    for (const std::string &name : names)
        if (const std::string quoted = quoted_name(name);
            contains(text, std::string_view(quoted).substr(1, quoted.size() - 2)))
            columns[name].push_back(name);
    std::string result;
    for (const auto &[column, spellings] : columns)
        result += value_of_any(spellings) + " AS " + quoted_name(column) + ", ";
    return result;
}

void allow_expressions_only(SqliteConnection &connection) {
    // What virtual tables need for themselves is prepared when they are first named.
    SqliteStatement(connection, "SELECT 1 FROM shape_box, json_each('[]') LIMIT 0").run();
    sqlite3_set_authorizer(connection.handle(), authorize, nullptr);
}

} // namespace lindra::tools
