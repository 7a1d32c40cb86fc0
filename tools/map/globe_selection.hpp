// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_GLOBE_SELECTION_HPP
#define LINDRA_TOOLS_GLOBE_SELECTION_HPP

#include "lindra/lindra.h"

#include <memory>
#include <optional>
#include <string>

namespace lindra::tools {

struct MapRelease {
    void operator()(GmtMap *map) const { lindra_free_gmtmap(map); }
};
using OwnedMap = std::unique_ptr<GmtMap, MapRelease>;

// A new handle. Throws std::bad_alloc.
OwnedMap open_map();

// Selects from the globe by a list of the library's with one word, such as "p:7". Returns what is wrong with
// the file, or nothing: all that was selected can then be delivered.
std::optional<std::string> select_globe(GmtMap *map, const std::string &list, char resolution);

} // namespace lindra::tools

#endif
