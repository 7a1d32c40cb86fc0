// SPDX-License-Identifier: MIT
//
// Coastline files: headers one by one, selection, delivery and even-odd test, the last two against plain
// routines. The head of the input is the request. The file is put where a handle keeps the files that it has
// mapped.

#include "harness/expect.hpp"
#include "harness/fixture.hpp"
#include "harness/heap.hpp"
#include "harness/model.hpp"
#include "harness/parameters.hpp"
#include "harness/steps.hpp"

#include "gshhs_builder.hpp"
#include "plain_delivery.hpp"

#include <cmath>

using namespace lindra::fuzz;
using namespace lindra::test;

namespace {

constexpr const char *lists[] = {"f:0", "c:0", "f:0,c:0", "f:1", "c:6 f:3", "f:-1", "c", ""};
constexpr const char *resolutions[] = {"c", "l", "i", "h", "f"};

// The room that a first selection takes for its polygons.
constexpr size_t first_room = 2000 * sizeof(GshhsSeg);

std::string model(Random &random) {
    std::vector<RawPolygon> polygons(random.below(5));
    for (RawPolygon &polygon : polygons) {
        polygon.level = static_cast<int>(random.one_in(8) ? random.below(40) : random.below(7));
        polygon.version = random.one_of({13, 13, 4, 3});
        const double lon = random.below(360), lat = random.below(180) - 90.0, side = 1 + random.below(200);
        for (unsigned i = random.below(8); i > 0; i--)
            polygon.points.emplace_back(std::fmod(lon + random.below(1000) * side / 1000, 360),
                                        std::min(90.0, lat + random.below(1000) * side / 1000));
        if (random.one_in(3)) polygon.box = {micro(-180), micro(360), micro(-90), micro(90)};
    }
    const std::string globe = be16(0) + be16(23040) + be16(-5760) + be16(5760);
    return random.bytes(2) + (random.one_in(2) ? globe : random.bytes(8)) + random.bytes(4) +
           file_of(polygons);
}

struct Request {
    explicit Request(Parameters &from)
        : list(from.one_of(lists)), resolution(from.byte() % std::size(resolutions)), west(from.angle()),
          east(from.angle()), south(from.angle()), north(from.angle()), clon(from.angle()),
          clat(from.angle()) {}

    int select(GshhsMap *gs) const {
        return gshhsmap_select(gs, list, resolutions[resolution], west, east, south, north, clon, clat);
    }

    const char *list;
    size_t resolution;
    double west, east, south, north, clon, clat;
};

// So many points, these in turn; it lies wherever it is looked for.
RawPolygon all_over(size_t count, const std::vector<std::pair<double, double>> &points) {
    RawPolygon polygon;
    for (size_t i = 0; i < count; i++)
        polygon.points.push_back(points[i % points.size()]);
    polygon.box = {micro(0), micro(360), micro(-90), micro(90)};
    return polygon;
}

// Every polygon, by the decoders of headers and points; returns how many there are.
size_t walk(const Input &input) {
    size_t count = 0;
    GSHHSHdr hdr;
    GSHHSHdr *out = &hdr;
    for (unsigned char *pos = input.data(); pos < input.end(); count++) {
        if (gshhs_unstuff_hdr(&out, &pos) < 0 || gshhs_skip_pts(&hdr, &pos) < 0) return count;
        expect(input.has(pos), "the position stays in the file");
    }
    return count;
}

void compare_with_plain(const GshhsMap *gs, const GshhsSeg &seg, const Delivered &got) {
    const PlainDelivery expected = plain_delivery(gs, seg);
    expect(got.npts == static_cast<int>(expected.out_lon.size()) && same_bits(got.lon, expected.out_lon) &&
               same_bits(got.lat, expected.out_lat),
           "a polygon is delivered as by the plain routine");
    if (got.npts == 0) return;
    expect(got.inside == plain_inside(got.lon, got.lat, static_cast<float>(gs->antilon),
                                      static_cast<float>(gs->antilat)),
           "a point is inside as by the plain routine");
}

void deliver(Coast &coast) {
    GshhsMap *gs = coast.gs;
    for (int i = 0; i < gs->nsegs; i++) {
        int npts = 0, level = 0, inside = 0;
        char type[2] = "";
        expect(gshhsmap_nextseg(gs, &npts, &coast.nalloc, &coast.lon, &coast.lat, type, &level, &inside) == 1,
               "every selected polygon is delivered");
        const HeapPause pause;
        compare_with_plain(
            gs, gs->segs[i],
            {1, npts, level, inside, type, {coast.lon, coast.lon + npts}, {coast.lat, coast.lat + npts}});
    }
}

} // namespace

std::vector<Fixture> lindra::fuzz::fixtures() {
    RawPolygon old = square(5, 45, 2);
    old.version = 3;
    RawPolygon round_the_pole = {{{0, -80}, {120, -70}, {240, -75}, {360, -80}, {360, -90}, {0, -90}}, 1};
    // f:0,c:0 and the crude file; west, east, south, north; a point
    const std::string request("\2\0", 2);
    const std::string globe = be16(0) + be16(23040) + be16(-5760) + be16(5760) + be16(400) + be16(2900);
    const std::string window = be16(-640) + be16(640) + be16(2880) + be16(3200) + be16(0) + be16(0);
    const std::string island_with_lake = file_of({square(5, 45, 2), square(5.5, 45.5, 1, 2)});
    const RawPolygon turns = all_over(10'000, {{2147, 0}, {-2147, 0}});
    const RawPolygon in_and_out = all_over(10'000, {{170, 80}, {1, 46}});
    const std::vector<RawPolygon> no_points(5000, {{}, 1});
    return {large({"turns-without-end", file_of({turns}), behind(request + globe)}),
            large({"in-and-out", file_of({in_and_out}), behind(request + window)}),
            large({"polygons-of-nothing", file_of(no_points), behind(request + globe)}),
            {"island-with-lake", island_with_lake, behind(request + globe)},
            {"island-with-lake-in-a-window", island_with_lake, behind(request + window)},
            {"across-greenwich", file_of({square(359, 46, 2)}), behind(request + window)},
            {"old-header", file_of({old, square(6, 46)}), behind(request + globe)},
            {"round-the-pole", file_of({round_the_pole}), behind(request + globe)}};
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned seed) {
    return mutate(data, size, max_size, seed, model);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const HeapBalance balance;
    Parameters parameters({data, size});
    const Request request(parameters);
    const Input input(parameters.rest());
    const HeapLimit limit(size, first_room);
    const StepLimit steps(size, 100, 5000);
    const size_t polygons = walk(input);
    Coast coast;
    coast.gs->cache_data[request.resolution] = input.data();
    coast.gs->cache_size[request.resolution] = static_cast<int32_t>(input.size());
    const int selected = request.select(coast.gs);
    // After a failure the polygons before are there.
    if (selected > 0) accept();
    expect(selected < 0 || selected == coast.gs->nsegs, "the number of polygons is returned");
    expect(static_cast<size_t>(coast.gs->nsegs) <= polygons * static_cast<size_t>(coast.gs->nselect),
           "no polygon is selected twice by a layer");
    deliver(coast);
    expect(gshhsmap_reset(coast.gs) == coast.gs->nsegs, "the delivery can begin again");
    deliver(coast);
    return 0;
}
