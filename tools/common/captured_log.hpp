// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CAPTURED_LOG_HPP
#define LINDRA_TOOLS_CAPTURED_LOG_HPP

#include <string>
#include <string_view>

namespace lindra::tools {

// The text with every occurrence of a character replaced.
std::string replaced(std::string text, char what, std::string_view by);

// What the library says while this lives, in place of standard error.
class CapturedLog {
  public:
    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog &) = delete;
    CapturedLog &operator=(const CapturedLog &) = delete;

    std::string one_line() const;

  private:
    std::string text_;
};

} // namespace lindra::tools

#endif
