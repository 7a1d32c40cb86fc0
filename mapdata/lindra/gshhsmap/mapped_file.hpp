// SPDX-License-Identifier: MIT
//
// What is remembered of the files that a selection has mapped, for as long as their extents are known. A
// position that a host has put in a handle's cache is in none of them, and nothing is remembered of it. All
// of it only saves time: where memory lacks, it is not there.
#ifndef LINDRA_GSHHSMAP_MAPPED_FILE_HPP
#define LINDRA_GSHHSMAP_MAPPED_FILE_HPP

#include "extents.hpp"
#include "outline.hpp"
#include "polygon_index.hpp"

#include <map>
#include <memory>
#include <shared_mutex>

namespace lindra::gshhs {

// For handles of any thread.
class MappedFile : public Memo {
  public:
    MappedFile(const unsigned char *data, size_t size) : data_(data), size_(size) {}

    bool is(const unsigned char *data, size_t size) const { return data == data_ && size == size_; }

    // Null before it is kept.
    const PolygonIndex *index() const;
    void keep(std::unique_ptr<PolygonIndex> index);

    // Null where none is kept.
    const Stretches *stretches(const GshhsSeg &seg) const;
    // Null where memory lacks.
    const Stretches *make_stretches(const GshhsSeg &seg);

  private:
    const unsigned char *data_;
    size_t size_;
    mutable std::shared_mutex lock_;
    std::unique_ptr<PolygonIndex> index_;
    std::map<const unsigned char *, Stretches> stretches_; // by the first point
};

// To be told once the file is mapped and its extent known.
void remember_mapping(const unsigned char *data, size_t size);

// The file that the position lies in; null where it is in none of those.
std::shared_ptr<MappedFile> mapped_file(const unsigned char *at);

// The file, where it is one of those and large enough for an index.
std::shared_ptr<MappedFile> mapped_file(const unsigned char *data, size_t size);

// Keeps what a walk over a file meets as its index; does nothing for none.
class IndexMaker {
  public:
    explicit IndexMaker(MappedFile *file);

    void add(uint32_t offset, const Box &box);
    // When all are added.
    void keep();

  private:
    MappedFile *file_;
    std::unique_ptr<PolygonIndex> index_;
};

} // namespace lindra::gshhs

#endif
