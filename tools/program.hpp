// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PROGRAM_HPP
#define LINDRA_TOOLS_PROGRAM_HPP

namespace lindra::tools {

// The whole command, with the arguments of main. Returns its exit code; every failure has been told on
// standard error.
int run_program(int argc, char **argv);

} // namespace lindra::tools

#endif
