// SPDX-License-Identifier: MIT

#include "common/standard_output.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/memory.hpp"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

namespace lindra::tools {

void print_to_standard_output(const std::function<void()> &print) {
    std::signal(SIGPIPE, SIG_IGN); // so that a reader that has gone is an error of the stream
    require_unchanged_files();
    errno = 0;
    print();
    require_unchanged_files();
    require_memory();
    if (fflush(stdout) == 0 && !ferror(stdout)) return;
    const int reason = errno;
    clearerr(stdout);
    if (reason == EPIPE) throw ReaderGone();
    throw DataError(std::string("standard output cannot be written: ") + std::strerror(reason));
}

} // namespace lindra::tools
