// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DATA_OUTPUT_HPP
#define LINDRA_TOOLS_DATA_OUTPUT_HPP

#include "common/output_file.hpp"

#include <memory>
#include <string>
#include <string_view>

namespace lindra::tools {

// Where a subcommand's data goes: standard output, or a file that appears all at once (output_file.hpp). What
// is written is gathered into large blocks; what is left of it is written by finish. Throws DataError when
// the data cannot be written, and ReaderGone when nobody reads standard output any more.
class DataOutput {
  public:
    // An empty path is standard output.
    explicit DataOutput(const std::string &path);

    void write(std::string_view bytes);
    void finish();

  private:
    void flush();

    std::unique_ptr<OutputFile> file_; // null for standard output
    std::string block_;
};

} // namespace lindra::tools

#endif
