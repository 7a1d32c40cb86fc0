// SPDX-License-Identifier: MIT

#include "import/trial.hpp"

#include "common/errors.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lindra::tools {

namespace {

// Seconds of processor time; the largest file there is takes less than one.
constexpr rlim_t patience = 20;

[[noreturn]] void fail(const char *what) {
    throw DataError(std::string(what) + ": " + std::strerror(errno));
}

void limit(__rlimit_resource_t resource, rlim_t most) {
    const rlimit both{most, most};
    setrlimit(resource, &both);
}

// A crash leaves no core file and the messages of its last moments stay unseen; what is said of it is said
// once.
void prepare_for_the_worst() {
    limit(RLIMIT_CPU, patience);
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

[[noreturn]] void run_child(int pipe, const std::function<void()> &read) {
    prepare_for_the_worst();
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

void try_reading(const std::filesystem::path &file, const std::function<void()> &read) {
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("no pipe can be made");
    const pid_t child = fork();
    if (child == 0) run_child(ends[1], read);
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
