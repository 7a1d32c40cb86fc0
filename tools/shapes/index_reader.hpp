// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_INDEX_READER_HPP
#define LINDRA_TOOLS_INDEX_READER_HPP

#include "common/input_file.hpp"
#include "shapes/index_file.hpp"
#include "shapes/sqlite.hpp"

#include "lindra/lindra.hpp"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace lindra::tools {

// What an index says of a shape.
struct IndexedShape {
    int64_t shapeid;
    int64_t fileid;
    uint64_t offset; // of the record, bytes
    uint64_t length; // of the record behind its header, bytes
    int32_t recno;
    std::string attributes; // a JSON object, or "null"; of a broken row perhaps empty
    const char *broken;     // what of the row no run of lindra index has written; else null
};

// A shapefile of an index.
struct IndexedFile {
    std::string name; // in the index
    std::string path;
    std::string missing; // why there is nothing at path; else empty
    bool has_changed;    // since it was indexed, or a file beside it that is read with it
};

// The library's record, with what it owns.
class FetchedRecord {
  public:
    FetchedRecord() = default;
    ~FetchedRecord() { lindra_clear_esri(ESRI_RECORD, &record_); }
    FetchedRecord(const FetchedRecord &) = delete;
    FetchedRecord &operator=(const FetchedRecord &) = delete;

    SHPRECORD *get() { return &record_; }

  private:
    SHPRECORD record_ = {};
};

class IndexReader {
  public:
    // on_repair is told what is wrong with the records in place. Throws DataError.
    IndexReader(const std::filesystem::path &path, const repair_handler &on_repair);
    ~IndexReader();
    IndexReader(const IndexReader &) = delete;
    IndexReader &operator=(const IndexReader &) = delete;

    // Nothing when the index has none of that number, or its row tells no place.
    std::optional<IndexedShape> find(int64_t shapeid);

    const IndexedFile &file_of(const IndexedShape &shape);

    // Fetches a shape by esri_get_db_shp_record. Returns what that complains of; empty: nothing.
    std::string fetch(int64_t shapeid, FetchedRecord &out);

    // The same record in place, by the reader that minds no rules; valid while this lives. Throws DataError
    // when the file cannot be read, or is too short.
    shape_record view(const IndexedShape &shape);

  private:
    void open(const std::filesystem::path &path);
    IndexedFile read_file(int64_t fileid);

    StoredNames names_;
    SqliteConnection connection_;
    SqliteStatement find_shape_, find_file_;
    Dbptr database_ = {};
    Dbptr shapes_ = {};
    std::map<int64_t, IndexedFile> files_;
    std::map<int64_t, InputFile> contents_;
    detail::reporter report_;
};

} // namespace lindra::tools

#endif
