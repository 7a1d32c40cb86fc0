// SPDX-License-Identifier: MIT
//
// What a program does that reads a whole shapefile: by the C face, all records kept, and by the views of
// lindra.hpp, every coordinate looked at.
#ifndef BENCH_LINDRA_SHAPES_HPP
#define BENCH_LINDRA_SHAPES_HPP

#include "../files.hpp"
#include "../works.hpp"

#include "lindra/lindra.hpp"

#include <benchmark/benchmark.h>
#include <string>

namespace bench {

class KeptRecords {
  public:
    explicit KeptRecords(const std::string &path) : file_(path) {
        void *out = nullptr;
        unsigned char *pos = file_.begin();
        if (esri_unstuff_stream(ESRI_FILE, &out, file_.begin(), &pos) < 0)
            throw std::runtime_error("esri_unstuff_stream fails");
        records_ = static_cast<SHPFILE *>(out);
    }
    ~KeptRecords() { lindra_free_esri(ESRI_FILE, records_); }
    KeptRecords(const KeptRecords &) = delete;
    KeptRecords &operator=(const KeptRecords &) = delete;

    Delivered size() const { return {static_cast<double>(counttbl(records_->records)), 0}; }

    Delivered count() const {
        Delivered sum = size();
        for (int i = 0; i < counttbl(records_->records); i++)
            sum.points += points_of(*static_cast<const SHPRECORD *>(gettbl(records_->records, i)));
        return sum;
    }

  private:
    static double points_of(const SHPRECORD &record) {
        if (record.shape_type == SHAPE_POINT) return 1;
        if (record.shape_type == SHAPE_POLYGON || record.shape_type == SHAPE_POLYLINE)
            return static_cast<const SHPRECPOLYL *>(record.shape)->numpoints;
        return 0;
    }

    BoundFile file_;
    SHPFILE *records_ = nullptr;
};

inline Delivered look_at_points(const std::string &path) {
    const lindra::shapefile file(path);
    Delivered sum;
    double x = 0, y = 0;
    for (const auto &record : file) {
        for (const auto &point : record.points()) {
            x += point.x;
            y += point.y;
        }
        sum.points += static_cast<double>(record.points().size());
    }
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(y);
    sum.records = static_cast<double>(file.size());
    return sum;
}

} // namespace bench

#endif
