// SPDX-License-Identifier: MIT
//
// How the C++ face tells what it could not read, and what it read otherwise than it is written.
#ifndef LINDRA_FACE_REPORT_HPP
#define LINDRA_FACE_REPORT_HPP

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace lindra {

// error: a file that cannot be read at all, or a request that cannot be met. what() is one line that names
// the file and the place in it.
class error : public std::runtime_error {
  public:
    error(std::string file, uint64_t offset, const std::string &text)
        : std::runtime_error(file + ": byte " + std::to_string(offset) + ": " + text), file_(std::move(file)),
          offset_(offset), text_(text) {}

    const std::string &file() const { return file_; }
    uint64_t offset() const { return offset_; }       // from the start of the file, bytes
    const std::string &text() const { return text_; } // the cause

  private:
    std::string file_;
    uint64_t offset_;
    std::string text_;
};

// What a repair concerns.
enum class repair_kind {
    file_header,   // of the main file: length, version
    record_length, // a record's length field leads nowhere, and the counts in the shape are used
    gap,           // bytes that belong to no record
    record_number, // numbers differ from the records' places
    record_order,  // the index has the records in another order, or leaves some out
    index,         // .shx: not usable, or in parts
    shape_type,    // of no known meaning: a record without a shape
    shape_cut,     // counts, points, heights or measures that do not fit in the record
    parts,         // part indexes out of order or out of range
    table,         // .dbf: header, fields, number of rows
    attribute,     // a value that is none of its type
    text,          // bytes that are none of the encoding
    encoding,      // a name of an encoding that is unknown
    geometry,      // rings closed, turned or dropped, in GeoJSON
    texture,       // .dds: headers, number of levels or faces, images that are cut
    file_beside    // .shx, .dbf or .cpg: is there and cannot be read, or the system cannot convert its text
};

// repair: one departure from what the bytes of a file say, or from what its format asks for.
struct repair {
    repair_kind kind;
    std::string file;
    uint64_t offset; // of the first byte concerned, from the start of the file
    std::string text;
};

using repair_handler = std::function<void(const repair &)>;

namespace detail {

// Tells repairs of one file. Without a handler nothing is kept.
class reporter {
  public:
    reporter() = default;
    reporter(std::string file, repair_handler handler)
        : file_(std::move(file)), handler_(std::move(handler)) {}

    const std::string &file() const { return file_; }
    bool is_heard() const { return handler_ != nullptr; }

    void operator()(repair_kind kind, uint64_t offset, std::string text) const {
        if (handler_) handler_({kind, file_, offset, std::move(text)});
    }

    [[noreturn]] void refuse(uint64_t offset, const std::string &text) const {
        throw error(file_, offset, text);
    }

  private:
    std::string file_;
    repair_handler handler_;
};

} // namespace detail

} // namespace lindra

#endif
