// SPDX-License-Identifier: MIT
//
// The library selects from the globe, where its choice leaves nothing out. Then the window of the handle is
// opened so wide that no point lies outside it: what is delivered is each polygon whole, point for point, in
// the frame round Greenwich, where single precision is finest. Polygons that do not meet the window asked for
// are passed over by their boxes before a point is read.

#include "map/coast.hpp"

#include "common/captured_log.hpp"
#include "common/counted.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "map/map_file.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace lindra::tools {

namespace {

constexpr double micro_degree = 1e-6;
// A reduced polygon bears the box of the full one, and reaches beyond it by up to 0.024 degrees in the files
// of version 2.3.7. The margin is the error that the crude one is allowed, 25 km.
constexpr double box_margin = 0.25;
constexpr int ice_front = 5;                 // the highest level, which is never selected
constexpr double widest_shore = 540;         // a turn round a pole, and bays that reach back over its ends
constexpr double latitude_limit = 90 + 1e-5; // one step of single precision is let pass

// How far a file can be read: whole polygons, and the byte where the next one begins.
struct Readable {
    int polygons;
    long long bytes;
};

// Calls visit with each header and the address of the points behind it.
template <class Visit>
Readable walk_headers(const GshhsSelect &layer, Visit visit) {
    unsigned char *position = layer.data;
    GSHHSHdr record;
    GSHHSHdr *hdr = &record;
    for (int polygons = 0;; polygons++) {
        const Readable before = {polygons, position - layer.data};
        if (before.bytes >= layer.size || gshhs_unstuff_hdr(&hdr, &position) < 0) return before;
        const unsigned char *points = position;
        if (gshhs_skip_pts(hdr, &position) < 0) return before;
        visit(record, points);
    }
}

// A polygon with a sound box is selected from the globe; one whose box is damaged would be missing from the
// map without a word.
bool is_sound(const GSHHSHdr &hdr) {
    constexpr int turn = 360'000'000;
    constexpr int pole = 90'000'000;
    return hdr.level >= 1 && hdr.level <= ice_front && -pole <= hdr.south && hdr.south <= hdr.north &&
           hdr.north <= pole && -turn <= hdr.west && hdr.west <= hdr.east && hdr.east <= turn + turn &&
           hdr.east - hdr.west <= turn;
}

// In degrees.
Window box_of(const GSHHSHdr &hdr) {
    return {hdr.west * micro_degree - box_margin, hdr.east * micro_degree + box_margin,
            hdr.south * micro_degree - box_margin, hdr.north * micro_degree + box_margin};
}

// Round a pole the way from the last point to the first is a whole turn.
double turn_to_start(const Ring &shore) {
    return 360 * std::round((shore.back().lon - shore.front().lon) / 360);
}

int pole_of(const Ring &shore) {
    double sum = 0;
    for (const Point &point : shore)
        sum += point.lat;
    return sum < 0 ? -1 : 1;
}

// Returns null for a shore that can be. One that winds on and on would have no end of copies in a window.
const char *what_is_wrong(const Ring &shore) {
    double west = beyond_everything;
    double east = -beyond_everything;
    for (const Point &point : shore) {
        if (std::fabs(point.lat) > latitude_limit) return "has a latitude beyond the pole";
        west = std::min(west, point.lon);
        east = std::max(east, point.lon);
    }
    return east - west > widest_shore ? "winds round the globe more than once" : nullptr;
}

// Takes away the closing point, or lays it a turn away from the first.
void close_shore(Polygon &polygon) {
    Ring &shore = polygon.shore;
    const double turn = turn_to_start(shore);
    const Point closing = {shore.front().lon + turn, shore.front().lat};
    if (shore.size() > 1 && std::fabs(shore.back().lon - closing.lon) < 1e-4 &&
        shore.back().lat == closing.lat)
        shore.pop_back();
    polygon.pole = turn == 0 ? 0 : pole_of(shore);
    if (polygon.pole != 0) shore.push_back(closing);
}

} // namespace

struct Coastline::Source {
    std::string path;
    GshhsMap *map = nullptr;
    int capacity = 0;
    float *lon = nullptr;
    float *lat = nullptr;

    ~Source() {
        free(lon);
        free(lat);
        lindra_free_gshhsmap(map);
    }

    void select(char resolution) {
        const char name[] = {resolution, '\0'};
        const CapturedLog log;
        const bool selected =
            gshhsmap_open(&map) == 0 && gshhsmap_select(map, "f:0", name, 0, 360, -90, 90, 0, 0) >= 0;
        const int reason = errno;
        if (!selected) fail(log.one_line(), reason);
        if (map->select[0].size == 0) throw DataError(path + " is empty" + import_again);
        walk_headers(map->select[0], [&](const GSHHSHdr &hdr, const unsigned char *points) {
            if (!is_sound(hdr)) fail_at(hdr, points, "has an impossible level or box");
        });
        map->lonref = -180;
        map->west = map->south = -beyond_everything;
        map->east = map->north = beyond_everything;
    }

    [[noreturn]] void fail(const std::string &said, int reason) const {
        if (!map || !map->select[0].data) refuse_unreadable(path, reason);
        const auto [polygons, bytes] = walk_headers(map->select[0], [](auto &&...) {});
        throw DataError(path + " is damaged at byte " + std::to_string(bytes) + ", after " +
                        counted(polygons, "polygon") + ": " + said + import_again);
    }

    [[noreturn]] void fail_at(const GSHHSHdr &hdr, const unsigned char *points, const char *what) const {
        throw DataError(path + " is damaged: polygon " + std::to_string(hdr.id) +
                        ", whose points begin at byte " + std::to_string(points - map->select[0].data) +
                        ", " + what + import_again);
    }

    void read(int index, Polygon &polygon) {
        map->iseg = index;
        const CapturedLog log; // no more than that memory is exhausted
        int count = 0;
        char type[2];
        int inside;
        if (gshhsmap_nextseg(map, &count, &capacity, &lon, &lat, type, &polygon.level, &inside) < 0)
            throw std::bad_alloc();
        polygon.id = map->segs[index].hdr.id;
        copy_points(count, polygon.shore);
        if (const char *wrong = what_is_wrong(polygon.shore))
            fail_at(map->segs[index].hdr, map->segs[index].pts, wrong);
        if (count > 0) close_shore(polygon);
    }

    void copy_points(int count, Ring &shore) const {
        shore.resize(static_cast<size_t>(count));
        for (size_t i = 0; i < shore.size(); i++)
            shore[i] = {lon[i], lat[i]};
    }
};

Coastline::Coastline(char resolution) : source_(std::make_unique<Source>()) {
    source_->path = find_map_file(MapFile::coast, resolution);
    source_->select(resolution);
}

Coastline::~Coastline() = default;

void Coastline::visit(const Window &window, const std::function<void(const Polygon &)> &visit) {
    Polygon polygon;
    for (int i = 0; i < source_->map->nsegs; i++) {
        const GSHHSHdr &hdr = source_->map->segs[i].hdr;
        if (hdr.n == 0 || !meets(box_of(hdr), window)) continue;
        source_->read(i, polygon);
        visit(polygon);
    }
}

Ring Polygon::area() const {
    Ring ring = shore;
    if (pole == 0) return ring;
    ring.push_back({shore.back().lon, 90.0 * pole});
    ring.push_back({shore.front().lon, 90.0 * pole});
    return ring;
}

} // namespace lindra::tools
