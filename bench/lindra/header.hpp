// SPDX-License-Identifier: MIT
//
// What a program does that reads the header of a netCDF file, and gives it up again.
#ifndef BENCH_LINDRA_HEADER_HPP
#define BENCH_LINDRA_HEADER_HPP

#include "../files.hpp"
#include "../works.hpp"

#include "lindra/lindra.h"

#include <cstdlib>
#include <string>

namespace bench {

class Header {
  public:
    explicit Header(unsigned char *file) {
        if (netcdf_unstuff_header(&file, &header_) < 0)
            throw std::runtime_error("netcdf_unstuff_header fails");
    }
    ~Header() {
        netcdf_clear_header(header_);
        free(header_);
    }
    Header(const Header &) = delete;
    Header &operator=(const Header &) = delete;

    const NetcdfHeader &get() const { return *header_; }

    // records: dimensions, variables and global attributes; points: values of attributes.
    Delivered count() const {
        Delivered sum{static_cast<double>(header_->dims_n + header_->vars_n + header_->attrs_n), 0};
        sum.points += count_values(header_->attrs, header_->attrs_n);
        for (int i = 0; i < header_->vars_n; i++)
            sum.points += count_values(header_->vars[i].attrs, header_->vars[i].attrs_n);
        return sum;
    }

  private:
    static double count_values(const NetcdfAttr *attrs, int count) {
        double sum = 0;
        for (int i = 0; i < count; i++)
            sum += attrs[i].values.n;
        return sum;
    }

    NetcdfHeader *header_ = nullptr;
};

inline Delivered read_header(unsigned char *file) {
    return {static_cast<double>(Header(file).get().vars_n), 0};
}

inline Delivered read_header(const std::string &path) {
    return read_header(BoundFile(path).begin());
}

} // namespace bench

#endif
