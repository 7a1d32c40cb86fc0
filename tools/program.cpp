// SPDX-License-Identifier: MIT
//
// The lindra command. Data goes to standard output, everything said to people to standard error. Exit codes:
// 0, 1 for bad data, 2 for bad usage.

#include "program.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/memory.hpp"
#include "common/standard_error.hpp"
#include "subcommands.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <system_error>

namespace lindra::tools {

namespace {

constexpr const char *footer =
    R"(`lindra COMMAND --help` tells more of each. Map files are looked for in
DIR/maps/lindra, where DIR is in turn each directory of $LINDRA_DATA (a list
separated by colons), your own data directory (~/.local/share), the one beside
the installed command, and those of the system.

Exit status: 0; 1 for bad data; 2 for wrong arguments.)";

int say(const char *what, ExitCode code) {
    tell(what);
    return code;
}

// What goes wrong over bytes that are gone, or for lack of memory, is told as what it is.
int run_watched(const std::vector<std::string> &words) {
    watch_files();
    watch_memory();
    // A file beyond the limit of its size is a failed write, told like any other.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        obey(words);
        require_unchanged_files();
        return exit_success;
    } catch (...) {
        require_unchanged_files();
        require_memory();
        throw;
    }
}

} // namespace

void obey(const std::vector<std::string> &words) {
    CommandLine program("Draw and export map data, inspect textures.",
                        std::string("lindra ") + lindra_version(), footer);
    add_draw(program);
    add_segments(program);
    add_dump(program);
    add_import(program);
    add_index(program);
    add_fetch(program);
    add_texture(program);
    program.obey(words);
}

int run_program(int argc, char **argv) {
    try {
        return run_watched({argv + std::min(argc, 1), argv + argc});
    } catch (const UsageError &error) {
        return say(error.what(), exit_bad_usage);
    } catch (const ReaderGone &) {
        return exit_bad_data;
    } catch (const std::bad_alloc &) {
        tell_no_memory();
        return exit_bad_data;
    } catch (const std::system_error &error) {
        return say(error.code() == std::errc::not_enough_memory ? no_memory : error.what(), exit_bad_data);
    } catch (const std::exception &error) {
        return say(error.what(), exit_bad_data);
    }
}

} // namespace lindra::tools
