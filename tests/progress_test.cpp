// SPDX-License-Identifier: MIT

#include "common/progress.hpp"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace lindra::test {

namespace {

using std::chrono::milliseconds;
using tools::Progress;

// Standard error on a terminal of its own while it lives.
class Terminal {
  public:
    Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY)), before_(dup(STDERR_FILENO)) {
        grantpt(master_);
        unlockpt(master_);
        const int terminal = open(ptsname(master_), O_RDWR | O_NOCTTY);
        dup2(terminal, STDERR_FILENO);
        close(terminal);
        fcntl(master_, F_SETFL, O_NONBLOCK);
    }
    ~Terminal() {
        dup2(before_, STDERR_FILENO);
        close(before_);
        close(master_);
    }

    std::string shown() const {
        std::array<char, 4096> text;
        const ssize_t got = read(master_, text.data(), text.size());
        return got > 0 ? std::string(text.data(), static_cast<size_t>(got)) : "";
    }

  private:
    int master_, before_;
};

TEST(Progress, bar_is_drawn_on_a_terminal_and_removed_at_the_end) {
    const Terminal terminal;
    std::string drawn, removed;
    {
        Progress progress("importing", 200, false, milliseconds(0));
        progress.update(50);
        drawn = terminal.shown();
    }
    removed = terminal.shown();
    EXPECT_EQ(drawn, std::string("\rimporting [").append(10, '#').append(30, '.').append("]  25 %"));
    EXPECT_EQ(removed, std::string("\r").append(drawn.size() - 1, ' ').append("\r"));
}

TEST(Progress, more_than_everything_is_drawn_as_everything) {
    const Terminal terminal;
    Progress progress("importing", 200, false, milliseconds(0));
    progress.update(1000);
    EXPECT_NE(terminal.shown().find("] 100 %"), std::string::npos);
}

TEST(Progress, short_work_shows_nothing) {
    const Terminal terminal;
    {
        Progress progress("importing", 2);
        progress.update(1);
        progress.update(2);
    }
    EXPECT_EQ(terminal.shown(), "");
}

TEST(Progress, quiet_shows_nothing) {
    const Terminal terminal;
    {
        Progress progress("importing", 2, true, milliseconds(0));
        progress.update(1);
    }
    EXPECT_EQ(terminal.shown(), "");
}

TEST(Progress, nothing_goes_to_what_is_no_terminal) {
    testing::internal::CaptureStderr();
    {
        Progress progress("importing", 2, false, milliseconds(0));
        progress.update(1);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace

} // namespace lindra::test
