// SPDX-License-Identifier: MIT
//
// Small files, the same on every machine, for what counts instructions.
#ifndef BENCH_SMALL_INPUTS_HPP
#define BENCH_SMALL_INPUTS_HPP

#include <string>

namespace bench {

std::string polygons_text();   // 200 polygons, some of them of two parts
std::string points_text();     // 5,000 points
std::string table_text();      // 1,000 rows of texts, whole numbers and reals
std::string variables_text();  // 200 variables, four attributes each
std::string attributes_text(); // 500 global attributes

// Blocks of DXT1, 8 bytes each; two of them side by side are a block of DXT5.
std::string blocks_text(size_t count);

} // namespace bench

#endif
