// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CAPTURED_LOG_HPP
#define LINDRA_TOOLS_CAPTURED_LOG_HPP

#include <string>
#include <string_view>

namespace lindra::tools {

// The text with every occurrence of a character replaced.
std::string replaced(std::string text, char what, std::string_view by);

// What the library says while this lives, in place of standard error.
//
// Its flag 1 stands for damage within a structure, too, and its 0 for lists that could not be made: that
// memory was lacking is known by errno, as the C library leaves it behind an allocation that failed.
class CapturedLog {
  public:
    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog &) = delete;
    CapturedLog &operator=(const CapturedLog &) = delete;

    // Throws std::bad_alloc where something was said for lack of memory: no file is to blame for that.
    std::string one_line() const;

  private:
    void add(const char *message);

    std::string text_;
    bool has_lacked_memory_ = false;
};

} // namespace lindra::tools

#endif
