// SPDX-License-Identifier: MIT
//
// The subcommands, one source file each. Each function adds one to the program, with its options and what it
// does.
#ifndef LINDRA_TOOLS_SUBCOMMANDS_HPP
#define LINDRA_TOOLS_SUBCOMMANDS_HPP

#include <CLI/CLI.hpp>

namespace lindra::tools {

void add_draw(CLI::App &program);
void add_segments(CLI::App &program);
void add_dump(CLI::App &program);
void add_import(CLI::App &program);
void add_index(CLI::App &program);
void add_fetch(CLI::App &program);
void add_texture(CLI::App &program);

} // namespace lindra::tools

#endif
