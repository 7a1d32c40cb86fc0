// SPDX-License-Identifier: MIT

#include "common/standard_error.hpp"

#include "common/shown.hpp"

#include <cstdio>

namespace lindra::tools {

void tell(std::string_view text) {
    fprintf(stderr, "lindra: %s\n", shown(text).c_str());
}

} // namespace lindra::tools
