// SPDX-License-Identifier: MIT
//
// What a user asks of the attributes of shapes, in SQL.
#ifndef LINDRA_TOOLS_WHERE_EXPRESSION_HPP
#define LINDRA_TOOLS_WHERE_EXPRESSION_HPP

#include "shapes/sqlite.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace lindra::tools {

// Throws UsageError unless the text can be put between parentheses and be one expression there: it must not
// close a parenthesis that it has not opened, end within a text, a name or a comment, begin another statement
// or ask for parameters. Whether it is an expression at all is SQLite's to say.
void require_one_expression(std::string_view text);

// The columns of a SELECT from shape that bear the attributes which the text may name, each followed by a
// comma. Names that differ only in the case of letters are one column.
std::string attribute_columns(const std::vector<std::string> &names, std::string_view text);

// The connection may then only read what an index has, by functions that do nothing else: nothing is written,
// attached or loaded, and no query calls itself.
void allow_expressions_only(SqliteConnection &connection);

} // namespace lindra::tools

#endif
