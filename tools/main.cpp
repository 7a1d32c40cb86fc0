// SPDX-License-Identifier: MIT
//
// The lindra command. Data goes to standard output, everything said to people to standard error. Exit codes:
// 0, 1 for bad data, 2 for bad usage.

#include "common/errors.hpp"
#include "subcommands.hpp"

#include "lindra/lindra.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

namespace {

using namespace lindra::tools;

int say(const std::exception &error, ExitCode code) {
    fprintf(stderr, "lindra: %s\n", error.what());
    return code;
}

int run(int argc, char **argv) {
    CLI::App program("Draw and export map data.", "lindra");
    program.set_version_flag("--version", std::string("lindra ") + lindra_version());
    program.require_subcommand(1);
    add_draw(program);
    add_segments(program);
    add_dump(program);
    add_import(program);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return program.exit(error) == 0 ? exit_success : exit_bad_usage;
    }
    return exit_success;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const UsageError &error) {
        return say(error, exit_bad_usage);
    } catch (const ReaderGone &) {
        return exit_bad_data;
    } catch (const std::exception &error) {
        return say(error, exit_bad_data);
    }
}
