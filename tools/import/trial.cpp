// SPDX-License-Identifier: MIT

#include "import/trial.hpp"

#include "common/errors.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fstream>
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

// Seconds of processor time; the largest file there is takes less than one.
constexpr rlim_t patience = 20;

// Bytes of memory beside what is mapped before. HDF5 files are compressed: the largest of GSHHG 2.3.7 takes
// 97 MiB, 3.2 times its size; the smaller ones less than 6 MiB. What goes beyond these is claimed, not there.
[[maybe_unused]] constexpr rlim_t memory_of_any_file = 64 << 20;
[[maybe_unused]] constexpr rlim_t memory_for_each_byte = 64;

[[noreturn]] void fail(const char *what) {
    throw DataError(std::string(what) + ": " + std::strerror(errno));
}

void limit(__rlimit_resource_t resource, rlim_t most) {
    const rlimit both{most, most};
    setrlimit(resource, &both);
}

#ifdef LINDRA_SANITIZED
// A sanitizer maps terabytes, of its own.
void limit_memory(std::uintmax_t) {}
#else
// What is mapped before the reading begins, all of it: 0 where it is not known.
rlim_t mapped() {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

void limit_memory(std::uintmax_t file_size) {
    if (const rlim_t before = mapped(); before > 0)
        limit(RLIMIT_AS, before + memory_of_any_file + memory_for_each_byte * file_size);
}
#endif

// A crash leaves no core file and the messages of its last moments stay unseen; what is said of it is said
// once.
void prepare_for_the_worst(std::uintmax_t file_size) {
    limit(RLIMIT_CPU, patience);
    limit_memory(file_size);
    limit(RLIMIT_CORE, 0);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDERR_FILENO);
}

[[noreturn]] void report_and_leave(int pipe, std::string_view complaint) {
    while (!complaint.empty()) {
        const ssize_t done = write(pipe, complaint.data(), complaint.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) _exit(EXIT_FAILURE);
        complaint.remove_prefix(static_cast<size_t>(done));
    }
    _exit(EXIT_SUCCESS);
}

[[noreturn]] void run_child(int pipe, std::uintmax_t file_size, const std::function<void()> &read) {
    prepare_for_the_worst(file_size);
    try {
        read();
    } catch (const DataError &error) {
        report_and_leave(pipe, error.what());
    } catch (...) {
        _exit(EXIT_FAILURE);
    }
    _exit(EXIT_SUCCESS);
}

std::string read_to_end(int pipe) {
    std::string text;
    std::array<char, 4096> part;
    for (;;) {
        const ssize_t got = read(pipe, part.data(), part.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return text;
        text.append(part.data(), static_cast<size_t>(got));
    }
}

bool ended_well(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

} // namespace

void try_reading(const fs::path &file, const std::function<void()> &read) {
    std::error_code unknown;
    const std::uintmax_t size = fs::file_size(file, unknown);
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("no pipe can be made");
    const pid_t child = fork();
    if (child == 0) run_child(ends[1], unknown ? 0 : size, read);
    const int reason = errno;
    close(ends[1]);
    const std::string complaint = child > 0 ? read_to_end(ends[0]) : "";
    close(ends[0]);
    errno = reason;
    if (child < 0) fail("no child process can be started");
    if (!ended_well(child))
        throw DataError(file.string() +
                        " is damaged: reading it with libnetcdf failed badly; reinstall the package "
                        "that it comes from");
    if (!complaint.empty()) throw DataError(complaint);
}

} // namespace lindra::tools
