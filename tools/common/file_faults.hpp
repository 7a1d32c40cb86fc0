// SPDX-License-Identifier: MIT
//
// Files that others cut while the command reads them. The library maps large files, where a byte that is
// gone is a fault; here it is read as zero, and keeps whatever was made of it from being published.
#ifndef LINDRA_TOOLS_FILE_FAULTS_HPP
#define LINDRA_TOOLS_FILE_FAULTS_HPP

namespace lindra::tools {

// From here on, for the life of the process. The command has one thread.
void watch_files();

// Throws DataError when a file was found cut. To be called before anything is published.
void require_unchanged_files();

} // namespace lindra::tools

#endif
