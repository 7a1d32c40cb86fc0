// SPDX-License-Identifier: MIT
//
// Attribute tables: dBase of levels 3 to 5 and 7 ("Data File Header Structure for the dBASE Version 7 Table
// File", dBASE, 1999, tells both layouts).
//
// What a header says is used where the rows bear it out: a row begins with a flag, a blank or an asterisk.
// The rows begin where the header says it ends, else behind the descriptors; they are as long as the header
// says, else as the fields are; there are as many as the header says, but no more than the file holds.
//
// Every field that is kept has a byte in every whole row, so that there are no more values than bytes.
#ifndef LINDRA_SHAPEFILE_ATTRIBUTES_HPP
#define LINDRA_SHAPEFILE_ATTRIBUTES_HPP

#include "attribute_value.hpp"
#include "shape_layout.hpp"
#include "text_encoding.hpp"

#include "../face/mapped_file.hpp"
#include "../face/report.hpp"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lindra {

// table_field: a column of the table. Names are in UTF-8; an empty one, or one that occurs again, is
// numbered. A field of no bytes, or one that begins behind the row, is none.
struct table_field {
    std::string name;
    char type;       // C text, N number, F real, D date, L logical, others
    size_t length;   // bytes
    size_t decimals; // of a number
    size_t offset;   // in a row, bytes
};

class attribute_table;

// A row of a table, seen in place; valid while the table lives.
class attribute_row {
  public:
    attribute_row() = default;
    attribute_row(const attribute_table &table, uint64_t offset, std::string_view bytes)
        : table_(&table), offset_(offset), bytes_(bytes) {}

    // Whether the table has the row.
    bool exists() const { return !bytes_.empty(); }

    // The number of fields; 0 where there is no row, so that a loop over the values of all records takes no
    // longer than the table is large.
    size_t size() const;

    // The value of a field; none where there is no row. Throws error for a name or a number that the table
    // does not have.
    attribute_value operator[](std::string_view name) const;
    attribute_value operator[](size_t field) const;

    // The bytes of a field as they are, fewer where the row is cut, and none where there is no row. Throws
    // error for a number that the table does not have.
    std::string_view raw(size_t field) const;

    bool deleted() const { return exists() && bytes_[0] == '*'; }

  private:
    const table_field &field(size_t i) const;
    [[noreturn]] void refuse(const std::string &name) const;

    const attribute_table *table_ = nullptr;
    uint64_t offset_ = 0;
    std::string_view bytes_; // with the flag; empty: there is no such row
};

namespace detail {

// Where a header and the descriptors behind it keep what a reader needs.
struct table_layout {
    size_t header_size;
    size_t descriptor_size;
    size_t name_size; // the name comes first
    number_field<char> type;
    number_field<uint8_t> length;
    number_field<uint8_t> decimals;
};

template <>
inline char number_field<char>::operator()(const unsigned char *record) const {
    return static_cast<char>(record[offset]);
}

template <>
inline uint8_t number_field<uint8_t>::operator()(const unsigned char *record) const {
    return record[offset];
}

template <size_t header_rows, size_t rows>
constexpr table_layout layout_of_table(const Strdef (&header)[header_rows], const Strdef (&field)[rows]) {
    return {size_of_record(header),
            size_of_record(field),
            offset_of(field, "type"),
            number_of<char>(field, "type"),
            number_of<uint8_t>(field, "length"),
            number_of<uint8_t>(field, "count")};
}

inline constexpr table_layout level_5_layout =
    layout_of_table(esri::DBASEHDR5_Strdef, esri::DBASEFIELDDESCR5_Strdef);
inline constexpr table_layout level_7_layout =
    layout_of_table(esri::DBASEHDR7_Strdef, esri::DBASEFIELDDESCR7_Strdef);

// Both levels begin alike.
inline constexpr auto table_flags = number_of<uint8_t>(esri::DBASEHDR5_Strdef, "flags");
inline constexpr auto table_rows = number_of<uint32_t>(esri::DBASEHDR5_Strdef, "numrecs");
inline constexpr auto table_header_size = number_of<uint16_t>(esri::DBASEHDR5_Strdef, "numbyteshdr");
inline constexpr auto table_row_size = number_of<uint16_t>(esri::DBASEHDR5_Strdef, "numbytesrec");
inline constexpr auto table_language = number_of<uint8_t>(esri::DBASEHDR5_Strdef, "langid");

} // namespace detail

class attribute_table {
  public:
    // A table in memory that outlives this object. Throws error when the file is shorter than a header.
    attribute_table(byte_span file, std::string_view cpg, const std::string &given_encoding,
                    detail::reporter report)
        : file_(file), report_(std::move(report)) {
        const bool is_level_7 = !file_.empty() && (detail::table_flags(file_.data()) & 7) == 4;
        layout_ = is_level_7 ? &detail::level_7_layout : &detail::level_5_layout;
        if (file_.size() < layout_->header_size)
            report_.refuse(file_.size(), "ends in the header of its table");
        encoding_ = detail::choose_encoding({cpg, detail::table_language(file_.data()), given_encoding},
                                            report_, decoder_);
        const size_t descriptors_end = read_fields();
        place_rows(descriptors_end);
        leave_out_fields_without_bytes();
        count_rows();
    }

    const std::vector<table_field> &fields() const { return fields_; }
    const text_encoding &encoding() const { return encoding_; }

    // The number of rows.
    size_t size() const { return rows_; }

    // Row i; where there is none, one that does not exist.
    attribute_row row(size_t i) const {
        if (i >= rows_) return {*this, file_.size(), {}};
        const uint64_t at = begin_ + i * row_size_;
        const size_t size = std::min<uint64_t>(row_size_, file_.size() - at);
        return {*this, at, {reinterpret_cast<const char *>(file_.data()) + at, size}};
    }

    // The number of the field of that name, or nothing.
    std::optional<size_t> find(std::string_view name) const {
        const auto found = std::ranges::find(fields_, name, &table_field::name);
        if (found == fields_.end()) return std::nullopt;
        return static_cast<size_t>(found - fields_.begin());
    }

    // Reads on behind the rows that the header counts, up to wanted rows: a writer that was stopped has left
    // the count behind. Every row more is whole and bears a flag.
    void extend(size_t wanted) {
        const size_t before = rows_;
        while (rows_ < wanted && rows_ < whole_rows() && has_flag(begin_ + rows_ * row_size_))
            rows_++;
        if (rows_ > before)
            report_(repair_kind::table, detail::table_rows.offset,
                    "has " + std::to_string(rows_) + " rows, not " + std::to_string(before));
    }

  private:
    friend class attribute_row;

    static constexpr unsigned char terminator = 13;
    static constexpr size_t rows_looked_at = 16;

    // --- Fields ---

    // Returns where the descriptors end, the terminator included.
    size_t read_fields() {
        size_t at = layout_->header_size;
        size_t offset = 1;
        while (has_descriptor(at)) {
            fields_.push_back(descriptor(at, offset));
            offset += fields_.back().length;
            at += layout_->descriptor_size;
        }
        widen_texts(offset);
        name_apart();
        if (at < file_.size() && file_[at] == terminator) return at + 1;
        report_(repair_kind::table, at, "has no mark behind its field descriptors");
        return at;
    }

    bool has_descriptor(size_t at) const {
        if (file_.size() - at < layout_->descriptor_size || file_[at] == terminator) return false;
        const unsigned char type = file_[at + layout_->type.offset];
        return (at == layout_->header_size || at < detail::table_header_size(file_.data())) &&
               (std::isalpha(type) || type == '@' || type == '+');
    }

    table_field descriptor(size_t at, size_t offset) const {
        const unsigned char *from = file_.data() + at;
        const std::string_view padded(reinterpret_cast<const char *>(from), layout_->name_size);
        bool is_damaged = false;
        const std::string_view name = padded.substr(0, padded.find('\0'));
        std::string text = decoder_(detail::trimmed(name), is_damaged);
        if (is_damaged) report_(repair_kind::text, at, "has a field name that is not " + encoding_.name);
        const char type = static_cast<char>(std::toupper(static_cast<unsigned char>(layout_->type(from))));
        return {std::move(text), type, layout_->length(from), layout_->decimals(from), offset};
    }

    // Some writers keep the high byte of a text's length where a number has its decimals. The row's size
    // tells.
    void widen_texts(size_t size) {
        size_t widened = size;
        for (const table_field &each : fields_)
            if (each.type == 'C') widened += each.decimals << 8;
        const size_t told = detail::table_row_size(file_.data());
        if (size == told || widened != told) return;
        size_t offset = 1;
        for (table_field &each : fields_) {
            if (each.type == 'C') each.length += each.decimals << 8;
            each.offset = offset;
            offset += each.length;
        }
        report_(repair_kind::table, layout_->header_size, "has texts longer than 255 bytes");
    }

    // Of the field that is number i in the file.
    size_t descriptor_offset(size_t i) const { return layout_->header_size + i * layout_->descriptor_size; }

    void name_apart() {
        std::set<std::string_view> names;
        for (size_t i = 0; i < fields_.size(); i++) {
            std::string &name = fields_[i].name;
            if (!name.empty() && names.insert(name).second) continue;
            name += name.empty() ? "FIELD_" : "_";
            name += std::to_string(i + 1);
            names.insert(name);
            report_(repair_kind::table, descriptor_offset(i),
                    "has a field without a name of its own, which is called " + name);
        }
    }

    // Such fields have no value in any row, and nothing in the file would bound how many values that makes.
    void leave_out_fields_without_bytes() {
        const auto is_without_bytes = [&](const table_field &each) {
            return each.length == 0 || each.offset >= row_size_;
        };
        for (size_t i = 0; i < fields_.size(); i++)
            if (is_without_bytes(fields_[i]))
                report_(repair_kind::table, descriptor_offset(i),
                        "has a field " + fields_[i].name + " without a byte in the rows, which is left out");
        std::erase_if(fields_, is_without_bytes);
    }

    // --- Rows ---

    bool has_flag(uint64_t at) const { return at < file_.size() && (file_[at] == ' ' || file_[at] == '*'); }

    // Whether the first rows begin with flags.
    bool rows_fit(uint64_t begin, uint64_t size) const {
        const size_t count = std::min<size_t>(detail::table_rows(file_.data()), rows_looked_at);
        for (size_t i = 0; i < count && begin + i * size < file_.size(); i++)
            if (!has_flag(begin + i * size)) return false;
        return begin <= file_.size();
    }

    void place_rows(uint64_t descriptors_end) {
        const uint64_t told_begin = detail::table_header_size(file_.data());
        const uint64_t told_size = detail::table_row_size(file_.data());
        const uint64_t counted_size = fields_.empty() ? 1 : fields_.back().offset + fields_.back().length;
        begin_ = told_begin < layout_->header_size ? descriptors_end : told_begin;
        row_size_ = told_size ? told_size : counted_size;
        choose_rows(descriptors_end, counted_size);
        if (begin_ != told_begin)
            report_(repair_kind::table, detail::table_header_size.offset,
                    "says that its rows begin at byte " + std::to_string(told_begin) + "; read from byte " +
                        std::to_string(begin_));
        if (row_size_ != told_size || row_size_ < counted_size)
            report_(repair_kind::table, detail::table_row_size.offset,
                    "says that a row has " + std::to_string(told_size) + " bytes; the fields take " +
                        std::to_string(counted_size) + ", read as " + std::to_string(row_size_));
    }

    void choose_rows(uint64_t descriptors_end, uint64_t counted_size) {
        for (const uint64_t size : {row_size_, counted_size})
            for (const uint64_t begin : {begin_, descriptors_end})
                if (rows_fit(begin, size)) {
                    begin_ = begin;
                    row_size_ = size;
                    return;
                }
        begin_ = std::min<uint64_t>(begin_, file_.size());
    }

    size_t whole_rows() const { return (file_.size() - begin_) / row_size_; }

    // The last row may be cut.
    void count_rows() {
        const size_t told = detail::table_rows(file_.data());
        const size_t there = whole_rows() + (has_flag(begin_ + whole_rows() * row_size_) ? 1 : 0);
        rows_ = std::min(told, there);
        if (rows_ < told || rows_ > whole_rows())
            report_(repair_kind::table, detail::table_rows.offset,
                    "says that it has " + std::to_string(told) + " rows, and has " +
                        std::to_string(whole_rows()) + " in whole");
    }

    // --- Values ---

    // False for bytes that have no value of the column's type; value is none before, and then.
    bool parse(const table_field &column, std::string_view bytes, uint64_t offset,
               attribute_value &value) const {
        switch (column.type) {
        case 'N':
            return detail::parse_number(bytes, value);
        case 'F':
            return detail::parse_real(bytes, value);
        case 'D':
            return detail::parse_date(bytes, value);
        case 'L':
            return detail::parse_logical(bytes, value);
        default:
            read_text(bytes, offset, value);
            return true;
        }
    }

    void read_text(std::string_view bytes, uint64_t offset, attribute_value &value) const {
        const std::string_view padded = bytes.substr(0, bytes.find('\0'));
        const std::string_view content = detail::without_padding(padded);
        if (content.empty()) return;
        bool is_damaged = false;
        value = decoder_(content, is_damaged);
        if (is_damaged) report_(repair_kind::text, offset, "has a text that is not " + encoding_.name);
    }

    byte_span file_;
    detail::reporter report_;
    const detail::table_layout *layout_ = nullptr;
    detail::text_decoder decoder_;
    text_encoding encoding_;
    std::vector<table_field> fields_;
    uint64_t begin_ = 0;
    uint64_t row_size_ = 1;
    size_t rows_ = 0;
};

inline size_t attribute_row::size() const {
    return exists() ? table_->fields().size() : 0;
}

inline void attribute_row::refuse(const std::string &name) const {
    throw error(table_ ? table_->report_.file() : "", offset_, "there is no field " + name);
}

inline const table_field &attribute_row::field(size_t i) const {
    if (!table_ || i >= table_->fields().size()) refuse(std::to_string(i));
    return table_->fields()[i];
}

inline std::string_view attribute_row::raw(size_t i) const {
    const table_field &column = field(i);
    return bytes_.substr(std::min(column.offset, bytes_.size()), column.length);
}

inline attribute_value attribute_row::operator[](size_t i) const {
    const table_field &column = field(i);
    const std::string_view bytes = raw(i);
    attribute_value value;
    if (bytes.empty()) return value;
    const uint64_t at = offset_ + column.offset;
    if (bytes.size() < column.length)
        table_->report_(repair_kind::attribute, at, "field " + column.name + " is cut");
    else if (!table_->parse(column, bytes, at, value))
        table_->report_(repair_kind::attribute, at,
                        "field " + column.name + " of type " + column.type + " has no value: \"" +
                            std::string(bytes) + "\"");
    return value;
}

inline attribute_value attribute_row::operator[](std::string_view name) const {
    const auto found = table_ ? table_->find(name) : std::nullopt;
    if (!found) refuse('"' + std::string(name) + '"');
    return (*this)[*found];
}

} // namespace lindra

#endif
