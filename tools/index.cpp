// SPDX-License-Identifier: MIT
//
// `lindra index`: a database of the shapes in many shapefiles.

#include "subcommands.hpp"

#include "common/captured_log.hpp"
#include "common/counted.hpp"
#include "common/errors.hpp"
#include "common/interruption.hpp"
#include "common/presence.hpp"
#include "common/progress.hpp"
#include "common/standard_error.hpp"
#include "shapes/complaints.hpp"
#include "shapes/file_stamp.hpp"
#include "shapes/index_file.hpp"
#include "shapes/index_writer.hpp"
#include "shapes/shapefile_walk.hpp"

#include "lindra/lindra.hpp"

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lindra::tools {

namespace {

constexpr const char *description =
    "Make a database of the shapes in many shapefiles, or bring one up to date.\n"
    "\n"
    "Of every shape it holds the file and the place in it, record number, type,\n"
    "bounding box (in an R*Tree) and attributes (as JSON). lindra fetch finds shapes\n"
    "with it.";

constexpr const char *footer =
    R"(A directory stands for all .shp files below it. Files whose size and time of
change are those in the database are not read again, with their .shx, .dbf and
.cpg files; files that are gone are taken out. A run that is cut short keeps the
files that it has read, and the next one goes on from there. Names of files
below the database's directory are kept relative to it, so that the two can be
moved together.

What a shapefile has wrong is told, and what can be read of it is in the
database.

Exit status: 0; 1 when a file could not be read in whole, or the database not
be written; 2 for wrong arguments.

Examples:
  lindra index maps -o maps/shapes.db
      every shapefile below maps
  lindra index roads.shp rivers.shp -o shapes.db
      two more; what else the database holds stays
  sqlite3 shapes.db \
    "SELECT filename, count(*) FROM shape JOIN filename USING(fileid)
     GROUP BY fileid"
      how many shapes each file has)";

// As long as the library's database views hand out.
constexpr size_t longest_name = 255; // bytes

struct Options {
    std::vector<std::string> inputs;
    std::string output;
    std::string encoding;
};

// What ends the reading of a file when the user wants to stop.
struct Stopped {};

struct Task {
    std::string path;
    std::string name;
    FileStamp stamp;
};

class Indexing {
  public:
    explicit Indexing(const Options &options)
        : options_(options), found_(walk_shapefiles(options.inputs)), path_(whole_path(options.output)),
          names_(path_) {
        require_encoding();
        for (const std::string &problem : found_.problems)
            refuse(problem);
        require_shapefiles();
    }

    void run() {
        const Interruption interruption;
        {
            IndexWriter index(path_);
            known_ = index.files();
            remove_vanished(index);
            read(index, tasks());
            index.commit();
            is_kept_ = index.is_kept();
            if (is_kept_ || Interruption::is_asked()) sum_up(index.shapes());
        }
        Interruption::end_if_asked();
        if (refused_)
            throw DataError(counted(refused_, "file") + " could not be read in whole; " +
                            (is_kept_ ? "all else is in " + options_.output : "no database was made"));
        if (!is_kept_) refuse_inputs();
    }

  private:
    // Without descriptors iconv knows none.
    void require_encoding() const {
        if (options_.encoding.empty()) return;
        if (detail::text_decoder(options_.encoding).refusal() == EINVAL &&
            detail::text_decoder(detail::standard_encoding).is_open())
            throw UsageError("there is no encoding '" + options_.encoding + "'; `iconv -l` lists them");
    }

    // An empty database would help nobody; in one that is there, files may be gone.
    void require_shapefiles() const {
        if (found_.files.empty() && !is_there(path_)) refuse_inputs();
    }

    [[noreturn]] void refuse_inputs() const {
        throw DataError("there is no .shp file at " + options_.inputs.front());
    }

    void say(const std::string &line) {
        if (progress_) progress_->hide();
        tell(line);
    }

    void refuse(const std::string &line) {
        say(line);
        refused_++;
    }

    // What the system fails to look up stays in the index as it is.
    bool has_vanished(const std::string &path) {
        try {
            return found_.covers(path) && !is_there(path);
        } catch (const DataError &reason) {
            refuse(reason.what());
            return false;
        }
    }

    void remove_vanished(IndexWriter &index) {
        removed_ += std::erase_if(known_, [&](const auto &file) {
            if (!has_vanished(names_.path_of(file.first))) return false;
            index.remove(file.second.fileid);
            return true;
        });
    }

    bool is_unchanged(const Task &task) const {
        const auto known = known_.find(task.name);
        return known != known_.end() && known->second.stamp == task.stamp;
    }

    std::optional<FileStamp> looked_up(const std::string &path) {
        try {
            return stamp_of(path, options_.encoding);
        } catch (const DataError &reason) {
            refuse(reason.what());
            return std::nullopt;
        }
    }

    // The files to be read.
    std::vector<Task> tasks() {
        std::vector<Task> all;
        for (const std::string &path : found_.files) {
            const std::optional<FileStamp> stamp = looked_up(path);
            if (!stamp) continue;
            Task task{path, names_.name_of(path), *stamp};
            if (task.name.size() > longest_name)
                refuse(path + ": the name is longer than " + std::to_string(longest_name) +
                       " bytes; put the database nearer to it");
            else if (is_unchanged(task))
                unchanged_++;
            else
                all.push_back(std::move(task));
        }
        return all;
    }

    void read(IndexWriter &index, const std::vector<Task> &all) {
        double total = 0;
        for (const Task &task : all)
            total += static_cast<double>(task.stamp.size);
        progress_.emplace("reading shapefiles", total);
        for (const Task &task : all) {
            if (Interruption::is_asked()) break;
            read(index, task);
            done_ += static_cast<double>(task.stamp.size);
            index.commit_now_and_then();
        }
        progress_.reset();
    }

    void read(IndexWriter &index, const Task &task) {
        Complaints complaints;
        try {
            const CapturedLog log;
            const shapefile file(task.path,
                                 {options_.encoding, [&](const repair &told) { complaints.add(told); }});
            index.replace(task.name, stamp_of_what_was_read(task, complaints), file,
                          [&](const shape_record &record) { look(record); });
            read_++;
        } catch (const Stopped &) {
            return;
        } catch (const error &reason) {
            forget(index, task);
            return refuse(reason.what());
        }
        if (complaints.is_damaged())
            refuse(complaints.line());
        else if (!complaints.empty())
            say(complaints.line());
    }

    // What could not be opened is tried again by the next run, for which the file has changed.
    static FileStamp stamp_of_what_was_read(const Task &task, const Complaints &complaints) {
        FileStamp stamp = task.stamp;
        if (complaints.is_unread()) stamp.beside += " (not read in whole)";
        return stamp;
    }

    void look(const shape_record &record) {
        if (Interruption::is_asked()) throw Stopped();
        progress_->update(done_ + static_cast<double>(record.offset()));
    }

    // What the index has of a file that cannot be read any more leads nowhere.
    void forget(IndexWriter &index, const Task &task) const {
        if (const auto known = known_.find(task.name); known != known_.end())
            index.remove(known->second.fileid);
    }

    void sum_up(int64_t shapes) {
        std::string line = options_.output + ": " + counted(shapes, "shape") + "; " + counted(read_, "file") +
                           " read, " + std::to_string(unchanged_) + " unchanged, " +
                           std::to_string(removed_) + " removed";
        if (Interruption::is_asked()) line += "; interrupted, run it again to go on";
        say(line);
    }

    const Options &options_;
    ShapefileWalk found_;
    std::filesystem::path path_;
    StoredNames names_;
    std::map<std::string, IndexWriter::File> known_;
    std::optional<Progress> progress_;
    double done_ = 0; // bytes
    size_t read_ = 0, unchanged_ = 0, removed_ = 0;
    size_t refused_ = 0;
    bool is_kept_ = false; // the database
};

} // namespace

void add_index(CommandLine &program) {
    const auto options = std::make_shared<Options>();
    const Subcommand command = program.add("index", description);
    command.add("INPUT", options->inputs, "DIR|FILE", "Shapefiles, and directories with shapefiles below")
        .required();
    command.add("-o,--output", options->output, "FILE", "The database").required();
    command.add("--encoding", options->encoding, "NAME",
                "What texts are in where no .cpg file and no table\n"
                "tells; ISO-8859-1 when not given");
    command.footer(footer);
    command.action([options] { Indexing(*options).run(); });
}

} // namespace lindra::tools
