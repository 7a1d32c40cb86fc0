// SPDX-License-Identifier: MIT
//
// Main files of shapefiles, by the C face and, where they keep every rule, by the C++ face beside it.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/model.hpp"
#include "harness/steps.hpp"

#include "shapefile_builder.hpp"

#include "lindra/lindra.hpp"

#include <cstring>

using namespace lindra::fuzz;
namespace shp = lindra::test::shp;

namespace {

std::string model(Random &random) {
    std::vector<std::string> records;
    const int type = shp::types[random.below(static_cast<unsigned>(shp::types.size()))].first;
    const unsigned count = random.below(6);
    for (unsigned i = 0; i < count; i++) {
        const int points = static_cast<int>(random.below(6));
        const int parts = static_cast<int>(random.below(static_cast<unsigned>(points) + 1));
        const int its_type = random.one_in(8) ? SHAPE_NULL : type;
        records.push_back(shp::record(static_cast<int32_t>(i + 1), shp::shape(its_type, parts, points)));
    }
    return shp::file(type, records);
}

// --- Files that keep every rule ---

constexpr size_t header_size = 100;
constexpr size_t record_header_size = 8;

uint32_t big(const unsigned char *at) {
    return static_cast<uint32_t>(at[0]) << 24 | static_cast<uint32_t>(at[1]) << 16 |
           static_cast<uint32_t>(at[2]) << 8 | at[3];
}

uint32_t little(const unsigned char *at) {
    return static_cast<uint32_t>(at[3]) << 24 | static_cast<uint32_t>(at[2]) << 16 |
           static_cast<uint32_t>(at[1]) << 8 | at[0];
}

// The size that a shape at that place must have by its type and counts; 0 for what is no shape or is cut.
uint64_t shape_size(const unsigned char *at, size_t left) {
    const auto type = left < 4 ? -1 : static_cast<int>(little(at));
    const uint64_t doubles = 8 * (2 + uint64_t{shp::has_z(type)} + uint64_t{shp::has_m(type)});
    bool is_known = false;
    for (const auto &[code, name] : shp::types)
        is_known = is_known || code == type;
    if (!is_known) return 0;
    if (type == SHAPE_NULL) return 4;
    if (shp::is_point(type)) return 4 + doubles;
    const uint64_t counts = shp::has_parts(type) ? 44 : 40;
    if (left < counts) return 0;
    const uint64_t parts = shp::has_parts(type) ? little(at + 36) : 0;
    const uint64_t points = little(at + counts - 4);
    if (parts > INT32_MAX || points > INT32_MAX) return 0;
    const uint64_t ranges = 16 * (uint64_t{shp::has_z(type)} + uint64_t{shp::has_m(type)});
    return counts + parts * (type == SHAPE_MULTIPATCH ? 8 : 4) + points * doubles + ranges;
}

// Records one behind the other, each of the size that its shape has, to the end of the file.
bool keeps_every_rule(const Input &input) {
    if (input.size() < header_size || big(input.data()) != 9994 || input.size() % 2 != 0) return false;
    if (big(input.data() + 24) != input.size() / 2) return false;
    for (const unsigned char *at = input.data() + header_size; at < input.end();) {
        auto left = static_cast<size_t>(input.end() - at);
        if (left < record_header_size) return false;
        const uint64_t size = uint64_t{2} * big(at + 4);
        at += record_header_size;
        left -= record_header_size;
        if (size == 0 || size > left || shape_size(at, left) != size) return false;
        at += size;
    }
    return true;
}

// --- The same by both faces ---

template <class Shape>
bool same_points(const Shape &shape, const lindra::shape_record &record) {
    const size_t size = record.points().size() * sizeof(SHPPOINT);
    return static_cast<size_t>(shape.numpoints) == record.points().size() &&
           (size == 0 || memcmp(shape.points, record.points().bytes().data(), size) == 0);
}

// Bit by bit, since a value may be no number.
bool same(double a, double b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

bool same_measures(const double *marray, const lindra::shape_record &record) {
    for (size_t i = 0; i < record.points().size(); i++) {
        const std::optional<double> m = record.m(i);
        if (m ? !same(*m, marray[i]) : !(marray[i] < -1e38)) return false;
    }
    return true;
}

bool same_heights(const double *zarray, const lindra::shape_record &record) {
    for (size_t i = 0; i < record.points().size(); i++)
        if (!record.z(i) || !same(*record.z(i), zarray[i])) return false;
    return true;
}

template <class Shape>
bool same_many(const SHPRECORD &seen, const lindra::shape_record &record) {
    const auto &shape = *static_cast<const Shape *>(seen.shape);
    bool all = same_points(shape, record);
    if constexpr (requires { shape.zarray; }) all = all && same_heights(shape.zarray, record);
    if constexpr (requires { shape.marray; }) all = all && same_measures(shape.marray, record);
    return all;
}

template <class Shape>
bool same_one(const SHPRECORD &seen, const lindra::shape_record &record) {
    const auto &shape = *static_cast<const Shape *>(seen.shape);
    bool all = record.points().size() == 1 && same(shape.x, record.points()[0].x) &&
               same(shape.y, record.points()[0].y);
    if constexpr (requires { shape.z; }) all = all && same_heights(&shape.z, record);
    if constexpr (requires { shape.m; }) all = all && same_measures(&shape.m, record);
    return all;
}

bool same_shape(const SHPRECORD &seen, const lindra::shape_record &record) {
    switch (seen.shape_type) {
    case SHAPE_NULL:
        return record.points().empty();
    case SHAPE_POINT:
        return same_one<SHPRECPOINT>(seen, record);
    case SHAPE_POINTM:
        return same_one<SHPRECPOINTM>(seen, record);
    case SHAPE_POINTZ:
        return same_one<SHPRECPOINTZ>(seen, record);
    case SHAPE_MULTIPOINT:
        return same_many<SHPRECMPOINT>(seen, record);
    case SHAPE_MULTIPOINTM:
        return same_many<SHPRECMPOINTM>(seen, record);
    case SHAPE_MULTIPOINTZ:
        return same_many<SHPRECMPOINTZ>(seen, record);
    case SHAPE_MULTIPATCH:
        return same_many<SHPRECMULTIPA>(seen, record);
    case SHAPE_POLYLINE:
    case SHAPE_POLYGON:
        return same_many<SHPRECPOLYL>(seen, record);
    case SHAPE_POLYLINEM:
    case SHAPE_POLYGONM:
        return same_many<SHPRECPOLYLM>(seen, record);
    default:
        return same_many<SHPRECPOLYLZ>(seen, record);
    }
}

void compare_faces(const Input &input, const SHPFILE &seen) {
    const lindra::shapefile file({{input.data(), input.size()}});
    expect(static_cast<size_t>(counttbl(seen.records)) == file.size(),
           "both faces see the same number of records");
    for (const lindra::shape_record &record : file) {
        const auto &other = *static_cast<SHPRECORD *>(gettbl(seen.records, static_cast<int>(record.index())));
        expect(other.offset == record.offset() && other.hdr.number == record.number(),
               "both faces see the same record");
        expect(other.shape_type == record.type_code() && same_shape(other, record),
               "both faces see the same shape");
    }
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    std::vector<Fixture> all;
    for (const auto &[type, name] : shp::types)
        all.push_back({name, shp::file(type, {shp::record(1, shp::shape(type))})});
    const std::string many = shp::shape(SHAPE_POLYGON, 3, 9);
    all.push_back({"several-records",
                   shp::file(SHAPE_POLYGON, {shp::record(1, many), shp::record(2, shp::shape(SHAPE_NULL)),
                                             shp::record(3, shp::shape(SHAPE_POLYGON))})});
    std::vector<std::string> null_shapes;
    for (int number = 1; number <= 20; number++)
        null_shapes.push_back(shp::record(number, shp::shape(SHAPE_NULL)));
    all.push_back({"null-shapes", shp::file(SHAPE_POLYGON, null_shapes)});
    all.push_back({"no-records", shp::file(SHAPE_POLYGON, {})});
    return all;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    const Input input({data, size});
    const HeapLimit limit(size);
    // A null shape of 12 bytes takes 340.
    const StepLimit steps(size, 50, 2000);
    void *file = nullptr;
    unsigned char *pos = input.data();
    const int status = esri_unstuff_stream(ESRI_FILE, &file, input.data(), &pos);
    expect(input.has(pos), "the position stays in the file");
    const bool is_good = keeps_every_rule(input);
    expect(!is_good || (status == 0 && pos == input.end()),
           "a file that keeps every rule is read to its end");
    if (file) esri_print_shapefile("", static_cast<SHPFILE *>(file));
    if (is_good) accept();
    if (is_good) compare_faces(input, *static_cast<SHPFILE *>(file));
    lindra_free_esri(ESRI_FILE, file);
    return 0;
}
