// SPDX-License-Identifier: MIT

#include "import/coastlines.hpp"

#include "common/presence.hpp"
#include "common/progress.hpp"
#include "import/ancestors.hpp"
#include "import/binned_file.hpp"
#include "import/native_file.hpp"
#include "import/outlines.hpp"

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

// One file to read and the one to write.
struct Task {
    char letter;
    fs::path from;
    std::string name; // of the file to write
    double size;      // of the file to read
};

// What the printed line says of a file.
struct Summary {
    size_t polygons = 0, points = 0, with_ancestor = 0;
    std::array<size_t, 7> by_level{};
    uint64_t size = 0;
};

// The files that are there, from full to crude.
std::vector<Task> find_tasks(const ImportOptions &options) {
    std::vector<Task> tasks;
    for (const char letter : import_order) {
        const fs::path from = options.from / (std::string("binned_GSHHS_") + letter + ".nc");
        if (!is_there(from)) continue;
        std::error_code error;
        const auto size = fs::file_size(from, error);
        tasks.push_back(
            {letter, from, std::string("gshhs_") + letter + ".b", error ? 0 : static_cast<double>(size)});
    }
    return tasks;
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
    Importer(const std::vector<Task> &tasks, const ImportOptions &options)
        : progress_("importing", total_size(tasks), options.quiet), options_(options) {}

    void import(const Task &task) {
        const BinnedFile file = read_binned_file(task.from);
        const Outlines outlines(file);
        progress_.update(done_ + task.size / 2);
        const fs::path to = place_for(options_, task.name);
        NativeFile native(to);
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
        print(task, to, summary);
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

    void print(const Task &task, const fs::path &to, const Summary &summary) {
        if (options_.quiet) return;
        progress_.hide();
        print_line(to.string() + ": " + std::to_string(summary.polygons) + " polygons, " +
                   std::to_string(summary.points) + " points, " + std::to_string(summary.size) +
                   " bytes, levels" + levels(summary) + "; " + origin(task, summary));
    }

    Progress progress_;
    double done_ = 0; // bytes of the files read so far
    Ancestors full_;
    const ImportOptions &options_;
};

} // namespace

size_t import_coastlines(const ImportOptions &options) {
    const std::vector<Task> tasks = find_tasks(options);
    Importer importer(tasks, options);
    for (const Task &task : tasks)
        importer.import(task);
    return tasks.size();
}

} // namespace lindra::tools
