/* SPDX-License-Identifier: MIT */
/*
 * lindra: readers for map data.
 *
 *   ESRI shapefiles           esri_unstuff_stream, esri_print_shapefile
 *   dBase tables              esri_decode_dbase_file, esri_get_dbase_fields, esri_print_dbase_file
 *   GSHHS coastlines          gshhsmap_open, gshhsmap_select, gshhsmap_nextseg
 *   GMT borders and rivers    gmtmap_open, gmtmap_select, gmtmap_nextseg
 *   netCDF classic headers    netcdf_unstuff_header, netcdf_print_header
 *   DDS textures              dds_decode_file, dds_print_file; most files: lindra_unstuff_texture
 *
 * Conventions. Functions return 0 (or a count, or 1 for a delivered segment) on success and -1 on failure;
 * each failure is reported once by the function that meets it through elog_log, flag 1 after a failed
 * allocation or nested call and 0 for bad input. Nothing is freed on a failure path unless its function says
 * so. Decoders take the address of the caller's position in a file held in memory and advance it past what
 * they consumed.
 *
 * How far a decoder may read. The extent of a file that a selection mapped, or that the caller declared with
 * lindra_bound (what mapfile returned, too), is known, and nothing is ever read outside it: a damaged file
 * ends in a message and -1. A position in no known extent is trusted: the bytes that the format calls for
 * must be there.
 *
 * Threads. Separate handles may be used from separate threads at the same time; one handle belongs to one
 * thread at a time. What the process has once (the indexes of structures, known extents, the files that
 * esri_get_db_shp_record has mapped, the log's handler) is guarded, and the texts of netcdf_type2str and
 * netcdf_value2str are those of the calling thread. The printers write to standard output by several calls;
 * lines of threads that print at the same time mix.
 */
#ifndef LINDRA_H
#define LINDRA_H

#include "support.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/* The version, in this one place. */
#define LINDRA_VERSION_MAJOR 0
#define LINDRA_VERSION_MINOR 1
#define LINDRA_VERSION_PATCH 0

#ifdef __cplusplus
extern "C" {
#endif

/* --- ESRI shapefiles ------------------------------------------------------------------------------------ */
/*
 * The main file of a shapefile ("ESRI Shapefile Technical Description", 1998): a header of 100 bytes, then
 * records, each a header of 8 bytes and a shape. Coordinates are in the file's own unit. A structure is named
 * by its str_type; a shape's is the shape type that stands in its record.
 *
 * Everything decoded belongs to the caller: each array of a structure is a block from malloc, as the
 * structure itself is when the library made it. lindra_free_esri releases a structure with all it owns.
 */

/* The str_types. Those below 32 are the shape types of the format. */
enum {
    SHAPE_NULL = 0,
    SHAPE_POINT = 1,
    SHAPE_POLYLINE = 3,
    SHAPE_POLYGON = 5,
    SHAPE_MULTIPOINT = 8,
    SHAPE_POINTZ = 11,
    SHAPE_POLYLINEZ = 13,
    SHAPE_POLYGONZ = 15,
    SHAPE_MULTIPOINTZ = 18,
    SHAPE_POINTM = 21,
    SHAPE_POLYLINEM = 23,
    SHAPE_POLYGONM = 25,
    SHAPE_MULTIPOINTM = 28,
    SHAPE_MULTIPATCH = 31,
    ESRI_RECORDHDR = 0x3a,         /* SHPRECHDR */
    ESRI_FILEHDR = 0x3b,           /* SHPFILEHDR */
    ESRI_BOX = 0x3c,               /* SHPBOX */
    ESRI_POINT = 0x3d,             /* SHPPOINT */
    ESRI_RECORD = 0x3e,            /* SHPRECORD */
    ESRI_FILE = 0x3f,              /* SHPFILE */
    DBASE_FILE = 0x65,             /* DbaseFile */
    DBASE_FILEHDR5 = 0x66,         /* DBASEHDR5 */
    DBASE_FILEHDR7 = 0x67,         /* DBASEHDR7 */
    DBASE_FIELDDESCRIPTOR5 = 0x68, /* DBASEFIELDDESCR5 */
    DBASE_FIELDDESCRIPTOR7 = 0x69, /* DBASEFIELDDESCR7 */
    DBASE_FIELDPROPERTIES = 0x6a   /* DBASEFIELDPROPERTIES */
};

typedef struct SHPPOINT {
    double x, y;
} SHPPOINT;

typedef struct SHPBOX {
    double xmin, ymin, xmax, ymax;
} SHPBOX;

typedef struct SHPFILEHDR {
    int32_t magic; /* 9994 */
    int32_t unused1, unused2, unused3, unused4, unused5;
    int32_t length;  /* of the file, in words of 16 bits */
    int32_t version; /* 1000 */
    int32_t shape_type;
    double xmin, ymin, xmax, ymax;
    double zmin, zmax;
    double mmin, mmax;
} SHPFILEHDR;

typedef struct SHPRECHDR {
    int32_t number; /* of the record, from 1 */
    int32_t length; /* of its contents, in words of 16 bits */
} SHPRECHDR;

/* The shapes. Each begins with its shape type. parts holds the number of each part's first point, points all
 * parts one after the other. zarray and marray hold a value for each point; a measure below -1e38 stands for
 * none. Every array is null when its decoding was not reached. */

typedef struct SHPRECNULL {
    int32_t shape_type;
} SHPRECNULL;

typedef struct SHPRECPOINT {
    int32_t shape_type;
    double x, y;
} SHPRECPOINT;

typedef struct SHPRECPOINTM {
    int32_t shape_type;
    double x, y;
    double m;
} SHPRECPOINTM;

typedef struct SHPRECPOINTZ {
    int32_t shape_type;
    double x, y;
    double z;
    double m;
} SHPRECPOINTZ;

typedef struct SHPRECMPOINT {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numpoints;
    SHPPOINT *points;
} SHPRECMPOINT;

typedef struct SHPRECMPOINTM {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numpoints;
    SHPPOINT *points;
    double mmin, mmax;
    double *marray;
} SHPRECMPOINTM;

typedef struct SHPRECMPOINTZ {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numpoints;
    SHPPOINT *points;
    double zmin, zmax;
    double *zarray;
    double mmin, mmax;
    double *marray;
} SHPRECMPOINTZ;

typedef struct SHPRECPOLYL {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numparts;
    int32_t numpoints;
    int32_t *parts;
    SHPPOINT *points;
} SHPRECPOLYL;

typedef struct SHPRECPOLYLM {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numparts;
    int32_t numpoints;
    int32_t *parts;
    SHPPOINT *points;
    double mmin, mmax;
    double *marray;
} SHPRECPOLYLM;

typedef struct SHPRECPOLYLZ {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numparts;
    int32_t numpoints;
    int32_t *parts;
    SHPPOINT *points;
    double zmin, zmax;
    double *zarray;
    double mmin, mmax;
    double *marray;
} SHPRECPOLYLZ;

/* A polygon lies in memory as a polyline of its kind does. */
typedef SHPRECPOLYL SHPRECPOLYG;
typedef SHPRECPOLYLM SHPRECPOLYGM;
typedef SHPRECPOLYLZ SHPRECPOLYGZ;

typedef struct SHPRECMULTIPA {
    int32_t shape_type;
    SHPBOX bbox;
    int32_t numparts;
    int32_t numpoints;
    int32_t *parts;
    int32_t *parttypes; /* of each part: 0 triangle strip, 1 fan, 2 outer, 3 inner, 4 first ring, 5 ring */
    SHPPOINT *points;
    double zmin, zmax;
    double *zarray;
    double mmin, mmax;
    double *marray;
} SHPRECMULTIPA;

/* SHPRECORD: one record. */
typedef struct SHPRECORD {
    uint64_t offset;    /* of its header from the start of the file, bytes */
    int32_t shape_type; /* the str_type of shape */
    SHPRECHDR hdr;
    void *shape;
} SHPRECORD;

/* SHPFILE: a whole main file. */
typedef struct SHPFILE {
    SHPFILEHDR hdr;
    Tbl *records; /* of SHPRECORD, in the order of the file */
} SHPFILE;

/* esri_strdefs_init builds the index of structures. esri_unstuff_stream does it on its first call; the
 * printers do not, so that they print nothing before. Returns 0. */
LINDRA_API int esri_strdefs_init(void);

/* esri_unstuff_stream decodes a structure of the given str_type at *pos and advances *pos past it. A null
 * *out is replaced by a new structure; another one, which must be of that type, is zeroed, whatever it owns,
 * and filled. base: the first byte of the buffer, from which the offsets of records are counted.
 *
 * A whole shapefile: esri_unstuff_stream(ESRI_FILE, &file, base, &pos) with a null file and pos at base.
 *
 * Returns 0; or -1 when the str_type is unknown, the bytes do not fit in the known extent of *pos, structures
 * are nested more than 8 deep, or memory is exhausted. *pos then stands where the reading ended, and *out
 * holds what was decoded before. */
LINDRA_API int esri_unstuff_stream(int str_type, void **out, unsigned char *base, unsigned char **pos);

/* esri_get_shapetype returns the name of a str_type, "Unknown" for another code. Static storage. */
LINDRA_API const char *esri_get_shapetype(unsigned int code);

/* esri_decode_shapefile decodes a main file whose header begins at *pos into file, whose list of records is
 * created, or emptied without freeing its records. Records are read one after the other from where the one
 * before ended, and counted by their length fields against the header's. Returns 0, or -1 as
 * esri_unstuff_stream does; the list then holds the records before. */
LINDRA_API int esri_decode_shapefile(SHPFILE *file, unsigned char *base, unsigned char **pos);

/* esri_print_shapefile prints the file's header and records to standard output, every line after prefix: the
 * first 10 values, 4 points or 2 boxes of each field. A prefix that, with the blanks that go before a field,
 * does not fit in 511 bytes ends the process. */
LINDRA_API void esri_print_shapefile(const char *prefix, SHPFILE *file);

/* esri_print_shapefile_record prints one record to standard output; index: its number in a list, negative
 * when it has none. */
LINDRA_API void esri_print_shapefile_record(const char *prefix, SHPRECORD *record, int index);

/* --- dBase tables --------------------------------------------------------------------------------------- */
/*
 * Attribute tables of level 5 (dBase III to V; "Data File Header Structure for the dBASE Version 7 Table
 * File", 1999, tells both layouts): a header, descriptors of the fields, and records of one size. The records
 * of level 7 files are not read.
 */

typedef struct DBASEHDR5 {
    uint8_t flags;          /* the version; its low two bits are the level */
    uint8_t date_update[3]; /* years since 1900, month, day */
    int32_t numrecs;
    uint16_t numbyteshdr; /* of the header with the descriptors, bytes */
    uint16_t numbytesrec; /* of a record, bytes */
    uint16_t unused1;
    uint8_t incomplete;
    uint8_t encrypted;
    int32_t unused2, unused3, unused4;
    uint8_t mdx;
    uint8_t langid;
    uint16_t unused5;
} DBASEHDR5;

typedef struct DBASEHDR7 {
    uint8_t flags;
    uint8_t date_update[3];
    int32_t numrecs;
    uint16_t numbyteshdr;
    uint16_t numbytesrec;
    uint16_t unused1;
    uint8_t incomplete;
    uint8_t encrypted;
    int32_t unused2, unused3, unused4;
    uint8_t mdx;
    uint8_t langid;
    uint16_t unused5;
    char langdr[33]; /* closed by a zero byte */
    int32_t unused6;
} DBASEHDR7;

typedef struct DBASEFIELDDESCR5 {
    char name[12]; /* padded, closed by a zero byte */
    char type;     /* C text, N number, others */
    int32_t unused4;
    uint8_t length; /* bytes */
    uint8_t count;  /* decimals */
    uint16_t workid;
    uint8_t example;
    uint8_t unused5[10];
    uint8_t mdx;
} DBASEFIELDDESCR5;

typedef struct DBASEFIELDDESCR7 {
    char name[33]; /* padded, closed by a zero byte */
    char type;
    uint8_t length;
    uint8_t count;
    uint16_t unused1;
    uint8_t mdx;
    uint16_t unused2;
    int32_t next;
    int32_t unused3;
} DBASEFIELDDESCR7;

/* DBASEFIELDPROPERTIES: what a level 7 file says of its fields besides. Nothing of it is read. */
typedef struct DBASEFIELDPROPERTIES {
    int32_t unused;
} DBASEFIELDPROPERTIES;

/* DbaseFile: a whole table. The caller zeroes it before its first use and may use it for several files. */
typedef struct DbaseFile {
    int32_t level; /* 5 */
    union {
        DBASEHDR5 hdr5;
        DBASEHDR7 hdr7;
    } header;
    Tbl *fields; /* of DBASEFIELDDESCR5, in the order of the file */
    DBASEFIELDPROPERTIES field_properties;
    char *records; /* slots of numbytesrec bytes: the fields of a record, then the flag of the next one */
} DbaseFile;

/* esri_decode_dbase_file decodes the table at *cursor; dbf: see there. Descriptors of an earlier file are
 * dropped from the list without being freed, its records are freed. base is not read. *cursor is advanced to
 * the fields of the first record, which are copied. Where the file ends with the last record, without an end
 * mark, the flag behind that reads as a blank.
 *
 * Returns 0; or -1 for a table of another level, one that does not fit in the known extent of *cursor, a
 * number of records times their size that is negative in 32 bits, or exhausted memory. What was decoded
 * before stays; records of an earlier file only when the level is refused. */
LINDRA_API int esri_decode_dbase_file(DbaseFile *dbf, unsigned char *base, unsigned char **cursor);

/* esri_get_dbase_fields makes *fields an array of the text (C) and number (N) fields of record index, from 0:
 * from the field's name to its text without the white space around it, from strdup. The array that *fields
 * held is released with its texts; the caller releases the last one with freearr(*fields, free). Fields of
 * other types are passed over without their width, so that what follows one is read too far to the left.
 *
 * Returns 0, with a null *fields where the table has no records block; or -1 for a field outside the block,
 * as those of an index out of range are, or exhausted memory. *fields then holds the fields before. */
LINDRA_API int esri_get_dbase_fields(DbaseFile *dbf, int index, Arr **fields);

/* esri_print_dbase_file prints header, descriptors and the text of each record to standard output; prefix
 * begins the lines of the first two. Records of more than 512 bytes end the process: see
 * lindra_print_dbase_file. */
LINDRA_API void esri_print_dbase_file(const char *prefix, DbaseFile *dbf);

/* --- Shapes by way of a database ------------------------------------------------------------------------ */

/* esri_get_db_shp_record decodes the shape that the row of db describes: "fileid" is the number of a
 * shapefile in the table "filename", whose "filename" is its path (a relative one counts from the directory
 * of the database), and "offset" the place of the record in it, bytes. A zeroed shape, or one whose contents
 * the caller has released, is filled as by esri_unstuff_stream(ESRI_RECORD, ...); what it owned is not
 * released.
 *
 * Paths and files are kept for the life of the process: an identifier is looked up once for each database
 * path, a file mapped once. May be called from several threads.
 *
 * Returns 0; or -1 when the row lacks the fields, the identifier is not found, there is no record at offset,
 * or memory is exhausted. A file that cannot be mapped is told, too, before the record is missed. */
LINDRA_API int esri_get_db_shp_record(SHPRECORD *shape, Dbptr db);

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
    int32_t level; /* 0 to 255; the file's 6 is read as 1 */
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
 * west, east, south, north: the window, degrees. Longitudes of a span below 360 must lie within +-1e9; they
 * are brought to -180 <= west <= 180, west <= east <= west + 360. A span of 360 or more is the globe, 0 to
 * 360. clon, clat: the reference point, degrees, clon within +-1e9; nextseg tells which polygons contain the
 * point opposite to it.
 *
 * Polygons are chosen by their boxes; level 5 is always left out. Near the edges of the frame of 360 degrees
 * some that meet the window are left out too: a box that lies east of 360 is compared where it lies 360
 * degrees less.
 *
 * Returns the number of polygons selected; 0 without a usable layer; -1 when a file is missing, unreadable or
 * damaged, a longitude is out of range, or memory is exhausted. The handle then holds the polygons found
 * before.
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

/* --- netCDF classic headers ----------------------------------------------------------------------------- */
/*
 * "The NetCDF Classic Format Specification" (Unidata, 2011), version 1 (32-bit offsets): the record count and
 * the lists of dimensions, global attributes and variables at the start of a file held in memory. Everything
 * is big-endian; names and values of 1- and 2-byte types are padded to a multiple of 4 bytes. The data of a
 * variable stand begin bytes from the first byte of the header and are not read here.
 *
 * Type codes: 1 byte, 2 char, 3 short (16 bit), 4 int (32 bit), 5 float, 6 double.
 */

/* NetcdfDim: a dimension. Its name belongs to it. */
typedef struct NetcdfDim {
    char *name;
    int32_t value; /* its length; 0 for the record dimension */
} NetcdfDim;

/* NetcdfValues: the values of an attribute, n elements of the type in host order in a block from malloc; for
 * char a text closed by a zero byte. */
typedef struct NetcdfValues {
    int32_t type;
    int32_t n;
    void *values;
} NetcdfValues;

/* NetcdfAttr: an attribute. Its name belongs to it. */
typedef struct NetcdfAttr {
    char *name;
    NetcdfValues values;
} NetcdfAttr;

/* NetcdfVar: a variable. Name, dims and attrs belong to it; dims point at elements of the header's dims. */
typedef struct NetcdfVar {
    char *name;
    int32_t dims_n;
    NetcdfDim **dims;
    int32_t attrs_n;
    NetcdfAttr *attrs;
    int32_t type;  /* as the file gives it */
    int32_t vsize; /* bytes; of one record in a record variable; as the file gives it */
    int32_t begin; /* of its data, bytes from the header's first byte; as the file gives it */
    int32_t fixed; /* 0 when one of its dimensions has the length 0, else 1 */
} NetcdfVar;

/* NetcdfHeader: a decoded header, empty or filled. All arrays belong to it; base points into the caller's
 * buffer. */
typedef struct NetcdfHeader {
    unsigned char *base; /* the first byte of the header */
    int32_t numrecs;     /* as the file gives it; -1 while a writer has left it open */
    NetcdfDim *dims;
    int32_t dims_n;
    NetcdfAttr *attrs; /* the global ones */
    int32_t attrs_n;
    NetcdfVar *vars;
    int32_t vars_n;
    Arr *vars_array; /* from a variable's name to its element of vars; null when the list is absent */
} NetcdfHeader;

/* netcdf_unstuff_header decodes the header at *stream and advances *stream past it. A null *hdr is replaced
 * by a new header, which the caller releases with netcdf_clear_header and then free; another one is cleared
 * and reused. Of two variables of one name vars_array finds the later.
 *
 * Returns 0; or -1 when the header is damaged, does not fit in the known extent of *stream, or memory is
 * exhausted. After a wrong magic number *stream has advanced by 4 bytes and *hdr is as it was; after any
 * other failure *stream stands where the reading ended and the header holds what was read before: counts are
 * those of the file and names, blocks and dimensions that were not reached are null. It is released like a
 * good one. */
LINDRA_API int netcdf_unstuff_header(unsigned char **stream, NetcdfHeader **hdr);

/* netcdf_unstuff_attrs decodes the attribute list at *stream and advances *stream past it. Stores the number
 * through attrs_n and a new array, from malloc like its names and blocks, through attrs; an absent list
 * stores nothing. Returns 0, or -1 as netcdf_unstuff_header does; the array is then stored as far as it was
 * read, if it could be allocated. */
LINDRA_API int netcdf_unstuff_attrs(unsigned char **stream, int *attrs_n, NetcdfAttr **attrs);

/* netcdf_unstuff_values decodes values->n elements of values->type at *stream, releases the block that values
 * held with free, gives it a new one and advances *stream past the elements and their padding. Returns 0; or
 * -1, with a null block and *stream unchanged, for null values, a type out of 1 to 6, elements that do not
 * fit in the known extent of *stream, or exhausted memory. */
LINDRA_API int netcdf_unstuff_values(unsigned char **stream, NetcdfValues *values);

/* netcdf_unstuff_string returns the name at *stream as a new text, which the caller frees, and advances
 * *stream past its padding. Returns null, with *stream just behind the length word, when the name does not
 * fit in the known extent of *stream or memory is exhausted; *stream is unchanged when the length word does
 * not fit. */
LINDRA_API char *netcdf_unstuff_string(unsigned char **stream);

/* netcdf_clear_header releases all that the header owns, not the header itself, and leaves it empty; base and
 * numrecs stay. A half-filled header and null are accepted. Returns 0. */
LINDRA_API int netcdf_clear_header(NetcdfHeader *hdr);

/* netcdf_print_header prints every dimension, attribute and variable with all its values, one line a field.
 * What a failed decoding left out is printed as "(null)", or without elements; an attribute whose type it
 * refused takes as many lines as the file claims elements, up to 2^31. Returns 0; errors of the stream are
 * left to the caller. */
LINDRA_API int netcdf_print_header(NetcdfHeader *hdr, FILE *stream);

/* netcdf_print_vals prints the values, every line after prefix: the characters of char values in one line,
 * the elements of other types one a line. Returns 0. */
LINDRA_API int netcdf_print_vals(NetcdfValues *values, const char *prefix, FILE *stream);

/* netcdf_type2str returns the name of a type code, or of a list tag (10 dimension, 11 variable, 12
 * attribute); "UNKNOWNTYPE(code)" for another one. The text stays until the next call in the same thread. */
LINDRA_API char *netcdf_type2str(int code);

/* netcdf_value2str returns element index of the block as text: a byte as 0xFF, a char as itself, short and
 * int in decimal, float and double with six decimals, cut to 31 characters; for another code what
 * netcdf_type2str does, without reading the block. The text stays until the next call in the same thread. */
LINDRA_API char *netcdf_value2str(int code, int index, void *block);

/* --- GMT borders and rivers ----------------------------------------------------------------------------- */
/*
 * The binned line files of GSHHG ("A Global Self-consistent, Hierarchical, High-resolution Geography
 * Database", README of version 2.3.7, 2017) as netCDF classic files, binned_border_{c,l,i,h,f}.cdf and
 * binned_river_{c,l,i,h,f}.cdf. The globe is cut into bins; a bin holds segments, a segment points. Border
 * levels: 1 national, 2 state, 3 marine. River levels: 1 to 10, the file's 0 besides.
 */

/* GmtMapFile: one data file. The arrays are big-endian and stand in the mapped file. */
typedef struct GmtMapFile {
    char name[64];
    NetcdfHeader *hdr;            /* null until the file is loaded */
    double dlon, dlat;            /* width and height of a bin, degrees */
    int32_t nbins;                /* bins in the file */
    int32_t nbins_lon, nbins_lat; /* bins in 360 degrees of longitude, in 180 of latitude */
    unsigned char *bin_first_seg; /* 32 bit, of each bin: its first segment */
    unsigned char *bin_nsegs;     /* 16 bit, of each bin: the number of its segments */
    unsigned char *seg_npts;      /* unsigned 16 bit, of each segment: the number of its points */
    unsigned char *seg_level;     /* 16 bit, of each segment */
    unsigned char *seg_first_pt;  /* 32 bit, of each segment: its first point */
    unsigned char *pt_rlon; /* unsigned 16 bit, of each point: 1/65535 of the bin's width from its west */
    unsigned char *pt_rlat; /* unsigned 16 bit, of each point: 1/65535 of its height from its south */
} GmtMapFile;

/* GmtSelect: one kind of a selection. */
typedef struct GmtSelect {
    GmtMapFile *file;
    char type[4];   /* "p" borders, "r" rivers */
    int32_t kind;   /* 4 for borders, 3 for rivers */
    int32_t levels; /* bit 0 is level 1 */
} GmtSelect;

/* GmtSeg: one selected segment. */
typedef struct GmtSeg {
    double west, south; /* of its bin, degrees; west from 0 to below 360 */
    int16_t kind;
    int16_t level;
    uint16_t npts;
    unsigned char *rlon, *rlat; /* of its first point, inside the mapped file */
    GmtMapFile *file;
} GmtSeg;

/* GmtMap: a handle on borders and rivers. */
typedef struct GmtMap {
    char resolution[64]; /* "crude", "low", "intermediate", "high" or "full" */
    int32_t nselect;     /* kinds selected, 0 to 4 */
    GmtSelect select[4];
    int32_t nsegs;      /* segments selected */
    int32_t segs_alloc; /* capacity of segs */
    int32_t iseg;       /* the next segment to deliver */
    GmtSeg *segs;
    GmtMapFile files[10]; /* borders from crude to full, then rivers */
} GmtMap;

/* gmtmap_open makes a new handle when *gmt is null, which the caller releases with lindra_free_gmtmap; an
 * existing one keeps its storage and its loaded files. The selection is emptied. Returns 0, or -1 when memory
 * is exhausted. */
LINDRA_API int gmtmap_open(GmtMap **gmt);

/* gmtmap_process_border_hdr checks the netCDF header of file->hdr and binds the file's arrays and numbers to
 * it. Returns 0; or -1 when a variable is missing, or is not of the form it must have, or, where the extent
 * of the header is known, does not lie in the file. What was bound before stays. */
LINDRA_API int gmtmap_process_border_hdr(GmtMapFile *file);

/* gmtmap_select selects the segments that gmtmap_nextseg delivers.
 *
 * list: up to four kinds "p:LEVELS" (borders) or "r:LEVELS" (rivers), between blanks or commas; LEVELS is a
 * decimal mask (bit 0 is level 1; 0 selects nothing), the character before it is free. Other words are
 * ignored. resolution: judged by its first letter, c, l, h or f; anything else is intermediate. The files
 * maps/lindra/binned_border_*.cdf and binned_river_*.cdf are found with datafile and loaded once per handle.
 * lonmin, lonmax, latmin, latmax: the window, degrees, finite and within +-1e9; it is widened to whole bins.
 * Longitudes may be of either range, -180 to 180 or 0 to 360; a window that ends at -360 or west of it meets
 * nothing.
 *
 * Segments come in the order of the list, then of the bins, then of the file. Returns their number; 0 without
 * a usable word; -1 when a file is missing, unreadable or damaged, the window is not finite, or memory is
 * exhausted. The handle then holds the segments of the bins before. */
LINDRA_API int gmtmap_select(GmtMap *gmt, const char *list, const char *resolution, double lonmin,
                             double lonmax, double latmin, double latmax);

/* gmtmap_nextseg delivers the next selected segment.
 *
 * n: receives the number of points. lon, lat, nalloc: two arrays from malloc and their common capacity; they
 * are the caller's, null and 0 at first, are grown to exactly what a segment needs, and are freed by the
 * caller at the end. Longitudes lie in 0..360. type (2 bytes or more): receives "p" for a border, "r" for a
 * river. level: receives the segment's level.
 *
 * Returns 1 for a segment (one without points sets only n, to 0), 0 when all were delivered, -1 when memory
 * is exhausted: the segment then stays the next one. After -1 from the first allocation both pointers are
 * invalid (set them to null and nalloc to 0 before the next call); after -1 from a later one the null
 * pointer's old storage is lost. */
LINDRA_API int gmtmap_nextseg(GmtMap *gmt, int *n, int *nalloc, float **lon, float **lat, char *type,
                              int *level);

/* --- DDS textures --------------------------------------------------------------------------------------- */
/*
 * DirectDraw Surface files ("Programming Guide for DDS", Microsoft, 2018): four bytes "DDS ", a header of 124
 * bytes with a pixel format of 32 in it, and the images, the largest first, each half as wide and high as the
 * one before. All words are little-endian and have 32 bits; here each stands in a slot of 64.
 */

/* The str_types. */
enum {
    DDS_TYPE_HEADER = 2,     /* DDS_HEADER */
    DDS_TYPE_HEADER10 = 3,   /* DDS_HEADER10 */
    DDS_TYPE_PIXELFORMAT = 4 /* DDS_PIXELFORMAT */
};

typedef struct DDS_PIXELFORMAT {
    uint64_t dwSize; /* 32 */
    uint64_t dwFlags;
    uint64_t dwFourCC; /* with 0x4 in dwFlags: "DXT1" and the like, the first character lowest */
    uint64_t dwRGBBitCount;
    uint64_t dwRBitMask, dwGBitMask, dwBBitMask, dwABitMask;
} DDS_PIXELFORMAT;

typedef struct DDS_HEADER {
    uint64_t dwSize; /* 124 */
    uint64_t dwFlags;
    uint64_t dwHeight, dwWidth; /* of the first image, pixels */
    uint64_t dwPitchOrLinearSize;
    uint64_t dwDepth;
    uint64_t dwMipMapCount;  /* with 0x20000 in dwFlags: images with the first one */
    uint64_t dwReserved[11]; /* the eleven words one after the other, two in a slot; the last slots are 0 */
    DDS_PIXELFORMAT ddspf;
    uint64_t dwCaps, dwCaps2, dwCaps3, dwCaps4;
    uint64_t dwReserved2;
} DDS_HEADER;

typedef struct DDS_HEADER10 {
    uint64_t dxgiFormat;
    uint64_t resourceDimension;
    uint64_t miscFlag;
    uint64_t arraySize;
    uint64_t miscFlag2;
} DDS_HEADER10;

/* DdsFile: a decoded file. It owns the list and every image in it. */
typedef struct DdsFile {
    uint64_t magic; /* the first four bytes as they stand */
    DDS_HEADER header;
    DDS_HEADER10 header10; /* not read */
    Tbl *mipmaps;          /* of uint32_t arrays, 0xAARRGGBB, row by row; null where none were expanded */
} DdsFile;

/* dds_strdefs_init builds the index of structures. dds_unstuff_stream does it on its first call; the printers
 * do not, so that they print nothing before. Returns 0. */
LINDRA_API int dds_strdefs_init(void);

/* dds_unstuff_stream decodes a structure of the given str_type at *pos and advances *pos past it. A null *out
 * is replaced by a new structure, which the caller frees; another one, which must be of that type, is zeroed
 * and filled. base is not read.
 *
 * Returns 0; or -1 when the str_type is unknown, the bytes do not fit in the known extent of *pos, or memory
 * is exhausted; always for a DDS_HEADER10, whose first field has a type that is not decoded. *pos then stands
 * where the reading ended, and *out holds what was decoded before. */
LINDRA_API int dds_unstuff_stream(int str_type, void **out, unsigned char *base, unsigned char **pos);

/* dds_get_type returns the name of a structure (1 the file), dds_get_word_type that of a field's type, from 1
 * to 8; "Unknown" for another code. Static storage. */
LINDRA_API const char *dds_get_type(int code);
LINDRA_API const char *dds_get_word_type(int code);

/* These write to buf the names of the bits of flags that have one, separated by blanks, and return buf: of a
 * header's dwFlags (up to 97 bytes with the closing zero byte), of a pixel format's dwFlags (67), of a
 * header's dwCaps (47). */
LINDRA_API char *dds_get_dds_bitmap(int flags, char *buf);
LINDRA_API char *dds_get_pixelformat_bitmap(int flags, char *buf);
LINDRA_API char *dds_get_ddscaps_bitmap(int flags, char *buf);

/* dds_decode_file decodes the file at *stream, whatever its first four bytes are, and advances *stream past
 * it. A null *file is replaced by a new record, which the caller releases with lindra_free_dds; another one
 * gives up its images and is reused. base is not read.
 *
 * Images are expanded of DXT1 files only, and only when dwFlags has both 0x1000 (pixel format) and 0x20000
 * (mip-map count): all of them when mipmap is negative, else the one numbered mipmap (or the last, when there
 * are fewer), which becomes the only one of the list. Of other files *stream is advanced past the headers.
 * An array has room for twice the image's pixels, for whole blocks, and for what dds_print_file shows of it.
 *
 * Returns 0; or -1 when the header is cut, the file is of the kind "DX10", an image does not fit in the known
 * extent of *stream, or memory is exhausted. The headers and the images expanded before stay. */
LINDRA_API int dds_decode_file(DdsFile **file, int mipmap, unsigned char *base, unsigned char **stream);

/* dds_print_file prints the header, and of each image its size and its first 10 pixels, to standard output,
 * every line after prefix. An image counts as half as large as the one before it in the list, so that a
 * single one is always told as the largest. A prefix of more than 507 bytes ends the process.
 * dds_print_file_callback is the same. */
LINDRA_API void dds_print_file(const char *prefix, DdsFile *file);
LINDRA_API void dds_print_file_callback(const char *prefix, DdsFile *file);

/* --- S3TC blocks ---------------------------------------------------------------------------------------- */
/*
 * "EXT_texture_compression_s3tc" (Khronos, 2013): 4 x 4 pixels in 8 bytes (DXT1) or 16 (DXT5), blocks row by
 * row from the top, as many as cover the image. Pixels are 0xAARRGGBB, row by row, width to a row. Nothing
 * is read behind the last block.
 */

/* PackARGB makes a pixel of four values from 0 to 255; of greater ones the lowest 8 bits. */
LINDRA_API uint32_t PackARGB(uint32_t alpha, uint32_t red, uint32_t green, uint32_t blue);

/* DecompressBlockDXT1 and DecompressBlockDXT5 expand one block of 8 or 16 bytes into the image, its first
 * pixel at column x and row y. Columns from width on are left out; rows are not: the image must have room for
 * row y + 3. DXT1 gives no transparent pixels: the fourth colour of its three-colour mode is opaque black.
 * The colours of DXT5 always have four, whatever their order. */
LINDRA_API void DecompressBlockDXT1(uint64_t x, uint64_t y, uint64_t width, const unsigned char *block,
                                    uint32_t *image);
LINDRA_API void DecompressBlockDXT5(uint64_t x, uint64_t y, uint64_t width, const unsigned char *block,
                                    uint32_t *image);

/* BlockDecompressImageDXT1 and BlockDecompressImageDXT5 expand all blocks of an image. The image must have
 * room for height rounded up to a multiple of 4 rows, all of which are written. */
LINDRA_API void BlockDecompressImageDXT1(uint64_t width, uint64_t height, const unsigned char *blocks,
                                         uint32_t *image);
LINDRA_API void BlockDecompressImageDXT5(uint64_t width, uint64_t height, const unsigned char *blocks,
                                         uint32_t *image);

/* --- Extensions ----------------------------------------------------------------------------------------- */

/* lindra_version returns the version of the library at run time, "MAJOR.MINOR.PATCH". Static storage. */
LINDRA_API const char *lindra_version(void);

/* lindra_bound declares that the size bytes at base are a file held in memory, so that no decoder reads
 * outside them. A second call for the same base replaces the size. Returns 0, or -1 for a null base or
 * exhausted memory. Call lindra_unbound before the memory is released. An extent includes its end address: of
 * two buffers that meet there declare both. Any thread may call both. */
LINDRA_API int lindra_bound(const void *base, size_t size);
LINDRA_API void lindra_unbound(const void *base);

/* lindra_free_gshhsmap releases a handle of gshhsmap_open and its index. The files it mapped stay mapped. */
LINDRA_API void lindra_free_gshhsmap(GshhsMap *gs);

/* lindra_free_gmtmap releases a handle of gmtmap_open, its index and its files' headers. The files stay
 * mapped. */
LINDRA_API void lindra_free_gmtmap(GmtMap *gmt);

/* lindra_clear_esri releases everything that a decoded structure of the given str_type owns and zeroes it;
 * half-decoded structures, null and unknown types are accepted. lindra_free_esri releases the structure, too.
 * A DbaseFile or SHPRECORD of the caller's own is cleared, one that the library made is freed. */
LINDRA_API void lindra_clear_esri(int str_type, void *structure);
LINDRA_API void lindra_free_esri(int str_type, void *structure);

/* lindra_print_dbase_file is esri_print_dbase_file for records of any size. */
LINDRA_API void lindra_print_dbase_file(const char *prefix, DbaseFile *dbf);

/* lindra_free_dds releases a decoded file with its images. Null is accepted. */
LINDRA_API void lindra_free_dds(DdsFile *file);

/*
 * Textures as they are met: DXT1 to DXT5, and plain pixels told by bit masks or by a DX10 header; with or
 * without the mip-map flag; cube maps, arrays and volumes ("Programming Guide for DDS", Microsoft, 2018).
 * Nothing is allocated, and nothing outside the file is read.
 */

/* How the pixels of a texture are stored. */
enum {
    LINDRA_DXT1 = 1,
    LINDRA_DXT3 = 3, /* and DXT2, whose colours were multiplied with alpha, and stay so */
    LINDRA_DXT5 = 5, /* and DXT4, likewise */
    LINDRA_MASKS = 8 /* little-endian numbers of as many bits as a pixel has, rows without padding */
};

/* LindraTexture: what a texture consists of. It owns nothing and points into the file. */
typedef struct LindraTexture {
    const unsigned char *base; /* the first byte of the file */
    uint64_t size;             /* of the file, bytes */
    DDS_HEADER header;
    DDS_HEADER10 header10; /* zero where the file has none */
    uint64_t data;         /* where the first image begins, bytes from base */
    uint64_t nimages;      /* images that are whole in the file, 1 at least */
    uint32_t width;        /* of the first image, pixels */
    uint32_t height;
    uint32_t depth;                   /* slices of the first level of a volume; 1 in other textures */
    uint32_t levels;                  /* of each face, the first one included */
    uint32_t faces;                   /* of a cube, 1 to 6; 1 in other textures */
    uint32_t face[6];                 /* which face each is: 0 +x, 1 -x, 2 +y, 3 -y, 4 +z, 5 -z */
    uint32_t elements;                /* of the array; 1 where there is none */
    uint32_t format;                  /* LINDRA_DXT1 and so on */
    uint32_t bits;                    /* of a pixel with LINDRA_MASKS: 8, 16, 24 or 32 */
    uint32_t red, green, blue, alpha; /* masks, with LINDRA_MASKS; 0 for a channel that is not stored */
} LindraTexture;

/* LindraImage: one image of a texture. */
typedef struct LindraImage {
    uint64_t offset; /* from the first byte of the file, bytes */
    uint64_t size;   /* bytes */
    uint32_t element;
    uint32_t face;  /* 0 +x, 1 -x, 2 +y, 3 -y, 4 +z, 5 -z; 0 in a texture that is no cube */
    uint32_t level; /* 0 is the largest */
    uint32_t slice;
    uint32_t width, height; /* pixels, 1 at least */
} LindraImage;

/* LindraTell is told of one thing in a file that is otherwise than it should be: where, bytes from the first
 * byte of the file, and what, in one line without its end. context: what came with the function. */
typedef void LindraTell(void *context, uint64_t offset, const char *text);

/* lindra_unstuff_texture finds the images of the texture file of size bytes at base. What the header has
 * wrong and the file shows right is told and passed over, as are images that are cut.
 *
 * Returns 0; or -1 when the file is no texture, or one of a format that is not read, or holds no whole image.
 * The reason is the last thing told, or, when tell is null, logged with flag 0. *texture is then zeroed. */
LINDRA_API int lindra_unstuff_texture(LindraTexture *texture, const unsigned char *base, uint64_t size,
                                      LindraTell *tell, void *context);

/* lindra_texture_image tells of image index, in the order of the file: array elements, in each its faces, in
 * each its levels, in each its slices. Returns 0, or -1 (image unchanged) for an index of nimages or more. */
LINDRA_API int lindra_texture_image(const LindraTexture *texture, uint64_t index, LindraImage *image);

/* lindra_expand_image expands an image to pixels 0xAARRGGBB, row by row; pixels must have room for width *
 * height of them. Blocks are expanded as above, with DXT3's alpha times 17. Masked channels are scaled to
 * 0..255 and rounded; one that is not stored is 0, alpha 255. Returns 0, or -1 (pixels unchanged) for an
 * image of other bytes than one of that width and height has in the file. */
LINDRA_API int lindra_expand_image(const LindraTexture *texture, const LindraImage *image, uint32_t *pixels);

#ifdef __cplusplus
}
#endif

#endif
