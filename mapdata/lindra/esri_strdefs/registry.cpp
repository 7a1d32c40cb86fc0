// SPDX-License-Identifier: MIT
//
// The registry of shapefile and dBase structures: what is registered under which str_type, how elements are
// taken from the file and how they are printed.

#include "esri_strdefs/registry.hpp"

#include "esri_strdefs/tables.hpp"
#include "fail.hpp"

#include <bit>
#include <cstring>

namespace lindra::esri {

namespace {

static_assert(std::endian::native == std::endian::little, "little-endian fields are copied as they are");

// Deliberate: 0 stands here twice, so that its second name is never given.
constexpr Codedef SHAPETYPE_Codedef[] = {
    {SHAPE_NULL, "Null"},
    {ESRI_FILE, "File"},
    {ESRI_RECORD, "Record"},
    {ESRI_POINT, "Point"},
    {ESRI_BOX, "Box"},
    {ESRI_FILEHDR, "FileHdr"},
    {ESRI_RECORDHDR, "RecordHdr"},
    {SHAPE_NULL, "RecordNULL"},
    {SHAPE_POINT, "RecordPoint"},
    {SHAPE_MULTIPOINT, "RecordMultiPoint"},
    {SHAPE_POLYLINE, "RecordPolyLine"},
    {SHAPE_POLYGON, "RecordPolygon"},
    {SHAPE_POINTM, "RecordPointM"},
    {SHAPE_MULTIPOINTM, "RecordMultiPointM"},
    {SHAPE_POLYLINEM, "RecordPolyLineM"},
    {SHAPE_POLYGONM, "RecordPolygonM"},
    {SHAPE_POINTZ, "RecordPointZ"},
    {SHAPE_MULTIPOINTZ, "RecordMultiPointZ"},
    {SHAPE_POLYLINEZ, "RecordPolyLineZ"},
    {SHAPE_POLYGONZ, "RecordPolygonZ"},
    {SHAPE_MULTIPATCH, "RecordMultiPatch"},
    {DBASE_FILE, "DbaseFile"},
    {DBASE_FILEHDR5, "DbaseFileHDR5"},
    {DBASE_FILEHDR7, "DbaseFileHDR7"},
    {DBASE_FIELDDESCRIPTOR5, "DbaseFieldDescriptor5"},
    {DBASE_FIELDDESCRIPTOR7, "DbaseFieldDescriptor7"},
    {DBASE_FIELDPROPERTIES, "DbaseFieldProperties"},
};
static_assert(std::size(SHAPETYPE_Codedef) == 27);

// --- Hooks ------------------------------------------------------------------------------------------------

// The layout of a level 7 file's field properties is not read.
int esri_decode_dbase_field_properties(void *, Source &) {
    return 0;
}

void esri_print_dbase_field_properties(const char *, void *, int) {}

int esri_decode_shapefile_hook(void *file, Source &source) {
    return decode_shapefile(*static_cast<SHPFILE *>(file), source);
}

void esri_print_shapefile_callback(const char *prefix, void *file, int) {
    esri_print_shapefile(prefix, static_cast<SHPFILE *>(file));
}

int esri_decode_shapefile_record(void *record, Source &source) {
    return decode_shapefile_record(*static_cast<SHPRECORD *>(record), source);
}

void esri_print_shapefile_record_hook(const char *prefix, void *record, int index) {
    esri_print_shapefile_record(prefix, static_cast<SHPRECORD *>(record), index);
}

int esri_decode_dbase_file_hook(void *dbf, Source &source) {
    return decode_dbase_file(*static_cast<DbaseFile *>(dbf), source);
}

void esri_print_dbase_file_callback(const char *prefix, void *dbf, int) {
    esri_print_dbase_file(prefix, static_cast<DbaseFile *>(dbf));
}

// --- Entries ----------------------------------------------------------------------------------------------

template <class Structure, size_t rows>
constexpr StrdefsEntry described(int32_t str_type, const Strdef (&fields)[rows]) {
    return {str_type, sizeof(Structure), fields, rows, nullptr, nullptr};
}

template <class Structure>
constexpr StrdefsEntry hooked(int32_t str_type, DecodeHook *decode, PrintHook *print) {
    return {str_type, sizeof(Structure), nullptr, 0, decode, print};
}

constexpr StrdefsEntry esri_strdefs[] = {
    hooked<SHPFILE>(ESRI_FILE, esri_decode_shapefile_hook, esri_print_shapefile_callback),
    hooked<SHPRECORD>(ESRI_RECORD, esri_decode_shapefile_record, esri_print_shapefile_record_hook),
    described<SHPPOINT>(ESRI_POINT, SHPPOINT_Strdef),
    described<SHPBOX>(ESRI_BOX, SHPBOX_Strdef),
    described<SHPFILEHDR>(ESRI_FILEHDR, SHPFILEHDR_Strdef),
    described<SHPRECHDR>(ESRI_RECORDHDR, SHPRECHDR_Strdef),
    described<SHPRECNULL>(SHAPE_NULL, SHPRECNULL_Strdef),
    described<SHPRECPOINT>(SHAPE_POINT, SHPRECPOINT_Strdef),
    described<SHPRECMPOINT>(SHAPE_MULTIPOINT, SHPRECMPOINT_Strdef),
    described<SHPRECPOLYL>(SHAPE_POLYLINE, SHPRECPOLYL_Strdef),
    described<SHPRECPOLYG>(SHAPE_POLYGON, SHPRECPOLYG_Strdef),
    described<SHPRECPOINTM>(SHAPE_POINTM, SHPRECPOINTM_Strdef),
    described<SHPRECMPOINTM>(SHAPE_MULTIPOINTM, SHPRECMPOINTM_Strdef),
    described<SHPRECPOLYLM>(SHAPE_POLYLINEM, SHPRECPOLYLM_Strdef),
    described<SHPRECPOLYGM>(SHAPE_POLYGONM, SHPRECPOLYGM_Strdef),
    described<SHPRECPOINTZ>(SHAPE_POINTZ, SHPRECPOINTZ_Strdef),
    described<SHPRECMPOINTZ>(SHAPE_MULTIPOINTZ, SHPRECMPOINTZ_Strdef),
    described<SHPRECPOLYLZ>(SHAPE_POLYLINEZ, SHPRECPOLYLZ_Strdef),
    described<SHPRECPOLYGZ>(SHAPE_POLYGONZ, SHPRECPOLYGZ_Strdef),
    described<SHPRECMULTIPA>(SHAPE_MULTIPATCH, SHPRECMULTIPA_Strdef),
    hooked<DbaseFile>(DBASE_FILE, esri_decode_dbase_file_hook, esri_print_dbase_file_callback),
    described<DBASEHDR5>(DBASE_FILEHDR5, DBASEHDR5_Strdef),
    described<DBASEHDR7>(DBASE_FILEHDR7, DBASEHDR7_Strdef),
    described<DBASEFIELDDESCR5>(DBASE_FIELDDESCRIPTOR5, DBASEFIELDDESCR5_Strdef),
    described<DBASEFIELDDESCR7>(DBASE_FIELDDESCRIPTOR7, DBASEFIELDDESCR7_Strdef),
    hooked<DBASEFIELDPROPERTIES>(DBASE_FIELDPROPERTIES, esri_decode_dbase_field_properties,
                                 esri_print_dbase_field_properties),
};
static_assert(std::size(esri_strdefs) == 26);

// --- Elements ---------------------------------------------------------------------------------------------

int copy_bytes(void *dest, Stream &stream, uint32_t n, int32_t) {
    const unsigned char *from = stream.bytes(n);
    if (!from) return -1;
    memcpy(dest, from, n);
    return 0;
}

int convert(void *dest, Stream &stream, uint32_t n, size_t size, void (*to_host)(void *, const void *, int)) {
    const unsigned char *from = stream.bytes(n * size);
    if (!from) return -1;
    if (to_host)
        to_host(dest, from, static_cast<int>(n));
    else
        memcpy(dest, from, n * size);
    return 0;
}

constexpr Element number(Type type, Convert *convert, bool may_vary) {
    const auto size = static_cast<size_t>(size_of(type));
    return {size, size, convert, 0, false, may_vary};
}

template <size_t rows>
consteval Element structure(Type type, int32_t str_type, const Strdef (&fields)[rows]) {
    const auto size = static_cast<size_t>(size_of(type));
    return {size, size, nullptr, str_type, lies_alike(fields, size, size_of), true};
}

// --- Printing ---------------------------------------------------------------------------------------------

template <class T>
T at(const void *from) {
    T value;
    memcpy(&value, from, sizeof value);
    return value;
}

void print_code(const Strdef &row, uint32_t value) {
    if (strcmp(row.name, "shape_type") == 0)
        printf("%s", esri_get_shapetype(value));
    else
        printf("%d", static_cast<int>(value));
}

int print_integer(const Strdef &row, const char *, const void *from, int) {
    print_code(row, at<uint32_t>(from));
    return 1;
}

int print_word(const Strdef &row, const char *, const void *from, int) {
    print_code(row, at<uint16_t>(from));
    return 1;
}

int print_real(const Strdef &, const char *, const void *from, int) {
    printf("%f", at<double>(from));
    return 1;
}

int print_point(const Strdef &, const char *, const void *from, int) {
    const auto point = at<SHPPOINT>(from);
    printf("(%f, %f)", point.x, point.y);
    return 1;
}

int print_box(const Strdef &, const char *, const void *from, int) {
    const auto box = at<SHPBOX>(from);
    printf("(%f, %f, %f, %f)", box.xmin, box.ymin, box.xmax, box.ymax);
    return 1;
}

int print_byte(const Strdef &, const char *, const void *from, int) {
    printf("%d", at<uint8_t>(from));
    return 1;
}

// All characters are one text, which ends at its first zero byte.
int print_text(const Strdef &, const char *, const void *from, int left) {
    printf("%.*s", left, static_cast<const char *>(from));
    return left;
}

constexpr Shown shown_as(Type type, int32_t limit, bool may_vary, Shown::Print *print) {
    return {limit, true, may_vary, size_of(type), size_of(type), print};
}

} // namespace

// --- The registry -----------------------------------------------------------------------------------------

const std::span<const StrdefsEntry> Registry::entries = esri_strdefs;

const Element *Registry::element(int32_t type) {
    static constexpr Element elements[] = {
        number(integer, esri2h4, true),
        number(real, esri2h8, true),
        structure(point, ESRI_POINT, SHPPOINT_Strdef),
        structure(box, ESRI_BOX, SHPBOX_Strdef),
        number(character, copy_bytes, false),
        number(byte, copy_bytes, false),
        number(word, esri2h2, false),
    };
    return type >= integer && type <= word ? &elements[type - integer] : nullptr;
}

const Shown *Registry::shown(int32_t type) {
    static constexpr Shown table[] = {
        shown_as(integer, 10, true, print_integer), shown_as(real, 10, true, print_real),
        shown_as(point, 4, true, print_point),      shown_as(box, 2, true, print_box),
        shown_as(character, 64, false, print_text), shown_as(byte, 32, false, print_byte),
        shown_as(word, 20, false, print_word),
    };
    return type >= integer && type <= word ? &table[type - integer] : nullptr;
}

const char *Registry::structure_name(int32_t str_type) {
    return esri_get_shapetype(static_cast<uint32_t>(str_type));
}

int esri2h2(void *dest, Stream &stream, uint32_t n, int32_t big_endian) {
    return convert(dest, stream, n, 2, big_endian ? N2H2 : nullptr);
}

int esri2h4(void *dest, Stream &stream, uint32_t n, int32_t big_endian) {
    return convert(dest, stream, n, 4, big_endian ? N2H4 : nullptr);
}

int esri2h8(void *dest, Stream &stream, uint32_t n, int32_t big_endian) {
    return convert(dest, stream, n, 8, big_endian ? N2H8 : nullptr);
}

} // namespace lindra::esri

// --- Exported ---------------------------------------------------------------------------------------------

using namespace lindra::esri;

int esri_strdefs_init(void) {
    return Engine::init();
}

int esri_unstuff_stream(int str_type, void **out, unsigned char *base, unsigned char **pos) {
    lindra::Source source(base, pos);
    return Engine::unstuff(str_type, out, source);
}

const char *esri_get_shapetype(unsigned int code) {
    return lindra::name_of(SHAPETYPE_Codedef, code, "Unknown");
}
