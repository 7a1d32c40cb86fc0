// SPDX-License-Identifier: MIT
//
// Writes the polygons of a GSHHS file to a shapefile, so that readers of shapefiles can be asked for the
// coastlines that gshhsmap_select knows: all but those of level 5, which it leaves out.
//
// usage: coast_shapefile GSHHS SHAPEFILE

#include "lindra/lindra.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <shapefil.h>
#include <vector>

namespace {

constexpr int ice_front = 5;

double degrees(const unsigned char *at) {
    int32_t micro_degrees;
    N2H4(&micro_degrees, at, 1);
    return micro_degrees * 1e-6;
}

void write_polygon(SHPHandle out, const GSHHSHdr &hdr, const unsigned char *points) {
    const auto count = static_cast<size_t>(hdr.n);
    std::vector<double> x(count), y(count);
    for (size_t i = 0; i < count; i++) {
        x[i] = degrees(points + 8 * i);
        y[i] = degrees(points + 8 * i + 4);
    }
    SHPObject *shape = SHPCreateSimpleObject(SHPT_POLYGON, hdr.n, x.data(), y.data(), nullptr);
    SHPWriteObject(out, -1, shape);
    SHPDestroyObject(shape);
}

int write_polygons(SHPHandle out, unsigned char *pos, const unsigned char *end) {
    GSHHSHdr header;
    GSHHSHdr *hdr = &header;
    while (pos < end) {
        if (gshhs_unstuff_hdr(&hdr, &pos) < 0) return -1;
        const unsigned char *points = pos;
        if (gshhs_skip_pts(hdr, &pos) < 0) return -1;
        if (hdr->level != ice_front) write_polygon(out, *hdr, points);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    char *data = nullptr;
    const int64_t size = mapfile(argv[1], nullptr, &data);
    if (size < 0 || lindra_bound(data, static_cast<size_t>(size)) < 0) {
        fprintf(stderr, "coast_shapefile: %s cannot be read\n", argv[1]);
        return 1;
    }
    SHPHandle out = SHPCreate(argv[2], SHPT_POLYGON);
    if (!out) {
        fprintf(stderr, "coast_shapefile: %s cannot be written\n", argv[2]);
        return 1;
    }
    auto *begin = reinterpret_cast<unsigned char *>(data);
    const int result = write_polygons(out, begin, begin + size);
    SHPClose(out);
    return result < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
