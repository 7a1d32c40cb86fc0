// SPDX-License-Identifier: MIT
//
// How the facts of a file are written as JSON.
#ifndef LINDRA_TOOLS_DUMP_JSON_HPP
#define LINDRA_TOOLS_DUMP_JSON_HPP

#include <nlohmann/json.hpp>

#include <string>

namespace lindra::tools {

using Json = nlohmann::ordered_json;

// JSON has no number for what is not finite: "NaN", "Infinity", "-Infinity".
Json json_number(double value);

// As indented lines, or as one line for indent -1. Texts of a file need not be UTF-8; what is not is
// replaced.
std::string json_text(const Json &facts, int indent);

} // namespace lindra::tools

#endif
