// SPDX-License-Identifier: MIT

#include "common/data_output.hpp"

#include "common/file_faults.hpp"
#include "common/memory.hpp"
#include "common/standard_output.hpp"

namespace lindra::tools {

namespace {

constexpr size_t block_size = 1 << 18;

} // namespace

DataOutput::DataOutput(const std::string &path) {
    if (!path.empty()) file_ = std::make_unique<OutputFile>(path);
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
