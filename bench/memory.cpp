// SPDX-License-Identifier: MIT
//
// The most memory that reading the globe at full resolution has in use at a time, and what it may: the file,
// 32 bytes for each polygon, and twice the largest one. Prints both, bytes.

#include "files.hpp"
#include "limits/polygons.hpp"
#include "lindra/coast.hpp"
#include "resident.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

// A delivered point is two floats.
int64_t allowed() {
    const bench::FreshMapping file(bench::data_file("gshhg/maps/lindra/gshhs_f.b"));
    int64_t largest = 0;
    const bench::Delivered all = bench::walk_polygons(file.bytes(), [&](const unsigned char *, uint32_t n) {
        largest = std::max(largest, int64_t{n} * 8);
    });
    return static_cast<int64_t>(file.bytes().size()) + 32 * static_cast<int64_t>(all.records) + 2 * largest;
}

int64_t taken() {
    const int64_t before = bench::resident("VmRSS");
    bench::Coast coast;
    coast.select("full", bench::globe);
    coast.read();
    return bench::resident("VmHWM") - before;
}

} // namespace

int main() try {
    setenv("LINDRA_DATA", bench::data_file("gshhg").c_str(), 1);
    // Measured first: what is looked at for the bound would be in the high-water mark.
    const int64_t most = taken();
    printf("%lld %lld\n", static_cast<long long>(most), static_cast<long long>(allowed()));
} catch (const std::exception &reason) {
    fprintf(stderr, "bench_memory: %s\n", reason.what());
    return EXIT_FAILURE;
}
