// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DUMP_DBASE_HPP
#define LINDRA_TOOLS_DUMP_DBASE_HPP

#include "common/input_file.hpp"

namespace lindra::tools {

// Whether the file is built as a dBase table of level 5 is: its bytes have no magic number, but its lengths
// agree.
bool is_dbase(const InputFile &file);

// Prints the table's header, fields and records: the library's listing, or the same facts as JSON. Throws
// DataError for a damaged file, after what could be read was printed.
void dump_dbase(const InputFile &file, bool json);

} // namespace lindra::tools

#endif
