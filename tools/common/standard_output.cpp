// SPDX-License-Identifier: MIT
//
// The C library's stream goes on behind a write that failed, which leaves a hole in the output, and writes
// what it still holds when the process ends, behind the complaint. So while something is printed another
// stream stands in for stdout, which glibc lets a program replace ("The GNU C Library Reference Manual",
// 2022, sections Standard Streams and Custom Streams).

#include "common/standard_output.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/memory.hpp"
#include "common/shown.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <unistd.h>

namespace lindra::tools {

namespace {

// Returns 0, or why not all could be written.
int try_to_write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t done = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) return errno;
        bytes.remove_prefix(static_cast<size_t>(done));
    }
    return 0;
}

// The same, of lines for a terminal. In blocks on the stack, because the C library calls it.
int try_to_show(std::string_view bytes) {
    std::array<char, 4096> block;
    for (int reason = 0; !bytes.empty();) {
        const size_t size = bytes.copy(block.data(), block.size());
        std::replace_if(
            block.data(), block.data() + size,
            [](unsigned char letter) { return is_control(letter) && letter != '\n' && letter != '\t'; }, '?');
        if ((reason = try_to_write({block.data(), size})) != 0) return reason;
        bytes.remove_prefix(size);
    }
    return 0;
}

void require_written(int reason) {
    if (reason == EPIPE) throw ReaderGone();
    if (reason) throw DataError(std::string("standard output cannot be written: ") + std::strerror(reason));
}

// So that a reader that has gone is an error of write.
void expect_readers_to_go() {
    std::signal(SIGPIPE, SIG_IGN);
}

// Stands in for stdout while it lives. Behind the first write that fails it takes no more.
class Stream {
  public:
    Stream() : stream_(fopencookie(this, "w", {nullptr, write, nullptr, nullptr})) {
        if (!stream_) throw std::bad_alloc();
        stdout = stream_;
    }
    ~Stream() {
        is_over_ = true;
        stdout = usual_;
        fclose(stream_);
    }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;

    void finish() {
        fflush(stream_);
        require_written(reason_);
        // Without a reason the stream itself had no memory.
        if (ferror(stream_)) throw std::bad_alloc();
    }

  private:
    static ssize_t write(void *self, const char *bytes, size_t size) {
        auto &stream = *static_cast<Stream *>(self);
        if (stream.is_over_) return 0;
        stream.reason_ = stream.write_({bytes, size});
        stream.is_over_ = stream.reason_ != 0;
        return stream.is_over_ ? 0 : static_cast<ssize_t>(size);
    }

    int (*write_)(std::string_view) = isatty(STDOUT_FILENO) ? try_to_show : try_to_write;
    FILE *usual_ = stdout;
    FILE *stream_;
    int reason_ = 0;
    bool is_over_ = false;
};

} // namespace

void write_to_standard_output(std::string_view bytes) {
    expect_readers_to_go();
    require_written(try_to_write(bytes));
}

void print_to_standard_output(const std::function<void()> &print) {
    expect_readers_to_go();
    require_unchanged_files();
    Stream stream;
    print();
    require_unchanged_files();
    require_memory();
    stream.finish();
}

} // namespace lindra::tools
