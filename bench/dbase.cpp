// SPDX-License-Identifier: MIT
//
// A whole dBase table: the text of every field, and every value by its type. Against shapelib and OGR.

#include "limits/memory.hpp"
#include "lindra/table.hpp"
#include "peers/ogr.hpp"
#include "peers/shapelib.hpp"
#include "works.hpp"

#include <cstring>

namespace bench {
namespace {

Delivered read_by_shapelib(const std::string &path) {
    return ShapelibTable(path).read_texts([](const char *text) { benchmark::DoNotOptimize(text); });
}

Delivered count_by_shapelib(const std::string &path) {
    double characters = 0;
    Delivered count = ShapelibTable(path).read_texts(
        [&](const char *text) { characters += static_cast<double>(strlen(text)); });
    count.points = characters;
    return count;
}

double ogr_value(OGRFeatureH feature, int field, OGRFieldType type) {
    if (type == OFTInteger) return OGR_F_GetFieldAsInteger(feature, field);
    if (type == OFTInteger64) return static_cast<double>(OGR_F_GetFieldAsInteger64(feature, field));
    if (type == OFTReal) return OGR_F_GetFieldAsDouble(feature, field);
    benchmark::DoNotOptimize(OGR_F_GetFieldAsString(feature, field));
    return 0;
}

Delivered values_by_ogr(const std::string &path) {
    OgrFile file(path);
    std::vector<OGRFieldType> types;
    for (int i = 0; i < OGR_FD_GetFieldCount(file.fields()); i++)
        types.push_back(OGR_Fld_GetType(OGR_FD_GetFieldDefn(file.fields(), i)));
    Delivered sum;
    file.read([&](OGRFeatureH feature) {
        sum.records++;
        for (size_t i = 0; i < types.size(); i++)
            sum.points += ogr_value(feature, static_cast<int>(i), types[i]);
    });
    return sum;
}

Delivered texts_by_ogr(const std::string &path) {
    OgrFile file(path);
    const int fields = OGR_FD_GetFieldCount(file.fields());
    Delivered sum;
    file.read([&](OGRFeatureH feature) {
        sum.records++;
        for (int i = 0; i < fields; i++)
            benchmark::DoNotOptimize(OGR_F_GetFieldAsString(feature, i));
    });
    return sum;
}

Delivered sum_file(const std::string &path) {
    const FreshMapping file(path);
    sum_bytes(file.bytes());
    return {1, static_cast<double>(file.bytes().size())};
}

} // namespace

void add_works() {
    const std::string path = data_file("table.dbf");
    // OGR writes texts and numbers anew, in UTF-8 and as it formats numbers.
    add_work(
        "dbase/texts",
        {{"lindra", [=] { return read_fields(path); }, {}, [=] { return count_fields(path); }},
         {"shapelib", [=] { return read_by_shapelib(path); }, {}, [=] { return count_by_shapelib(path); }},
         {"ogr", [=] { return texts_by_ogr(path); }, {1, 0}}});
    const Doer shapelib = {"shapelib", [=] { return ShapelibTable(path).read_values(); }};
    const Doer ogr = {"ogr", [=] { return values_by_ogr(path); }};
    const Doer limit = {"limit", [=] { return sum_file(path); }, not_compared};
    add_work("dbase/views", {{"lindra", [=] { return view_values(path); }}, shapelib, ogr, limit});
    add_work("dbase/values", {{"lindra", [=] { return read_values(path); }}, shapelib, ogr, limit});
}

} // namespace bench
