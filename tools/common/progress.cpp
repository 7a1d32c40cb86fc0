// SPDX-License-Identifier: MIT

#include "common/progress.hpp"

#include "common/shown.hpp"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace lindra::tools {

namespace {

constexpr int bar_width = 40;
constexpr std::chrono::milliseconds between_drawings(100);

} // namespace

Progress::Progress(const std::string &title, double total, bool quiet, std::chrono::milliseconds patience)
    : title_(shown(title)), total_(total), enabled_(!quiet && total > 0 && isatty(STDERR_FILENO)),
      next_(Clock::now() + patience) {}

Progress::~Progress() {
    hide();
}

void Progress::update(double done) {
    if (!enabled_) return;
    const Clock::time_point now = Clock::now();
    if (now < next_) return;
    next_ = now + between_drawings;
    const double share = std::clamp(done / total_, 0.0, 1.0);
    const auto marks = static_cast<size_t>(share * bar_width);
    const std::string bar = std::string(marks, '#') + std::string(bar_width - marks, '.');
    fprintf(stderr, "\r%s [%s] %3d %%", title_.c_str(), bar.c_str(), static_cast<int>(share * 100));
    fflush(stderr);
    shown_ = true;
}

void Progress::hide() {
    if (!shown_) return;
    // Blanks instead of a control sequence: every terminal knows them.
    const std::string blanks(title_.size() + bar_width + 9, ' ');
    fprintf(stderr, "\r%s\r", blanks.c_str());
    fflush(stderr);
    shown_ = false;
}

} // namespace lindra::tools
