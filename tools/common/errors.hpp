// SPDX-License-Identifier: MIT
//
// What a subcommand throws when it cannot do its work. The text is one line without the program's name: what
// is wrong, where, and the next step.
#ifndef LINDRA_TOOLS_ERRORS_HPP
#define LINDRA_TOOLS_ERRORS_HPP

#include <exception>
#include <stdexcept>

namespace lindra::tools {

// The exit codes of the command.
enum ExitCode { exit_success = 0, exit_bad_data = 1, exit_bad_usage = 2 };

// A file is missing, unreadable, damaged or cannot be written.
struct DataError : std::runtime_error {
    using runtime_error::runtime_error;
};

// The arguments make no sense.
struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

// Nobody reads standard output any more (`| head`): the command ends with exit_bad_data and says nothing.
struct ReaderGone : std::exception {};

} // namespace lindra::tools

#endif
