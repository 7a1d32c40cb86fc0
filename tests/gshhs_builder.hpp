// SPDX-License-Identifier: MIT
//
// Polygon files in the making, and a handle that reads them.
#ifndef LINDRA_TESTS_GSHHS_BUILDER_HPP
#define LINDRA_TESTS_GSHHS_BUILDER_HPP

#include "big_endian.hpp"
#include "log_capture.hpp"
#include "temporary_directory.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lindra::test {

using Degrees = std::vector<std::pair<double, double>>;

inline int32_t micro(double degrees) {
    return static_cast<int32_t>(std::lround(degrees * 1e6));
}

// One polygon. Its box is that of its points unless box is set: west, east, south, north in micro-degrees.
struct RawPolygon {
    Degrees points;
    int level = 1;
    int version = 13;
    int id = 0;
    std::vector<int32_t> box = {};
    std::optional<int32_t> n = {}; // what the header says, if not the truth

    std::string header() const {
        std::vector<int32_t> bounds = box.empty() ? box_of_points() : box;
        std::string bytes = be32(id) + be32(n.value_or(static_cast<int32_t>(points.size())));
        bytes += be32(static_cast<uint32_t>(level | version << 8));
        for (int32_t bound : bounds)
            bytes += be32(bound);
        bytes += be32(1234);
        return bytes + (version > 3 ? be32(5678) + be32(-1) + be32(9) : be16(1) + be16(2));
    }

    std::string bytes() const {
        std::string all = header();
        for (auto [lon, lat] : points)
            all += be32(micro(lon)) + be32(micro(lat));
        return all;
    }

  private:
    std::vector<int32_t> box_of_points() const {
        double west = 1e9, east = -1e9, south = 1e9, north = -1e9;
        for (auto [lon, lat] : points) {
            west = std::min(west, lon);
            east = std::max(east, lon);
            south = std::min(south, lat);
            north = std::max(north, lat);
        }
        if (points.empty()) return {0, 0, 0, 0};
        return {micro(west), micro(east), micro(south), micro(north)};
    }
};

inline RawPolygon square(double lon, double lat, double side = 1, int level = 1) {
    return {{{lon, lat}, {lon + side, lat}, {lon + side, lat + side}, {lon, lat + side}, {lon, lat}}, level};
}

inline std::string file_of(const std::vector<RawPolygon> &polygons) {
    std::string bytes;
    for (const RawPolygon &polygon : polygons)
        bytes += polygon.bytes();
    return bytes;
}

struct Delivered {
    int status = 0;
    int npts = -7, level = -7, inside = -7;
    std::string type;
    std::vector<float> lon, lat;
};

// A handle and the arrays it delivers into.
class Coast {
  public:
    Coast() { gshhsmap_open(&gs); }
    ~Coast() {
        free(lon);
        free(lat);
        lindra_free_gshhsmap(gs);
    }
    Coast(const Coast &) = delete;
    Coast &operator=(const Coast &) = delete;

    int select(const char *list, const char *resolution, double west, double east, double south, double north,
               double clon = 0, double clat = 0) {
        return gshhsmap_select(gs, list, resolution, west, east, south, north, clon, clat);
    }
    int select_globe(const char *list = "f:0", const char *resolution = "c") {
        return select(list, resolution, 0, 360, -90, 90);
    }

    Delivered next() {
        Delivered out;
        char type[4] = "?";
        out.status = gshhsmap_nextseg(gs, &out.npts, &nalloc, &lon, &lat, type, &out.level, &out.inside);
        out.type = type;
        if (out.status == 1 && out.npts > 0) {
            out.lon.assign(lon, lon + out.npts);
            out.lat.assign(lat, lat + out.npts);
        }
        return out;
    }

    GshhsMap *gs = nullptr;
    float *lon = nullptr, *lat = nullptr;
    int nalloc = 0;
};

// A data directory of the test's own.
struct GshhsData {
    TemporaryDirectory directory;
    Environment variable{"LINDRA_DATA", directory.path().c_str()};
    Environment no_home{"XDG_DATA_HOME", directory.path().c_str()};
    LogCapture log;

    std::string put(char resolution, const std::string &bytes) const {
        return directory.write(std::string("maps/lindra/gshhs_") + resolution + ".b", bytes);
    }
    std::string put(const std::vector<RawPolygon> &polygons, char resolution = 'c') const {
        return put(resolution, file_of(polygons));
    }
};

} // namespace lindra::test

#endif
