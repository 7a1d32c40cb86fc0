// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_TRIAL_HPP
#define LINDRA_TOOLS_TRIAL_HPP

#include <filesystem>
#include <functional>

namespace lindra::tools {

// Runs the reading of a file in a child process and drops what it read. Throws the DataError that the reading
// threw, or one that calls the file damaged when the child died of it or did not come to an end, or that says
// that it asked for far more memory than a file of this size accounts for. Throws std::bad_alloc when the
// reading did so for another reason. Sanitizers need too much memory themselves for a limit of it.
//
// The HDF5 library below netCDF is not proof against every damaged file. One that passed the trial is read
// again here; one that did not is never opened by this process.
void try_reading(const std::filesystem::path &file, const std::function<void()> &read);

} // namespace lindra::tools

#endif
