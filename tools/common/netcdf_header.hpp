// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_NETCDF_HEADER_HPP
#define LINDRA_TOOLS_NETCDF_HEADER_HPP

#include "lindra/lindra.h"

#include <cstdlib>
#include <memory>

namespace lindra::tools {

struct HeaderRelease {
    void operator()(NetcdfHeader *header) const {
        netcdf_clear_header(header);
        free(header);
    }
};

// A header that the library's reader made, whole or in part.
using OwnedHeader = std::unique_ptr<NetcdfHeader, HeaderRelease>;

} // namespace lindra::tools

#endif
