// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_STANDARD_OUTPUT_HPP
#define LINDRA_TOOLS_STANDARD_OUTPUT_HPP

#include <functional>

namespace lindra::tools {

// Calls print, which writes to stdout, as the library's printers do. Throws DataError when that cannot be
// written, and ReaderGone when nobody reads it any more.
void print_to_standard_output(const std::function<void()> &print);

} // namespace lindra::tools

#endif
