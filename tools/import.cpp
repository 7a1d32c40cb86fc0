// SPDX-License-Identifier: MIT

#include "subcommands.hpp"

void lindra::tools::add_import(CLI::App &program) {
    program.add_subcommand("import");
}
