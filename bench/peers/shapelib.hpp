// SPDX-License-Identifier: MIT
//
// shapelib ("Shapefile C Library"): shapes by its API, and attributes by that of its tables.
#ifndef BENCH_PEERS_SHAPELIB_HPP
#define BENCH_PEERS_SHAPELIB_HPP

#include "../works.hpp"

#include <benchmark/benchmark.h>
#include <cstring>
#include <shapefil.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

class ShapelibFile {
  public:
    explicit ShapelibFile(const std::string &path) : file_(SHPOpen(path.c_str(), "rb")) {
        if (!file_) throw std::runtime_error("shapelib cannot read " + path);
        SHPGetInfo(file_, &count_, nullptr, nullptr, nullptr);
    }
    ~ShapelibFile() {
        for (SHPObject *shape : kept_)
            SHPDestroyObject(shape);
        SHPClose(file_);
    }
    ShapelibFile(const ShapelibFile &) = delete;
    ShapelibFile &operator=(const ShapelibFile &) = delete;

    Delivered keep_all() {
        kept_.reserve(static_cast<size_t>(count_));
        for (int i = 0; i < count_; i++)
            kept_.push_back(SHPReadObject(file_, i));
        return {static_cast<double>(kept_.size()), 0};
    }

    double kept_points() const {
        double sum = 0;
        for (const SHPObject *shape : kept_)
            sum += shape->nVertices;
        return sum;
    }

    // Reads every shape into the library's own buffers, the fastest that it offers, and looks at its points.
    Delivered look_at_points() {
        SHPSetFastModeReadObject(file_, 1);
        Delivered sum{static_cast<double>(count_), 0};
        double x = 0, y = 0;
        for (int i = 0; i < count_; i++) {
            SHPObject *shape = SHPReadObject(file_, i);
            for (int j = 0; j < shape->nVertices; j++) {
                x += shape->padfX[j];
                y += shape->padfY[j];
            }
            sum.points += shape->nVertices;
            SHPDestroyObject(shape);
        }
        benchmark::DoNotOptimize(x);
        benchmark::DoNotOptimize(y);
        return sum;
    }

  private:
    SHPHandle file_;
    int count_ = 0;
    std::vector<SHPObject *> kept_;
};

class ShapelibTable {
  public:
    explicit ShapelibTable(const std::string &path) : table_(DBFOpen(path.c_str(), "rb")) {
        if (!table_) throw std::runtime_error("shapelib cannot read " + path);
        for (int i = 0; i < DBFGetFieldCount(table_); i++)
            types_.push_back(DBFGetFieldInfo(table_, i, nullptr, nullptr, nullptr));
    }
    ~ShapelibTable() { DBFClose(table_); }
    ShapelibTable(const ShapelibTable &) = delete;
    ShapelibTable &operator=(const ShapelibTable &) = delete;

    // Hands the text of every field to take.
    template <class Take>
    Delivered read_texts(Take take) {
        for_each_field([&](int row, int field) { take(DBFReadStringAttribute(table_, row, field)); });
        return {static_cast<double>(DBFGetRecordCount(table_)), 0};
    }

    // Every field by its type; points: the sum of the numbers.
    Delivered read_values() {
        double sum = 0;
        for_each_field([&](int row, int field) {
            const DBFFieldType type = types_[static_cast<size_t>(field)];
            if (type == FTInteger)
                sum += DBFReadIntegerAttribute(table_, row, field);
            else if (type == FTDouble)
                sum += DBFReadDoubleAttribute(table_, row, field);
            else
                benchmark::DoNotOptimize(DBFReadStringAttribute(table_, row, field));
        });
        return {static_cast<double>(DBFGetRecordCount(table_)), sum};
    }

  private:
    template <class Each>
    void for_each_field(Each each) {
        const int rows = DBFGetRecordCount(table_), fields = static_cast<int>(types_.size());
        for (int row = 0; row < rows; row++)
            for (int field = 0; field < fields; field++)
                each(row, field);
    }

    DBFHandle table_;
    std::vector<DBFFieldType> types_;
};

} // namespace bench

#endif
