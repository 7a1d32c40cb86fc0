// SPDX-License-Identifier: MIT

#include "common/output_file.hpp"

#include "common/errors.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lindra::tools {

namespace {

// mkstemp makes a file that only its owner reads; the finished one gets the rights of any new file.
mode_t new_file_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(std::filesystem::path path) : path_(std::move(path)) {
    std::string name = path_.string() + ".XXXXXX";
    descriptor_ = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot be created");
    temporary_ = name;
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
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
    if (fchmod(descriptor_, new_file_mode()) != 0) fail("cannot be written");
    const int closed = close(descriptor_);
    descriptor_ = -1;
    if (closed != 0) fail("cannot be written");
    if (rename(temporary_.c_str(), path_.c_str()) != 0) fail("cannot be put in place");
    temporary_.clear();
}

void OutputFile::fail(const char *what) const {
    throw DataError(path_.string() + " " + what + ": " + std::strerror(errno));
}

} // namespace lindra::tools
