/* SPDX-License-Identifier: MIT */
/*
 * lindra: readers for map data.
 *
 *   GSHHS coastlines   gshhsmap_open, gshhsmap_select, gshhsmap_nextseg
 *
 * Conventions. Functions return 0 (or a count, or 1 for a delivered segment) on success and -1 on failure;
 * each failure is reported once by the function that meets it through elog_log, flag 1 after a failed
 * allocation or nested call and 0 for bad input. Nothing is freed on a failure path unless its function says
 * so. Decoders take the address of the caller's position in a file held in memory and advance it past what
 * they consumed.
 *
 * How far a decoder may read. The extent of a file that the library mapped itself, or that the caller
 * declared with lindra_bound, is known, and nothing is ever read outside it: a damaged file ends in a message
 * and -1. A position in no known extent is trusted: the bytes that the format calls for must be there.
 *
 * Threads. Separate handles may be used from separate threads at the same time; one handle belongs to one
 * thread at a time.
 */
#ifndef LINDRA_H
#define LINDRA_H

#include "support.h"

#include <stddef.h>
#include <stdint.h>

/* The version, in this one place. */
#define LINDRA_VERSION_MAJOR 0
#define LINDRA_VERSION_MINOR 1
#define LINDRA_VERSION_PATCH 0

#ifdef __cplusplus
extern "C" {
#endif

/* --- GSHHS coastlines ----------------------------------------------------------------------------------- */
/*
 * The polygon files of GSHHG, "A Global Self-consistent, Hierarchical, High-resolution Geography Database"
 * (README of version 2.3.7, 2017; P. Wessel and W. H. F. Smith, J. Geophys. Res. 101, 1996): a sequence of
 * polygons, each a header and its points, all big-endian, longitude and latitude in micro-degrees. Levels: 1
 * land, 2 lake, 3 island in a lake, 4 pond on such an island, 5 Antarctica by its ice front, 6 Antarctica by
 * its grounding line.
 */

/* GSHHSHdr: one decoded polygon header. west, east, south, north are micro-degrees. */
typedef struct GSHHSHdr {
    int32_t id;
    int32_t n;     /* number of points */
    int32_t level; /* 1 to 5; the file's 6 is read as 1 */
    int32_t west, east, south, north;
    int32_t area;
    int16_t greenwich, source;              /* version 3 or less, else 0 */
    int32_t version;                        /* bits 8-15 of the flag word */
    int32_t area_full, container, ancestor; /* version 4 or more, else 0 */
} GSHHSHdr;

/* GshhsSelect: one layer of a selection. */
typedef struct GshhsSelect {
    unsigned char *data; /* first byte of the mapped file */
    int32_t size;        /* of the file, bytes */
    char type[4];        /* "f" or "c" */
    int32_t kind;        /* 1 for "f", 2 for "c" */
    int32_t levels;      /* bit 0 is level 1; 0: every level */
} GshhsSelect;

/* GshhsSeg: one selected polygon. */
typedef struct GshhsSeg {
    GSHHSHdr hdr;
    int32_t kind;        /* of the layer that selected it */
    unsigned char *pts;  /* its first point, inside the mapped file */
    GshhsSelect *select; /* the layer that selected it */
} GshhsSeg;

/* GshhsMap: a handle on the coastlines. Angles are degrees. Between calls of gshhsmap_nextseg the caller may
 * set iseg, to pass over polygons, and west to north and lonref, to have them clipped and laid out otherwise
 * than they were selected. */
typedef struct GshhsMap {
    double west, east, south, north; /* the window, normalised */
    double lonref;                   /* west edge of the 360 degrees centred on the window */
    double antilon, antilat;         /* the point opposite the reference point */
    char resolution[64];             /* "crude", "low", "intermediate", "high" or "full" */
    int32_t nselect;                 /* layers selected, 0 to 2 */
    GshhsSelect select[2];
    int32_t nsegs;      /* polygons selected */
    int32_t segs_alloc; /* capacity of segs */
    int32_t iseg;       /* the next polygon to deliver */
    GshhsSeg *segs;
    unsigned char *cache_data[5]; /* the file mapped for each resolution, crude to full, or null */
    int32_t cache_size[5];
} GshhsMap;

/* gshhs_unstuff_hdr decodes the polygon header at *ptr and advances *ptr past it: 44 bytes when its version
 * is 4 or more, else 36. A null *hdr is replaced by a new record, which the caller frees with free; another
 * record is zeroed and filled. Returns 0; or -1 with *ptr unchanged when memory is exhausted or the header
 * does not fit in the known extent of *ptr (*hdr then holds a zeroed record). */
LINDRA_API int gshhs_unstuff_hdr(GSHHSHdr **hdr, unsigned char **ptr);

/* gshhs_skip_pts advances *ptr past the hdr->n points of 8 bytes. Returns 0; or, where the extent of *ptr is
 * known, -1 with *ptr unchanged when n is negative or the points do not fit in it. */
LINDRA_API int gshhs_skip_pts(GSHHSHdr *hdr, unsigned char **ptr);

/* gshhsmap_open makes a new handle when *gs is null, which the caller releases with lindra_free_gshhsmap; an
 * existing one keeps its storage and its mapped files. The selection is emptied. Returns 0, or -1 when memory
 * is exhausted. */
LINDRA_API int gshhsmap_open(GshhsMap **gs);

/* gshhsmap_reset lets the iteration begin again with the first selected polygon. Returns the number selected.
 */
LINDRA_API int gshhsmap_reset(GshhsMap *gs);

/* gshhsmap_select selects the polygons that gshhsmap_nextseg delivers.
 *
 * list: up to two layers "f:LEVELS" (filled) or "c:LEVELS" (coast), between blanks or commas; LEVELS is a
 * decimal mask (bit 0 is level 1; 0 every level), the character before it is free. Other items are ignored, a
 * third layer too. resolution: judged by its first letter, c, l, h or f; anything else is intermediate. The
 * file maps/lindra/gshhs_{c,l,i,h,f}.b is found with datafile, mapped once per handle and never released.
 * west, east, south, north: the window, degrees. Longitudes may be any finite values up to +-1e9; they are
 * brought to -180 <= west <= 180, west <= east <= west + 360. A span of 360 or more is the globe, 0 to 360.
 * clon, clat: the reference point, degrees; nextseg tells which polygons contain the point opposite to it.
 *
 * Polygons are chosen by their boxes; level 5 is always left out. Near the edges of the frame of 360 degrees
 * some that meet the window are left out too: a box that lies east of 360 is compared where it lies 360
 * degrees less.
 *
 * Returns the number of polygons selected; 0 without a usable layer; -1 when a file is missing, unreadable or
 * damaged, the window is not finite, or memory is exhausted. The handle then holds the polygons found before.
 */
LINDRA_API int gshhsmap_select(GshhsMap *gs, const char *list, const char *resolution, double west,
                               double east, double south, double north, double clon, double clat);

/* gshhsmap_nextseg delivers the next selected polygon: longitudes without jumps, shifted by a multiple of 360
 * degrees to lie nearest the window's centre, and runs of points outside the window replaced by points on its
 * border.
 *
 * npts: receives the number of points. lon, lat, nalloc: two arrays from malloc and their common capacity;
 * they are the caller's, null and 0 at first, are grown as needed, and are freed by the caller at the end.
 * type (2 bytes or more): receives "l" for land or islands and "w" for water in an "f" layer, "c" in a "c"
 * layer. level: receives the polygon's level. inside: 1 if the delivered polygon contains the point opposite
 * the reference point, else 0.
 *
 * Returns 1 for a polygon (one without points sets only npts, to 0), 0 when all were delivered, -1 when
 * memory is exhausted: the polygon then stays the next one. After -1 from the first allocation both pointers
 * are invalid (set them to null and nalloc to 0 before the next call); after -1 from a later one the null
 * pointer's old storage is lost. */
LINDRA_API int gshhsmap_nextseg(GshhsMap *gs, int *npts, int *nalloc, float **lon, float **lat, char *type,
                                int *level, int *inside);

/* gshhsmap_inside_eo tells whether the closed polygon of n vertices contains the point px, py, degrees: 1 or
 * 0, by the even-odd rule along a ray to the north, longitudes modulo 360. The western side belongs to the
 * polygon, the eastern one does not. n of 0 or less gives 0. */
LINDRA_API int gshhsmap_inside_eo(int n, float *lon, float *lat, float px, float py);

/* --- Extensions ----------------------------------------------------------------------------------------- */

/* lindra_version returns the version of the library at run time, "MAJOR.MINOR.PATCH". Static storage. */
LINDRA_API const char *lindra_version(void);

/* lindra_bound declares that the size bytes at base are a file held in memory, so that no decoder reads
 * outside them. A second call for the same base replaces the size. Returns 0, or -1 for a null base or
 * exhausted memory. Call lindra_unbound before the memory is released. Any thread may call both. */
LINDRA_API int lindra_bound(const void *base, size_t size);
LINDRA_API void lindra_unbound(const void *base);

/* lindra_free_gshhsmap releases a handle of gshhsmap_open and its index. The files it mapped stay mapped. */
LINDRA_API void lindra_free_gshhsmap(GshhsMap *gs);

#ifdef __cplusplus
}
#endif

#endif
