// SPDX-License-Identifier: MIT

#include "shapes/index_reader.hpp"

#include "common/captured_log.hpp"
#include "common/errors.hpp"
#include "common/memory.hpp"
#include "shapes/file_stamp.hpp"

#include <cerrno>

namespace lindra::tools {

namespace {

// The columns of a database that others have written to may hold anything. The attributes go into GeoJSON as
// they are, in one line, where nothing but an object or null may stand. What is neither is null here, and
// makes the row a broken one.
constexpr const char *find_shape =
    "SELECT fileid, offset, length, recno, CASE WHEN attributes IS NULL THEN 'null' WHEN "
    "json_valid(attributes) "
    "THEN CASE json_type(attributes) WHEN 'object' THEN json(attributes) END END, "
    "typeof(length) = 'integer' AND length BETWEEN 0 AND 4294967295, "
    "typeof(recno) = 'integer' AND recno BETWEEN -2147483648 AND 2147483647 "
    "FROM shape WHERE shapeid = ?1 AND typeof(offset) = 'integer' AND offset >= 0";

constexpr const char *gone = "the file is gone; put it back, or run lindra index again";
constexpr const char *no_such_file =
    "the index has no such file; delete it and make it anew with lindra index";

// Of a row of find_shape.
const char *what_is_broken(const SqliteStatement &row) {
    if (row.is_null(4)) return "attributes that are no JSON object";
    if (!row.integer(5)) return "a length that no record has";
    return row.integer(6) ? nullptr : "a record number out of all range";
}

} // namespace

IndexReader::IndexReader(const std::filesystem::path &path, const repair_handler &on_repair)
    : names_(path), connection_(open_index(path)), find_shape_(connection_, find_shape),
      find_file_(connection_, "SELECT filename, size, mtime_ns, beside FROM filename WHERE fileid = ?1"),
      report_(path, on_repair) {
    open(path);
    shapes_ = dblookup(database_, nullptr, "shape", nullptr, nullptr);
}

void IndexReader::open(const std::filesystem::path &path) {
    errno = 0;
    if (lindra_db_open(path.c_str(), &database_) == 0) return;
    require_memory(errno);
    throw DataError(path.string() + " cannot be read");
}

IndexReader::~IndexReader() {
    lindra_db_close(database_);
}

std::optional<IndexedShape> IndexReader::find(int64_t shapeid) {
    if (!find_shape_.bind(1, shapeid).next()) return std::nullopt;
    IndexedShape shape = {shapeid,
                          find_shape_.integer(0),
                          static_cast<uint64_t>(find_shape_.integer(1)),
                          static_cast<uint64_t>(find_shape_.integer(2)),
                          static_cast<int32_t>(find_shape_.integer(3)),
                          find_shape_.text(4),
                          what_is_broken(find_shape_)};
    find_shape_.run();
    return shape;
}

const IndexedFile &IndexReader::file_of(const IndexedShape &shape) {
    const auto known = files_.find(shape.fileid);
    return known != files_.end() ? known->second
                                 : files_.emplace(shape.fileid, read_file(shape.fileid)).first->second;
}

IndexedFile IndexReader::read_file(int64_t fileid) {
    if (!find_file_.bind(1, fileid).next())
        return {"", "file " + std::to_string(fileid) + " of " + connection_.path(), no_such_file, false};
    IndexedFile file = {find_file_.text(0), names_.path_of(find_file_.text(0)), "", false};
    const FileStamp known = {find_file_.integer(1), find_file_.integer(2), find_file_.text(3)};
    find_file_.run();
    try {
        const std::optional<FileStamp> stamp = stamp_of(file.path, "");
        if (!stamp) file.missing = gone;
        file.has_changed = stamp && !is_stamp_of_same_files(known, *stamp);
    } catch (const DataError &reason) {
        file.missing = reason.what();
    }
    return file;
}

std::string IndexReader::fetch(int64_t shapeid, FetchedRecord &out) {
    const CapturedLog log;
    Dbptr row = shapes_;
    row.record = shapeid;
    return esri_get_db_shp_record(out.get(), row) < 0 ? log.one_line() : "";
}

shape_record IndexReader::view(const IndexedShape &shape) {
    const IndexedFile &indexed = file_of(shape);
    if (!indexed.missing.empty()) throw DataError(indexed.path + ": " + indexed.missing);
    auto known = contents_.find(shape.fileid);
    if (known == contents_.end()) known = contents_.emplace(shape.fileid, InputFile(indexed.path)).first;
    const InputFile &file = known->second;
    const uint64_t header = detail::record_header_size;
    if (file.size() < header || shape.length > file.size() - header ||
        shape.offset > file.size() - header - shape.length)
        throw DataError(file.path() + " ends before the record at byte " + std::to_string(shape.offset));
    return {
        {file.data(), file.size()}, {shape.offset, static_cast<uint32_t>(shape.length)}, 0, nullptr, report_};
}

} // namespace lindra::tools
