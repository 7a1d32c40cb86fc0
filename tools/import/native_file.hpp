// SPDX-License-Identifier: MIT
//
// The native polygon files of GSHHG, as the README of version 2.3.7 (2017) describes them and
// docs/formats/gshhs.md has them in full: headers of eleven big-endian words, each followed by its vertices.
#ifndef LINDRA_TOOLS_NATIVE_FILE_HPP
#define LINDRA_TOOLS_NATIVE_FILE_HPP

#include "common/output_file.hpp"
#include "import/extent.hpp"

#include <cstdint>
#include <span>
#include <string>

namespace lindra::tools {

struct NativeHeader {
    int32_t id;
    int32_t level;
    uint32_t crossings;
    bool river_lake;
    Box box;
    double area, area_full;      // square kilometres
    int32_t container, ancestor; // -1 for none
};

// A native file in the making. It appears under its name when commit is called; see OutputFile.
class NativeFile {
  public:
    explicit NativeFile(const std::filesystem::path &path) : output_(path) {}

    void append(const NativeHeader &header, std::span<const Vertex> vertices);
    void commit();

    // Of what was appended so far.
    uint64_t size() const { return size_; }

  private:
    void append_word(uint32_t word);
    void flush();

    OutputFile output_;
    std::string buffer_;
    uint64_t size_ = 0;
};

} // namespace lindra::tools

#endif
