// SPDX-License-Identifier: MIT

#include "mapped_file.hpp"

#include <mutex>
#include <new>

namespace lindra::gshhs {

const PolygonIndex *MappedFile::index() const {
    const std::shared_lock guard(lock_);
    return index_.get();
}

void MappedFile::keep(std::unique_ptr<PolygonIndex> index) {
    const std::unique_lock guard(lock_);
    if (!index_) index_ = std::move(index);
}

const Stretches *MappedFile::stretches(const GshhsSeg &seg) const {
    const std::shared_lock guard(lock_);
    const auto found = stretches_.find(seg.pts);
    return found == stretches_.end() || found->second.count() != seg.hdr.n ? nullptr : &found->second;
}

const Stretches *MappedFile::make_stretches(const GshhsSeg &seg) {
    try {
        Stretches made(seg);
        const std::unique_lock guard(lock_);
        const auto &kept = stretches_.try_emplace(seg.pts, std::move(made)).first->second;
        return kept.count() == seg.hdr.n ? &kept : nullptr;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void remember_mapping(const unsigned char *data, size_t size) {
    try {
        keep_memo(data, std::make_shared<MappedFile>(data, size));
    } catch (const std::bad_alloc &) {
        return; // it is slower then
    }
}

std::shared_ptr<MappedFile> mapped_file(const unsigned char *at) {
    return std::dynamic_pointer_cast<MappedFile>(memo_at(at));
}

std::shared_ptr<MappedFile> mapped_file(const unsigned char *data, size_t size) {
    constexpr size_t worth_an_index = 1 << 20;
    auto file = size < worth_an_index ? nullptr : mapped_file(data);
    return file && file->is(data, size) ? file : nullptr;
}

IndexMaker::IndexMaker(MappedFile *file) : file_(file) {
    if (file && !file->index()) index_.reset(new (std::nothrow) PolygonIndex);
}

void IndexMaker::add(uint32_t offset, const Box &box) {
    try {
        if (index_) index_->add(offset, box);
    } catch (const std::bad_alloc &) {
        index_.reset();
    }
}

void IndexMaker::keep() {
    try {
        if (!index_) return;
        index_->finish();
        file_->keep(std::move(index_));
    } catch (const std::bad_alloc &) {
        index_.reset();
    }
}

} // namespace lindra::gshhs
