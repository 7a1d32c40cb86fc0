// SPDX-License-Identifier: MIT
//
// The files that maps are made of, by what they hold and how fine they are.
#ifndef LINDRA_TOOLS_MAP_FILE_HPP
#define LINDRA_TOOLS_MAP_FILE_HPP

#include <string>

namespace lindra::tools {

enum class MapFile { coast, borders, rivers };

// What to do about a file that is not right: ends a message.
constexpr const char *import_again = "; import it again";

// The path of the file for a resolution 'c', 'l', 'i', 'h' or 'f'. Throws DataError when it is missing,
// naming the directories searched and the command that gets it.
std::string find_map_file(MapFile file, char resolution);

bool is_installed(MapFile file, char resolution);

} // namespace lindra::tools

#endif
