// SPDX-License-Identifier: MIT

#include "import/coastlines.hpp"

#include "common/errors.hpp"
#include "common/progress.hpp"
#include "import/ancestors.hpp"
#include "import/binned_file.hpp"
#include "import/native_file.hpp"
#include "import/outlines.hpp"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

constexpr const char *how_to_get =
    "install the Debian packages gmt-gshhg-low, gmt-gshhg-high and gmt-gshhg-full, which put them into "
    "/usr/share/gmt-gshhg, or name the directory that has them";

// One file to read and the one to write.
struct Task {
    char letter;
    fs::path from, to;
    double size; // of the file to read
};

// What the printed line says of a file.
struct Summary {
    size_t polygons = 0, points = 0, with_ancestor = 0;
    std::array<size_t, 7> by_level{};
    uint64_t size = 0;
};

void require_directory(const fs::path &directory) {
    std::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (!fs::status_known(status))
        throw DataError("the directory " + directory.string() + " cannot be read: " + error.message());
    if (!fs::exists(status))
        throw DataError("there is no directory " + directory.string() + "; for the binned_GSHHS_*.nc files " +
                        how_to_get);
    if (!fs::is_directory(status))
        throw DataError(directory.string() +
                        " is not a directory; name the one that holds the binned_GSHHS_*.nc files");
    if (access(directory.c_str(), R_OK | X_OK) != 0)
        throw DataError("the directory " + directory.string() + " cannot be read: " + std::strerror(errno));
}

// The files that are there, from full to crude.
std::vector<Task> find_tasks(const ImportOptions &options) {
    require_directory(options.from);
    std::vector<Task> tasks;
    for (const char letter : {'f', 'h', 'i', 'l', 'c'}) {
        const fs::path from = options.from / (std::string("binned_GSHHS_") + letter + ".nc");
        const fs::path to = options.to / "maps" / "lindra" / (std::string("gshhs_") + letter + ".b");
        std::error_code error;
        if (!fs::exists(from, error)) continue;
        const auto size = fs::file_size(from, error);
        tasks.push_back({letter, from, to, error ? 0 : static_cast<double>(size)});
    }
    if (tasks.empty())
        throw DataError(options.from.string() + " has none of binned_GSHHS_{c,l,i,h,f}.nc; " + how_to_get);
    return tasks;
}

void make_directory_for(const fs::path &file) {
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (error)
        throw DataError("the directory " + file.parent_path().string() +
                        " cannot be made: " + error.message());
}

// The header of a polygon, but for its box and ancestor.
NativeHeader header_of(const BinnedFile &file, size_t polygon, int32_t level, const Extent &extent) {
    const double full_area = std::abs(file.area[polygon]);
    return {.id = static_cast<int32_t>(polygon),
            .level = level,
            .crossings = extent.crossings,
            .river_lake = file.area[polygon] < 0,
            .box = extent.box,
            .area = full_area * file.fraction[polygon] / 1e6,
            .area_full = full_area,
            .container = file.container[polygon],
            .ancestor = -1};
}

// The number of polygons of each level that occurs, " LEVEL:COUNT" for each.
std::string levels(const Summary &summary) {
    std::string text;
    for (size_t level = 1; level < summary.by_level.size(); level++)
        if (summary.by_level[level] > 0)
            text.append(" ")
                .append(std::to_string(level))
                .append(":")
                .append(std::to_string(summary.by_level[level]));
    return text;
}

class Importer {
  public:
    Importer(const std::vector<Task> &tasks, bool quiet)
        : progress_("importing", total_size(tasks), quiet), quiet_(quiet) {}

    void import(const Task &task) {
        const BinnedFile file = read_binned_file(task.from);
        const Outlines outlines(file);
        progress_.update(done_ + task.size / 2);
        make_directory_for(task.to);
        NativeFile native(task.to);
        Summary summary;
        for (size_t polygon = 0; polygon < file.polygon_count(); polygon++) {
            append(native, file, polygon, outlines.of(polygon), task.letter == 'f', summary);
            const double share = static_cast<double>(summary.points) / static_cast<double>(file.x.size());
            progress_.update(done_ + task.size / 2 * (1 + share));
        }
        native.commit();
        summary.size = native.size();
        if (task.letter == 'f') full_.sort();
        done_ += task.size;
        print(task, summary);
    }

  private:
    static double total_size(const std::vector<Task> &tasks) {
        double total = 0;
        for (const Task &task : tasks)
            total += task.size;
        return total;
    }

    void append(NativeFile &native, const BinnedFile &file, size_t id, std::span<const int32_t> outline,
                bool full, Summary &summary) {
        const NativePolygon polygon = trace_polygon(file, outline, full);
        NativeHeader header = header_of(file, id, polygon.level, extent_of(polygon));
        if (full)
            become_ancestor(header, file.area[id]);
        else
            find_ancestor(header, file.area[id]);
        native.append(header, polygon.vertices);
        summary.polygons++;
        summary.points += polygon.vertices.size();
        summary.with_ancestor += header.ancestor >= 0;
        summary.by_level[static_cast<size_t>(polygon.level)]++;
    }

    // A polygon of the full resolution is its own ancestor.
    void become_ancestor(NativeHeader &header, double area) {
        header.ancestor = header.id;
        full_.add({header.level, area, header.id, header.box});
    }

    void find_ancestor(NativeHeader &header, double area) const {
        const Ancestors::Ancestor *ancestor = full_.find(header.level, area, header.box);
        if (!ancestor) return;
        header.ancestor = ancestor->id;
        header.box = ancestor->box;
    }

    // Where boxes and ancestors come from.
    std::string origin(const Task &task, const Summary &summary) const {
        if (task.letter == 'f') return "own boxes";
        if (full_.empty()) return "own boxes, no ancestors: binned_GSHHS_f.nc is not there";
        return "boxes and ancestors of " + std::to_string(summary.with_ancestor) +
               " polygons from binned_GSHHS_f.nc";
    }

    void print(const Task &task, const Summary &summary) {
        if (quiet_) return;
        progress_.hide();
        printf("%s: %zu polygons, %zu points, %ju bytes, levels%s; %s\n", task.to.c_str(), summary.polygons,
               summary.points, static_cast<uintmax_t>(summary.size), levels(summary).c_str(),
               origin(task, summary).c_str());
        if (fflush(stdout) != 0)
            throw DataError("standard output cannot be written: " + std::string(strerror(errno)));
    }

    Progress progress_;
    double done_ = 0; // bytes of the files read so far
    Ancestors full_;
    bool quiet_;
};

} // namespace

void import_coastlines(const ImportOptions &options) {
    const std::vector<Task> tasks = find_tasks(options);
    Importer importer(tasks, options.quiet);
    for (const Task &task : tasks)
        importer.import(task);
}

} // namespace lindra::tools
