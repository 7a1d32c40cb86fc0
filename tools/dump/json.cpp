// SPDX-License-Identifier: MIT

#include "dump/json.hpp"

#include <cmath>

namespace lindra::tools {

Json json_number(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
    return value;
}

std::string json_text(const Json &facts, int indent) {
    return facts.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace lindra::tools
