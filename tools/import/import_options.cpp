// SPDX-License-Identifier: MIT

#include "import/import_options.hpp"

#include "common/errors.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace lindra::tools {

std::filesystem::path place_for(const ImportOptions &options, const std::string &name) {
    const std::filesystem::path directory = options.to / "maps" / "lindra";
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw DataError("the directory " + directory.string() + " cannot be made: " + error.message());
    return directory / name;
}

void print_line(const std::string &line) {
    if (puts(line.c_str()) < 0 || fflush(stdout) != 0)
        throw DataError("standard output cannot be written: " + std::string(strerror(errno)));
}

} // namespace lindra::tools
