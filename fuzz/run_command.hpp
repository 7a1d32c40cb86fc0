// SPDX-License-Identifier: MIT
//
// The command, run in this process by the words behind its name.
#ifndef LINDRA_FUZZ_RUN_COMMAND_HPP
#define LINDRA_FUZZ_RUN_COMMAND_HPP

#include <cstddef>
#include <string>
#include <vector>

namespace lindra::fuzz {

// Cairo's surfaces and the tables of PROJ.
inline constexpr size_t memory_of_picture = 24 << 20;

struct Ended {
    int code;
    std::string said; // on standard error; what sanitizers say goes to the descriptor, and is told

    // Ends the process unless the code is one of the command's and all that was said its own, something where
    // it failed. line: what was run, for people.
    void check(const std::string &line) const;
    // The same for any claim.
    void claim(bool holds, const char *promise, const std::string &line) const;
};

Ended run_command(std::vector<std::string> words);

} // namespace lindra::fuzz

#endif
