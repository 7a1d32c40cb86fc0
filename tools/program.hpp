// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PROGRAM_HPP
#define LINDRA_TOOLS_PROGRAM_HPP

#include <string>
#include <vector>

namespace lindra::tools {

// Does what the words behind the program's name ask for: {"dump", "--json", "a.shp"}. Throws UsageError where
// they make no sense, and what the subcommand throws.
void obey(const std::vector<std::string> &words);

// The whole command, with the arguments of main. Returns its exit code; every failure has been told on
// standard error.
int run_program(int argc, char **argv);

} // namespace lindra::tools

#endif
