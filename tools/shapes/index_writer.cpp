// SPDX-License-Identifier: MIT

#include "shapes/index_writer.hpp"

#include "common/file_faults.hpp"
#include "common/memory.hpp"
#include "shapes/index_file.hpp"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <optional>
#include <unistd.h>
#include <utility>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds between_commits(1);

// A row must not be longer than the library's database views read.
constexpr size_t longest_attributes = 1'000'000; // bytes

bool is_box(const shape_box &box) {
    return box.xmin <= box.xmax && box.ymin <= box.ymax;
}

shape_box box_of_points(const point_range &points) {
    constexpr double none = std::numeric_limits<double>::infinity();
    shape_box box = {none, none, -none, -none};
    for (const shape_point p : points) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y)) continue;
        box = {std::min(box.xmin, p.x), std::min(box.ymin, p.y), std::max(box.xmax, p.x),
               std::max(box.ymax, p.y)};
    }
    return box;
}

// What the file says; where that is no box, because of a number that is none or a least value above the
// largest, that of the points.
std::optional<shape_box> box_of(const shape_record &record) {
    const std::optional<shape_box> told = record.bbox();
    if (!told || is_box(*told)) return told;
    const shape_box counted = box_of_points(record.points());
    return is_box(counted) ? std::optional(counted) : std::nullopt;
}

// Empty when there are none.
std::string attributes_of(const shape_record &record) {
    std::string text;
    if (record.table()) detail::append_properties(text, record.table(), record.attributes());
    if (text.size() <= longest_attributes) return text;
    record.report()(repair_kind::table, record.offset(),
                    "record " + std::to_string(record.number()) + " has " + std::to_string(text.size()) +
                        " bytes of attributes, which are left out");
    return {};
}

// Beyond the range of 32-bit numbers rounding would go inward.
double in_float_range(double value) {
    return std::clamp(value, -double{FLT_MAX}, double{FLT_MAX});
}

// A new one is empty until its first commit.
bool is_begun(const fs::path &path) {
    std::error_code unknown;
    return fs::file_size(path, unknown) != 0 || unknown;
}

} // namespace

IndexWriter::IndexWriter(fs::path path)
    : traces_{std::move(path)}, connection_(open_index_for_writing(traces_.path)),
      remove_boxes_(connection_,
                    "DELETE FROM shape_box WHERE shapeid IN (SELECT shapeid FROM shape WHERE fileid = ?1)"),
      remove_shapes_(connection_, "DELETE FROM shape WHERE fileid = ?1"),
      remove_fields_(connection_, "DELETE FROM field WHERE fileid = ?1"),
      remove_file_(connection_, "DELETE FROM filename WHERE fileid = ?1"),
      find_file_(connection_, "SELECT fileid FROM filename WHERE filename = ?1"),
      add_file_(connection_, "INSERT INTO filename VALUES(NULL, ?1, ?2, ?3, ?4)"),
      change_file_(connection_,
                   "UPDATE filename SET size = ?2, mtime_ns = ?3, beside = ?4 WHERE fileid = ?1"),
      add_field_(connection_, "INSERT INTO field VALUES(?1, ?2, ?3, ?4)"),
      add_shape_(connection_, "INSERT INTO shape VALUES(NULL, ?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)"),
      add_box_(connection_, "INSERT INTO shape_box VALUES(?1, ?2, ?3, ?4, ?5)"),
      is_kept_(is_begun(traces_.path)), last_commit_(Clock::now()) {}

IndexWriter::Traces::~Traces() {
    if (is_begun(path)) return;
    unlink(path.c_str());
    unlink((path.string() + "-journal").c_str());
}

IndexWriter::~IndexWriter() {
    sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

std::map<std::string, IndexWriter::File> IndexWriter::files() {
    std::map<std::string, File> found;
    SqliteStatement rows(connection_, "SELECT filename, fileid, size, mtime_ns, beside FROM filename");
    while (rows.next())
        found[rows.text(0)] = {rows.integer(1), {rows.integer(2), rows.integer(3), rows.text(4)}};
    return found;
}

int64_t IndexWriter::shapes() {
    return connection_.number("SELECT count(*) FROM shape");
}

void IndexWriter::replace(const std::string &name, const FileStamp &stamp, const shapefile &shapes,
                          const std::function<void(const shape_record &)> &look) {
    connection_.run("SAVEPOINT file");
    try {
        const fault_guard guard(shapes);
        const int64_t fileid = make_room(name, stamp);
        add_fields(fileid, shapes);
        for (const shape_record &record : shapes) {
            look(record);
            if (record.offset() == 0 || record.deleted()) continue;
            add_shape(fileid, record);
        }
        guard.check();
    } catch (const SqliteError &) {
        throw; // which leaves nothing to go back to, and ends the run
    } catch (...) {
        connection_.run("ROLLBACK TO file; RELEASE file");
        throw;
    }
    connection_.run("RELEASE file");
    is_kept_ = true;
}

void IndexWriter::remove(int64_t fileid) {
    remove_contents(fileid);
    remove_file_.bind(1, fileid).run();
}

void IndexWriter::remove_contents(int64_t fileid) {
    for (SqliteStatement *statement : {&remove_boxes_, &remove_shapes_, &remove_fields_})
        statement->bind(1, fileid).run();
}

// The number of a file that is in the index already stays.
int64_t IndexWriter::make_room(const std::string &name, const FileStamp &stamp) {
    if (find_file_.bind(1, name).next()) {
        const int64_t fileid = find_file_.integer(0);
        find_file_.run();
        remove_contents(fileid);
        change_file_.bind(1, fileid).bind(2, stamp.size).bind(3, stamp.mtime_ns).bind(4, stamp.beside).run();
        return fileid;
    }
    add_file_.bind(1, name).bind(2, stamp.size).bind(3, stamp.mtime_ns).bind(4, stamp.beside).run();
    return sqlite3_last_insert_rowid(connection_.handle());
}

void IndexWriter::add_fields(int64_t fileid, const shapefile &shapes) {
    int64_t position = 0;
    for (const table_field &field : shapes.fields())
        add_field_.bind(1, fileid)
            .bind(2, position++)
            .bind(3, field.name)
            .bind(4, std::string_view(&field.type, 1))
            .run();
}

void IndexWriter::add_shape(int64_t fileid, const shape_record &record) {
    add_shape_.bind(1, fileid).bind(2, static_cast<int64_t>(record.offset()));
    add_shape_.bind(3, static_cast<int64_t>(record.contents().size()));
    add_shape_.bind(4, int64_t{record.number()}).bind(5, int64_t{record.type_code()});
    const std::optional<shape_box> box = box_of(record);
    if (box)
        add_shape_.bind(6, box->xmin).bind(7, box->ymin).bind(8, box->xmax).bind(9, box->ymax);
    else
        for (int place = 6; place <= 9; place++)
            add_shape_.bind_null(place);
    const std::string attributes = attributes_of(record);
    if (attributes.empty())
        add_shape_.bind_null(10);
    else
        add_shape_.bind(10, attributes);
    add_shape_.run();
    if (box) add_box(*box);
}

void IndexWriter::add_box(const shape_box &box) {
    add_box_.bind(1, int64_t{sqlite3_last_insert_rowid(connection_.handle())})
        .bind(2, in_float_range(box.xmin))
        .bind(3, in_float_range(box.xmax))
        .bind(4, in_float_range(box.ymin))
        .bind(5, in_float_range(box.ymax))
        .run();
}

void IndexWriter::commit() {
    require_unchanged_files();
    require_memory();
    if (!is_kept_) return;
    connection_.run("COMMIT; BEGIN IMMEDIATE");
    last_commit_ = Clock::now();
}

void IndexWriter::commit_now_and_then() {
    if (Clock::now() - last_commit_ >= between_commits) commit();
}

} // namespace lindra::tools
