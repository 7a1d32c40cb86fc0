// SPDX-License-Identifier: MIT

#include "common/data_output.hpp"

#include "common/errors.hpp"
#include "common/file_faults.hpp"
#include "common/memory.hpp"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace lindra::tools {

namespace {

constexpr size_t block_size = 1 << 18;

void write_to_standard_output(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t done = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0 && errno == EPIPE) throw ReaderGone();
        if (done < 0)
            throw DataError(std::string("standard output cannot be written: ") + std::strerror(errno));
        bytes.remove_prefix(static_cast<size_t>(done));
    }
}

} // namespace

DataOutput::DataOutput(const std::string &path) {
    if (!path.empty())
        file_ = std::make_unique<OutputFile>(path);
    else
        std::signal(SIGPIPE, SIG_IGN); // so that a reader that has gone is an error of write
}

void DataOutput::write(std::string_view bytes) {
    block_ += bytes;
    if (block_.size() >= block_size) flush();
}

void DataOutput::finish() {
    flush();
    if (file_) file_->commit();
}

void DataOutput::flush() {
    require_unchanged_files();
    require_memory();
    if (file_)
        file_->write(block_);
    else
        write_to_standard_output(block_);
    block_.clear();
}

} // namespace lindra::tools
