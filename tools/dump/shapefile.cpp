// SPDX-License-Identifier: MIT
//
// The main file of a shapefile, by the library's strict reader: "ESRI Shapefile Technical Description" (ESRI,
// 1998).

#include "dump/shapefile.hpp"

#include "common/captured_log.hpp"
#include "common/damage.hpp"
#include "common/errors.hpp"
#include "common/standard_output.hpp"
#include "dump/record_list.hpp"

#include "lindra/lindra.h"

#include <memory>
#include <optional>
#include <span>
#include <string>

namespace lindra::tools {

namespace {

struct FileRelease {
    void operator()(SHPFILE *file) const { lindra_free_esri(ESRI_FILE, file); }
};

Json box_fact(const SHPBOX &box) {
    return {json_number(box.xmin), json_number(box.ymin), json_number(box.xmax), json_number(box.ymax)};
}

Json numbers_fact(const double *values, int count) {
    Json all = Json::array();
    for (const double value : std::span(values, static_cast<size_t>(count)))
        all.push_back(json_number(value));
    return all;
}

Json integers_fact(const int32_t *values, int count) {
    return std::span(values, static_cast<size_t>(count));
}

Json points_fact(const SHPPOINT *points, int count) {
    Json all = Json::array();
    for (const SHPPOINT &point : std::span(points, static_cast<size_t>(count)))
        all.push_back({json_number(point.x), json_number(point.y)});
    return all;
}

// The members that a shape has; those that another kind lacks do not compile.
template <class Shape>
void add_shape(Json &facts, const void *structure) {
    const Shape &shape = *static_cast<const Shape *>(structure);
    if constexpr (requires { shape.x; }) {
        facts["x"] = json_number(shape.x);
        facts["y"] = json_number(shape.y);
    }
    if constexpr (requires { shape.z; }) facts["z"] = json_number(shape.z);
    if constexpr (requires { shape.m; }) facts["m"] = json_number(shape.m);
    if constexpr (requires { shape.bbox; }) facts["bbox"] = box_fact(shape.bbox);
    if constexpr (requires { shape.parts; }) facts["parts"] = integers_fact(shape.parts, shape.numparts);
    if constexpr (requires { shape.parttypes; })
        facts["parttypes"] = integers_fact(shape.parttypes, shape.numparts);
    if constexpr (requires { shape.points; }) facts["points"] = points_fact(shape.points, shape.numpoints);
    if constexpr (requires { shape.zarray; }) {
        facts["zrange"] = {json_number(shape.zmin), json_number(shape.zmax)};
        facts["zarray"] = numbers_fact(shape.zarray, shape.numpoints);
    }
    if constexpr (requires { shape.marray; }) {
        facts["mrange"] = {json_number(shape.mmin), json_number(shape.mmax)};
        facts["marray"] = numbers_fact(shape.marray, shape.numpoints);
    }
}

void add_shape_of(Json &facts, int shape_type, const void *shape) {
    switch (shape_type) {
    case SHAPE_POINT:
        return add_shape<SHPRECPOINT>(facts, shape);
    case SHAPE_POINTM:
        return add_shape<SHPRECPOINTM>(facts, shape);
    case SHAPE_POINTZ:
        return add_shape<SHPRECPOINTZ>(facts, shape);
    case SHAPE_MULTIPOINT:
        return add_shape<SHPRECMPOINT>(facts, shape);
    case SHAPE_MULTIPOINTM:
        return add_shape<SHPRECMPOINTM>(facts, shape);
    case SHAPE_MULTIPOINTZ:
        return add_shape<SHPRECMPOINTZ>(facts, shape);
    case SHAPE_POLYLINE:
    case SHAPE_POLYGON:
        return add_shape<SHPRECPOLYL>(facts, shape);
    case SHAPE_POLYLINEM:
    case SHAPE_POLYGONM:
        return add_shape<SHPRECPOLYLM>(facts, shape);
    case SHAPE_POLYLINEZ:
    case SHAPE_POLYGONZ:
        return add_shape<SHPRECPOLYLZ>(facts, shape);
    case SHAPE_MULTIPATCH:
        return add_shape<SHPRECMULTIPA>(facts, shape);
    default:
        return; // a null shape, or a structure that no shapefile should hold
    }
}

Json header_facts(const SHPFILEHDR &header) {
    return {{"magic", header.magic},
            {"length", header.length},
            {"version", header.version},
            {"shape_type", header.shape_type},
            {"shape_name", esri_get_shapetype(static_cast<unsigned>(header.shape_type))},
            {"bbox", box_fact({header.xmin, header.ymin, header.xmax, header.ymax})},
            {"zrange", {json_number(header.zmin), json_number(header.zmax)}},
            {"mrange", {json_number(header.mmin), json_number(header.mmax)}},
            {"offset", 0}};
}

Json record_facts(const SHPRECORD &record) {
    Json facts = {{"offset", record.offset},
                  {"number", record.hdr.number},
                  {"length", record.hdr.length},
                  {"shape_type", record.shape_type},
                  {"shape_name", esri_get_shapetype(static_cast<unsigned>(record.shape_type))}};
    add_shape_of(facts, record.shape_type, record.shape);
    return facts;
}

bool is_shape_type(const unsigned char *bytes) {
    constexpr unsigned past_the_last = 32;
    return bytes[0] < past_the_last && bytes[1] == 0 && bytes[2] == 0 && bytes[3] == 0;
}

void print_json(const SHPFILE &file) {
    RecordList list({{"format", "ESRI shapefile"}, {"header", header_facts(file.hdr)}}, "records");
    for (int i = 0; i < counttbl(file.records); i++)
        list.add(record_facts(*static_cast<const SHPRECORD *>(gettbl(file.records, i))));
    list.finish();
}

} // namespace

bool is_shapefile(const InputFile &file) {
    constexpr size_t version_offset = 28;
    return file.has_at(0, {"\x00\x00\x27\x0a", 4}) && file.has_at(version_offset, {"\xe8\x03\x00\x00", 4});
}

// The first record stands at word 50, which an index tells first, and a main file only where its first record
// has that number; behind its length a main file has a shape type and an index the next entry, or nothing.
void refuse_index(const InputFile &file) {
    constexpr size_t first_entry = 100, shape_type = 108, type_size = 4;
    if (!file.has_at(first_entry, {"\x00\x00\x00\x32", 4})) return;
    if (file.size() >= shape_type + type_size && is_shape_type(file.data() + shape_type)) return;
    throw DataError(file.path() + " is the index of a shapefile; print the file beside it that ends in .shp");
}

void dump_shapefile(const InputFile &file, bool json) {
    unsigned char *cursor = file.data();
    void *decoded = nullptr;
    const CapturedLog log;
    const int status = esri_unstuff_stream(ESRI_FILE, &decoded, file.data(), &cursor);
    const std::unique_ptr<SHPFILE, FileRelease> shapes(static_cast<SHPFILE *>(decoded));
    std::optional<DataError> told;
    if (status < 0)
        told = damage(file, cursor, log, "; lindra draw and lindra index read what makes sense of it");
    if (shapes && json) print_json(*shapes);
    if (shapes && !json) print_to_standard_output([&] { esri_print_shapefile("", shapes.get()); });
    if (told) throw DataError(*told);
}

} // namespace lindra::tools
