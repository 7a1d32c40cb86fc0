// SPDX-License-Identifier: MIT
//
// GSHHS coastlines: the polygon files of GSHHG ("A Global Self-consistent, Hierarchical, High-resolution
// Geography Database", README of version 2.3.7, 2017).
//
// A file is a plain sequence of polygons: a header of eleven big-endian 32-bit words, or of eight words and
// two 16-bit halves in the versions before 4, then n points of two words, longitude and latitude in
// micro-degrees. There is no table of contents; a selection walks every header and skips the points between
// them, and the selected polygons' points are converted straight from the mapped file as they are delivered.
//
// The odd parts. Longitudes lie in 0..360, but for polygons round a pole, and jump by 360 where a polygon
// crosses Greenwich, so every walk over points makes them continuous first. The choice of polygons and the
// clipping judge west and east by different rules; both are kept as they always were, because programs that
// draw from this reader depend on what it delivers. A selection reads each layer's file of its own, even
// where two layers name the same one.
//
// Angles are computed in double precision and delivered in single precision; the even-odd test works on what
// is delivered, in single precision but for what involves 180 and 360.

#include "lindra.h"

#include "fail.hpp"
#include "selection.hpp"
#include "stream.hpp"
#include "support.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <sys/stat.h>

using lindra::fail;
using lindra::load_be;
using lindra::mask_of_item;
using lindra::resolution_index;
using lindra::resolutions;
using lindra::Stream;

namespace {

constexpr double degrees = 1e-6; // of a micro-degree
constexpr size_t short_header_size = 36;
constexpr size_t long_header_size = 44;
constexpr size_t flag_word_offset = 8;
constexpr size_t point_size = 8;
constexpr int long_header_version = 4;
constexpr int level_ice_front = 5;
constexpr int level_grounding_line = 6;
constexpr int mask_bits = 32;
constexpr int max_layers = 2;
constexpr int first_segs = 2000;
constexpr int first_points = 100;
constexpr double largest_longitude = 1e9;

constexpr const char *gshhsmap_names[] = {"c.b", "l.b", "i.b", "h.b", "f.b"};

// --- Whole turns ------------------------------------------------------------------------------------------

// What to add to x, far below limit, in place of many steps of 360: the steps that stay below zero, or inside
// one binade, are all free of rounding, so that their sum gives the same bits. A damaged file can wind a
// polygon round the globe a million times; this keeps the walk over it linear.
double many_turns(double x, double limit) {
    const double edge = x < 0 ? 0 : std::ldexp(1, std::ilogb(x) + 1);
    const double turns = std::floor((std::min(limit, edge) - x) / 360) - 1;
    return 360 * std::max(turns, 1.0);
}

constexpr double far_away = 16 * 360;

// While limit is greater than x, add 360.
inline double raised(double x, double limit) {
    while (limit > x)
        x += limit - x > far_away ? many_turns(x, limit) : 360;
    return x;
}

// While x is greater than limit, subtract 360.
inline double lowered(double x, double limit) {
    while (x > limit)
        x -= x - limit > far_away ? many_turns(-x, -limit) : 360;
    return x;
}

inline double framed(double x, double lonref) {
    return lowered(raised(x, lonref), lonref + 360);
}

// --- Headers ----------------------------------------------------------------------------------------------

// Leaves the stream where it is when the header does not fit.
bool read_header(Stream &stream, GSHHSHdr &hdr) {
    if (stream.left() < short_header_size) return false;
    const auto flag = load_be<int32_t>(stream.pos() + flag_word_offset);
    hdr.version = (flag >> 8) & 255;
    hdr.level = flag & 255;
    const bool is_long = hdr.version >= long_header_version;
    if (stream.left() < (is_long ? long_header_size : short_header_size)) return false;

    const auto take = [&stream](auto &...fields) { (stream.be(fields), ...); };
    take(hdr.id, hdr.n);
    stream.skip(sizeof flag);
    take(hdr.west, hdr.east, hdr.south, hdr.north, hdr.area);
    if (is_long)
        take(hdr.area_full, hdr.container, hdr.ancestor);
    else
        take(hdr.greenwich, hdr.source);

    // Deliberate: Antarctica by its grounding line is delivered as land; no other level is changed.
    if (hdr.level == level_grounding_line) hdr.level = 1;
    return true;
}

int unstuff_header(Stream &stream, GSHHSHdr &hdr) {
    hdr = {};
    if (read_header(stream, hdr)) return 0;
    hdr = {};
    return fail(0, "gshhs_unstuff_hdr: polygon header is cut, %zu bytes left.\n", stream.left());
}

int skip_points(Stream &stream, const GSHHSHdr &hdr) {
    if (hdr.n < 0 || static_cast<size_t>(hdr.n) > stream.left() / point_size)
        return fail(0, "gshhs_skip_pts: polygon %d has %d points, %zu bytes left.\n", hdr.id, hdr.n,
                    stream.left());
    stream.skip(static_cast<size_t>(hdr.n) * point_size);
    return 0;
}

// --- Selection --------------------------------------------------------------------------------------------

void clear_selection(GshhsMap *gs) {
    for (GshhsSelect &layer : gs->select)
        layer.data = nullptr;
    gs->nselect = 0;
    gs->nsegs = 0;
    gs->iseg = 0;
}

// Brought into the frame by steps of 360, a longitude without bounds would take for ever.
int require_longitude(double longitude) {
    if (!(std::fabs(longitude) > largest_longitude)) return 0;
    return fail(0, "gshhsmap_select: longitude %g is not between -1e9 and 1e9.\n", longitude);
}

int set_window(GshhsMap *gs, double west, double east, double south, double north) {
    if (east - west >= 360) {
        west = 0;
        east = 360;
    } else {
        if (require_longitude(west) < 0 || require_longitude(east) < 0) return -1;
        west = lowered(raised(west, -180), 180);
        east = lowered(raised(east, west), west + 360);
    }
    gs->lonref = 0.5 * (west + east) - 180;
    gs->west = west;
    gs->east = east;
    gs->south = south;
    gs->north = north;
    return 0;
}

int set_reference(GshhsMap *gs, double clon, double clat) {
    if (require_longitude(clon) < 0) return -1;
    gs->antilon = framed(180 + clon, gs->lonref);
    gs->antilat = -clat;
    return 0;
}

int add_layers(GshhsMap *gs, const char *list, int resolution) {
    int argc;
    char **argv;
    if (splitlist(list, &argc, &argv) < 0) return fail(0, "gshhsmap_select: splitlist() error.\n");

    for (int i = 0; i < argc && gs->nselect < max_layers; i++) {
        const char letter = argv[i][0];
        if (letter != 'c' && letter != 'f') continue;
        GshhsSelect &layer = gs->select[gs->nselect++];
        layer.type[0] = letter;
        layer.type[1] = '\0';
        layer.kind = letter == 'c' ? 2 : 1;
        layer.levels = mask_of_item(argv[i]);
        // Deliberate: both layers look here before either file is mapped, so that the first selection of two
        // layers maps their file twice and the cache keeps the second mapping.
        layer.data = gs->cache_data[resolution];
        layer.size = gs->cache_size[resolution];
    }
    freeargs(argc, argv);
    return 0;
}

// Looked at before the file is mapped, because a mapping whose extent is known is never released.
bool is_too_large(const char *path, int64_t &size) {
    struct stat found;
    if (stat(path, &found) != 0) return false;
    size = found.st_size;
    return size > INT32_MAX;
}

int map_path(const char *path, GshhsSelect &layer) {
    char *data = nullptr;
    int64_t size;
    if (is_too_large(path, size))
        return fail(0, "gshhsmap_select: %s has %lld bytes, must be less than 2147483648.\n", path,
                    static_cast<long long>(size));
    size = mapfile(path, nullptr, &data);
    if (size < 0) return fail(0, "gshhsmap_select: mapfile(%s) error.\n", path);
    if (lindra_bound(data, static_cast<size_t>(size)) < 0) {
        // Nobody else knows of it.
        lindra_unmapfile(data, size);
        return fail(1, "gshhsmap_select: lindra_bound(%s) error.\n", path);
    }
    layer.data = reinterpret_cast<unsigned char *>(data);
    layer.size = static_cast<int32_t>(std::min<int64_t>(size, INT32_MAX));
    return 0;
}

int map_layer(GshhsMap *gs, GshhsSelect &layer, int resolution) {
    char relative[256];
    snprintf(relative, sizeof relative, "%s/%s%s", "maps/lindra", "gshhs_", gshhsmap_names[resolution]);
    char *path = datafile(nullptr, relative);
    // Deliberate: this text and the two of append_polygon name their function as they always did.
    if (!path) return fail(0, "gshhs_select: datafile(%s) error.\n", relative);
    const int result = map_path(path, layer);
    free(path);
    if (result < 0) return result;

    gs->cache_data[resolution] = layer.data;
    gs->cache_size[resolution] = layer.size;
    return 0;
}

bool meets_window(const GshhsMap *gs, const GSHHSHdr &hdr) {
    if (hdr.south * degrees > gs->north || gs->south > hdr.north * degrees) return false;

    double west = hdr.west * degrees;
    double east = hdr.east * degrees;
    while (gs->lonref > west) {
        west += 360;
        east += 360;
    }
    // Deliberate: the east end is held against 360 itself, not against the end of the frame.
    while (west > gs->lonref + 360 || east > 360) {
        west -= 360;
        east -= 360;
    }
    return !(west > gs->east || gs->west > east);
}

// 1 or 0, or -1 for a level that no bit of a mask stands for.
int wanted_level(const GshhsSelect &layer, const GSHHSHdr &hdr) {
    if (layer.levels == 0) return 1;
    if (hdr.level < 1 || hdr.level > mask_bits)
        return fail(0, "gshhsmap_select: polygon %d has level %d, must be 1 to %d.\n", hdr.id, hdr.level,
                    mask_bits);
    return static_cast<int>((static_cast<uint32_t>(layer.levels) >> (hdr.level - 1)) & 1);
}

int append_polygon(GshhsMap *gs, GshhsSelect &layer, const GSHHSHdr &hdr, unsigned char *pts) {
    if (!gs->segs) {
        gs->segs_alloc = first_segs;
        const size_t size = first_segs * sizeof(GshhsSeg);
        gs->segs = static_cast<GshhsSeg *>(malloc(size));
        if (!gs->segs) return fail(1, "gshhs_select: malloc(gs->segs,%ld).\n", static_cast<long>(size));
    } else if (gs->nsegs + 1 > gs->segs_alloc) {
        const size_t size = static_cast<size_t>(gs->segs_alloc) * 2 * sizeof(GshhsSeg);
        void *grown = realloc(gs->segs, size);
        // The capacity is doubled only when the storage is: after a failure the index goes on as it was.
        // Deliberate: the text names gmt->segs.
        if (!grown) return fail(1, "gshhs_select: realloc(gmt->segs,%ld).\n", static_cast<long>(size));
        gs->segs = static_cast<GshhsSeg *>(grown);
        gs->segs_alloc *= 2;
    }
    gs->segs[gs->nsegs++] = {hdr, layer.kind, pts, &layer};
    return 0;
}

int select_polygons(GshhsMap *gs, GshhsSelect &layer) {
    unsigned char *cursor = layer.data;
    Stream stream(&cursor, layer.data + layer.size);
    while (stream.left() > 0) {
        GSHHSHdr hdr;
        if (unstuff_header(stream, hdr) < 0) return fail(0, "gshhsmap_select: gshhs_unstuff_hdr() error.\n");
        unsigned char *pts = cursor;
        if (skip_points(stream, hdr) < 0) return fail(0, "gshhsmap_select: gshhs_skip_pts() error.\n");

        // Deliberate: Antarctica by its ice front is never selected, whatever the mask says.
        if (hdr.level == level_ice_front || !meets_window(gs, hdr)) continue;
        const int wanted = wanted_level(layer, hdr);
        if (wanted < 0) return -1;
        if (wanted && append_polygon(gs, layer, hdr, pts) < 0) return -1;
    }
    return 0;
}

// --- Delivery ---------------------------------------------------------------------------------------------

struct Point {
    double lon, lat;
};

// The points of one polygon in degrees, each longitude within half a turn of the one before. The selection
// has made sure that all of them lie in the file.
class ContinuousPoints {
  public:
    explicit ContinuousPoints(const GshhsSeg &seg) : from_(seg.pts) {}

    Point next() {
        Point point = {load_be<int32_t>(from_) * degrees, load_be<int32_t>(from_ + 4) * degrees};
        from_ += point_size;
        if (previous_) point.lon = raised(lowered(point.lon, *previous_ + 180), *previous_ - 180);
        previous_ = point.lon;
        return point;
    }

  private:
    const unsigned char *from_;
    std::optional<double> previous_;
};

// The multiple of 360 that brings the point nearest the window's centre to its place; the first such point
// counts.
double shift_to_window(const GshhsMap *gs, const GshhsSeg &seg) {
    const double centre = 180 + gs->lonref;
    double best = 1e20;
    double shift = 0;
    ContinuousPoints points(seg);
    for (int i = 0; i < seg.hdr.n; i++) {
        const double lon = points.next().lon;
        const double t = framed(lon, gs->lonref);
        if (best > std::fabs(t - centre)) {
            best = std::fabs(t - centre);
            shift = t - lon;
        }
    }
    return shift;
}

// The caller's two arrays, grown as points are appended.
class PointArrays {
  public:
    PointArrays(float **lon, float **lat, int *nalloc, int polygon_points)
        : lon_(lon), lat_(lat), nalloc_(nalloc), reported_(static_cast<long>(polygon_points) * 4) {}

    int count() const { return count_; }

    int make_room(int added) {
        const int64_t need = static_cast<int64_t>(count_) + added;
        if (!*lon_ || !*lat_) return allocate(need);
        return need > *nalloc_ ? grow(need) : 0;
    }

    void append(Point point) {
        (*lon_)[count_] = static_cast<float>(point.lon);
        (*lat_)[count_] = static_cast<float>(point.lat);
        count_++;
    }

  private:
    static int64_t doubled(int64_t size, int64_t need) {
        while (need > size)
            size *= 2;
        return size;
    }

    // Deliberate: the messages name gshhs_nextseg and give four bytes for each point of the polygon, not the
    // size asked for.
    int allocate(int64_t need) {
        const int64_t size = doubled(first_points, need);
        // Deliberate: after a failure here the pointer not yet replaced still names freed storage.
        free(*lon_);
        free(*lat_);
        *lon_ = static_cast<float *>(malloc(static_cast<size_t>(size) * sizeof(float)));
        if (!*lon_) return fail(1, "gshhs_nextseg: malloc(lon,%ld) error.\n", reported_);
        *lat_ = static_cast<float *>(malloc(static_cast<size_t>(size) * sizeof(float)));
        if (!*lat_) return fail(1, "gshhs_nextseg: malloc(lat,%ld) error.\n", reported_);
        *nalloc_ = static_cast<int>(size);
        return 0;
    }

    // Deliberate: a pointer whose growth failed becomes null and its old storage is not freed.
    int grow(int64_t need) {
        const int64_t size = doubled(std::max(*nalloc_, 1), need);
        *lon_ = static_cast<float *>(realloc(*lon_, static_cast<size_t>(size) * sizeof(float)));
        if (!*lon_) return fail(1, "gshhs_nextseg: realloc(lon,%ld) error.\n", reported_);
        *lat_ = static_cast<float *>(realloc(*lat_, static_cast<size_t>(size) * sizeof(float)));
        if (!*lat_) return fail(1, "gshhs_nextseg: realloc(lat,%ld) error.\n", reported_);
        *nalloc_ = static_cast<int>(size);
        return 0;
    }

    float **lon_;
    float **lat_;
    int *nalloc_;
    long reported_;
    int count_ = 0;
};

// Replaces runs of points outside the window by points on its border, so that what is filled inside it stays
// right. Regions are 3 x latitude class + longitude class, each 0 below, 1 within, 2 beyond the window: 4 is
// inside.
class WindowClip {
  public:
    WindowClip(const GshhsMap *gs, PointArrays &out) : gs_(gs), out_(out) {}

    int add(Point point) {
        const int region = region_of(point);
        bool add_current = true;
        bool add_previous = false;
        if (previous_region_ != none) {
            if (region == inside) {
                add_previous = previous_region_ != inside;
            } else {
                if (previous_region_ == inside) {
                    previous_ = point;
                    add_previous = true;
                }
                if (region != previous_region_)
                    clamp(point, region);
                else
                    add_current = false;
            }
        }
        if (out_.make_room(add_current + add_previous) < 0) return -1;
        if (add_previous) out_.append(previous_);
        if (add_current) out_.append(point);
        previous_region_ = region;
        previous_ = point;
        return 0;
    }

  private:
    static constexpr int inside = 4;
    static constexpr int none = -1;

    int region_of(Point point) const {
        const int lat_class = gs_->south > point.lat ? 0 : point.lat > gs_->north ? 2 : 1;
        // Deliberate: the west is judged by the longitude folded to be positive, the east by the longitude as
        // it is.
        const double folded = point.lon < 0 ? point.lon + 360 : point.lon;
        const int lon_class = gs_->west > folded ? 0 : point.lon > gs_->east ? 2 : 1;
        return 3 * lat_class + lon_class;
    }

    void clamp(Point &point, int region) const {
        if (region % 3 == 0) point.lon = gs_->west;
        if (region % 3 == 2) point.lon = gs_->east;
        if (region / 3 == 0) point.lat = gs_->south;
        if (region / 3 == 2) point.lat = gs_->north;
    }

    const GshhsMap *gs_;
    PointArrays &out_;
    int previous_region_ = none;
    Point previous_ = {};
};

// Deliberate: written without a bound; the caller provides two bytes.
void write_type(char *type, int kind, int level) {
    if (kind == 1) strcpy(type, level % 2 ? "l" : "w");
    if (kind == 2) strcpy(type, "c");
}

// --- Even-odd test ----------------------------------------------------------------------------------------

// Whether the ray to the north from px, py crosses the edge. Single precision, but for what involves 180 and
// 360.
bool ray_crosses(float x1, float y1, float x2, float y2, float px, float py, float second_lon) {
    if (x1 - 180.0 > x2) x2 = static_cast<float>(x2 + 360.0);
    if (x2 > x1 + 180.0) x2 = static_cast<float>(x2 - 360.0);
    if (py > y1 && py > y2) return false;

    // The part of the edge north of the point runs from a to b. An end at the point's latitude counts as
    // north.
    float a = x1;
    float b = x2;
    bool falls_eastward = false;
    if (y1 >= py && y2 >= py) {
        // The whole edge.
    } else if (y2 >= py) {
        a = x1 + (py - y1) * (x2 - x1) / (y2 - y1);
    } else {
        b = x2 + (py - y2) * (x1 - x2) / (y1 - y2);
        falls_eastward = b >= x1;
    }

    const float lo = std::min(a, b);
    const float hi = std::max(a, b);
    float x = px;
    if (px > hi + 180.0) x = static_cast<float>(px - 360.0);
    // Deliberate: for an edge that falls eastward the longitude of the polygon's second vertex stands in for
    // lo.
    if ((falls_eastward ? second_lon : lo) - 180.0 > x) x = static_cast<float>(x + 360.0);
    return x >= lo && hi > x;
}

} // namespace

// --- Entry points -----------------------------------------------------------------------------------------

int gshhs_unstuff_hdr(GSHHSHdr **hdr, unsigned char **ptr) {
    if (!*hdr) *hdr = static_cast<GSHHSHdr *>(malloc(sizeof(GSHHSHdr)));
    if (!*hdr) return fail(1, "gshhs_unstuff_hdr: malloc(GSHHSHdr) error.\n");
    Stream stream(ptr);
    return unstuff_header(stream, **hdr);
}

int gshhs_skip_pts(GSHHSHdr *hdr, unsigned char **ptr) {
    Stream stream(ptr);
    if (stream.bounded()) return skip_points(stream, *hdr);
    // Deliberate: in a trusted stream the step is a signed 32-bit product, which wraps.
    *ptr += static_cast<int32_t>(static_cast<uint32_t>(hdr->n) * static_cast<uint32_t>(point_size));
    return 0;
}

int gshhsmap_open(GshhsMap **gs) {
    if (!*gs) *gs = static_cast<GshhsMap *>(calloc(1, sizeof(GshhsMap)));
    if (!*gs) return fail(1, "gshhsmap_open: malloc(gshhsmap) error.\n");
    clear_selection(*gs);
    return 0;
}

int gshhsmap_reset(GshhsMap *gs) {
    gs->iseg = 0;
    return gs->nsegs;
}

int gshhsmap_select(GshhsMap *gs, const char *list, const char *resolution, double west, double east,
                    double south, double north, double clon, double clat) {
    clear_selection(gs);
    const int index = resolution_index(resolution);
    snprintf(gs->resolution, sizeof gs->resolution, "%s", resolutions[index].name);
    if (set_window(gs, west, east, south, north) < 0 || set_reference(gs, clon, clat) < 0) return -1;

    if (add_layers(gs, list, index) < 0) return -1;
    for (int i = 0; i < gs->nselect; i++) {
        GshhsSelect &layer = gs->select[i];
        if (!layer.data && map_layer(gs, layer, index) < 0) return -1;
        if (select_polygons(gs, layer) < 0) return -1;
    }
    return gs->nsegs;
}

int gshhsmap_nextseg(GshhsMap *gs, int *npts, int *nalloc, float **lon, float **lat, char *type, int *level,
                     int *inside) {
    if (gs->iseg >= gs->nsegs) return 0;
    const GshhsSeg &seg = gs->segs[gs->iseg];
    if (seg.hdr.n == 0) {
        *npts = 0;
        gs->iseg++;
        return 1;
    }

    const double shift = shift_to_window(gs, seg);
    PointArrays out(lon, lat, nalloc, seg.hdr.n);
    WindowClip clip(gs, out);
    ContinuousPoints points(seg);
    for (int i = 0; i < seg.hdr.n; i++) {
        const Point point = points.next();
        if (clip.add({point.lon + shift, point.lat}) < 0) return -1;
    }

    *npts = out.count();
    *level = seg.hdr.level;
    write_type(type, seg.kind, seg.hdr.level);
    *inside = gshhsmap_inside_eo(*npts, *lon, *lat, static_cast<float>(gs->antilon),
                                 static_cast<float>(gs->antilat));
    gs->iseg++;
    return 1;
}

int gshhsmap_inside_eo(int n, float *lon, float *lat, float px, float py) {
    bool odd = false;
    for (int i = 0; i < n; i++) {
        const int j = i + 1 < n ? i + 1 : 0;
        odd ^= ray_crosses(lon[i], lat[i], lon[j], lat[j], px, py, lon[n > 1 ? 1 : 0]);
    }
    return odd;
}

void lindra_free_gshhsmap(GshhsMap *gs) {
    if (!gs) return;
    free(gs->segs);
    free(gs);
}
