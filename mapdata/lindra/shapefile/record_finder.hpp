// SPDX-License-Identifier: MIT
//
// Finding the records of a main file, whatever its length fields say ("ESRI Shapefile Technical Description",
// ESRI, 1998).
//
// The file is walked from its header on. A record header is sound when its length holds at least a shape
// type, its contents end within the file and the type has a meaning; the walk goes from one sound header to
// the next.
//
//   - A length that leads nowhere (0, negative, beyond the file) is replaced by what the counts in the shape
//     ask for, where the record bears the next number or the index names its place.
//   - A type without a meaning is let pass where the next header is sound, or the file ends there.
//   - Anything else is a gap. The search goes on behind the bytes that the last shape needs, for a header
//   that
//     is sound, bears a number above 0, holds its own shape, has the file's type or is null, and is followed
//     by another sound header or the end of the file; or for a sound header whose place the index names.
//
// Then the index (.shx) says in which order the records stand, and which are no longer valid, provided that
// it is whole and every entry leads to a record of its own. Otherwise the order is that of the file.
//
// Each byte is looked at a bounded number of times, and the list takes four bytes for each of them at most.
#ifndef LINDRA_SHAPEFILE_RECORD_FINDER_HPP
#define LINDRA_SHAPEFILE_RECORD_FINDER_HPP

#include "record_places.hpp"
#include "shape_layout.hpp"

#include "../face/mapped_file.hpp"
#include "../face/report.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lindra::detail {

constexpr size_t least_record_size = record_header_size + shape_type_size;

// How many bytes the shape at contents takes by its counts; 0: they are not there.
struct shape_size {
    uint64_t required = 0; // without measures
    uint64_t full = 0;
};

inline shape_size size_by_counts(byte_span contents) {
    if (contents.size() < shape_type_size) return {};
    const shape_layout *layout = find_layout(shape_type_of(contents.data()));
    if (!layout) return {};
    const auto count = [&](place at) {
        return at.exists() ? load_le<uint32_t>(contents.data() + at.fixed) : 0;
    };
    const place last_count = layout->numpoints;
    if (last_count.exists() && contents.size() < static_cast<size_t>(last_count.fixed) + sizeof(uint32_t))
        return {};
    const uint32_t parts = count(layout->numparts);
    const uint32_t points = count(layout->numpoints);
    const uint64_t required = layout->required.at(parts, points);
    return {required, layout->marray_end.exists() ? layout->marray_end.at(parts, points) : required};
}

// The entries of an index file, as it stands.
class index_entries {
  public:
    index_entries(byte_span bytes, const reporter &report) : bytes_(bytes) {
        if (bytes_.empty()) return;
        if (bytes_.size() < file_header_size || file_magic(bytes_.data()) != magic) {
            report(repair_kind::index, 0, "is no index of a shapefile, and is left aside");
            return;
        }
        count_ = (bytes_.size() - file_header_size) / record_header_size;
        const uint64_t length = uint64_t{2} * static_cast<uint32_t>(file_length(bytes_.data()));
        is_whole_ = length <= bytes_.size();
        if (length != bytes_.size())
            report(repair_kind::index, file_length.offset,
                   "the length field says " + std::to_string(length) + " bytes, the file has " +
                       std::to_string(bytes_.size()));
    }

    static constexpr int32_t magic = 9994;

    size_t size() const { return count_; }
    bool is_whole() const { return is_whole_; }
    uint64_t place_of(size_t i) const { return file_header_size + i * record_header_size; }

    // Words of 16 bits: 8 GiB can be told.
    uint64_t offset(size_t i) const { return uint64_t{2} * load_be<uint32_t>(entry(i)); }

    // A record that was never written has neither place nor length.
    bool is_blank(size_t i) const { return load_be<uint64_t>(entry(i)) == 0; }

  private:
    const unsigned char *entry(size_t i) const { return bytes_.data() + place_of(i); }

    byte_span bytes_;
    size_t count_ = 0;
    bool is_whole_ = false;
};

class record_finder {
  public:
    record_finder(byte_span file, const index_entries &index, const reporter &report,
                  const reporter &index_report)
        : file_(file), index_(index), report_(report), index_report_(index_report),
          type_(file_shape_type(file.data())) {}

    record_places find() {
        walk();
        if (index_.size()) order_by_index();
        report_numbers();
        return std::move(records_);
    }

  private:
    // --- Headers ---

    size_t left(uint64_t at) const { return file_.size() - std::min<uint64_t>(at, file_.size()); }
    const unsigned char *bytes(uint64_t at) const { return file_.data() + at; }
    int32_t number(uint64_t at) const { return record_number(bytes(at)); }

    // The contents that the header's length field tells, where that fits.
    std::optional<uint32_t> told_size(uint64_t at) const {
        if (left(at) < least_record_size) return std::nullopt;
        const int64_t size = int64_t{2} * record_length(bytes(at));
        if (size < static_cast<int64_t>(shape_type_size)) return std::nullopt;
        if (static_cast<uint64_t>(size) > left(at) - record_header_size) return std::nullopt;
        return static_cast<uint32_t>(size);
    }

    std::optional<int32_t> type_at(uint64_t at) const {
        if (left(at) < least_record_size) return std::nullopt;
        return shape_type_of(bytes(at + record_header_size));
    }

    bool has_known_type(uint64_t at) const {
        const auto type = type_at(at);
        return type && find_layout(*type);
    }

    bool is_sound(uint64_t at) const { return told_size(at) && has_known_type(at); }

    // Nothing behind it, or too little for a record.
    bool is_end(uint64_t at) const { return left(at) < record_header_size; }

    bool leads_on(uint64_t at) const { return is_end(at) || is_sound(at); }

    shape_size counted_size(uint64_t at) const {
        return size_by_counts(file_.subspan(at + record_header_size));
    }

    // --- The walk ---

    void walk() {
        uint64_t at = file_header_size;
        while (!is_end(at)) {
            at = take(at) ? records_.back().end() : skip_gap(at);
            if (records_.size() == 1) at = take_alike(at);
        }
        if (left(at)) report_gap(at, file_.size());
    }

    // Takes those that follow the only one so far and bear its length and type and the next number, as all
    // records of points do: what take() does, but at the speed of memory. Returns where they end.
    uint64_t take_alike(uint64_t at) {
        const record_place only = records_.back();
        if (only.end() != at || !is_sound(only.offset) || told_size(only.offset) != only.size) return at;
        const int32_t length = record_length(bytes(only.offset));
        const int32_t type = *type_at(only.offset);
        const uint64_t step = at - only.offset;
        size_t count = 0;
        for (; left(at) >= step; at += step, count++)
            if (static_cast<uint32_t>(number(at)) != records_.size() + count + 1 ||
                record_length(bytes(at)) != length || shape_type_of(bytes(at + record_header_size)) != type)
                break;
        records_.repeat(count);
        return at;
    }

    bool take(uint64_t at) {
        if (const auto size = told_size(at); size && (has_known_type(at) || leads_on_behind(at, *size))) {
            add({at, *size});
            return true;
        }
        return take_by_counts(at);
    }

    bool leads_on_behind(uint64_t at, uint32_t size) const {
        return number(at) > 0 && leads_on(at + record_header_size + size);
    }

    // A record whose length field leads nowhere.
    bool take_by_counts(uint64_t at) {
        if (!is_expected(at)) return false;
        const auto size = size_without_length(at);
        if (!size) return false;
        report_(repair_kind::record_length, at + record_length.offset,
                "record " + std::to_string(number(at)) + " has a length of " +
                    std::to_string(record_length(bytes(at))) + " words; read as " + std::to_string(*size) +
                    " bytes");
        add({at, *size});
        return true;
    }

    std::optional<uint32_t> size_without_length(uint64_t at) const {
        const uint64_t contents = at + record_header_size;
        if (record_length(bytes(at)) == 0 && leads_on(contents)) return 0;
        if (!has_known_type(at)) return std::nullopt;
        const shape_size counted = counted_size(at);
        for (const uint64_t size : {counted.full, counted.required})
            if (size && size <= left(contents) && leads_on(contents + size)) return cut_to_record(size);
        // Cut off with the file, or with what comes before the next record.
        const uint64_t available = next_indexed(contents).value_or(file_.size()) - contents;
        const uint64_t size = counted.required ? std::min(counted.required, available) : available;
        return cut_to_record(size);
    }

    static uint32_t cut_to_record(uint64_t size) {
        return static_cast<uint32_t>(std::min<uint64_t>(size, UINT32_MAX));
    }

    bool is_expected(uint64_t at) const {
        const int64_t before = records_.empty() ? 0 : number(records_.back().offset);
        return number(at) > 0 && (number(at) == before + 1 || is_indexed(at));
    }

    // --- Gaps ---

    // Returns where the next record begins, or the end of the file.
    uint64_t skip_gap(uint64_t at) {
        const uint64_t from = resumed_from(at);
        const uint64_t limit = next_indexed(from).value_or(file_.size());
        uint64_t to = from;
        while (to < limit && !is_convincing(to))
            to += 2;
        to = std::min(to, limit);
        const bool last_reaches_over = to < at;
        if (last_reaches_over) shorten_last(to);
        report_gap(last_reaches_over ? from : at, to);
        return to;
    }

    void shorten_last(uint64_t end) {
        const record_place last = records_.back();
        const auto size = static_cast<uint32_t>(end - last.offset - record_header_size);
        records_.resize_last(size);
        report_(repair_kind::record_length, last.offset + record_length.offset,
                "record " + std::to_string(number(last.offset)) + " reaches over the next one; read as " +
                    std::to_string(size) + " bytes");
    }

    // A length that is too large has led past records: the search begins where the shape itself ends. A gap
    // leads to a record or to the end, so that it is the last record that has led here, if there is one.
    uint64_t resumed_from(uint64_t at) const {
        if (records_.empty()) return at;
        const record_place last = records_.back();
        const uint64_t required = counted_size(last.offset).required;
        return required ? std::min(last.offset + record_header_size + required, at) : at;
    }

    bool is_convincing(uint64_t at) const {
        const auto size = told_size(at);
        if (!size || number(at) <= 0 || !has_known_type(at)) return false;
        const int32_t type = *type_at(at);
        if (find_layout(type_) && type != type_ && type != SHAPE_NULL) return false;
        const uint64_t required = counted_size(at).required;
        return required && required <= *size && leads_on(at + record_header_size + *size);
    }

    void report_gap(uint64_t from, uint64_t to) const {
        if (from < to)
            report_(repair_kind::gap, from, std::to_string(to - from) + " bytes belong to no record");
    }

    // --- The index ---

    // Offsets in the index that lead to sound headers, in order. Made when the walk first loses its way.
    const std::vector<uint64_t> &indexed() const {
        if (indexed_) return *indexed_;
        indexed_.emplace();
        for (size_t i = 0; i < index_.size(); i++)
            if (is_sound(index_.offset(i))) indexed_->push_back(index_.offset(i));
        std::sort(indexed_->begin(), indexed_->end());
        return *indexed_;
    }

    std::optional<uint64_t> next_indexed(uint64_t from) const {
        const auto next = std::lower_bound(indexed().begin(), indexed().end(), from);
        return next == indexed().end() ? std::nullopt : std::optional(*next);
    }

    // Whether the index names the place, sound or not.
    bool is_indexed(uint64_t at) const {
        if (!named_) {
            named_.emplace();
            for (size_t i = 0; i < index_.size(); i++)
                named_->push_back(index_.offset(i));
            std::sort(named_->begin(), named_->end());
        }
        return std::binary_search(named_->begin(), named_->end(), at);
    }

    void order_by_index() {
        if (is_as_walked()) return;
        if (!index_.is_whole()) {
            index_report_(repair_kind::index, index_.place_of(0), "is cut, and is left aside");
            return;
        }
        record_places ordered;
        if (!follow_index(ordered)) return;
        report_(repair_kind::record_order, file_header_size,
                "has " + std::to_string(records_.size()) + " records; the index has " +
                    std::to_string(ordered.size()) + " in another order or place, and is followed");
        records_ = std::move(ordered);
        check_numbers_again();
    }

    bool is_as_walked() const {
        if (index_.size() != records_.size()) return false;
        for (size_t i = 0; i < records_.size(); i++)
            if (index_.offset(i) != records_[i].offset) return false;
        return true;
    }

    // Returns false, and says why, when an entry leads to no record or two lead to one.
    bool follow_index(record_places &ordered) const {
        std::vector<bool> is_taken(records_.size());
        size_t wrong = 0;
        size_t first_wrong = 0;
        for (size_t i = 0; i < index_.size(); i++) {
            if (follow_entry(i, is_taken, ordered)) continue;
            if (!wrong++) first_wrong = i;
        }
        if (wrong)
            index_report_(repair_kind::index, index_.place_of(first_wrong),
                          std::to_string(wrong) + " of " + std::to_string(index_.size()) +
                              " entries lead to no record of their own; the index is left aside");
        return !wrong;
    }

    bool follow_entry(size_t i, std::vector<bool> &is_taken, record_places &ordered) const {
        if (index_.is_blank(i)) {
            ordered.push_back({});
            return true;
        }
        const auto slot = records_.find(index_.offset(i));
        if (!slot || is_taken[*slot]) return false;
        is_taken[*slot] = true;
        ordered.push_back(records_[*slot]);
        return true;
    }

    // --- Numbers ---

    void add(record_place record) {
        check_number(record, records_.size());
        records_.push_back(record);
    }

    void check_number(const record_place &record, size_t i) {
        if (!record.offset || static_cast<uint32_t>(number(record.offset)) == i + 1) return;
        if (!misnumbered_++) first_misnumbered_ = record.offset;
    }

    void check_numbers_again() {
        misnumbered_ = 0;
        for (size_t i = 0; i < records_.size(); i++)
            check_number(records_[i], i);
    }

    void report_numbers() const {
        if (misnumbered_)
            report_(repair_kind::record_number, first_misnumbered_,
                    std::to_string(misnumbered_) + " of " + std::to_string(records_.size()) +
                        " records bear another number than their place");
    }

    byte_span file_;
    const index_entries &index_;
    const reporter &report_;
    const reporter &index_report_;
    int32_t type_;
    record_places records_;
    size_t misnumbered_ = 0;
    uint64_t first_misnumbered_ = 0; // where its header stands
    mutable std::optional<std::vector<uint64_t>> indexed_;
    mutable std::optional<std::vector<uint64_t>> named_;
};

} // namespace lindra::detail

#endif
