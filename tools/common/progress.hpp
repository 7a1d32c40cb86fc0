// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PROGRESS_HPP
#define LINDRA_TOOLS_PROGRESS_HPP

#include <chrono>
#include <string>

namespace lindra::tools {

// A progress bar on standard error for work that may last. It shows itself only on a terminal, and only once
// the work has lasted over a second; the destructor removes it.
class Progress {
  public:
    // title says what is being done; total is the whole amount of work in any unit. A quiet one never shows
    // itself.
    Progress(const std::string &title, double total, bool quiet = false,
             std::chrono::milliseconds patience = std::chrono::seconds(1));
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // The amount of work done so far. Cheap enough to be called for every small step.
    void update(double done);

    // Clears the line for other output; the next update may show the bar again.
    void hide();

  private:
    using Clock = std::chrono::steady_clock;

    std::string title_;
    double total_;
    bool enabled_;
    bool shown_ = false;
    Clock::time_point next_; // when the bar is to be drawn next
};

} // namespace lindra::tools

#endif
