// SPDX-License-Identifier: MIT
//
// What the command says of itself and of arguments that it does not know.

#include "command.hpp"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

using lindra::test::Result;
using lindra::test::run_lindra;

void expect_usage(const std::string &arguments, const std::string &complaint) {
    const Result result = run_lindra(arguments);
    EXPECT_EQ(result.code, 2) << arguments;
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, complaint);
}

} // namespace

TEST(Command, unknown_commands_and_options_are_one_line_that_names_them) {
    expect_usage("foo", "lindra: there is no command or option 'foo'; see lindra --help\n");
    expect_usage("--nope", "lindra: there is no command or option '--nope'; see lindra --help\n");
    expect_usage("import", "lindra: DIR is required; see lindra import --help\n");
    expect_usage("draw -o a.png -o b.png",
                 "lindra: --output: At Most 1 required but received 2; see lindra draw --help\n");
    const Result none = run_lindra("");
    EXPECT_EQ(none.code, 2);
    EXPECT_EQ(none.errors, "lindra: a command is needed; see lindra --help\n");
}

// What would end the line or steer a terminal: in an argument here, as it may be in a file or in its name.
TEST(Command, messages_are_one_line_whatever_they_quote) {
    const Result result = run_lindra("dump \"$(printf 'a\\nb\\033]0;c\\007\\302\\233d')\"");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.errors, "lindra: a?b?]0;c??d cannot be read: No such file or directory\n");
}

// A variable of a script that was never set does not ask for what is usual.
TEST(Command, options_without_a_value_are_refused) {
    for (const std::string option :
         {"draw --window", "draw --size", "draw --center", "segments --output", "import . --output"}) {
        const std::string name = option.substr(option.rfind('-') - 1);
        expect_usage(option + " ''", "lindra: " + name + " is empty; give it a value, or leave it out\n");
    }
}

TEST(Command, version_and_help_go_to_standard_output) {
    const Result version = run_lindra("--version");
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.output.find("lindra "), 0U);
    const Result help = run_lindra("draw --help");
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.output.find("--projection"), std::string::npos);
    EXPECT_EQ(help.errors, "");
}

TEST(Command, help_fits_a_terminal) {
    constexpr size_t terminal = 80;
    for (const char *command : {"draw", "segments", "dump", "import", "index", "fetch", "texture"}) {
        std::istringstream help(run_lindra(command + std::string(" --help")).output);
        for (std::string line; std::getline(help, line);)
            EXPECT_LE(line.size(), terminal) << line;
    }
}

TEST(Command, help_lists_each_command_in_one_line) {
    const std::string help = run_lindra("--help").output;
    const size_t list = help.find("\nSubcommands:\n");
    ASSERT_NE(list, std::string::npos);
    std::istringstream lines(help.substr(list + 14, help.find("\n\n", list) - list - 14));
    for (std::string line; std::getline(lines, line);) {
        ASSERT_GT(line.size(), 12U);
        EXPECT_NE(line[2], ' ') << line;
        EXPECT_NE(line[12], ' ') << line;
    }
}

TEST(Command, help_that_cannot_be_written_is_a_failure) {
    for (const char *arguments :
         {"--version >/dev/full", "--help >/dev/full", "segments --help >/dev/full"}) {
        const Result result = run_lindra(arguments);
        EXPECT_EQ(result.code, 1) << arguments;
        EXPECT_EQ(result.errors, "lindra: standard output cannot be written: No space left on device\n");
    }
}
