// SPDX-License-Identifier: MIT
//
// A shapefile: shapes, their index and their attributes in three files of one name, read as far as they make
// sense ("ESRI Shapefile Technical Description", ESRI, 1998). The C face reads what the fields of a correct
// file say, this one what is there; every departure is told to the caller. How: docs/decisions.
#ifndef LINDRA_SHAPEFILE_SHAPEFILE_HPP
#define LINDRA_SHAPEFILE_SHAPEFILE_HPP

#include "attributes.hpp"
#include "record_finder.hpp"
#include "shape_record.hpp"

#include "../face/fault_guard.hpp"
#include "../face/lookup.hpp"
#include "../face/mapped_file.hpp"
#include "../face/report.hpp"
#include "../face/value_iterator.hpp"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lindra {

struct shapefile_options {
    // Of the texts, a name that iconv knows, for tables that tell none.
    std::string encoding = {};
    // Called for every repair: those of files as they are opened, those of records and values whenever these
    // are looked at. It may throw; nothing is left half-done.
    repair_handler on_repair = {};
};

// The files of a shapefile in memory. All but shp may be empty.
struct shapefile_bytes {
    byte_span shp;
    byte_span shx = {};
    byte_span dbf = {};
    std::string_view cpg = {};
};

// shapefile: an open shapefile. Records, parts, points and rows look into it and are valid while it lives; it
// may be moved meanwhile. Files up to 16 MiB are private copies; larger ones are mapped, and are to be looked
// at under a guard (guarded) where others may cut them meanwhile. Separate objects, of one file too, may be
// used by separate threads; one object belongs to one thread at a time.
class shapefile {
  public:
    // Opens PATH.shp, given with or without the ending, and the .shx, .dbf and .cpg files beside it, where
    // they are there. Throws error when the main file cannot be read, is shorter than its header or does not
    // begin with the number of the format, or when a file is cut by others meanwhile. Other files that are
    // unusable are repairs.
    explicit shapefile(const std::string &path, const shapefile_options &options = {})
        : state_(std::make_unique<state>()) {
        const std::string main = main_path(path);
        state_->shp = detail::mapped_file(main);
        const detail::reporter reporter(main, options.on_repair);
        map_beside(main, ".shx", state_->shx, options);
        map_beside(main, ".dbf", state_->dbf, options);
        detail::mapped_file cpg;
        map_beside(main, ".cpg", cpg, options);
        const byte_span name = cpg.bytes();
        const shapefile_bytes files = {
            state_->shp.bytes(),
            state_->shx.bytes(),
            state_->dbf.bytes(),
            {reinterpret_cast<const char *>(name.data()), std::min(name.size(), longest_name)}};
        detail::mapped_files mapped = mapped_files();
        mapped.back() = cpg.shared();
        guarded(mapped, [&] { open(files, main, options); });
    }

    // The same of files in memory, which outlive it. name: what errors and repairs call the main file.
    explicit shapefile(const shapefile_bytes &files, const shapefile_options &options = {},
                       const std::string &name = "memory.shp")
        : state_(std::make_unique<state>()) {
        open(files, name, options);
    }

    // The number of records.
    size_t size() const { return state_->records.size(); }
    bool empty() const { return size() == 0; }

    // Record i, from 0. Throws error when there is none.
    shape_record operator[](size_t i) const {
        if (i >= size())
            state_->report.refuse(state_->file.size(), "there is no record " + std::to_string(i));
        return record(i);
    }

    // The shape type and the extent that the main file's header tells.
    shape_type type() const {
        const int32_t code = detail::file_shape_type(state_->file.data());
        return detail::find_layout(code) ? static_cast<shape_type>(code) : shape_type::unknown;
    }
    shape_box bbox() const {
        const unsigned char *header = state_->file.data();
        return {detail::file_xmin(header), detail::file_ymin(header), detail::file_xmax(header),
                detail::file_ymax(header)};
    }

    bool has_attributes() const { return state_->table.has_value(); }

    // The columns of the table; none without one.
    const std::vector<table_field> &fields() const {
        static const std::vector<table_field> none;
        return state_->table ? state_->table->fields() : none;
    }

    // What the texts are in, and where that came from; none without a table.
    std::optional<text_encoding> encoding() const {
        return state_->table ? std::optional(state_->table->encoding()) : std::nullopt;
    }

    // The files that others can change, for guards.
    detail::mapped_files mapped_files() const {
        return {state_->shp.shared(), state_->shx.shared(), state_->dbf.shared(), nullptr};
    }

  private:
    struct state;

  public:
    class iterator : public detail::value_iterator<iterator, shape_record> {
      public:
        iterator() = default;

      private:
        friend value_iterator;
        friend class shapefile;
        iterator(const state &of, size_t index)
            : value_iterator(static_cast<difference_type>(index)), state_(&of) {}

        shape_record at(difference_type index) const {
            return shapefile::record(*state_, static_cast<size_t>(index));
        }

        const state *state_ = nullptr;
    };

    iterator begin() const { return {*state_, 0}; }
    iterator end() const { return {*state_, size()}; }

  private:
    static constexpr size_t longest_name = 64;
    static constexpr int32_t format_version = 1000;

    // Where records look, wherever the shapefile is moved.
    struct state {
        detail::mapped_file shp, shx, dbf;
        byte_span file;
        detail::reporter report;
        detail::record_places records;
        std::optional<attribute_table> table;
    };

    static shape_record record(const state &from, size_t i) {
        return {from.file, from.records[i], i, from.table ? &*from.table : nullptr, from.report};
    }
    shape_record record(size_t i) const { return record(*state_, i); }

    // --- Opening ---

    static std::string main_path(const std::string &path) {
        std::string extension = std::filesystem::path(path).extension().string();
        for (char &c : extension)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return extension == ".shp" ? path : path + ".shp";
    }

    // Maps the file of that ending beside the main file, in small letters or capitals, unless there is none:
    // where that is not known, mapping it tells why.
    static void map_beside(const std::string &main, const std::string &extension, detail::mapped_file &out,
                           const shapefile_options &options) {
        const std::string path = beside(main, extension);
        if (detail::is_absent(path)) return;
        try {
            out = detail::mapped_file(path);
        } catch (const error &reason) {
            if (options.on_repair) options.on_repair({repair_kind::file_beside, path, 0, reason.text()});
        }
    }

    static std::string beside(const std::string &main, const std::string &extension) {
        const std::string stem = main.substr(0, main.size() - extension.size());
        std::string capitals = extension;
        for (char &c : capitals)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        const bool is_in_capitals =
            !detail::is_absent(stem + capitals) && detail::is_absent(stem + extension);
        return stem + (is_in_capitals ? capitals : extension);
    }

    void open(const shapefile_bytes &files, const std::string &main, const shapefile_options &options) {
        state_->file = files.shp;
        state_->report = {main, options.on_repair};
        check_header();
        const detail::reporter index_report(beside(main, ".shx"), options.on_repair);
        const detail::index_entries index(files.shx, index_report);
        state_->records = detail::record_finder(files.shp, index, state_->report, index_report).find();
        if (!files.dbf.empty()) open_table(files, {beside(main, ".dbf"), options.on_repair}, options);
    }

    void check_header() const {
        const byte_span file = state_->file;
        const detail::reporter &report = state_->report;
        if (file.size() < detail::file_header_size) report.refuse(file.size(), "ends in its header");
        if (detail::file_magic(file.data()) != detail::index_entries::magic)
            report.refuse(0, "is no main file of a shapefile: it does not begin with the number 9994");
        if (const int32_t version = detail::file_version(file.data()); version != format_version)
            report(repair_kind::file_header, detail::file_version.offset,
                   "has version " + std::to_string(version) + ", read as 1000");
        const uint64_t length = uint64_t{2} * static_cast<uint32_t>(detail::file_length(file.data()));
        if (length != file.size())
            report(repair_kind::file_header, detail::file_length.offset,
                   "the length field says " + std::to_string(length) + " bytes, the file has " +
                       std::to_string(file.size()));
    }

    void open_table(const shapefile_bytes &files, const detail::reporter &report,
                    const shapefile_options &options) {
        try {
            state_->table.emplace(files.dbf, files.cpg, options.encoding, report);
        } catch (const error &reason) {
            report(repair_kind::table, reason.offset(), "is left aside: it " + reason.text());
            return;
        }
        state_->table->extend(size());
        if (state_->table->size() != size())
            report(repair_kind::table, detail::table_rows.offset,
                   "has " + std::to_string(state_->table->size()) + " rows for " + std::to_string(size()) +
                       " records");
    }

    std::unique_ptr<state> state_;
};

} // namespace lindra

#endif
