// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_STANDARD_ERROR_HPP
#define LINDRA_TOOLS_STANDARD_ERROR_HPP

#include <string_view>

namespace lindra::tools {

// Says something to people: a line on standard error, behind the program's name. All that the command says
// goes through here, so that whatever the text has from files, their names or the arguments stays in its line
// and steers no terminal (shown.hpp).
void tell(std::string_view text);

} // namespace lindra::tools

#endif
