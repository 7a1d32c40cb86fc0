// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_STANDARD_OUTPUT_HPP
#define LINDRA_TOOLS_STANDARD_OUTPUT_HPP

#include <functional>
#include <string_view>

namespace lindra::tools {

// Both throw DataError when standard output cannot be written, and ReaderGone when nobody reads it any more.
// What could not be written is dropped: nothing of it comes later.

void write_to_standard_output(std::string_view bytes);

// Calls print, which writes to stdout, as the library's printers do. What it printed last and is not written
// yet is dropped, too, when print throws. On a terminal there are question marks in the place of what would
// steer it, of which a file's texts may be full.
void print_to_standard_output(const std::function<void()> &print);

} // namespace lindra::tools

#endif
