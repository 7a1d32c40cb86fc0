// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_INDEX_WRITER_HPP
#define LINDRA_TOOLS_INDEX_WRITER_HPP

#include "shapes/file_stamp.hpp"
#include "shapes/sqlite.hpp"

#include "lindra/lindra.hpp"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace lindra::tools {

// An index of shapes being brought up to date. Each file is in it whole, or as it was before; what has been
// done is kept at least once a second, so that a run that is cut short goes on from there.
class IndexWriter {
  public:
    // Throws DataError; see open_index_for_writing.
    explicit IndexWriter(std::filesystem::path path);
    ~IndexWriter();
    IndexWriter(const IndexWriter &) = delete;
    IndexWriter &operator=(const IndexWriter &) = delete;

    struct File {
        int64_t fileid;
        FileStamp stamp;
    };

    // The files in the index, by their names in it.
    std::map<std::string, File> files();

    // The number of shapes in the index.
    int64_t shapes();

    // Puts a shapefile in the place of what the index has under its name. Calls look with each record; what
    // it throws leaves the index as it was.
    void replace(const std::string &name, const FileStamp &stamp, const shapefile &shapes,
                 const std::function<void(const shape_record &)> &look);

    void remove(int64_t fileid);

    // Whether the index stays when this is over: it is no new one, or has a file.
    bool is_kept() const { return is_kept_; }

    // Keeps what was done so far; of a new index nothing, as long as no file was put into it.
    void commit();
    void commit_now_and_then();

  private:
    using Clock = std::chrono::steady_clock;

    int64_t make_room(const std::string &name, const FileStamp &stamp);
    void remove_contents(int64_t fileid);
    void add_fields(int64_t fileid, const shapefile &shapes);
    void add_shape(int64_t fileid, const shape_record &record);
    void add_box(const shape_box &box);

    // A file that SQLite made and nothing was written to is no index, and does not stay.
    struct Traces {
        std::filesystem::path path;
        ~Traces();
    };

    Traces traces_;
    SqliteConnection connection_;
    SqliteStatement remove_boxes_, remove_shapes_, remove_fields_, remove_file_;
    SqliteStatement find_file_, add_file_, change_file_, add_field_, add_shape_, add_box_;
    bool is_kept_;
    Clock::time_point last_commit_;
};

} // namespace lindra::tools

#endif
