// SPDX-License-Identifier: MIT
//
// Binned files of borders and rivers: header, selection, delivery. The head of the input is the request. The
// file is bound to the handle as gmtmap_select would bind it, without a file on a disk.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/steps.hpp"

#include "gmt_builder.hpp"

#include <tuple>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

struct List {
    const char *text;
    size_t items; // that select, at least 1
};

constexpr List lists[] = {
    {"p:1", 1}, {"r:1023", 1}, {"p:7,r:1023", 2}, {"r:-1 p:-1", 2}, {"p:7,p:7,p:7,p:7", 4}, {"p:0", 1},
    {"p", 1},   {"", 1}};
constexpr const char *resolutions[] = {"c", "l", "i", "h", "f"};
constexpr size_t rivers = 5; // behind the borders

// The room that a first selection takes for its segments.
constexpr size_t first_room = 2000 * sizeof(GmtSeg);

std::string model(Random &random) {
    static constexpr std::pair<int, int> grids[] = {{1, 1}, {2, 1}, {4, 2}, {6, 3}};
    BinnedFile file;
    std::tie(file.nlon, file.nlat) = random.one_of(grids);
    for (int bin = 0; bin < file.nlon * file.nlat; bin++)
        for (unsigned i = random.below(3); i > 0; i--) {
            BinnedSegment segment = {static_cast<int>(random.below(12)), {}};
            for (unsigned point = random.below(4); point > 0; point--)
                segment.points.emplace_back(random.below(1 << 16), random.below(1 << 16));
            file.bins[bin].push_back(segment);
        }
    const std::string globe = be16(0) + be16(23040) + be16(-5760) + be16(5760);
    return random.bytes(2) + (random.one_in(2) ? globe : random.bytes(8)) + file.bytes();
}

struct Request {
    explicit Request(Parameters &from)
        : list(from.one_of(lists)), resolution(from.byte() % std::size(resolutions)), west(from.angle()),
          east(from.angle()), south(from.angle()), north(from.angle()) {}

    List list;
    size_t resolution;
    double west, east, south, north;
};

// Whether the input is a file that a handle takes.
bool bind_file(GmtMapFile &file, const Input &input) {
    unsigned char *pos = input.data();
    const int status = netcdf_unstuff_header(&pos, &file.hdr);
    return status == 0 && gmtmap_process_border_hdr(&file) == 0;
}

void check_point(float lon, float lat) {
    expect(lon >= 0 && lon <= 360 && lat >= -90 && lat <= 90, "a point lies on the globe");
}

// Returns the number of segments.
int deliver(BinnedLines &lines) {
    int count = 0;
    for (;; count++) {
        int n = 0, level = 0;
        char type[2] = "";
        if (gmtmap_nextseg(lines.gmt, &n, &lines.nalloc, &lines.lon, &lines.lat, type, &level) != 1)
            return count;
        for (int i = 0; i < n; i++)
            check_point(lines.lon[i], lines.lat[i]);
    }
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    using Points = std::vector<std::pair<int, int>>;
    const BinnedFile file = {2, 1, {{0, {{1, {{0, 0}, {65535, 65535}}}, {7, {{9, 9}}}}}, {1, {{2, {}}}}}};
    // p:7,r:1023 and the crude files; west, east, south, north
    const std::string request("\2\0", 2);
    const std::string globe = be16(0) + be16(23040) + be16(-5760) + be16(5760);
    const std::string antimeridian = be16(10880) + be16(12160) + be16(-640) + be16(640);
    // The file ends with its last point: behind an odd number of them padding would hide one too many.
    const BinnedFile one_bin = {1, 1, {{0, {{1, {{0, 0}, {1, 2}, {3, 4}, {5, 6}}}}}}};
    // A dimension of no points would be that of records.
    const BinnedSegment one_point = {1, {{1, 2}}};
    BinnedFile no_points = {1, 1, {{0, {one_point}}}};
    no_points.bins[0].resize(30'000, {1, {}});
    const BinnedFile many_points = {1, 1, {{0, {{1, Points(60'000, {1, 2})}}}}};
    const BinnedFile many_bins = {360, 180, {{7, {one_point}}}};
    const std::string four_times("\4\0", 2);
    return {large({"segments-of-nothing", no_points.bytes(), behind(request + globe)}),
            large({"segments-of-nothing-four-times", no_points.bytes(), behind(four_times + globe)}),
            large({"many-points", many_points.bytes(), behind(request + globe)}),
            large({"many-bins", many_bins.bytes(), behind(request + globe)}),
            {"two-bins", file.bytes(), behind(request + globe)},
            {"two-bins-in-a-window", file.bytes(), behind(request + antimeridian)},
            {"one-bin", one_bin.bytes(), behind(request + globe)}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    Parameters parameters({data, size});
    const Request request(parameters);
    const Input input(parameters.rest());
    // Each item of the list selects all segments anew. One takes 8 bytes in the file and 48 in a handle,
    // whose room is doubled when it is full: while it is moved 18 for each byte.
    const HeapLimit limit(size * request.list.items * 18 / 16, first_room);
    const StepLimit steps(size, 10 * request.list.items, 2000);
    BinnedLines lines;
    GmtMapFile *files = lines.gmt->files + request.resolution;
    if (!bind_file(files[0], input) || !bind_file(files[rivers], input)) return 0;
    const int selected = lines.select(request.list.text, resolutions[request.resolution], request.west,
                                      request.east, request.south, request.north);
    // After a failure the segments of the bins before are there.
    expect(selected < 0 || selected == lines.gmt->nsegs, "the number of segments is returned");
    expect(deliver(lines) == lines.gmt->nsegs, "every selected segment is delivered");
    if (selected > 0) accept();
    return 0;
}
