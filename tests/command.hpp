// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_COMMAND_HPP
#define LINDRA_TESTS_COMMAND_HPP

#include "plain_gshhs.hpp"
#include "temporary_directory.hpp"

#include <cstdlib>
#include <string>
#include <sys/wait.h>

namespace lindra::test {

struct Result {
    int code; // -1 when a signal ended it
    std::string output, errors;
};

// The lindra command, run by the shell with the given arguments, as a user types them. A redirection or a
// pipe after them is the shell's.
inline Result run_lindra(const std::string &arguments) {
    const TemporaryDirectory scratch;
    const std::string output = (scratch.path() / "output").string();
    const std::string errors = (scratch.path() / "errors").string();
    const std::string line =
        "exec >" + output + " 2>" + errors + "; " + LINDRA_COMMAND_PATH + " " + arguments;
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(output), read_file(errors)};
}

} // namespace lindra::test

#endif
