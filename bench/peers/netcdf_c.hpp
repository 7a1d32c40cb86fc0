// SPDX-License-Identifier: MIT
//
// netcdf-c ("NetCDF C API", Unidata). Its nc_open reads the header of a classic file, and hands out nothing
// of it; what it tells is asked for one by one.
#ifndef BENCH_PEERS_NETCDF_C_HPP
#define BENCH_PEERS_NETCDF_C_HPP

#include "../files.hpp"
#include "../works.hpp"

#include <netcdf.h>
#include <netcdf_mem.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

class NetcdfFile {
  public:
    explicit NetcdfFile(const std::string &path) {
        if (nc_open(path.c_str(), NC_NOWRITE, &id_) != NC_NOERR)
            throw std::runtime_error("netcdf-c cannot read " + path);
    }
    // The same of a file in memory, which outlives it.
    explicit NetcdfFile(Bytes file) {
        if (nc_open_mem("memory.nc", NC_NOWRITE, file.size(), const_cast<unsigned char *>(file.data()),
                        &id_) != NC_NOERR)
            throw std::runtime_error("netcdf-c cannot read a file in memory");
    }
    ~NetcdfFile() { nc_close(id_); }
    NetcdfFile(const NetcdfFile &) = delete;
    NetcdfFile &operator=(const NetcdfFile &) = delete;

    // Asks for all that the header tells: every name, type, length and value.
    Delivered read_all() {
        int dimensions = 0, variables = 0, attributes = 0;
        nc_inq(id_, &dimensions, &variables, &attributes, nullptr);
        Delivered sum{static_cast<double>(dimensions + variables + attributes), 0};
        for (int i = 0; i < dimensions; i++)
            nc_inq_dim(id_, i, name_, nullptr);
        sum.points += read_attributes(NC_GLOBAL, attributes);
        for (int i = 0; i < variables; i++)
            sum.points += read_variable(i);
        return sum;
    }

  private:
    double read_variable(int variable) {
        nc_type type = 0;
        int dimensions[NC_MAX_VAR_DIMS], dimensions_n = 0, attributes = 0;
        nc_inq_var(id_, variable, name_, &type, &dimensions_n, dimensions, &attributes);
        return read_attributes(variable, attributes);
    }

    // Returns the number of values.
    double read_attributes(int variable, int count) {
        double sum = 0;
        for (int i = 0; i < count; i++) {
            nc_type type = 0;
            size_t n = 0;
            nc_inq_attname(id_, variable, i, name_);
            nc_inq_att(id_, variable, name_, &type, &n);
            constexpr size_t widest = 8;
            if (values_.size() < n * widest) values_.resize(n * widest);
            nc_get_att(id_, variable, name_, values_.data());
            sum += static_cast<double>(n);
        }
        return sum;
    }

    int id_ = 0;
    char name_[NC_MAX_NAME + 1];
    std::vector<char> values_;
};

} // namespace bench

#endif
