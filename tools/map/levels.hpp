// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_LEVELS_HPP
#define LINDRA_TOOLS_LEVELS_HPP

#include <cstdint>

namespace lindra::tools {

// A set of levels from 1 to 31.
class Levels {
  public:
    void add(int first, int last) {
        for (int level = first; level <= last; level++)
            mask_ |= uint32_t{1} << (level - 1);
    }

    bool has(int level) const { return level >= 1 && level <= 31 && (mask_ >> (level - 1) & 1) != 0; }
    bool any() const { return mask_ != 0; }

    // Bit 0 is level 1, as the library takes it.
    uint32_t mask() const { return mask_; }

  private:
    uint32_t mask_ = 0;
};

// What the files hold as lines. Levels of borders: 1 national, 2 state, 3 marine. Of rivers: 1 to 4 permanent
// ones, from major to minor, 5 to 7 intermittent ones, 8 to 10 canals.
enum class LineKind { border, river };

constexpr int border_levels = 3;
constexpr int river_levels = 10;

} // namespace lindra::tools

#endif
