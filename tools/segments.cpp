// SPDX-License-Identifier: MIT

#include "subcommands.hpp"

void lindra::tools::add_segments(CLI::App &program) {
    program.add_subcommand("segments");
}
