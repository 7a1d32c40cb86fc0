// SPDX-License-Identifier: MIT
//
// The subcommands of a program, and their options. CLI11, which parses them, is included by command_line.cpp
// alone: it takes longer to compile and to check than all else that a subcommand needs.
#ifndef LINDRA_TOOLS_COMMAND_LINE_HPP
#define LINDRA_TOOLS_COMMAND_LINE_HPP

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace lindra::tools {

// An option of a subcommand, which belongs to the command line.
class Option {
  public:
    explicit Option(CLI::Option *option) : option_(option) {}

    Option required() const;
    Option excludes(Option other) const;
    // complaint: returns what is wrong with a text, or nothing.
    Option check(std::string (*complaint)(const std::string &text)) const;

    bool is_given() const;
    std::string name() const;

  private:
    CLI::Option *option_;
};

// A subcommand, which belongs to the command line.
class Subcommand {
  public:
    explicit Subcommand(CLI::App *app) : app_(app) {}

    // names: "-o,--output", or "FILE" for what has its place. type: what the help has for the value. The
    // value lives as long as the command line; of a text, the help shows what it holds until it is given
    // another. An option that is given without a value, as a script's variable is that was never set, is
    // refused: it does not ask for what it asks when it is left out.
    Option add(const char *names, std::string &value, const char *type, const char *help) const;
    Option add(const char *names, std::filesystem::path &value, const char *type, const char *help) const;
    Option add(const char *names, std::vector<std::string> &values, const char *type, const char *help) const;
    // Separated by commas.
    Option add(const char *names, std::vector<int64_t> &values, const char *type, const char *help) const;
    // A text that may be empty.
    Option add_text(const char *names, std::string &value, const char *type, const char *help) const;
    Option add_flag(const char *names, bool &flag, const char *help) const;

    void footer(const std::string &text) const;
    // What is done when the options are set.
    void action(std::function<void()> action) const;

  private:
    CLI::App *app_;
};

class CommandLine {
  public:
    // The texts are parts of the help; version is the answer to --version.
    CommandLine(const char *description, const std::string &version, const char *footer);
    ~CommandLine();

    // description: the list of all subcommands has its first line.
    Subcommand add(const char *name, const char *description);

    // Sets the options of the subcommand that the words begin with, and does its action; or prints the help
    // or version that they ask for. Throws UsageError, and what the action throws.
    void obey(const std::vector<std::string> &words);

  private:
    std::unique_ptr<CLI::App> app_;
};

} // namespace lindra::tools

#endif
