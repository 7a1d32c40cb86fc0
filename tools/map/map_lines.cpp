// SPDX-License-Identifier: MIT
//
// The library selects from the globe, where its choice leaves nothing out. Segments in bins that do not meet
// the window asked for are passed over before a point is read. The files hold segments without length, where
// a line touches the side of a bin: they are left out.

#include "map/map_lines.hpp"

#include "common/captured_log.hpp"
#include "common/errors.hpp"
#include "map/copies.hpp"
#include "map/globe_selection.hpp"
#include "map/joined.hpp"
#include "map/map_file.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <utility>

namespace lindra::tools {

namespace {

constexpr double bin_margin = 1e-4; // points are of single precision

// The pieces of each level.
using Pieces = std::map<int, std::vector<Line>>;

struct Source {
    LineKind kind;
    MapFile file;
    const char *word; // of the library's selection
};

constexpr Source border_source = {LineKind::border, MapFile::borders, "p:"};
constexpr Source river_source = {LineKind::river, MapFile::rivers, "r:"};

// The library's handle and the arrays it delivers into.
struct Handle {
    OwnedMap map = open_map();
    int capacity = 0;
    float *lon = nullptr;
    float *lat = nullptr;

    Handle() = default;
    ~Handle() {
        free(lon);
        free(lat);
    }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
};

// One file, selected by levels.
class LineFile {
  public:
    LineFile(const Source &source, char resolution, const Levels &levels)
        : path_(find_map_file(source.file, resolution)) {
        const std::string list = source.word + std::to_string(levels.mask());
        if (const auto complaint = select_globe(handle_.map.get(), list, resolution))
            throw DataError(path_ + " cannot be read: " + *complaint + import_again);
    }

    Pieces read(const Window &window) {
        Pieces pieces;
        for (int i = 0; i < handle_.map->nsegs; i++)
            if (const GmtSeg &segment = handle_.map->segs[i]; meets(bin_of(segment), window))
                if (Line line = read_segment(i); has_length(line))
                    pieces[segment.level].push_back(std::move(line));
        return pieces;
    }

  private:
    static Window bin_of(const GmtSeg &segment) {
        return {segment.west - bin_margin, segment.west + segment.file->dlon + bin_margin,
                segment.south - bin_margin, segment.south + segment.file->dlat + bin_margin};
    }

    static bool has_length(const Line &line) {
        return std::any_of(line.begin(), line.end(), [&](Point point) {
            return point.lon != line.front().lon || point.lat != line.front().lat;
        });
    }

    Line read_segment(int index) {
        handle_.map->iseg = index;
        const CapturedLog log; // no more than that memory is exhausted
        int count = 0;
        char type[4];
        int level = 0;
        if (gmtmap_nextseg(handle_.map.get(), &count, &handle_.capacity, &handle_.lon, &handle_.lat, type,
                           &level) < 0)
            throw std::bad_alloc();
        const GmtSeg &segment = handle_.map->segs[index];
        const double turn = segment.west + segment.file->dlon / 2 > 180 ? -360 : 0;
        Line line(static_cast<size_t>(count));
        for (size_t i = 0; i < line.size(); i++)
            line[i] = {handle_.lon[i] + turn, handle_.lat[i]};
        return line;
    }

    std::string path_;
    Handle handle_;
};

void append_lines(std::vector<MapLine> &to, const Source &source, char resolution, const Levels &levels,
                  const Window &window) {
    if (!levels.any()) return;
    for (auto &[level, pieces] : LineFile(source, resolution, levels).read(window))
        for (Line &line : joined(std::move(pieces)))
            to.push_back({source.kind, level, std::move(line)});
}

} // namespace

std::vector<MapLine> read_lines(char resolution, const Layers &layers, const Window &window) {
    std::vector<MapLine> lines;
    append_lines(lines, border_source, resolution, layers.borders, window);
    append_lines(lines, river_source, resolution, layers.rivers, window);
    return lines;
}

} // namespace lindra::tools
