// SPDX-License-Identifier: MIT
//
// GMT borders and rivers: the binned line files of GSHHG in netCDF classic form ("A Global Self-consistent,
// Hierarchical, High-resolution Geography Database", README of version 2.3.7, 2017; "The NetCDF Classic
// Format Specification", Unidata, 2011).
//
// The globe is cut into bins, row by row from the north, each row from Greenwich eastward. Three arrays over
// each other give the lines: a bin names its first segment and how many follow, a segment its level, its
// first point and how many follow, a point its place inside the bin in 1/65535 of the bin's width and height,
// from the south-west corner. All are big-endian and stay in the mapped file; values are converted as they
// are read.
//
// The odd parts. A window is widened to whole bins and compared in whole degrees, cut toward zero. Longitudes
// are delivered where the bins lie, 0 to 360, whatever the window says. A mask of 0 selects nothing.

#include "lindra.h"

#include "extents.hpp"
#include "fail.hpp"
#include "selection.hpp"
#include "stream.hpp"
#include "support.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

using lindra::extent_end;
using lindra::fail;
using lindra::load_be;
using lindra::mask_of_item;
using lindra::resolution_index;
using lindra::resolutions;

namespace {

constexpr int max_selections = 4;
constexpr int first_rivers = 5; // among the files; the borders are the first
constexpr int mask_bits = 32;
constexpr int first_segs = 2000;
constexpr double largest_angle = 1e9;

enum Kind { kind_river = 3, kind_border = 4 };
constexpr const char *kind_letters[] = {"", "f", "c", "r", "p"};

// Of a point's place in its bin.
constexpr double unit = 1.0 / 65535;
static_assert(std::bit_cast<uint64_t>(unit) == 0x3EF0001000100010);

constexpr const char *gmtmap_names_borders[] = {
    "border_c.cdf", "border_l.cdf", "border_i.cdf", "border_h.cdf", "border_f.cdf",
    "river_c.cdf",  "river_l.cdf",  "river_i.cdf",  "river_h.cdf",  "river_f.cdf"};
static_assert(std::size(gmtmap_names_borders) == std::size(GmtMap{}.files));

// How a variable is bound to the handle: decoded into a field, or left in the file behind a pointer.
enum HandleType { decoded_int = 4, kept_short = 23, kept_int = 24 };

struct BorderDef {
    const char *variable;
    const char *dimension;
    HandleType handle_type;
    int32_t GmtMapFile::*scalar;
    unsigned char *GmtMapFile::*array;

    int type() const { return handle_type % 20; }
    int64_t width() const { return handle_type == kept_short ? 2 : 4; }
};

constexpr const char *scalar_dimension = "Dimension_of_scalar";
constexpr const char *bin_dimension = "Dimension_of_bin_arrays";
constexpr const char *segment_dimension = "Dimension_of_segment_arrays";
constexpr const char *point_dimension = "Dimension_of_point_arrays";

// clang-format off
constexpr BorderDef border_defs[] = {
    {"N_bins_in_360_longitude_range",            scalar_dimension,  decoded_int, &GmtMapFile::nbins_lon, nullptr},
    {"N_bins_in_180_degree_latitude_range",      scalar_dimension,  decoded_int, &GmtMapFile::nbins_lat, nullptr},
    {"N_bins_in_file",                           scalar_dimension,  decoded_int, &GmtMapFile::nbins,     nullptr},
    {"Id_of_first_segment_in_a_bin",             bin_dimension,     kept_int,    nullptr, &GmtMapFile::bin_first_seg},
    {"N_segments_in_a_bin",                      bin_dimension,     kept_short,  nullptr, &GmtMapFile::bin_nsegs},
    {"N_points_for_a_segment",                   segment_dimension, kept_short,  nullptr, &GmtMapFile::seg_npts},
    {"Hierarchial_level_of_a_segment",           segment_dimension, kept_short,  nullptr, &GmtMapFile::seg_level},
    {"Id_of_first_point_in_a_segment",           segment_dimension, kept_int,    nullptr, &GmtMapFile::seg_first_pt},
    {"Relative_longitude_from_SW_corner_of_bin", point_dimension,   kept_short,  nullptr, &GmtMapFile::pt_rlon},
    {"Relative_latitude_from_SW_corner_of_bin",  point_dimension,   kept_short,  nullptr, &GmtMapFile::pt_rlat},
};
// clang-format on

// --- Binding a file

// Whether the variable's data lie in the known extent of the header; in an unknown one they are trusted. A
// variable that is fixed has no dimension of 0.
bool lies_in_file(const NetcdfHeader *hdr, const NetcdfVar &variable, int64_t width) {
    const unsigned char *end = extent_end(hdr->base);
    if (!end) return true;
    const int64_t left = end - hdr->base;
    const int64_t count = variable.dims[0]->value;
    return count > 0 && variable.begin >= 0 && count <= (left - variable.begin) / width;
}

int bind_variable(GmtMapFile *file, const BorderDef &def) {
    auto *variable = static_cast<NetcdfVar *>(getarr(file->hdr->vars_array, def.variable));
    if (!variable)
        return fail(0, "gmtmap_process_border_hdr: Cannot find \"%s\" variable in netcdf header.\n",
                    def.variable);
    if (!variable->fixed)
        return fail(
            0,
            "gmtmap_process_border_hdr: netcdf \"%s\" variable is a record variable, must be a non-record "
            "variable (fixed).\n",
            def.variable);
    if (variable->dims_n != 1)
        return fail(0, "gmtmap_process_border_hdr: netcdf \"%s\" variable ndims = %d, must be 1.\n",
                    def.variable, variable->dims_n);
    if (!variable->dims[0])
        return fail(0, "gmtmap_process_border_hdr: netcdf \"%s\" variable was not read to its end.\n",
                    def.variable);
    const NetcdfDim &dimension = *variable->dims[0];
    if (strcmp(dimension.name, def.dimension) != 0)
        return fail(0, "gmtmap_process_border_hdr: netcdf \"%s\" variable dim = \"%s\", must be \"%s\".\n",
                    def.variable, dimension.name, def.dimension);
    if (variable->type != def.type())
        return fail(0, "gmtmap_process_border_hdr: netcdf \"%s\" variable type = %d, must be %d.\n",
                    def.variable, variable->type, def.type());
    if (!lies_in_file(file->hdr, *variable, def.width()))
        return fail(0, "gmtmap_process_border_hdr: netcdf \"%s\" variable, %d elements at byte %d, is cut.\n",
                    def.variable, dimension.value, variable->begin);

    unsigned char *data = file->hdr->base + variable->begin;
    if (def.array) {
        file->*def.array = data;
        return 0;
    }
    if (dimension.value != 1)
        return fail(0, "gmtmap_process_border_hdr: netcdf \"%s\" variable has %d elements, must have 1.\n",
                    def.variable, dimension.value);
    N2H4(&(file->*def.scalar), data, 1);
    return 0;
}

// The least length of the arrays over one dimension: how many bins, segments or points there are.
int32_t array_length(const GmtMapFile *file, const char *dimension) {
    int32_t length = INT32_MAX;
    for (const BorderDef &def : border_defs) {
        if (strcmp(def.dimension, dimension) != 0) continue;
        const auto *variable = static_cast<NetcdfVar *>(getarr(file->hdr->vars_array, def.variable));
        length = std::min(length, variable->dims[0]->value);
    }
    return length;
}

int check_bins(const GmtMapFile *file) {
    if (file->nbins_lon < 1 || file->nbins_lat < 1)
        return fail(0, "gmtmap_process_border_hdr: %d x %d bins, must be 1 x 1 or more.\n", file->nbins_lon,
                    file->nbins_lat);
    const int64_t most = std::min<int64_t>(static_cast<int64_t>(file->nbins_lon) * file->nbins_lat,
                                           array_length(file, bin_dimension));
    if (file->nbins > most)
        return fail(0, "gmtmap_process_border_hdr: %d bins, must be %lld or less.\n", file->nbins,
                    static_cast<long long>(most));
    return 0;
}

// --- Choosing the files

void clear_selection(GmtMap *gmt) {
    for (GmtSelect &selection : gmt->select)
        selection.file = nullptr;
    gmt->nselect = 0;
    gmt->nsegs = 0;
    gmt->iseg = 0;
}

int add_selections(GmtMap *gmt, const char *list) {
    int argc;
    char **argv;
    if (splitlist(list, &argc, &argv) < 0) return fail(0, "gmtmap_select: splitlist() error.\n");

    for (int i = 0; i < argc && gmt->nselect < max_selections; i++) {
        const char letter = argv[i][0];
        if (letter != 'p' && letter != 'r') continue;
        GmtSelect &selection = gmt->select[gmt->nselect++];
        selection.file = &gmt->files[letter == 'p' ? 0 : first_rivers];
        selection.type[0] = letter;
        selection.type[1] = '\0';
        selection.kind = letter == 'p' ? kind_border : kind_river;
        selection.levels = mask_of_item(argv[i]);
    }
    freeargs(argc, argv);
    return 0;
}

// Deliberate: once its extent is known, neither the mapping nor a header that turns out unfit is released.
int load_path(GmtMapFile *file, const char *path) {
    char *data = nullptr;
    const int64_t size = mapfile(path, nullptr, &data);
    if (size < 0) return fail(0, "gmtmap_select: mapfile(%s) error.\n", path);
    if (lindra_bound(data, static_cast<size_t>(size)) < 0) {
        // Nobody has seen it.
        lindra_unmapfile(data, size);
        return fail(1, "gmtmap_select: lindra_bound(%s) error.\n", path);
    }

    auto *cursor = reinterpret_cast<unsigned char *>(data);
    NetcdfHeader *hdr = nullptr;
    if (netcdf_unstuff_header(&cursor, &hdr) < 0)
        return fail(0, "gmtmap_select: netcdf_unstuff_header(%s) error.\n", path);
    file->hdr = hdr;
    if (gmtmap_process_border_hdr(file) == 0) return 0;
    file->hdr = nullptr;
    return fail(0, "gmtmap_select: gmtmap_process_border_hdr(%s) error.\n", path);
}

int load(GmtMapFile *file) {
    char relative[256];
    snprintf(relative, sizeof relative, "%s/%s%s", "maps/lindra", "binned_", file->name);
    char *path = datafile(nullptr, relative);
    if (!path) return fail(0, "gmtmap_select: datafile(%s) error.\n", relative);
    const int result = load_path(file, path);
    free(path);
    return result;
}

// --- Indexing the segments

// Cut toward zero; beyond the range of int, its ends.
int truncated(double value) {
    return static_cast<int>(std::clamp(value, static_cast<double>(INT_MIN), static_cast<double>(INT_MAX)));
}

// The window in whole degrees, widened to whole bins.
struct DegreeWindow {
    DegreeWindow(const GmtMapFile *file, double lonmin, double lonmax, double latmin, double latmax)
        : lonlo(truncated(std::floor(lonmin / file->dlon) * file->dlon)),
          lonhi(truncated(std::ceil(lonmax / file->dlon) * file->dlon)),
          latlo(90 - truncated(std::ceil((90 - latmin) / file->dlat) * file->dlat)),
          lathi(90 - truncated(std::floor((90 - latmax) / file->dlat) * file->dlat)) {}

    bool meets(const GmtMapFile *file, int row, int col) const {
        const int south = 90 - truncated(file->dlat * (row + 1));
        if (south < latlo || south >= lathi) return false;
        // The first copy of the bin at or east of the window's west edge.
        // Deliberate: copies are looked for from -360 on, so that a window west of there meets none.
        int64_t west = truncated(file->dlon * col) - 360;
        if (west < lonlo) west += (lonlo - west + 359) / 360 * 360;
        return west < lonhi;
    }

    int lonlo, lonhi, latlo, lathi;
};

// How far the indexes of a file may reach: its arrays' lengths, or as far as they like in an unknown extent.
struct Limits {
    explicit Limits(const GmtMapFile *file) {
        if (!extent_end(file->hdr->base)) return;
        segs = array_length(file, segment_dimension);
        points = array_length(file, point_dimension);
    }
    // count: 0 or more.
    static bool fits(int32_t first, int32_t count, int32_t limit) {
        return limit == none || (first >= 0 && count <= limit - first);
    }

    static constexpr int32_t none = -1;
    int32_t segs = none;
    int32_t points = none;
};

int make_room(GmtMap *gmt, int64_t need) {
    if (!gmt->segs) {
        gmt->segs_alloc = first_segs;
        const size_t size = first_segs * sizeof(GmtSeg);
        gmt->segs = static_cast<GmtSeg *>(malloc(size));
        // Deliberate: this text has another prefix and no "error".
        if (!gmt->segs) return fail(1, "gmtmap: malloc(gmt->segs,%ld).\n", static_cast<long>(size));
    }
    int64_t capacity = gmt->segs_alloc;
    while (capacity < need)
        capacity *= 2;
    if (capacity == gmt->segs_alloc) return 0;
    const size_t size = static_cast<size_t>(capacity) * sizeof(GmtSeg);
    // What the 32-bit capacity cannot tell is a failed allocation too.
    void *grown = capacity <= INT32_MAX ? realloc(gmt->segs, size) : nullptr;
    if (!grown) return fail(1, "gmtmap_select: realloc(gmt->segs,%ld) error.\n", static_cast<long>(size));
    gmt->segs = static_cast<GmtSeg *>(grown);
    gmt->segs_alloc = static_cast<int32_t>(capacity);
    return 0;
}

bool level_is_wanted(int levels, int level) {
    if (level < 1 || level > mask_bits) return false;
    return static_cast<uint32_t>(levels) >> (level - 1) & 1;
}

// The segments of one selection, bin by bin.
class Indexer {
  public:
    Indexer(GmtMap *gmt, const GmtSelect &selection)
        : gmt_(gmt), selection_(selection), file_(selection.file), limits_(selection.file) {}

    int add_bin(int bin) {
        const int count = load_be<int16_t>(file_->bin_nsegs + size_t{2} * static_cast<size_t>(bin));
        if (count == 0) return 0;
        const auto first = load_be<int32_t>(file_->bin_first_seg + size_t{4} * static_cast<size_t>(bin));
        if (check_bin(bin, first, count) < 0) return -1;
        if (make_room(gmt_, int64_t{gmt_->nsegs} + count) < 0) return -1;

        const int row = bin / file_->nbins_lon;
        const int col = bin % file_->nbins_lon;
        const Corner corner = {col * file_->dlon, 90.0 - (row + 1) * file_->dlat};
        int32_t nsegs = gmt_->nsegs;
        for (int k = 0; k < count; k++)
            if (add_segment(static_cast<int64_t>(first) + k, corner, nsegs) < 0) return -1;
        gmt_->nsegs = nsegs;
        return 0;
    }

  private:
    struct Corner {
        double west, south;
    };

    // Bins that share segments, all of them inside the array, would ask for an index far larger than the
    // file.
    int check_bin(int bin, int32_t first, int count) {
        if (count < 0) return 0;
        if (!Limits::fits(first, count, limits_.segs))
            return fail(0, "gmtmap_select: bin %d has %d segments from %d, %s has %d.\n", bin, count, first,
                        file_->name, limits_.segs);
        visited_ += count;
        if (limits_.segs != Limits::none && visited_ > limits_.segs)
            return fail(0, "gmtmap_select: bins to %d have %lld segments, %s has %d.\n", bin,
                        static_cast<long long>(visited_), file_->name, limits_.segs);
        return 0;
    }

    int add_segment(int64_t segment, Corner corner, int32_t &nsegs) {
        const auto level = load_be<int16_t>(file_->seg_level + 2 * segment);
        if (!level_is_wanted(selection_.levels, level)) return 0;
        const auto npts = load_be<uint16_t>(file_->seg_npts + 2 * segment);
        const auto first_pt = load_be<int32_t>(file_->seg_first_pt + 4 * segment);
        if (!Limits::fits(first_pt, npts, limits_.points))
            return fail(0, "gmtmap_select: segment %lld has %d points from %d, %s has %d.\n",
                        static_cast<long long>(segment), npts, first_pt, file_->name, limits_.points);
        const int64_t offset = 2 * static_cast<int64_t>(first_pt);
        gmt_->segs[nsegs++] = {corner.west,
                               corner.south,
                               static_cast<int16_t>(selection_.kind),
                               level,
                               npts,
                               file_->pt_rlon + offset,
                               file_->pt_rlat + offset,
                               file_};
        return 0;
    }

    GmtMap *gmt_;
    const GmtSelect &selection_;
    GmtMapFile *file_;
    Limits limits_;
    int64_t visited_ = 0; // segments of the bins so far
};

// --- Delivery

int allocate_points(int npts, int *nalloc, float **lon, float **lat) {
    const size_t size = static_cast<size_t>(npts) * sizeof(float);
    // Deliberate: after a failure here the pointer not yet replaced still names freed storage.
    free(*lon);
    free(*lat);
    *lon = static_cast<float *>(malloc(size));
    if (!*lon) return fail(1, "gmtmap_nextseg: malloc(lon,%ld) error.\n", static_cast<long>(size));
    *lat = static_cast<float *>(malloc(size));
    if (!*lat) return fail(1, "gmtmap_nextseg: malloc(lat,%ld) error.\n", static_cast<long>(size));
    *nalloc = npts;
    return 0;
}

// Deliberate: a pointer whose growth failed becomes null, so that the next call allocates both anew.
int grow_points(int npts, int *nalloc, float **lon, float **lat) {
    const size_t size = static_cast<size_t>(npts) * sizeof(float);
    *lon = static_cast<float *>(realloc(*lon, size));
    if (!*lon) return fail(1, "gmtmap_nextseg: realloc(lon,%ld) error.\n", static_cast<long>(size));
    *lat = static_cast<float *>(realloc(*lat, size));
    if (!*lat) return fail(1, "gmtmap_nextseg: realloc(lat,%ld) error.\n", static_cast<long>(size));
    *nalloc = npts;
    return 0;
}

int make_point_room(int npts, int *nalloc, float **lon, float **lat) {
    if (!*lon || !*lat) return allocate_points(npts, nalloc, lon, lat);
    return npts > *nalloc ? grow_points(npts, nalloc, lon, lat) : 0;
}

void convert_points(const GmtSeg &seg, float *lon, float *lat) {
    const double xstep = unit * seg.file->dlon;
    const double ystep = unit * seg.file->dlat;
    for (size_t i = 0; i < seg.npts; i++) {
        lon[i] = static_cast<float>(seg.west + load_be<uint16_t>(seg.rlon + 2 * i) * xstep);
        lat[i] = static_cast<float>(seg.south + load_be<uint16_t>(seg.rlat + 2 * i) * ystep);
    }
}

} // namespace

// --- Entry points

int gmtmap_open(GmtMap **gmt) {
    if (!*gmt) {
        *gmt = static_cast<GmtMap *>(calloc(1, sizeof(GmtMap)));
        if (!*gmt) return fail(1, "gmtmap_open: malloc(gmtmap) error.\n");
        const auto *name = gmtmap_names_borders;
        for (GmtMapFile &file : (*gmt)->files)
            snprintf(file.name, sizeof file.name, "%s", *name++);
    }
    clear_selection(*gmt);
    return 0;
}

int gmtmap_process_border_hdr(GmtMapFile *file) {
    for (const BorderDef &def : border_defs)
        if (bind_variable(file, def) < 0) return -1;
    if (check_bins(file) < 0) return -1;
    file->dlon = 360.0 / file->nbins_lon;
    file->dlat = 180.0 / file->nbins_lat;
    return 0;
}

int gmtmap_select(GmtMap *gmt, const char *list, const char *resolution, double lonmin, double lonmax,
                  double latmin, double latmax) {
    clear_selection(gmt);
    if (add_selections(gmt, list) < 0) return -1;
    if (gmt->nselect == 0) return 0;
    const int index = resolution_index(resolution);
    snprintf(gmt->resolution, sizeof gmt->resolution, "%s", resolutions[index].name);
    for (double angle : {lonmin, lonmax, latmin, latmax})
        if (!(std::fabs(angle) <= largest_angle))
            return fail(0, "gmtmap_select: angle %g is not between -1e9 and 1e9.\n", angle);

    for (int i = 0; i < gmt->nselect; i++) {
        GmtSelect &selection = gmt->select[i];
        selection.file += index;
        if (!selection.file->hdr && load(selection.file) < 0) return -1;

        const GmtMapFile *file = selection.file;
        const DegreeWindow window(file, lonmin, lonmax, latmin, latmax);
        Indexer indexer(gmt, selection);
        for (int bin = 0; bin < file->nbins; bin++)
            if (window.meets(file, bin / file->nbins_lon, bin % file->nbins_lon) && indexer.add_bin(bin) < 0)
                return -1;
    }
    return gmt->nsegs;
}

int gmtmap_nextseg(GmtMap *gmt, int *n, int *nalloc, float **lon, float **lat, char *type, int *level) {
    if (gmt->iseg >= gmt->nsegs) return 0;
    const GmtSeg &seg = gmt->segs[gmt->iseg];
    if (seg.npts == 0) {
        *n = 0;
        gmt->iseg++;
        return 1;
    }
    if (make_point_room(seg.npts, nalloc, lon, lat) < 0) return -1;
    *n = seg.npts;
    convert_points(seg, *lon, *lat);
    *level = seg.level;
    if (seg.kind >= 1 && seg.kind < static_cast<int>(std::size(kind_letters)))
        strcpy(type, kind_letters[seg.kind]);
    gmt->iseg++;
    return 1;
}

void lindra_free_gmtmap(GmtMap *gmt) {
    if (!gmt) return;
    for (GmtMapFile &file : gmt->files) {
        netcdf_clear_header(file.hdr);
        free(file.hdr);
    }
    free(gmt->segs);
    free(gmt);
}
