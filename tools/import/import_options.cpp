// SPDX-License-Identifier: MIT

#include "import/import_options.hpp"

#include "common/errors.hpp"
#include "common/standard_output.hpp"

#include <string>

namespace lindra::tools {

std::filesystem::path map_directory(const ImportOptions &options) {
    return options.to / "maps" / "lindra";
}

std::filesystem::path place_for(const ImportOptions &options, const std::string &name) {
    const std::filesystem::path directory = map_directory(options);
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw DataError("the directory " + directory.string() + " cannot be made: " + error.message());
    return directory / name;
}

void print_line(const std::string &line) {
    try {
        write_to_standard_output(line + "\n");
    } catch (const ReaderGone &) {
        // The files are what is wanted of an import; the lines only tell how far it is.
    }
}

} // namespace lindra::tools
