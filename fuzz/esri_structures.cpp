// SPDX-License-Identifier: MIT
//
// Every structure that esri_unstuff_stream knows, and numbers that it does not. The first byte of the input
// chooses.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/steps.hpp"

#include "dbase_builder.hpp"
#include "shapefile_builder.hpp"

#include <vector>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

constexpr int other_types[] = {ESRI_RECORDHDR,
                               ESRI_FILEHDR,
                               ESRI_BOX,
                               ESRI_POINT,
                               ESRI_RECORD,
                               ESRI_FILE,
                               DBASE_FILE,
                               DBASE_FILEHDR5,
                               DBASE_FILEHDR7,
                               DBASE_FIELDDESCRIPTOR5,
                               DBASE_FIELDDESCRIPTOR7,
                               DBASE_FIELDPROPERTIES,
                               -1,
                               2,
                               INT32_MIN};

const std::vector<int> &all_types() {
    static const std::vector<int> all = [] {
        std::vector<int> types(std::begin(other_types), std::end(other_types));
        for (const auto &[type, name] : shp::types)
            types.push_back(type);
        return types;
    }();
    return all;
}

std::string random_shape(Random &random, int type) {
    const int points = static_cast<int>(random.below(8));
    return shp::shape(type, static_cast<int>(random.below(static_cast<unsigned>(points) + 1)), points);
}

// A shape may be any structure, a record in a record among them.
std::string contents(Random &random, int type) {
    switch (type) {
    case ESRI_RECORD:
        return shp::record(1, random_shape(random, shp::types[random.below(14)].first));
    case ESRI_FILE:
        return shp::file(SHAPE_POINT, {shp::record(1, shp::shape(SHAPE_POINT))});
    case DBASE_FILE:
        return cities().bytes();
    case DBASE_FILEHDR5:
    case DBASE_FILEHDR7:
        return cities().header() + random.bytes(36);
    case DBASE_FIELDDESCRIPTOR5:
    case DBASE_FIELDDESCRIPTOR7:
        return cities().descriptors();
    case ESRI_RECORDHDR:
    case ESRI_FILEHDR:
    case ESRI_BOX:
    case ESRI_POINT:
    case DBASE_FIELDPROPERTIES:
        return shp::header(50, SHAPE_POINT);
    default:
        return type >= 0 && type < 32 && type != 2 ? random_shape(random, type) : random.bytes(32);
    }
}

std::string model(Random &random) {
    const unsigned choice = random.below(static_cast<unsigned>(all_types().size()));
    std::string bytes = contents(random, all_types()[choice]);
    // Wrapped in records, each the shape of the one before.
    if (random.one_in(4)) {
        int type = all_types()[choice];
        for (unsigned depth = random.below(10); depth > 0; depth--) {
            bytes = shp::record_header(1, 10) + le32(type) + bytes;
            type = ESRI_RECORD;
        }
        return static_cast<char>(4) + bytes;
    }
    return static_cast<char>(choice) + bytes;
}

struct Decoded {
    int status;
    size_t consumed;
};

Decoded decode(int str_type, void **out, const Input &input) {
    unsigned char *pos = input.data();
    const int status = esri_unstuff_stream(str_type, out, input.data(), &pos);
    expect(input.has(pos), "the position stays in the buffer");
    return {status, static_cast<size_t>(pos - input.data())};
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    std::vector<Fixture> all;
    for (size_t choice = 0; choice < all_types().size(); choice++) {
        const int type = all_types()[choice];
        if (type == 2 || type < 0) continue; // are none
        Random random(1);
        const bool is_shape = type < 32;
        all.push_back({"type-" + std::to_string(type), is_shape ? shp::shape(type) : contents(random, type),
                       behind({static_cast<char>(choice)})});
    }
    // The number of the inner record is the type of the outer one's shape.
    const std::string shape = shp::shape(SHAPE_POLYGON);
    const std::string inner = le32(ESRI_RECORD) + be32(static_cast<int64_t>(shape.size() / 2)) + shape;
    all.push_back({"record-in-record", shp::record(1, inner), behind("\4")});
    return all;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Parameters parameters({data, size});
    const int str_type = all_types()[parameters.byte() % all_types().size()];
    const Input input(parameters.rest());
    const HeapBalance balance;
    const HeapLimit limit(size);
    // A null shape of 12 bytes takes 340.
    const StepLimit steps(size, 50, 2000);
    void *structure = nullptr;
    const Decoded first = decode(str_type, &structure, input);
    if (first.status == 0) accept();
    if (!structure) return 0;
    if (str_type == ESRI_RECORD) esri_print_shapefile_record("", static_cast<SHPRECORD *>(structure), 0);
    lindra_clear_esri(str_type, structure);
    const Decoded again = decode(str_type, &structure, input);
    expect(again.status == first.status && again.consumed == first.consumed,
           "a structure that is used again is decoded as a new one");
    lindra_free_esri(str_type, structure);
    return 0;
}
