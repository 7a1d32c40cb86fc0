// SPDX-License-Identifier: MIT
//
// Lists a shapefile as JSON for shapefiles_test.py, which compares it with other programs' listings:
//
//   shapefile_listing FILE.shp              a line on the file, then one for each record
//   shapefile_listing --geojson FILE.shp    what write_geojson writes
//
// The first line tells whether the reader of the C face gives the same coordinates, bit for bit.
#include <lindra/lindra.hpp>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace lindra;

struct Strict {
    explicit Strict(const std::string &path) {
        size = mapfile(path.c_str(), nullptr, &data);
        auto *base = reinterpret_cast<unsigned char *>(data);
        unsigned char *position = base;
        lindra_bound(data, static_cast<size_t>(size));
        lindra_set_log_handler([](void *, int, const char *) {}, nullptr);
        status = esri_unstuff_stream(ESRI_FILE, &file, base, &position);
    }
    ~Strict() {
        lindra_free_esri(ESRI_FILE, file);
        lindra_unbound(data);
        lindra_unmapfile(data, size);
    }
    Strict(const Strict &) = delete;
    Strict &operator=(const Strict &) = delete;

    char *data = nullptr;
    int64_t size = 0;
    void *file = nullptr;
    int status = -1;
};

template <class Shape>
byte_span points_of(const void *shape) {
    const auto *typed = static_cast<const Shape *>(shape);
    return {reinterpret_cast<const unsigned char *>(typed->points),
            static_cast<size_t>(typed->numpoints) * sizeof(SHPPOINT)};
}

// The points that the C face has decoded.
byte_span points_of(const SHPRECORD &record) {
    switch (record.shape_type) {
    case SHAPE_NULL:
        return {};
    case SHAPE_POINT:
    case SHAPE_POINTM:
    case SHAPE_POINTZ:
        return {reinterpret_cast<const unsigned char *>(&static_cast<const SHPRECPOINT *>(record.shape)->x),
                sizeof(SHPPOINT)};
    case SHAPE_MULTIPOINT:
        return points_of<SHPRECMPOINT>(record.shape);
    case SHAPE_MULTIPOINTM:
        return points_of<SHPRECMPOINTM>(record.shape);
    case SHAPE_MULTIPOINTZ:
        return points_of<SHPRECMPOINTZ>(record.shape);
    case SHAPE_POLYLINEM:
    case SHAPE_POLYGONM:
        return points_of<SHPRECPOLYLM>(record.shape);
    case SHAPE_POLYLINEZ:
    case SHAPE_POLYGONZ:
        return points_of<SHPRECPOLYLZ>(record.shape);
    case SHAPE_MULTIPATCH:
        return points_of<SHPRECMULTIPA>(record.shape);
    default:
        return points_of<SHPRECPOLYL>(record.shape);
    }
}

bool is_same(const SHPRECORD &decoded, const shape_record &seen) {
    const byte_span a = points_of(decoded);
    const byte_span b = seen.points().bytes();
    return decoded.offset == seen.offset() && decoded.hdr.number == seen.number() && a.size() == b.size() &&
           (a.empty() || memcmp(a.data(), b.data(), a.size()) == 0);
}

std::string compared(const std::string &path, const shapefile &file) {
    const Strict strict(path);
    if (strict.status < 0) return "fails";
    Tbl *records = static_cast<const SHPFILE *>(strict.file)->records;
    if (static_cast<size_t>(counttbl(records)) != file.size())
        return "has " + std::to_string(counttbl(records)) + " records";
    for (size_t i = 0; i < file.size(); i++)
        if (!is_same(*static_cast<const SHPRECORD *>(gettbl(records, static_cast<int>(i))), file[i]))
            return "differs in record " + std::to_string(i);
    return "same";
}

void append_optional(std::string &out, std::optional<double> number) {
    out += ',';
    number ? detail::append_number(out, *number) : void(out += "null");
}

std::string listed(const shape_record &record) {
    std::string out = "{\"type\":" + std::to_string(record.type_code()) + ",\"parts\":[";
    for (const shape_part part : record.parts())
        out += (out.back() == '[' ? "" : ",") + std::to_string(part.first_point());
    out += "],\"points\":[";
    for (size_t i = 0; i < record.points().size(); i++) {
        out += i ? ",[" : "[";
        detail::append_number(out, record.points()[i].x);
        append_optional(out, record.points()[i].y);
        append_optional(out, record.z(i));
        append_optional(out, record.m(i));
        out += ']';
    }
    out += record.deleted() ? "],\"deleted\":true,\"raw\":[" : "],\"deleted\":false,\"raw\":[";
    const attribute_row row = record.attributes();
    for (size_t i = 0; i < row.size(); i++) {
        out += i ? "," : "";
        // A byte as a character: not UTF-8, but nothing is lost.
        std::string characters;
        for (const char c : row.raw(i)) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte < 0x80)
                characters += c;
            else
                (characters += static_cast<char>(0xc0 | byte >> 6)) +=
                    static_cast<char>(0x80 | (byte & 0x3f));
        }
        detail::append_text(out, characters);
    }
    return out + "]}";
}

void list(const std::string &path) {
    std::vector<std::string> repairs;
    const shapefile file(path, {.on_repair = [&](const repair &told) { repairs.push_back(told.text); }});
    std::string out = "{\"strict\":";
    detail::append_text(out, compared(path, file));
    out += ",\"repairs\":[";
    for (const std::string &text : repairs) {
        out += out.back() == '[' ? "" : ",";
        detail::append_text(out, text);
    }
    std::cout << out << "]}\n";
    for (const shape_record &record : file)
        std::cout << listed(record) << '\n';
}

} // namespace

int main(int argc, char **argv) {
    try {
        if (argc == 3 && std::string(argv[1]) == "--geojson")
            write_geojson(std::cout, shapefile(argv[2]));
        else if (argc == 2)
            list(argv[1]);
        else
            return 2;
    } catch (const error &reason) {
        std::cerr << reason.what() << '\n';
        return 1;
    }
}
