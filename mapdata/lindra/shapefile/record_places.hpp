// SPDX-License-Identifier: MIT
#ifndef LINDRA_SHAPEFILE_RECORD_PLACES_HPP
#define LINDRA_SHAPEFILE_RECORD_PLACES_HPP

#include "shape_layout.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace lindra::detail {

// Where a record stands.
struct record_place {
    uint64_t offset; // of its header; 0: the index keeps a place for a record that was never written
    uint32_t size;   // of its contents, bytes, all of them in the file

    uint64_t end() const { return offset + record_header_size + size; }
};

// Where the records of a file stand, in the order in which they are counted. Of those at the beginning that
// are of one size and follow each other only the first is kept: in a file of points these are all of them.
class record_places {
  public:
    size_t size() const { return alike_ + others_.size(); }
    bool empty() const { return size() == 0; }

    record_place operator[](size_t i) const { return i < alike_ ? place_of_alike(i) : others_[i - alike_]; }
    record_place back() const { return (*this)[size() - 1]; }

    // The number of the record at that offset, or nothing; of records that stand in the order of the file.
    std::optional<size_t> find(uint64_t offset) const {
        size_t first = 0;
        for (size_t count = size(); count > 0;) {
            const size_t half = count / 2;
            const bool is_before = (*this)[first + half].offset < offset;
            first += is_before ? half + 1 : 0;
            count = is_before ? count - half - 1 : half;
        }
        return first < size() && (*this)[first].offset == offset ? std::optional(first) : std::nullopt;
    }

    void push_back(const record_place &place) {
        if (!others_.empty() || !goes_on(place)) return others_.push_back(place);
        if (alike_++ == 0) first_ = place;
    }

    // So many more that go on as those at the beginning do, where there are no others.
    void repeat(size_t count) { alike_ += count; }

    void resize_last(uint32_t size) {
        record_place last = back();
        last.size = size;
        if (others_.empty())
            alike_--;
        else
            others_.pop_back();
        push_back(last);
    }

  private:
    bool goes_on(const record_place &place) const {
        return alike_ == 0 || (place.size == first_.size && place.offset == place_of_alike(alike_).offset);
    }

    record_place place_of_alike(size_t i) const {
        return {first_.offset + i * (first_.end() - first_.offset), first_.size};
    }

    record_place first_ = {};
    size_t alike_ = 0;
    std::vector<record_place> others_;
};

} // namespace lindra::detail

#endif
