// SPDX-License-Identifier: MIT
//
// The blocks that a decoded netCDF header consists of, and what it costs to get and release them alone.
#ifndef BENCH_LIMITS_ALLOCATIONS_HPP
#define BENCH_LIMITS_ALLOCATIONS_HPP

#include "lindra/lindra.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace bench {

class HeaderBlocks {
  public:
    explicit HeaderBlocks(const NetcdfHeader &header) {
        add(sizeof header);
        add(sizeof *header.dims, header.dims_n);
        for (int i = 0; i < header.dims_n; i++)
            add_text(header.dims[i].name);
        add_attributes(header.attrs, header.attrs_n);
        add(sizeof *header.vars, header.vars_n);
        for (int i = 0; i < header.vars_n; i++)
            add_variable(header.vars[i]);
    }

    // Gets all and releases all, in the order of the header.
    void allocate() {
        for (size_t i = 0; i < sizes_.size(); i++)
            blocks_[i] = malloc(sizes_[i]);
        benchmark::DoNotOptimize(blocks_.data());
        benchmark::ClobberMemory();
        for (void *block : blocks_)
            free(block);
    }

    size_t size() const { return sizes_.size(); }

  private:
    void add(size_t size, int count = 1) {
        if (count <= 0) return;
        sizes_.push_back(size * static_cast<size_t>(count));
        blocks_.push_back(nullptr);
    }

    void add_text(const char *text) { add(strlen(text) + 1); }

    void add_attributes(const NetcdfAttr *attrs, int count) {
        static constexpr size_t widths[] = {0, 1, 1, 2, 4, 4, 8};
        add(sizeof *attrs, count);
        for (int i = 0; i < count; i++) {
            add_text(attrs[i].name);
            const int closing_byte = attrs[i].values.type == 2 ? 1 : 0;
            add(widths[attrs[i].values.type], attrs[i].values.n + closing_byte);
        }
    }

    // A variable's name is also a key of the index by names.
    void add_variable(const NetcdfVar &variable) {
        add_text(variable.name);
        add_text(variable.name);
        add(sizeof *variable.dims, variable.dims_n);
        add_attributes(variable.attrs, variable.attrs_n);
    }

    std::vector<size_t> sizes_;
    std::vector<void *> blocks_;
};

} // namespace bench

#endif
