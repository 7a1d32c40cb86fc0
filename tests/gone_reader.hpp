// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_GONE_READER_HPP
#define LINDRA_TESTS_GONE_READER_HPP

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace lindra::test {

// While one lives, standard output is a pipe whose reader has gone, as that of `| head` does.
class GoneReader {
  public:
    GoneReader() {
        fflush(stdout);
        std::array<int, 2> ends = {};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
    }
    ~GoneReader() {
        dup2(usual_, STDOUT_FILENO);
        close(usual_);
    }
    GoneReader(const GoneReader &) = delete;
    GoneReader &operator=(const GoneReader &) = delete;

  private:
    int usual_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
};

} // namespace lindra::test

#endif
