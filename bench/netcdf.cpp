// SPDX-License-Identifier: MIT
//
// netCDF headers, opened and given up again: against netcdf-c, which is asked for all that the header tells.
// What its opening and closing take alone is told beside it.

#include "limits/allocations.hpp"
#include "lindra/header.hpp"
#include "peers/netcdf_c.hpp"
#include "works.hpp"

#include <memory>

namespace bench {
namespace {

Delivered count_header(const std::string &path) {
    const BoundFile file(path);
    return Header(file.begin()).count();
}

Doer allocations(const std::string &path) {
    const BoundFile file(path);
    const auto blocks = std::make_shared<HeaderBlocks>(Header(file.begin()).get());
    const auto allocate = [=] {
        blocks->allocate();
        return Delivered{static_cast<double>(blocks->size()), 0};
    };
    return {"limit", allocate, not_compared};
}

void add_file(const std::string &name) {
    const std::string path = data_file(name + ".nc");
    const auto open_and_close = [=] {
        const NetcdfFile file(path);
        return Delivered{1, 0};
    };
    add_work("netcdf/" + name,
             {{"lindra", [=] { return read_header(path); }, {}, [=] { return count_header(path); }},
              {"netcdf_c", [=] { return NetcdfFile(path).read_all(); }},
              {"netcdf_c_open", open_and_close, not_compared},
              allocations(path)});
}

// Without what the system takes to open a file, read it and close it.
void add_file_in_memory(const std::string &name) {
    const std::string path = data_file(name + ".nc");
    const auto file = std::make_shared<BoundFile>(path);
    add_work("netcdf/" + name + "_in_memory",
             {{"lindra", [=] { return read_header(file->begin()); }, {}, [=] { return count_header(path); }},
              {"netcdf_c", [=] { return NetcdfFile(file->bytes()).read_all(); }},
              allocations(path)});
}

} // namespace

void add_works() {
    for (const char *name : {"variables_100", "variables_10000", "attributes_5000", "small"})
        add_file(name);
    for (const char *name : {"variables_10000", "attributes_5000", "small"})
        add_file_in_memory(name);
}

} // namespace bench
