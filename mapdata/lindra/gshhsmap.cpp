// SPDX-License-Identifier: MIT
//
// GSHHS coastlines: the polygon files of GSHHG ("A Global Self-consistent, Hierarchical, High-resolution
// Geography Database", README of version 2.3.7, 2017).
//
// A file is a plain sequence of polygons: a header of eleven big-endian 32-bit words, or of eight words and
// two 16-bit halves in the versions before 4, then n points of two words, longitude and latitude in
// micro-degrees. There is no table of contents; the first selection of a file walks every header and skips
// the points between them, and later ones go by what it remembers (gshhsmap/). The selected polygons' points
// are converted straight from the mapped file as they are delivered.
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
#include "gshhsmap/mapped_file.hpp"
#include "gshhsmap/point_arrays.hpp"
#include "gshhsmap/shift.hpp"
#include "gshhsmap/turns.hpp"
#include "gshhsmap/window_clip.hpp"
#include "selection.hpp"
#include "stream.hpp"
#include "support.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <vector>

using namespace lindra::gshhs;
using lindra::fail;
using lindra::load_be;
using lindra::mask_of_item;
using lindra::resolution_index;
using lindra::resolutions;
using lindra::Stream;

namespace {

constexpr size_t short_header_size = 36;
constexpr size_t long_header_size = 44;
constexpr size_t flag_word_offset = 8;
constexpr int long_header_version = 4;
constexpr int level_ice_front = 5;
constexpr int level_grounding_line = 6;
constexpr int mask_bits = 32;
constexpr int max_layers = 2;
constexpr int first_segs = 2000;
constexpr double largest_longitude = 1e9;

constexpr const char *gshhsmap_names[] = {"c.b", "l.b", "i.b", "h.b", "f.b"};

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
    remember_mapping(layer.data, static_cast<size_t>(layer.size));
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

bool meets_window(const GshhsMap *gs, const Box &box) {
    if (box.south * degrees > gs->north || gs->south > box.north * degrees) return false;

    double west = box.west * degrees;
    double east = box.east * degrees;
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

Box box_of(const GSHHSHdr &hdr) {
    return {hdr.west, hdr.east, hdr.south, hdr.north};
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

// Selects the polygon at the stream's position where it is wanted, and moves on behind it.
int take_polygon(GshhsMap *gs, GshhsSelect &layer, Stream &stream, GSHHSHdr &hdr) {
    if (unstuff_header(stream, hdr) < 0) return fail(0, "gshhsmap_select: gshhs_unstuff_hdr() error.\n");
    unsigned char *pts = stream.pos();
    if (skip_points(stream, hdr) < 0) return fail(0, "gshhsmap_select: gshhs_skip_pts() error.\n");

    // Deliberate: Antarctica by its ice front is never selected, whatever the mask says.
    if (hdr.level == level_ice_front || !meets_window(gs, box_of(hdr))) return 0;
    const int wanted = wanted_level(layer, hdr);
    if (wanted <= 0) return wanted;
    return append_polygon(gs, layer, hdr, pts);
}

// Every polygon of the file, which is kept in mind.
int walk_polygons(GshhsMap *gs, GshhsSelect &layer, IndexMaker &index) {
    unsigned char *cursor = layer.data;
    Stream stream(&cursor, layer.data + layer.size);
    while (stream.left() > 0) {
        const auto offset = static_cast<uint32_t>(cursor - layer.data);
        GSHHSHdr hdr;
        if (take_polygon(gs, layer, stream, hdr) < 0) return -1;
        index.add(offset, box_of(hdr));
    }
    index.keep();
    return 0;
}

// What the file's index knows of the window; nothing where the file is to be walked.
std::optional<std::vector<uint32_t>> find_polygons(const GshhsMap *gs, const MappedFile *file) {
    const PolygonIndex *index = file ? file->index() : nullptr;
    const std::optional<Cells> cells = cells_of(gs->west, gs->east, gs->south, gs->north);
    if (!index || !cells) return {};
    try {
        return index->find(*cells, [gs](const Box &box) { return meets_window(gs, box); });
    } catch (const std::bad_alloc &) {
        return {};
    }
}

// The headers lie far apart: each is asked for before it is needed.
int take_polygons(GshhsMap *gs, GshhsSelect &layer, const std::vector<uint32_t> &offsets) {
    constexpr size_t ahead = 16;
    for (size_t i = 0; i < offsets.size(); i++) {
        if (i + ahead < offsets.size()) __builtin_prefetch(layer.data + offsets[i + ahead]);
        unsigned char *cursor = layer.data + offsets[i];
        Stream stream(&cursor, layer.data + layer.size);
        GSHHSHdr hdr;
        if (take_polygon(gs, layer, stream, hdr) < 0) return -1;
    }
    return 0;
}

int select_polygons(GshhsMap *gs, GshhsSelect &layer) {
    const auto file = mapped_file(layer.data, static_cast<size_t>(layer.size));
    const auto found = find_polygons(gs, file.get());
    if (!found) {
        IndexMaker index(file.get());
        return walk_polygons(gs, layer, index);
    }
    return take_polygons(gs, layer, *found);
}

// --- Delivery ---------------------------------------------------------------------------------------------

int deliver(const GshhsMap *gs, const Outline &outline, PointArrays &out) {
    return WindowClip(gs, shift_to_window(gs, outline), out).add(outline);
}

bool is_in_one_region(const GshhsMap *gs, const Stretch &whole, const Outline &outline) {
    return whole.level && region_of(gs, bounds_of(whole, shift_to_window(gs, outline)));
}

// A large polygon is looked at in stretches, which are kept, when it cannot be delivered as a whole.
int deliver_polygon(const GshhsMap *gs, const GshhsSeg &seg, PointArrays &out) {
    const auto file = seg.hdr.n >= points_worth_stretches ? mapped_file(seg.pts) : nullptr;
    const Stretches *stretches = file ? file->stretches(seg) : nullptr;
    if (stretches) return deliver(gs, stretches->outline(), out);

    const Stretch whole = whole_stretch(seg);
    const Outline outline = {seg.pts, {&whole, 1}, {}, 0};
    if (file && !is_in_one_region(gs, whole, outline)) stretches = file->make_stretches(seg);
    return deliver(gs, stretches ? stretches->outline() : outline, out);
}

// Deliberate: written without a bound; the caller provides two bytes.
void write_type(char *type, int kind, int level) {
    if (kind == 1) strcpy(type, level % 2 ? "l" : "w");
    if (kind == 2) strcpy(type, "c");
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

    PointArrays out(lon, lat, nalloc, seg.hdr.n);
    if (deliver_polygon(gs, seg, out) < 0) return -1;

    *npts = out.count();
    *level = seg.hdr.level;
    write_type(type, seg.kind, seg.hdr.level);
    *inside = gshhsmap_inside_eo(*npts, *lon, *lat, static_cast<float>(gs->antilon),
                                 static_cast<float>(gs->antilat));
    gs->iseg++;
    return 1;
}

void lindra_free_gshhsmap(GshhsMap *gs) {
    if (!gs) return;
    free(gs->segs);
    free(gs);
}
