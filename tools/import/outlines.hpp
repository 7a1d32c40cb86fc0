// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_OUTLINES_HPP
#define LINDRA_TOOLS_OUTLINES_HPP

#include "import/binned_file.hpp"

#include <span>

namespace lindra::tools {

// For every polygon of a file its segments in the order in which its outline runs through them, from the
// first one in the file. Throws DataError, naming the polygon, unless all segments of each make exactly one
// ring.
class Outlines {
  public:
    explicit Outlines(const BinnedFile &file);

    // Indices into the file's segments.
    std::span<const int32_t> of(size_t polygon) const;

  private:
    void group(const BinnedFile &file);

    std::vector<int32_t> segments_;
    std::vector<size_t> first_; // of each polygon in segments_, and one past the last
};

} // namespace lindra::tools

#endif
