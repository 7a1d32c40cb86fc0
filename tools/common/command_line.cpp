// SPDX-License-Identifier: MIT

#include "common/command_line.hpp"

#include "common/errors.hpp"
#include "common/memory.hpp"
#include "common/standard_output.hpp"

#include <CLI/CLI.hpp>
#include <sstream>
#include <utility>

namespace lindra::tools {

namespace {

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

// The first line of the parser's complaint, and where to read more.
[[noreturn]] void refuse(const CLI::App &app, const std::string &complaint,
                         const std::vector<std::string> &words) {
    const auto chosen = app.get_subcommands();
    if (words.empty()) throw UsageError("a command is needed; see lindra --help");
    if (chosen.empty())
        throw UsageError("there is no command or option '" + words.front() + "'; see lindra --help");
    throw UsageError(complaint.substr(0, complaint.find('\n')) + "; see lindra " +
                     chosen.front()->get_name() + " --help");
}

// What has its place in the line, and no name, is told by who uses it.
CLI::Option *filled(CLI::Option *option) {
    if (option->get_positional()) return option;
    return option->check([option](const std::string &text) {
        if (text.empty())
            throw UsageError(option->get_name() + " is empty; give it a value, or leave it out");
        return std::string();
    });
}

// Help and version are data too. Lost words of a help that was put together without memory are no help.
void print_help(const CLI::App &app, const CLI::ParseError &asked) {
    std::ostringstream text;
    app.exit(asked, text, text);
    require_memory();
    write_to_standard_output(text.str());
}

} // namespace

// --- Options ----------------------------------------------------------------------------------------------

Option Option::required() const {
    option_->required();
    return *this;
}

Option Option::excludes(Option other) const {
    option_->excludes(other.option_);
    return *this;
}

Option Option::check(std::string (*complaint)(const std::string &text)) const {
    option_->check(complaint);
    return *this;
}

bool Option::is_given() const {
    return option_->count() > 0;
}

std::string Option::name() const {
    return option_->get_name();
}

// --- Subcommands ------------------------------------------------------------------------------------------

Option Subcommand::add(const char *names, std::string &value, const char *type, const char *help) const {
    return Option(filled(app_->add_option(names, value, help)->type_name(type)->capture_default_str()));
}

Option Subcommand::add_text(const char *names, std::string &value, const char *type, const char *help) const {
    return Option(app_->add_option(names, value, help)->type_name(type)->capture_default_str());
}

Option Subcommand::add(const char *names, std::filesystem::path &value, const char *type,
                       const char *help) const {
    return Option(filled(app_->add_option(names, value, help)->type_name(type)));
}

Option Subcommand::add(const char *names, std::vector<std::string> &values, const char *type,
                       const char *help) const {
    return Option(app_->add_option(names, values, help)->type_name(type));
}

Option Subcommand::add(const char *names, std::vector<int64_t> &values, const char *type,
                       const char *help) const {
    return Option(app_->add_option(names, values, help)->type_name(type)->delimiter(','));
}

Option Subcommand::add_flag(const char *names, bool &flag, const char *help) const {
    return Option(app_->add_flag(names, flag, help));
}

void Subcommand::footer(const std::string &text) const {
    app_->footer(text);
}

void Subcommand::action(std::function<void()> action) const {
    app_->callback(std::move(action));
}

// --- The command line -------------------------------------------------------------------------------------

CommandLine::CommandLine(const char *description, const std::string &version, const char *footer)
    : app_(std::make_unique<CLI::App>(description, "lindra")) {
    app_->set_version_flag("--version", version);
    app_->require_subcommand(1);
    app_->footer(footer);
}

CommandLine::~CommandLine() = default;

Subcommand CommandLine::add(const char *name, const char *description) {
    return Subcommand(app_->add_subcommand(name, description));
}

void CommandLine::obey(const std::vector<std::string> &words) {
    // Behind the commands, which keep the formatter that they were added with.
    app_->formatter(std::make_shared<CommandList>());
    try {
        app_->parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0) refuse(*app_, error.what(), words);
        print_help(*app_, error);
    }
}

} // namespace lindra::tools
