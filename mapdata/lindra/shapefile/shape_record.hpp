// SPDX-License-Identifier: MIT
//
// One record of a main file, seen in place: nothing is copied, and nothing outside the record is read. A
// record and all that it hands out are valid while its shapefile lives.
#ifndef LINDRA_SHAPEFILE_SHAPE_RECORD_HPP
#define LINDRA_SHAPEFILE_SHAPE_RECORD_HPP

#include "attributes.hpp"
#include "record_finder.hpp"
#include "shape_layout.hpp"

#include "../face/report.hpp"
#include "../face/value_iterator.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>

namespace lindra {

// The shape types of the format, by its numbers.
enum class shape_type : int32_t {
    null = SHAPE_NULL,
    point = SHAPE_POINT,
    polyline = SHAPE_POLYLINE,
    polygon = SHAPE_POLYGON,
    multipoint = SHAPE_MULTIPOINT,
    point_z = SHAPE_POINTZ,
    polyline_z = SHAPE_POLYLINEZ,
    polygon_z = SHAPE_POLYGONZ,
    multipoint_z = SHAPE_MULTIPOINTZ,
    point_m = SHAPE_POINTM,
    polyline_m = SHAPE_POLYLINEM,
    polygon_m = SHAPE_POLYGONM,
    multipoint_m = SHAPE_MULTIPOINTM,
    multipatch = SHAPE_MULTIPATCH,
    unknown = -1
};

// How a part of a multipatch makes a surface. Parts of other shapes are plain.
enum class part_type : int32_t {
    triangle_strip = 0,
    triangle_fan = 1,
    outer_ring = 2,
    inner_ring = 3,
    first_ring = 4,
    ring = 5,
    plain = -1
};

// Coordinates are in the unit of the file.
struct shape_point {
    double x, y;
    friend bool operator==(const shape_point &, const shape_point &) = default;
};

struct shape_box {
    double xmin, ymin, xmax, ymax;
    friend bool operator==(const shape_box &, const shape_box &) = default;
};

// Points one after the other, converted as they are looked at.
class point_range {
  public:
    class iterator : public detail::value_iterator<iterator, shape_point, const unsigned char *,
                                                   static_cast<std::ptrdiff_t>(detail::point_size)> {
      public:
        iterator() = default;
        explicit iterator(const unsigned char *at) : value_iterator(at) {}

      private:
        friend value_iterator;

        static shape_point at(const unsigned char *position) {
            return {load_le<double>(position), load_le<double>(position + sizeof(double))};
        }
    };

    point_range() = default;
    point_range(const unsigned char *first, size_t count) : first_(first), count_(count) {}

    iterator begin() const { return iterator(first_); }
    iterator end() const { return begin() + static_cast<std::ptrdiff_t>(count_); }
    size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    shape_point operator[](size_t i) const { return begin()[static_cast<std::ptrdiff_t>(i)]; }

    // The points as the file has them: pairs of little-endian doubles, at any address.
    byte_span bytes() const { return {first_, count_ * detail::point_size}; }

  private:
    const unsigned char *first_ = nullptr;
    size_t count_ = 0;
};

class shape_record;

// A run of a shape's points.
class shape_part : public point_range {
  public:
    shape_part() = default;
    shape_part(point_range points, size_t first_point, part_type type)
        : point_range(points), first_point_(first_point), type_(type) {}

    // The number of its first point in the record, which z and m count by.
    size_t first_point() const { return first_point_; }
    part_type type() const { return type_; }

  private:
    size_t first_point_ = 0;
    part_type type_ = part_type::plain;
};

// The parts of a record, in order. A part ends where the next one begins; one that would begin before the one
// before it begins with it instead, so that no point belongs to two.
class part_range {
  public:
    class iterator {
      public:
        using iterator_concept = std::forward_iterator_tag;
        using iterator_category = std::input_iterator_tag;
        using value_type = shape_part;
        using difference_type = std::ptrdiff_t;
        using reference = shape_part;
        using pointer = void;

        iterator() = default;
        iterator(const shape_record &record, size_t part);

        shape_part operator*() const;
        iterator &operator++();
        iterator operator++(int) {
            iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const iterator &a, const iterator &b) { return a.part_ == b.part_; }

      private:
        const shape_record *record_ = nullptr;
        size_t part_ = 0;
        size_t first_ = 0;
        size_t last_ = 0;
    };

    explicit part_range(const shape_record &record) : record_(&record) {}

    iterator begin() const { return {*record_, 0}; }
    iterator end() const { return {*record_, size()}; }
    size_t size() const;
    bool empty() const { return size() == 0; }

  private:
    const shape_record *record_;
};

class shape_record {
  public:
    // Its place among the records, from 0, which is also that of its row of attributes.
    size_t index() const { return index_; }

    // As the file has it, from 1 as a rule; 0 for a record that was never written.
    int32_t number() const {
        return offset_ ? detail::record_number(contents_.data() - detail::record_header_size) : 0;
    }

    // Of its header from the start of the file, bytes.
    uint64_t offset() const { return offset_; }

    shape_type type() const { return type_; }

    // The number that stands for the type in the file.
    int32_t type_code() const {
        return contents_.size() < detail::shape_type_size ? SHAPE_NULL
                                                          : detail::shape_type_of(contents_.data());
    }

    bool has_z() const { return zarray_; }
    bool has_m() const { return marray_; }

    // What the file says; of a point the point itself. None where there is no shape.
    std::optional<shape_box> bbox() const {
        if (const unsigned char *at = bbox_)
            return shape_box{load_le<double>(at), load_le<double>(at + 8), load_le<double>(at + 16),
                             load_le<double>(at + 24)};
        if (points_.empty()) return std::nullopt;
        return shape_box{points_[0].x, points_[0].y, points_[0].x, points_[0].y};
    }

    // All points, one part after the other. Points that a part index leaves out in front are among them.
    point_range points() const { return points_; }

    // A point, and a shape of many points, has one part.
    part_range parts() const & { return part_range(*this); }
    part_range parts() && = delete; // the range would look at a record that is gone

    // The height and the measure of point i, below points().size(). No measure: below -1e38.
    std::optional<double> z(size_t i) const { return zarray_ ? std::optional(load_z(i)) : std::nullopt; }
    std::optional<double> m(size_t i) const {
        if (!marray_) return std::nullopt;
        const double measure = load_le<double>(marray_ + i * sizeof(double));
        return measure < -1e38 ? std::nullopt : std::optional(measure);
    }

    // The record's bytes behind its header.
    byte_span contents() const { return contents_; }

    // Its row of the table, which does not exist when there is no table or no row.
    attribute_row attributes() const { return table_ ? table_->row(index_) : attribute_row(); }

    // Whether its row is marked as deleted.
    bool deleted() const { return table_ && table_->row(index_).deleted(); }

    // Made by shapefile.
    shape_record(byte_span file, detail::record_place place, size_t index, const attribute_table *table,
                 const detail::reporter &report)
        : report_(&report), table_(table), index_(index), offset_(place.offset) {
        if (!offset_) return;
        contents_ = file.subspan(offset_ + detail::record_header_size, place.size);
        read_shape();
    }

    const attribute_table *table() const { return table_; }
    const detail::reporter &report() const { return *report_; }

  private:
    friend class part_range;
    friend class part_range::iterator;

    static constexpr size_t index_size = sizeof(int32_t);

    double load_z(size_t i) const { return load_le<double>(zarray_ + i * sizeof(double)); }

    const unsigned char *at(uint64_t offset) const { return contents_.data() + offset; }
    bool holds(uint64_t size) const { return size <= contents_.size(); }

    void complain(repair_kind kind, const std::string &text) const {
        if (report_->is_heard()) (*report_)(kind, offset_, "record " + std::to_string(number()) + " " + text);
    }

    void read_shape() {
        const int32_t code = type_code();
        const detail::shape_layout *layout = detail::find_layout(code);
        if (!layout) {
            type_ = shape_type::unknown;
            complain(repair_kind::shape_type, "has the unknown shape type " + std::to_string(code));
            return;
        }
        type_ = static_cast<shape_type>(code);
        if (layout->numpoints.exists())
            read_many(*layout);
        else if (layout->points.exists())
            read_point(*layout);
    }

    void read_point(const detail::shape_layout &layout) {
        const auto first = static_cast<uint64_t>(layout.points.fixed);
        if (!holds(first + detail::point_size)) {
            complain(repair_kind::shape_cut, "ends within its point");
            return;
        }
        points_ = {at(first), 1};
        numparts_ = 1;
        constexpr uint32_t uncounted = 0;
        read_extras(layout, uncounted, uncounted);
    }

    void read_many(const detail::shape_layout &layout) {
        const uint64_t counts_end = static_cast<uint64_t>(layout.numpoints.fixed) + sizeof(int32_t);
        if (!holds(counts_end)) {
            complain(repair_kind::shape_cut, "ends before its counts");
            return;
        }
        bbox_ = at(static_cast<uint64_t>(layout.bbox.fixed));
        const auto numpoints = load_le<uint32_t>(at(counts_end) - sizeof(int32_t));
        const auto numparts = layout.numparts.exists()
                                  ? load_le<uint32_t>(at(static_cast<uint64_t>(layout.numparts.fixed)))
                                  : 0;
        const uint64_t first = layout.points.at(numparts);
        if (!holds(first)) {
            complain(repair_kind::shape_cut, "has no room for " + std::to_string(numparts) + " parts");
            return;
        }
        const uint64_t room = (contents_.size() - first) / detail::point_size;
        points_ = {at(first), static_cast<size_t>(std::min<uint64_t>(numpoints, room))};
        read_parts(layout, numparts);
        if (numpoints > room)
            complain(repair_kind::shape_cut,
                     "has " + std::to_string(numpoints) + " points and room for " + std::to_string(room));
        else
            read_extras(layout, numparts, numpoints);
    }

    // Heights and measures are optional, but there in whole.
    void read_extras(const detail::shape_layout &layout, uint32_t numparts, uint32_t numpoints) {
        const auto array = [&](detail::place begin, detail::place end) -> const unsigned char * {
            if (!begin.exists() || !holds(end.at(numparts, numpoints))) return nullptr;
            return at(begin.at(numparts, numpoints));
        };
        zarray_ = array(layout.zarray, layout.zarray_end);
        marray_ = array(layout.marray, layout.marray_end);
        if (layout.zarray.exists() && !zarray_)
            complain(repair_kind::shape_cut, "has no room for its heights");
        else if (layout.marray.exists() && !marray_ &&
                 contents_.size() > layout.required.at(numparts, numpoints))
            complain(repair_kind::shape_cut, "ends within its measures");
    }

    void read_parts(const detail::shape_layout &layout, uint32_t numparts) {
        numparts_ = numparts;
        if (layout.parts.exists()) parts_ = at(static_cast<uint64_t>(layout.parts.fixed));
        if (layout.parttypes.exists()) parttypes_ = at(layout.parttypes.at(numparts));
        if (!numparts_ && !points_.empty()) {
            numparts_ = 1;
            if (parts_) complain(repair_kind::parts, "has points and no part, and is read as one");
            parts_ = parttypes_ = nullptr;
        }
        if (parts_ && !parts_rise()) complain(repair_kind::parts, "has part indexes out of order or range");
    }

    bool parts_rise() const {
        uint32_t before = 0;
        for (size_t i = 0; i < numparts_; i++) {
            const auto index = load_le<uint32_t>(parts_ + i * index_size);
            if (index < before || index > points_.size() || (i == 0 && index != 0)) return false;
            before = index;
        }
        return true;
    }

    // Where part i begins, not before floor.
    size_t first_point(size_t i, size_t floor) const {
        if (i >= numparts_) return points_.size();
        if (!parts_) return 0;
        const int64_t index = load_le<int32_t>(parts_ + i * index_size);
        return static_cast<size_t>(
            std::clamp(index, static_cast<int64_t>(floor), static_cast<int64_t>(points_.size())));
    }

    part_type type_of_part(size_t i) const {
        return parttypes_ ? static_cast<part_type>(load_le<int32_t>(parttypes_ + i * index_size))
                          : part_type::plain;
    }

    const detail::reporter *report_;
    const attribute_table *table_;
    size_t index_;
    uint64_t offset_;
    byte_span contents_;
    shape_type type_ = shape_type::null;
    uint32_t numparts_ = 0;
    const unsigned char *bbox_ = nullptr;
    const unsigned char *parts_ = nullptr; // null: one part
    const unsigned char *parttypes_ = nullptr;
    point_range points_;
    const unsigned char *zarray_ = nullptr;
    const unsigned char *marray_ = nullptr;
};

// The first part, or what is behind the last one.
inline part_range::iterator::iterator(const shape_record &record, size_t part)
    : record_(&record), part_(part), first_(record.first_point(part, 0)),
      last_(record.first_point(part + 1, first_)) {}

inline shape_part part_range::iterator::operator*() const {
    return {{record_->points().bytes().data() + first_ * detail::point_size, last_ - first_},
            first_,
            record_->type_of_part(part_)};
}

inline part_range::iterator &part_range::iterator::operator++() {
    part_++;
    first_ = last_;
    last_ = record_->first_point(part_ + 1, first_);
    return *this;
}

inline size_t part_range::size() const {
    return record_->numparts_;
}

} // namespace lindra

#endif
