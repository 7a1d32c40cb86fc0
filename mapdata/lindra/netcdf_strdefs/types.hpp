// SPDX-License-Identifier: MIT
#ifndef LINDRA_NETCDF_STRDEFS_TYPES_HPP
#define LINDRA_NETCDF_STRDEFS_TYPES_HPP

#include <cstdint>

namespace lindra::netcdf {

enum Tag : int32_t { ABSENT = 0, NC_DIMENSION = 10, NC_VARIABLE = 11, NC_ATTRIBUTE = 12 };

enum Type : int32_t { NC_BYTE = 1, NC_CHAR = 2, NC_SHORT = 3, NC_INT = 4, NC_FLOAT = 5, NC_DOUBLE = 6 };

// 0 for what is no type of values.
inline int element_size(int32_t type) {
    switch (type) {
    case NC_BYTE:
    case NC_CHAR:
        return 1;
    case NC_SHORT:
        return 2;
    case NC_INT:
    case NC_FLOAT:
        return 4;
    case NC_DOUBLE:
        return 8;
    default:
        return 0;
    }
}

} // namespace lindra::netcdf

#endif
