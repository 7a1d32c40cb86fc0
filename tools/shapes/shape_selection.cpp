// SPDX-License-Identifier: MIT
//
// The R*Tree finds what may meet a window, by 32-bit numbers that were rounded outward; the columns of the
// shapes decide. An expression sees the attributes first and the columns of shape and filename behind them.

#include "shapes/shape_selection.hpp"

#include "common/errors.hpp"
#include "shapes/index_file.hpp"
#include "shapes/where_expression.hpp"

#include <algorithm>
#include <cfloat>
#include <string_view>

namespace lindra::tools {

namespace {

constexpr const char *other_columns[] = {"filename", "recno", "shape_type", "xmin", "ymin", "xmax", "ymax"};
constexpr size_t names_told = 40;
constexpr int edges_of_a_window = 4;

// The places of the edges of a window: west, east, south, north.
std::string meets(const char *name, int first_place) {
    const auto place = [&](int edge) { return std::to_string(first_place + edge); };
    const std::string table = name;
    return table + "xmin <= ?" + place(1) + " AND " + table + "xmax >= ?" + place(0) + " AND " + table +
           "ymin <= ?" + place(3) + " AND " + table + "ymax >= ?" + place(2);
}

// Where the edges of window i begin: first those for the tree, then those for the shapes.
int place_of_window(size_t i) {
    return 2 * edges_of_a_window * static_cast<int>(i) + 1;
}

std::string windows_condition(size_t windows) {
    std::string tree, boxes;
    for (size_t i = 0; i < windows; i++) {
        const int place = place_of_window(i);
        tree += (i ? " UNION " : "") + ("SELECT shapeid FROM shape_box WHERE " + meets("", place));
        boxes += (i ? " OR " : "") + meets("s.", place + edges_of_a_window);
    }
    return "s.shapeid IN (" + tree + ") AND (" + boxes + ")";
}

void bind_window(SqliteStatement &statement, int place, const ShapeWindow &window) {
    for (const double edge : {window.west, window.east, window.south, window.north}) {
        statement.bind(place, std::clamp(edge, -double{FLT_MAX}, double{FLT_MAX}));
        statement.bind(place + edges_of_a_window, edge);
        place++;
    }
}

std::vector<std::string> attribute_names(SqliteConnection &connection) {
    std::vector<std::string> names;
    SqliteStatement rows(connection, "SELECT DISTINCT name FROM field ORDER BY name COLLATE NOCASE, name");
    while (rows.next())
        names.push_back(rows.text(0));
    return names;
}

std::string listed(const std::vector<std::string> &names) {
    if (names.empty()) return "there are no attributes";
    std::string text = "the attributes are ";
    for (size_t i = 0; i < std::min(names.size(), names_told); i++)
        text += (i ? ", " : "") + names[i];
    return names.size() > names_told ? text + " and " + std::to_string(names.size() - names_told) + " more"
                                     : text;
}

bool is_taken(const std::vector<std::string> &names, const std::string &name) {
    return std::ranges::any_of(
        names, [&](const std::string &each) { return sqlite3_stricmp(each.c_str(), name.c_str()) == 0; });
}

// A column beside the attributes must not bear the name of one.
std::string free_name(const std::vector<std::string> &names) {
    std::string name = "shapeid";
    while (is_taken(names, name))
        name += '_';
    return quoted_name(name);
}

class Selection {
  public:
    Selection(const std::filesystem::path &index, const ShapeRequest &request)
        : connection_(open_index(index)), request_(request) {}

    std::vector<int64_t> run() {
        if (request_.where.empty()) return numbers(statement_without_expression());
        require_one_expression(request_.where);
        const std::vector<std::string> names = attribute_names(connection_);
        allow_expressions_only(connection_);
        connection_.allow_long_statements();
        try {
            return numbers(statement_with_expression(names));
        } catch (const SqliteError &error) {
            if (!is_fault_of_expression(error)) throw;
            if (error.message == "malformed JSON") require_sound_attributes();
            throw UsageError("the expression " + request_.where + ": " + error.message + "; " +
                             listed(names));
        }
    }

  private:
    std::string condition() const {
        return request_.windows.empty() ? "1" : windows_condition(request_.windows.size());
    }

    std::string statement_without_expression() const {
        return "SELECT s.shapeid FROM shape AS s WHERE " + condition() + " ORDER BY s.shapeid";
    }

    // The expression may end in a comment.
    std::string statement_with_expression(const std::vector<std::string> &names) const {
        const std::string id = free_name(names);
        std::string columns = attribute_columns(names, request_.where);
        for (const std::string name : other_columns)
            if (!is_taken(names, name)) columns += name + ", ";
        return "SELECT " + id + " FROM (SELECT " + columns + "s.shapeid AS " + id +
               " FROM shape AS s JOIN filename USING(fileid) WHERE " + condition() + ") WHERE (" +
               request_.where + "\n) ORDER BY " + id;
    }

    std::vector<int64_t> numbers(const std::string &sql) {
        SqliteStatement statement(connection_, sql);
        for (size_t i = 0; i < request_.windows.size(); i++)
            bind_window(statement, place_of_window(i), request_.windows[i]);
        std::vector<int64_t> found;
        while (statement.next())
            add(statement.integer(0), found);
        return found;
    }

    // SQLite takes the rows of a damaged file in the order in which they stand there.
    void add(int64_t shapeid, std::vector<int64_t> &found) const {
        if (!found.empty() && shapeid <= found.back())
            throw DataError(connection_.path() + " is damaged: shape " + std::to_string(shapeid) +
                            " stands behind shape " + std::to_string(found.back()) +
                            "; make it again with lindra index");
        found.push_back(shapeid);
    }

    // Where they are broken SQLite has the same complaint as of broken JSON in the expression. By a
    // connection of its own, which may do more than expressions.
    void require_sound_attributes() const {
        SqliteConnection connection = open_index(connection_.path());
        SqliteStatement rows(connection,
                             "SELECT shapeid FROM shape WHERE NOT json_valid(attributes) LIMIT 1");
        if (rows.next())
            throw DataError(connection_.path() + ": shape " + std::to_string(rows.integer(0)) +
                            " has attributes that are no JSON object; delete the file and make it anew with "
                            "lindra index");
    }

    static bool is_fault_of_expression(const SqliteError &error) {
        switch (error.result) {
        case SQLITE_ERROR:
        case SQLITE_AUTH:
        case SQLITE_TOOBIG:
        case SQLITE_MISMATCH:
            return true;
        default:
            return false;
        }
    }

    SqliteConnection connection_;
    const ShapeRequest &request_;
};

} // namespace

std::vector<int64_t> select_shapes(const std::filesystem::path &index, const ShapeRequest &request) {
    return Selection(index, request).run();
}

} // namespace lindra::tools
