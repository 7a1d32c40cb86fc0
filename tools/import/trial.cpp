// SPDX-License-Identifier: MIT

#include "import/trial.hpp"

#include "common/errors.hpp"
#include "common/memory.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <new>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LINDRA_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LINDRA_SANITIZED
#endif
#endif

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

// How a child ends. Every other end is a crash.
enum ChildEnd : int { crashed = 1, read_well = 0, complained = 3, lacked_memory = 4 };

// Seconds of processor time; the largest file there is takes less than one.
constexpr rlim_t patience = 20;

// Bytes of memory beside what is mapped before. HDF5 files are compressed: those of GSHHG 2.3.7, each
// imported alone, take from 2.4 MiB (a border of 59 KiB, the smallest) to 97 MiB (the largest, 3.2 times its
// size), none more than 3 MiB and 4.7 times its size. What goes beyond these is claimed, not there.
constexpr rlim_t memory_of_any_file = 64 << 20;
constexpr rlim_t memory_for_each_byte = 64;

[[noreturn]] void fail(const char *what, int reason) {
    require_memory(reason);
    throw DataError(std::string(what) + ": " + std::strerror(reason) + "; run the command again");
}

// What is mapped before the reading begins, all of it: 0 where it is not known. A sanitizer maps terabytes,
// of its own.
rlim_t mapped() {
#ifdef LINDRA_SANITIZED
    return 0;
#else
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
#endif
}

// A limit that is lower already stays.
void limit(__rlimit_resource_t resource, rlim_t most) {
    rlimit both{};
    if (getrlimit(resource, &both) == 0 && both.rlim_cur < most) return;
    both = {most, most};
    setrlimit(resource, &both);
}

// A crash leaves no core file and the messages of its last moments stay unseen; what is said of it is said
// once.
void prepare_for_the_worst(rlim_t most_memory) {
    limit(RLIMIT_CPU, patience);
    limit(RLIMIT_AS, most_memory);
    limit(RLIMIT_CORE, 0);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDERR_FILENO);
}

[[noreturn]] void report_and_leave(int pipe, std::string_view complaint) {
    while (!complaint.empty()) {
        const ssize_t done = write(pipe, complaint.data(), complaint.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) _exit(crashed);
        complaint.remove_prefix(static_cast<size_t>(done));
    }
    _exit(complained);
}

// What goes wrong for lack of memory is told as that.
void read_with_memory(const std::function<void()> &read) {
    try {
        read();
    } catch (...) {
        require_memory();
        throw;
    }
    require_memory();
}

[[noreturn]] void run_child(int pipe, rlim_t most_memory, const std::function<void()> &read) {
    prepare_for_the_worst(most_memory);
    try {
        read_with_memory(read);
    } catch (const DataError &error) {
        report_and_leave(pipe, error.what());
    } catch (const std::bad_alloc &) {
        _exit(lacked_memory);
    } catch (...) {
        _exit(crashed);
    }
    _exit(read_well);
}

// Returns the reason, an errno, for which the reading ended before the end: 0 where it did not.
int read_to_end(int pipe, std::string &text) {
    std::array<char, 4096> part;
    for (;;) {
        const ssize_t got = read(pipe, part.data(), part.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return got < 0 ? errno : 0;
        text.append(part.data(), static_cast<size_t>(got));
    }
}

ChildEnd wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) fail("a child process cannot be waited for", errno);
    return WIFEXITED(status) ? static_cast<ChildEnd>(WEXITSTATUS(status)) : crashed;
}

struct Outcome {
    ChildEnd end;
    std::string complaint;
};

Outcome read_in_child(rlim_t most_memory, const std::function<void()> &read) {
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("no pipe can be made", errno);
    // Nobody could wait for a child of a process that was started without interest in how children end.
    std::signal(SIGCHLD, SIG_DFL);
    const pid_t child = fork();
    if (child == 0) run_child(ends[1], most_memory, read);
    const int no_child = child < 0 ? errno : 0;
    close(ends[1]);
    Outcome outcome{};
    const int unread = no_child ? 0 : read_to_end(ends[0], outcome.complaint);
    close(ends[0]);
    if (no_child) fail("no child process can be started", no_child);
    outcome.end = wait_for(child);
    if (unread) fail("what a child process says cannot be read", unread);
    return outcome;
}

// Throws std::bad_alloc where so much is not to be had here.
void require_bytes(rlim_t count) {
    ::operator delete(::operator new(count));
}

} // namespace

void try_reading(const fs::path &file, const std::function<void()> &read) {
    std::error_code unknown;
    const std::uintmax_t size = fs::file_size(file, unknown);
    const rlim_t allowance = memory_of_any_file + memory_for_each_byte * (unknown ? 0 : size);
    const rlim_t before = mapped();
    const rlim_t most = before ? before + allowance : RLIM_INFINITY;
    Outcome outcome = read_in_child(most, read);
    // An allocation fails alike by the limit and where there is no memory. It is the file that asks for too
    // much where all that the limit leaves can be had, and the child lacks memory nevertheless.
    if (outcome.end == lacked_memory) {
        if (most == RLIM_INFINITY) throw std::bad_alloc();
        require_bytes(allowance);
        outcome = read_in_child(most, read);
    }
    if (outcome.end == complained) throw DataError(outcome.complaint);
    if (outcome.end == lacked_memory)
        throw DataError(file.string() +
                        " asks for more memory than a file of its size can need; reinstall the package that "
                        "it comes from");
    if (outcome.end != read_well)
        throw DataError(file.string() +
                        " is damaged: reading it with libnetcdf failed badly; reinstall the package "
                        "that it comes from");
}

} // namespace lindra::tools
