// SPDX-License-Identifier: MIT

#include "common/output_file.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/memory.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lindra::tools {

namespace {

mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// The temporary file of the moment, for the handler: empty when there is none.
constexpr size_t longest_name = 4096;
char name_to_remove[longest_name];

extern "C" void remove_and_end(int signal_number) {
    OutputFile::remove_temporary();
    signal(signal_number, SIG_DFL);
    raise(signal_number);
}

void remember(const std::filesystem::path &path) {
    if (path.native().size() < longest_name) strcpy(name_to_remove, path.c_str());
    for (int number : {SIGINT, SIGTERM, SIGHUP})
        if (signal(number, remove_and_end) == SIG_IGN) signal(number, SIG_IGN);
}

void forget() {
    name_to_remove[0] = '\0';
}

} // namespace

OutputFile::OutputFile(std::filesystem::path path) : path_(std::move(path)) {
    std::error_code ignored;
    const auto status = std::filesystem::status(path_, ignored);
    if (std::filesystem::is_directory(status))
        throw DataError(path_.string() + " is a directory; name a file in it");
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        open_special();
    else
        open_temporary();
}

// To nothing, which nothing else resolves. Those to what is there may be none by their text, as /dev/stdout.
void OutputFile::follow_links() {
    constexpr int most_links = 40; // as the kernel
    std::error_code reason;
    for (int links = 0; std::filesystem::is_symlink(std::filesystem::symlink_status(path_, reason));
         links++) {
        if (links == most_links) {
            errno = ELOOP;
            fail("cannot be created");
        }
        const auto target = std::filesystem::read_symlink(path_, reason);
        if (reason) return;
        path_ = path_.parent_path() / target;
    }
}

void OutputFile::open_special() {
    descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot be written");
}

void OutputFile::open_temporary() {
    std::error_code unresolved;
    if (!std::filesystem::exists(path_, unresolved)) follow_links();
    const auto target = std::filesystem::weakly_canonical(path_, unresolved);
    if (!unresolved) path_ = target;
    std::string name = path_.string() + ".XXXXXX";
    descriptor_ = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot be created");
    try {
        temporary_ = name;
    } catch (...) {
        // Nobody else knows of it.
        unlink(name.c_str());
        close(descriptor_);
        throw;
    }
    remember(temporary_);
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (temporary_.empty()) return;
    unlink(temporary_.c_str());
    forget();
}

void OutputFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t done = ::write(descriptor_, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) fail("cannot be written");
        bytes.remove_prefix(static_cast<size_t>(done));
    }
}

void OutputFile::commit() {
    require_unchanged_files();
    require_memory();
    const bool special = temporary_.empty();
    if (!special && fchmod(descriptor_, rights()) != 0) fail("cannot be written");
    const int closed = close(descriptor_);
    descriptor_ = -1;
    if (closed != 0) fail("cannot be written");
    if (special) return;
    if (rename(temporary_.c_str(), path_.c_str()) != 0) fail("cannot be put in place");
    temporary_.clear();
    forget();
}

// mkstemp makes a file that only its owner reads.
mode_t OutputFile::rights() const {
    struct stat before;
    return stat(path_.c_str(), &before) == 0 ? before.st_mode & 0777 : new_file_mode();
}

void OutputFile::remove_temporary() {
    if (name_to_remove[0]) unlink(name_to_remove);
}

void OutputFile::fail(const char *what) const {
    const int reason = errno;
    require_memory(reason);
    std::error_code ignored;
    const bool no_directory = reason == ENOENT && !std::filesystem::exists(path_.parent_path(), ignored);
    throw DataError(path_.string() + " " + what + ": " + std::strerror(reason) +
                    (no_directory ? "; make the directory " + path_.parent_path().string() + " first" : ""));
}

} // namespace lindra::tools
