// SPDX-License-Identifier: MIT
//
// dBase tables by the C face: header, descriptors, records, the fields of a record, and the listing.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/model.hpp"
#include "harness/steps.hpp"

#include "dbase_builder.hpp"

#include <climits>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

std::string model(Random &random) {
    RawTable table;
    const unsigned fields = random.below(6);
    for (unsigned i = 0; i < fields; i++) {
        const int length = static_cast<int>(random.one_in(8) ? 255 : random.below(12));
        table.fields.push_back({random.bytes(random.below(11)), random.one_of("CCCNNNFLD"), length});
    }
    const unsigned records = random.below(5);
    for (unsigned i = 0; i < records; i++)
        table.records.push_back(random.bytes(static_cast<size_t>(table.record_size()) - 1));
    table.padded = random.one_in(3);
    if (random.one_in(4)) table.end_mark = "";
    return table.bytes();
}

// Fields of a record that is there, and of one that is not.
void read_fields(DbaseFile &dbf) {
    const int last = dbf.header.hdr5.numrecs;
    Arr *fields = nullptr;
    for (const int index : {0, last / 2, last, -1, INT_MAX, INT_MIN})
        esri_get_dbase_fields(&dbf, index, &fields);
    freearr(fields, free);
}

int decode(DbaseFile &dbf, const Input &input) {
    unsigned char *cursor = input.data();
    const int status = esri_decode_dbase_file(&dbf, input.data(), &cursor);
    expect(input.has(cursor), "the position stays in the file");
    return status;
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    RawTable every_type;
    std::string values;
    for (const char type : std::string("CNFLDMBGPYTIO@+")) {
        every_type.fields.push_back({std::string("F_") + type, type, 4, 1});
        values += "1234";
    }
    every_type.records = {values, values};
    RawTable padded = cities();
    padded.padded = true;
    RawTable long_field;
    long_field.fields = {{"LONG", 'C', 255}};
    long_field.records = {std::string(255, 'x')};
    return {{"every-type", every_type.bytes()},
            {"cities", cities().bytes()},
            {"padded-header", padded.bytes()},
            {"longest-field", long_field.bytes()},
            {"no-records", RawTable{.fields = cities().fields}.bytes()},
            {"no-fields", RawTable{}.bytes()}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    const Input input({data, size});
    const HeapLimit limit(size);
    const StepLimit steps(size, 40, 10'000);
    DbaseFile dbf = {};
    const int status = decode(dbf, input);
    if (status == 0) accept();
    read_fields(dbf);
    lindra_print_dbase_file("", &dbf);
    // Longer records end the process, as they always did.
    if (static_cast<int16_t>(dbf.header.hdr5.numbytesrec) <= 512) esri_print_dbase_file("", &dbf);

    clrtbl(dbf.fields, free);
    expect(decode(dbf, input) == status, "a table that is used again is decoded as a new one");
    lindra_clear_esri(DBASE_FILE, &dbf);
    return 0;
}
