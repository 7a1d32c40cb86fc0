// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_OUTPUT_FILE_HPP
#define LINDRA_TOOLS_OUTPUT_FILE_HPP

#include <filesystem>
#include <string_view>
#include <sys/types.h>

namespace lindra::tools {

// A file that appears under its name all at once or not at all: written beside it under a temporary name, and
// renamed by commit. Without commit the temporary file is removed, also when the process is told to end. A
// symbolic link is followed, also where nothing is yet; a file that is replaced leaves its rights to the new
// one; what is there and is no regular file (a device, a FIFO) is written to as it is.
// Every failure throws DataError.
class OutputFile {
  public:
    explicit OutputFile(std::filesystem::path path);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    void write(std::string_view bytes);

    // The name under which the file is written until commit, for a library that writes by name.
    const std::filesystem::path &temporary() const { return temporary_; }

    void commit();

    // Removes the temporary file of the moment, if there is one, where the process ends without destructors.
    static void remove_temporary();

  private:
    void open_special();
    void open_temporary();
    [[noreturn]] void fail(const char *what) const;

    void follow_links();
    mode_t rights() const;

    std::filesystem::path path_;
    std::filesystem::path temporary_;
    int descriptor_ = -1;
};

} // namespace lindra::tools

#endif
