// SPDX-License-Identifier: MIT

#include "subcommands.hpp"

void lindra::tools::add_draw(CLI::App &program) {
    program.add_subcommand("draw");
}
