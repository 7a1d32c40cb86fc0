// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_UNCHANGED_HPP
#define LINDRA_TOOLS_UNCHANGED_HPP

#include <filesystem>
#include <functional>

namespace lindra::tools {

// Runs what reads a file, and throws what that throws; DataError says that the file changed where it did so
// meanwhile, whatever was made of it. It is read more than once: what was tried or found whole must be what
// is imported.
void while_unchanged(const std::filesystem::path &file, const std::function<void()> &read);

} // namespace lindra::tools

#endif
