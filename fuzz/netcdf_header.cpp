// SPDX-License-Identifier: MIT
//
// netCDF classic headers. A good one must read the same in an extent that is known and in one that is not,
// and from a file that mapfile reads and from one that it maps.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/input.hpp"
#include "harness/memory_file.hpp"
#include "harness/model.hpp"
#include "harness/steps.hpp"

#include "netcdf_builder.hpp"

#include <algorithm>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

// --- Model ---

std::string random_name(Random &random) {
    return random.bytes(random.below(9));
}

std::string random_attribute(Random &random) {
    static constexpr int widths[] = {1, 1, 2, 4, 4, 8};
    const unsigned type = random.below(6);
    const unsigned count = random.below(5);
    return nc::attribute(random_name(random), static_cast<int>(type) + 1, static_cast<int32_t>(count),
                         random.bytes(count * static_cast<size_t>(widths[type])));
}

std::vector<std::string> random_attributes(Random &random) {
    std::vector<std::string> all(random.below(4));
    std::ranges::generate(all, [&] { return random_attribute(random); });
    return all;
}

RawVariable random_variable(Random &random, unsigned dims) {
    RawVariable variable;
    variable.name = random_name(random);
    for (unsigned rank = dims ? random.below(4) : 0; rank > 0; rank--)
        variable.ids.push_back(static_cast<int32_t>(random.below(dims)));
    variable.attrs = random_attributes(random);
    variable.type = static_cast<int>(random.below(6)) + 1;
    return variable;
}

std::string model(Random &random) {
    if (random.one_in(8)) return rich_header().bytes();
    RawHeader header;
    header.numrecs = static_cast<int32_t>(random.below(3));
    const unsigned dims = random.below(4);
    for (unsigned i = 0; i < dims; i++)
        header.dims.push_back(nc::dimension(random_name(random), static_cast<int32_t>(random.below(9))));
    header.attrs = random_attributes(random);
    for (unsigned variables = random.below(5); variables > 0; variables--)
        header.vars.push_back(random_variable(random, dims));
    return header.bytes();
}

// --- The routes ---

struct Header {
    Header() = default;
    ~Header() {
        netcdf_clear_header(hdr);
        free(hdr);
    }
    Header(const Header &) = delete;
    Header &operator=(const Header &) = delete;

    NetcdfHeader *hdr = nullptr;
};

// An attribute that was not reached is printed in as many lines as the file claims it has elements, whatever
// its size. Each takes six steps, which those of any input have room for.
bool is_short(const NetcdfAttr *attrs, int32_t count) {
    constexpr int32_t most = 1 << 9;
    return std::all_of(attrs, attrs + count, [](const NetcdfAttr &attr) { return attr.values.n <= most; });
}

bool listing_is_short(const NetcdfHeader *hdr) {
    if (hdr->attrs && !is_short(hdr->attrs, hdr->attrs_n)) return false;
    for (int32_t i = 0; hdr->vars && i < hdr->vars_n; i++)
        if (hdr->vars[i].attrs && !is_short(hdr->vars[i].attrs, hdr->vars[i].attrs_n)) return false;
    return true;
}

// Decodes what is at base as it stands and expects the same.
void compare(unsigned char *base, const std::string &expected, size_t consumed) {
    Header other;
    unsigned char *pos = base;
    expect(netcdf_unstuff_header(&pos, &other.hdr) == 0, "a header is good by every route");
    expect(pos == base + consumed, "a header ends at the same place by every route");
    expect(listing(other.hdr) == expected, "a header reads the same by every route");
}

void compare_file(const MemoryFile &file, const std::string &expected, size_t consumed) {
    char *data = nullptr;
    const int64_t size = mapfile(file.path(), nullptr, &data);
    expect(size >= 0, "the file can be read");
    lindra_bound(data, static_cast<size_t>(size));
    compare(reinterpret_cast<unsigned char *>(data), expected, consumed);
    lindra_unbound(data);
    lindra_unmapfile(data, size);
}

void compare_routes(const Input &input, const std::string &expected, size_t consumed) {
    static const MemoryFile file;
    constexpr size_t mapped = (16 << 20) + 1;
    file.write({input.data(), input.size()});
    compare_file(file, expected, consumed);
    file.resize(mapped);
    compare_file(file, expected, consumed);
    lindra_unbound(input.data());
    compare(input.data(), expected, consumed);
    lindra_bound(input.data(), input.size());
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    RawHeader records;
    records.numrecs = -1; // being written
    records.dims = {nc::dimension("time", 0)};
    records.vars = {{"t", {0}, {}, nc::double_code, 8, 80}, {"s", {0}, {}, nc::short_code, 4, 88}};
    RawHeader attributes;
    attributes.attrs = {nc::attribute("byte", nc::byte_code, 5, "\1\2\3\4\5"),
                        nc::text_attribute("text", "abcdefghi"),
                        nc::text_attribute("none", ""),
                        nc::attribute("short", nc::short_code, 3, be16(1) + be16(-2) + be16(3)),
                        nc::attribute("int", nc::int_code, 2, be32(1) + be32(-2)),
                        nc::attribute("float", nc::float_code, 2, be_float(1) + be_float(-2)),
                        nc::attribute("double", nc::double_code, 2, be_double(1) + be_double(-2))};
    RawHeader types;
    types.dims = {nc::dimension("x", 2), nc::dimension("y", 3)};
    for (int type = nc::byte_code; type <= nc::double_code; type++)
        types.vars.push_back({std::to_string(type), {0, 1}, {}, type});
    RawHeader attributes_of_nothing;
    attributes_of_nothing.attrs.assign(10'000, nc::attribute("", nc::byte_code, 0, ""));
    RawHeader many_variables;
    for (int i = 0; i < 10'000; i++)
        many_variables.vars.push_back({std::to_string(i), {}, {}, nc::byte_code});
    RawHeader many_values;
    many_values.attrs = {nc::attribute("", nc::double_code, 50'000, std::string(400'000, '\1'))};
    return {large({"attributes-of-nothing", attributes_of_nothing.bytes()}),
            large({"many-variables", many_variables.bytes()}),
            large({"many-values", many_values.bytes()}),
            {"something-of-everything", rich_header().bytes()},
            {"records", records.bytes()},
            {"attributes-of-every-type", attributes.bytes()},
            {"variables-of-every-type", types.bytes()},
            {"nothing", RawHeader{}.bytes()}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    const Input input({data, size});
    const HeapLimit limit(size);
    // Variables are found by their names: the more there are, the longer it takes to enter one.
    // What could not be decoded is listed in up to 512 lines.
    const StepLimit steps(size, 90, 25'000);
    Header header;
    unsigned char *pos = input.data();
    const int status = netcdf_unstuff_header(&pos, &header.hdr);
    expect(input.has(pos), "the position stays in the file");
    if (!header.hdr) return 0;
    if (status == 0) {
        accept();
        const HeapPause pause;
        compare_routes(input, listing(header.hdr), static_cast<size_t>(pos - input.data()));
    } else if (listing_is_short(header.hdr)) {
        netcdf_print_header(header.hdr, stdout);
    }

    pos = input.data();
    expect(netcdf_unstuff_header(&pos, &header.hdr) == status,
           "a header that is used again is decoded as a new one");
    return 0;
}
