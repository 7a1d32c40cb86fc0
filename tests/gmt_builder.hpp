// SPDX-License-Identifier: MIT
//
// Binned line files in the making, and a handle that reads them.
#ifndef LINDRA_TESTS_GMT_BUILDER_HPP
#define LINDRA_TESTS_GMT_BUILDER_HPP

#include "log_capture.hpp"
#include "netcdf_builder.hpp"
#include "temporary_directory.hpp"

#include "lindra/lindra.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace lindra::test {

struct BinnedSegment {
    int level = 1;
    std::vector<std::pair<int, int>> points = {{0, 0}, {65535, 65535}}; // 1/65535 of the bin
};

// A file of nlon x nlat bins; the segments are given by bin.
struct BinnedFile {
    int nlon = 36, nlat = 18;
    std::map<int, std::vector<BinnedSegment>> bins = {};

    std::map<std::string, std::string> data() const {
        std::map<std::string, std::string> all;
        int32_t segments = 0, points = 0;
        for (int bin = 0; bin < nlon * nlat; bin++) {
            const auto found = bins.find(bin);
            const size_t count = found == bins.end() ? 0 : found->second.size();
            all["Id_of_first_segment_in_a_bin"] += be32(segments);
            all["N_segments_in_a_bin"] += be16(static_cast<int>(count));
            segments += static_cast<int32_t>(count);
            for (size_t i = 0; i < count; i++) {
                const BinnedSegment &segment = found->second[i];
                all["N_points_for_a_segment"] += be16(static_cast<int>(segment.points.size()));
                all["Hierarchial_level_of_a_segment"] += be16(segment.level);
                all["Id_of_first_point_in_a_segment"] += be32(points);
                points += static_cast<int32_t>(segment.points.size());
                for (auto [lon, lat] : segment.points) {
                    all["Relative_longitude_from_SW_corner_of_bin"] += be16(lon);
                    all["Relative_latitude_from_SW_corner_of_bin"] += be16(lat);
                }
            }
        }
        all["N_bins_in_360_longitude_range"] = be32(nlon);
        all["N_bins_in_180_degree_latitude_range"] = be32(nlat);
        all["N_bins_in_file"] = be32(nlon * nlat);
        return all;
    }

    // The variables in the order of the real files: name, dimension, type.
    static RawHeader header(const std::map<std::string, std::string> &data) {
        const auto count = [&](const char *name, size_t width) {
            const auto found = data.find(name);
            return found == data.end() ? 0 : static_cast<int32_t>(found->second.size() / width);
        };
        RawHeader header;
        header.dims = {
            nc::dimension("Dimension_of_scalar", 1),
            nc::dimension("Dimension_of_bin_arrays", count("N_segments_in_a_bin", 2)),
            nc::dimension("Dimension_of_segment_arrays", count("N_points_for_a_segment", 2)),
            nc::dimension("Dimension_of_point_arrays", count("Relative_longitude_from_SW_corner_of_bin", 2))};
        header.vars = {variable("N_bins_in_360_longitude_range", 0, nc::int_code),
                       variable("N_bins_in_180_degree_latitude_range", 0, nc::int_code),
                       variable("N_bins_in_file", 0, nc::int_code),
                       variable("Id_of_first_segment_in_a_bin", 1, nc::int_code),
                       variable("N_segments_in_a_bin", 1, nc::short_code),
                       variable("N_points_for_a_segment", 2, nc::short_code),
                       variable("Hierarchial_level_of_a_segment", 2, nc::short_code),
                       variable("Id_of_first_point_in_a_segment", 2, nc::int_code),
                       variable("Relative_longitude_from_SW_corner_of_bin", 3, nc::short_code),
                       variable("Relative_latitude_from_SW_corner_of_bin", 3, nc::short_code)};
        return header;
    }

    static RawVariable variable(const char *name, int32_t dimension, int type) {
        RawVariable made;
        made.name = name;
        made.ids = {dimension};
        made.type = type;
        return made;
    }

    // The header, with the places of the data put in, and the data behind it. A place that is not 100, which
    // is what a RawVariable begins with, is left as the test set it.
    static std::string join(RawHeader header, const std::map<std::string, std::string> &data) {
        auto place = static_cast<int32_t>(header.bytes().size());
        std::string blob;
        for (RawVariable &var : header.vars) {
            const auto found = data.find(var.name);
            if (var.begin == 100) var.begin = place + static_cast<int32_t>(blob.size());
            if (found != data.end()) blob += nc::padded(found->second);
        }
        return header.bytes() + blob;
    }

    std::string bytes() const { return join(header(data()), data()); }
};

struct DeliveredSegment {
    int status = 0;
    int n = -7, level = -7;
    std::string type;
    std::vector<float> lon, lat;
};

// A handle and the arrays it delivers into.
class BinnedLines {
  public:
    BinnedLines() { gmtmap_open(&gmt); }
    ~BinnedLines() {
        free(lon);
        free(lat);
        lindra_free_gmtmap(gmt);
    }
    BinnedLines(const BinnedLines &) = delete;
    BinnedLines &operator=(const BinnedLines &) = delete;

    int select(const char *list, const char *resolution = "c", double west = 0, double east = 360,
               double south = -90, double north = 90) {
        return gmtmap_select(gmt, list, resolution, west, east, south, north);
    }

    DeliveredSegment next() {
        DeliveredSegment out;
        char type[4] = "?";
        out.status = gmtmap_nextseg(gmt, &out.n, &nalloc, &lon, &lat, type, &out.level);
        out.type = type;
        if (out.status == 1 && out.n > 0) {
            out.lon.assign(lon, lon + out.n);
            out.lat.assign(lat, lat + out.n);
        }
        return out;
    }

    GmtMap *gmt = nullptr;
    float *lon = nullptr, *lat = nullptr;
    int nalloc = 0;
};

} // namespace lindra::test

#endif
