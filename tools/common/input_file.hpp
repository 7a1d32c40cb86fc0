// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_INPUT_FILE_HPP
#define LINDRA_TOOLS_INPUT_FILE_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace lindra::tools {

// A whole file in memory, of known extent to the library's decoders. The memory stays for the life of the
// process.
class InputFile {
  public:
    // Throws DataError when path is no readable regular file.
    explicit InputFile(std::string path);

    const std::string &path() const { return path_; }
    unsigned char *data() const { return data_; }
    size_t size() const { return size_; }
    bool has_at(size_t offset, std::string_view bytes) const;

  private:
    std::string path_;
    unsigned char *data_ = nullptr;
    size_t size_ = 0;
};

} // namespace lindra::tools

#endif
