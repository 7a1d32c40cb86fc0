// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_COMPLAINTS_HPP
#define LINDRA_TOOLS_COMPLAINTS_HPP

#include "lindra/lindra.hpp"

#include <cstddef>
#include <string>

namespace lindra::tools {

// Whether something of the shapes themselves is lost, or all of their attributes.
inline bool is_damage(repair_kind kind) {
    return kind == repair_kind::shape_cut || kind == repair_kind::record_length || kind == repair_kind::gap ||
           kind == repair_kind::shape_type || kind == repair_kind::file_beside;
}

// What is wrong with one file.
class Complaints {
  public:
    void add(const repair &told) {
        if (count_++ == 0 || (is_damage(told.kind) && !is_damaged_)) first_ = told;
        is_unread_ = is_unread_ || told.kind == repair_kind::file_beside;
        is_damaged_ = is_damaged_ || is_damage(told.kind);
    }

    bool is_damaged() const { return is_damaged_; }
    bool is_unread() const { return is_unread_; } // of a file that belongs to it
    bool empty() const { return count_ == 0; }

    // The first damage, or else the first of whatever it is.
    std::string line() const {
        return first_.file + ": " + place() + first_.text +
               (count_ > 1 ? " (and " + std::to_string(count_ - 1) + " more)" : "");
    }

  private:
    // What cannot be read at all has no place in it.
    std::string place() const {
        return first_.kind == repair_kind::file_beside ? "" : "byte " + std::to_string(first_.offset) + ": ";
    }

    size_t count_ = 0;
    bool is_damaged_ = false;
    bool is_unread_ = false;
    repair first_ = {};
};

} // namespace lindra::tools

#endif
