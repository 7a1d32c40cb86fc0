// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_INPUT_FILE_HPP
#define LINDRA_TOOLS_INPUT_FILE_HPP

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace lindra::tools {

// Throws DataError for a file that the library's mapfile failed to map, with errno as that left it behind.
[[noreturn]] void refuse_unreadable(const std::string &path, int reason);

// Throws DataError unless path is a regular file that may be read. Waits for none.
void require_readable(const std::string &path);

// A whole file in memory, of known extent to the library's decoders.
class InputFile {
  public:
    // Throws DataError when path is no readable regular file.
    explicit InputFile(std::string path);

    const std::string &path() const { return path_; }
    unsigned char *data() const { return data_.get(); }
    size_t size() const { return size_; }
    bool has_at(size_t offset, std::string_view bytes) const;

  private:
    struct Release {
        size_t size;
        void operator()(unsigned char *data) const;
    };

    std::string path_;
    std::unique_ptr<unsigned char, Release> data_;
    size_t size_ = 0;
};

} // namespace lindra::tools

#endif
