// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_TRIAL_HPP
#define LINDRA_TOOLS_TRIAL_HPP

#include <filesystem>
#include <functional>

namespace lindra::tools {

// Runs the reading of a file in a child process and drops what it read. Throws the DataError that the reading
// threw, or one that calls the file damaged when the child died of it, did not come to an end, or asked for
// far more memory than a file of this size accounts for. Sanitizers need too much themselves for this last
// limit.
//
// The HDF5 library below netCDF is not proof against every damaged file. One that passed the trial is read
// again here; one that did not is never opened by this process.
void try_reading(const std::filesystem::path &file, const std::function<void()> &read);

} // namespace lindra::tools

#endif
