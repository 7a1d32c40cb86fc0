// SPDX-License-Identifier: MIT

#include "common/standard_output.hpp"

#include "common/errors.hpp"

#include "gone_reader.hpp"
#include "printed.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <termios.h>
#include <unistd.h>

using namespace lindra::tools;
using lindra::test::GoneReader;
using lindra::test::printed;

namespace {

// While one lives, standard output is a pipe that refuses what it has no room for, and that is read here.
class NarrowOutput {
  public:
    NarrowOutput() {
        fflush(stdout);
        std::array<int, 2> ends = {};
        if (pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
        read_end_ = ends[0];
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
    }
    ~NarrowOutput() {
        dup2(usual_, STDOUT_FILENO);
        close(usual_);
        close(read_end_);
    }
    NarrowOutput(const NarrowOutput &) = delete;
    NarrowOutput &operator=(const NarrowOutput &) = delete;

    // Takes what is there, so that there is room again.
    std::string take() const {
        std::string all;
        std::array<char, 4096> piece;
        for (ssize_t got; (got = read(read_end_, piece.data(), piece.size())) > 0;)
            all.append(piece.data(), static_cast<size_t>(got));
        return all;
    }

  private:
    int usual_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    int read_end_ = -1;
};

// What print writes to a terminal that changes nothing itself.
template <class Print>
std::string shown_on_terminal(Print print) {
    fflush(stdout);
    const int screen = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (screen < 0 || grantpt(screen) != 0 || unlockpt(screen) != 0) throw std::runtime_error("no terminal");
    const int terminal = open(ptsname(screen), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings = {};
    tcgetattr(terminal, &settings);
    cfmakeraw(&settings);
    tcsetattr(terminal, TCSANOW, &settings);
    const int usual = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(terminal, STDOUT_FILENO);
    print();
    dup2(usual, STDOUT_FILENO);
    close(usual);
    std::array<char, 1024> text;
    const ssize_t got = read(screen, text.data(), text.size());
    close(terminal);
    close(screen);
    return {text.data(), static_cast<size_t>(got < 0 ? 0 : got)};
}

constexpr int more_than_fits = 1 << 17; // bytes; Linux has room for half of them

std::string lines_printed() {
    std::string all;
    for (int i = 0; all.size() < more_than_fits; i++) {
        const std::string line = std::to_string(i) + "\n";
        fputs(line.c_str(), stdout);
        all += line;
    }
    return all;
}

} // namespace

TEST(StandardOutput, nothing_follows_a_write_that_failed) {
    std::string wanted, got;
    bool has_failed = false;
    {
        const NarrowOutput narrow;
        try {
            print_to_standard_output([&] {
                wanted = lines_printed();
                got = narrow.take();
                puts("there is room again");
                fflush(stdout);
                puts("to the end");
            });
        } catch (const DataError &) {
            has_failed = true;
        }
        fflush(nullptr); // as at the end of the process
        got += narrow.take();
    }
    EXPECT_TRUE(has_failed);
    EXPECT_GT(got.size(), 0U);
    EXPECT_LT(got.size(), wanted.size());
    EXPECT_TRUE(wanted.starts_with(got)) << got.substr(got.size() - 50);
}

TEST(StandardOutput, what_was_printed_before_an_exception_does_not_follow_its_message) {
    EXPECT_EQ(printed([] {
                  EXPECT_THROW(print_to_standard_output([] {
                                   puts("half of it");
                                   throw DataError("the other half is lost");
                               }),
                               DataError);
                  fflush(nullptr);
              }),
              "");
}

TEST(StandardOutput, all_that_is_printed_is_written_when_it_returns) {
    std::string wanted;
    EXPECT_EQ(printed([&] {
                  print_to_standard_output([&] { wanted = lines_printed(); });
                  const std::string more = "and more\n";
                  write_to_standard_output(more);
                  wanted += more;
                  puts("by the usual stream");
                  wanted += "by the usual stream\n";
              }),
              wanted);
}

TEST(StandardOutput, texts_do_not_steer_a_terminal) {
    const auto print = [] { print_to_standard_output([] { printf("A\x1b[31m\a\x7f\r\tB \xc3\xa9\n\b"); }); };
    EXPECT_EQ(shown_on_terminal(print), "A?[31m???\tB \xc3\xa9\n?");
    EXPECT_EQ(printed(print), "A\x1b[31m\a\x7f\r\tB \xc3\xa9\n\b");
}

TEST(StandardOutput, reader_that_has_gone_is_told_apart) {
    const GoneReader gone;
    EXPECT_THROW(print_to_standard_output([] { puts("to nobody"); }), ReaderGone);
    EXPECT_THROW(write_to_standard_output("to nobody"), ReaderGone);
}
