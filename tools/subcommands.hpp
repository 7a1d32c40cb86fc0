// SPDX-License-Identifier: MIT
//
// The subcommands, one source file each. Each function adds one to the command line, with its options and
// what it does.
#ifndef LINDRA_TOOLS_SUBCOMMANDS_HPP
#define LINDRA_TOOLS_SUBCOMMANDS_HPP

#include "common/command_line.hpp"

namespace lindra::tools {

void add_draw(CommandLine &program);
void add_segments(CommandLine &program);
void add_dump(CommandLine &program);
void add_import(CommandLine &program);
void add_index(CommandLine &program);
void add_fetch(CommandLine &program);
void add_texture(CommandLine &program);

} // namespace lindra::tools

#endif
