// SPDX-License-Identifier: MIT
//
// OGR by its C API ("Vector C API", GDAL 3).
#ifndef BENCH_PEERS_OGR_HPP
#define BENCH_PEERS_OGR_HPP

#include "../windows.hpp"
#include "../works.hpp"

#include <cpl_error.h>
#include <gdal.h>
#include <ogr_api.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

inline double points_of(OGRGeometryH geometry) {
    if (!geometry) return 0;
    double sum = OGR_G_GetPointCount(geometry);
    for (int i = 0; i < OGR_G_GetGeometryCount(geometry); i++)
        sum += points_of(OGR_G_GetGeometryRef(geometry, i));
    return sum;
}

class OgrFile {
  public:
    explicit OgrFile(const std::string &path) {
        GDALAllRegister();
        // Two rings of the coast do not close; OGR closes them, and need not tell each time.
        CPLSetErrorHandler(CPLQuietErrorHandler);
        file_ = GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY, nullptr, nullptr, nullptr);
        if (!file_) throw std::runtime_error("OGR cannot read " + path);
        layer_ = GDALDatasetGetLayer(file_, 0);
    }
    ~OgrFile() {
        release();
        GDALClose(file_);
    }
    OgrFile(const OgrFile &) = delete;
    OgrFile &operator=(const OgrFile &) = delete;

    void filter(const Window &window) {
        OGR_L_SetSpatialFilterRect(layer_, window.west, window.south, window.east, window.north);
    }

    // Hands every feature to take.
    template <class Take>
    void read(Take take) {
        OGR_L_ResetReading(layer_);
        while (OGRFeatureH feature = OGR_L_GetNextFeature(layer_)) {
            take(feature);
            OGR_F_Destroy(feature);
        }
    }

    Delivered read_points() {
        Delivered sum;
        read([&](OGRFeatureH feature) {
            sum.records++;
            sum.points += points_of(OGR_F_GetGeometryRef(feature));
        });
        return sum;
    }

    Delivered keep_all() {
        OGR_L_ResetReading(layer_);
        while (OGRFeatureH feature = OGR_L_GetNextFeature(layer_))
            kept_.push_back(feature);
        return {static_cast<double>(kept_.size()), 0};
    }

    double kept_points() const {
        double sum = 0;
        for (OGRFeatureH feature : kept_)
            sum += points_of(OGR_F_GetGeometryRef(feature));
        return sum;
    }

    OGRFeatureDefnH fields() const { return OGR_L_GetLayerDefn(layer_); }

  private:
    void release() {
        for (OGRFeatureH feature : kept_)
            OGR_F_Destroy(feature);
    }

    GDALDatasetH file_;
    OGRLayerH layer_;
    std::vector<OGRFeatureH> kept_;
};

} // namespace bench

#endif
