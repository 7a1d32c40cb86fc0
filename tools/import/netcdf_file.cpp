// SPDX-License-Identifier: MIT

#include "import/netcdf_file.hpp"

#include "common/errors.hpp"

#include <netcdf.h>
#include <new>

namespace lindra::tools {

namespace {

template <class Value>
constexpr nc_type stored_type = NC_NAT;
template <>
constexpr nc_type stored_type<int8_t> = NC_BYTE;
template <>
constexpr nc_type stored_type<int16_t> = NC_SHORT;
template <>
constexpr nc_type stored_type<uint16_t> = NC_SHORT;
template <>
constexpr nc_type stored_type<int32_t> = NC_INT;
template <>
constexpr nc_type stored_type<double> = NC_DOUBLE;

const char *type_name(nc_type type) {
    switch (type) {
    case NC_BYTE:
        return "byte";
    case NC_SHORT:
        return "short";
    case NC_INT:
        return "int";
    case NC_DOUBLE:
        return "double";
    default:
        return "another type";
    }
}

} // namespace

bool works(int status) {
    if (status == NC_ENOMEM) throw std::bad_alloc();
    return status == NC_NOERR;
}

NetcdfFile::NetcdfFile(std::filesystem::path path) : path_(std::move(path)) {
    std::error_code error;
    size_ = std::filesystem::file_size(path_, error);
    if (error) throw DataError(path_.string() + " cannot be read: " + error.message());
    if (const int status = nc_open(path_.c_str(), NC_NOWRITE, &id_); !works(status))
        throw DataError(path_.string() + " is not a usable netCDF file (" + nc_strerror(status) +
                        "); reinstall the package that it comes from");
}

NetcdfFile::~NetcdfFile() {
    nc_close(id_);
}

void NetcdfFile::fail(const char *variable, const std::string &what) const {
    throw DataError(path_.string() + ": variable " + variable + " " + what);
}

// The id of the variable, once everything that could make reading it go wrong has been ruled out.
int NetcdfFile::require(const char *variable, nc_type type, size_t count, size_t value_size) const {
    int id = 0;
    if (!works(nc_inq_varid(id_, variable, &id)))
        fail(variable, "is missing; this is not a binned coastline file");
    nc_type found = NC_NAT;
    if (!works(nc_inq_vartype(id_, id, &found)) || found != type)
        fail(variable, std::string("is of type ") + type_name(found) + ", not " + type_name(type));
    int dimensions = 0;
    if (!works(nc_inq_varndims(id_, id, &dimensions)) || dimensions != 1)
        fail(variable, "has " + std::to_string(dimensions) + " dimensions, not one");
    int dimension = 0;
    size_t length = 0;
    if (!works(nc_inq_vardimid(id_, id, &dimension)) || !works(nc_inq_dimlen(id_, dimension, &length)))
        fail(variable, "has no readable dimension");
    if (length != count)
        fail(variable, "has " + std::to_string(length) + " values, not " + std::to_string(count));
    if (count * value_size / greatest_expansion > size_)
        fail(variable, "claims more values than a file of " + std::to_string(size_) + " bytes can hold");
    return id;
}

template <class Value>
std::vector<Value> NetcdfFile::read(const char *variable, size_t count) const {
    const int id = require(variable, stored_type<Value>, count, sizeof(Value));
    std::vector<Value> values(count);
    if (const int status = nc_get_var(id_, id, values.data()); !works(status))
        fail(variable, std::string("cannot be read: ") + nc_strerror(status));
    return values;
}

template std::vector<int8_t> NetcdfFile::read(const char *, size_t) const;
template std::vector<int16_t> NetcdfFile::read(const char *, size_t) const;
template std::vector<uint16_t> NetcdfFile::read(const char *, size_t) const;
template std::vector<int32_t> NetcdfFile::read(const char *, size_t) const;
template std::vector<double> NetcdfFile::read(const char *, size_t) const;

int32_t NetcdfFile::read_number(const char *variable, int32_t low, int32_t high) const {
    const int32_t value = read<int32_t>(variable, 1).front();
    if (value < low || value > high)
        fail(variable, "is " + std::to_string(value) + ", outside " + std::to_string(low) + " to " +
                           std::to_string(high));
    return value;
}

} // namespace lindra::tools
