// SPDX-License-Identifier: MIT
//
// The lindra command. Data goes to standard output, everything said to people to standard error. Exit codes:
// 0, 1 for bad data, 2 for bad usage.

#include "program.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/memory.hpp"
#include "common/standard_output.hpp"
#include "subcommands.hpp"

#include "lindra/lindra.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <sstream>
#include <string>

namespace lindra::tools {

namespace {

constexpr const char *footer =
    R"(`lindra COMMAND --help` tells more of each. Map files are looked for in
DIR/maps/lindra, where DIR is in turn each directory of $LINDRA_DATA (a list
separated by colons), your own data directory (~/.local/share), the one beside
the installed command, and those of the system.

Exit status: 0; 1 for bad data; 2 for wrong arguments.)";

int say(const char *what, ExitCode code) {
    fprintf(stderr, "lindra: %s\n", what);
    return code;
}

// The first line of the parser's complaint, and where to read more.
int say_usage(const CLI::App &program, const CLI::ParseError &error, int argc, char **argv) {
    const auto chosen = program.get_subcommands();
    if (argc <= 1) {
        fprintf(stderr, "lindra: a command is needed; see lindra --help\n");
        return exit_bad_usage;
    }
    if (chosen.empty()) {
        fprintf(stderr, "lindra: there is no command or option '%s'; see lindra --help\n", argv[1]);
        return exit_bad_usage;
    }
    const std::string text = error.what();
    fprintf(stderr, "lindra: %s; see lindra %s --help\n", text.substr(0, text.find('\n')).c_str(),
            chosen.front()->get_name().c_str());
    return exit_bad_usage;
}

// Help and version are data too. Lost words of a help that was put together without memory are no help.
void print_help(const CLI::App &program, const CLI::ParseError &error) {
    std::ostringstream text;
    program.exit(error, text, text);
    require_memory();
    write_to_standard_output(text.str());
}

// Lists each command with the first line of its description, in a column that suits the commands' names,
// which are shorter than those of options.
class CommandList : public CLI::Formatter {
  public:
    CommandList() { column_width(names_width); }

    std::string make_subcommand(const CLI::App *command) const override {
        const std::string description = command->get_description();
        std::ostringstream line;
        CLI::detail::format_help(line, command->get_name(), description.substr(0, description.find('\n')),
                                 names_width);
        return line.str();
    }

  private:
    static constexpr size_t names_width = 12;
};

int run(int argc, char **argv) {
    CLI::App program("Draw and export map data, inspect textures.", "lindra");
    program.set_version_flag("--version", std::string("lindra ") + lindra_version());
    program.require_subcommand(1);
    program.footer(footer);
    add_draw(program);
    add_segments(program);
    add_dump(program);
    add_import(program);
    add_index(program);
    add_fetch(program);
    add_texture(program);
    // Behind the commands, which keep the formatter that they were added with.
    program.formatter(std::make_shared<CommandList>());
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0) return say_usage(program, error, argc, argv);
        print_help(program, error);
    }
    return exit_success;
}

// What goes wrong over bytes that are gone is told as what it is.
int run_watched(int argc, char **argv) {
    watch_files();
    watch_memory();
    try {
        const int code = run(argc, argv);
        require_unchanged_files();
        return code;
    } catch (...) {
        require_unchanged_files();
        throw;
    }
}

} // namespace

int run_program(int argc, char **argv) {
    try {
        return run_watched(argc, argv);
    } catch (const UsageError &error) {
        return say(error.what(), exit_bad_usage);
    } catch (const ReaderGone &) {
        return exit_bad_data;
    } catch (const std::bad_alloc &) {
        return say(no_memory, exit_bad_data);
    } catch (const std::exception &error) {
        return say(error.what(), exit_bad_data);
    }
}

} // namespace lindra::tools
