// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DUMP_DDS_HPP
#define LINDRA_TOOLS_DUMP_DDS_HPP

#include "common/input_file.hpp"

namespace lindra::tools {

bool is_dds(const InputFile &file);

// Prints the texture's header and of each image that the library expands its size and first pixels: the
// library's listing, or the same facts as JSON. Throws DataError for a damaged file, and for one with a DX10
// header, which the listing leaves out, after what could be read was printed.
void dump_dds(const InputFile &file, bool json);

} // namespace lindra::tools

#endif
