// SPDX-License-Identifier: MIT
//
// The windows that coastlines, borders and rivers are read in.
#ifndef BENCH_WINDOWS_HPP
#define BENCH_WINDOWS_HPP

#include <string>

namespace bench {

struct Window {
    double west, east, south, north; // degrees

    std::string text() const {
        return std::to_string(west) + "/" + std::to_string(east) + "/" + std::to_string(south) + "/" +
               std::to_string(north);
    }
};

inline constexpr Window globe{-180, 180, -90, 90};
inline constexpr Window europe{-15, 40, 34, 72};
inline constexpr Window fjords{5, 10, 58, 63}; // 5 x 5 degrees of Norway, as much coast as there is anywhere
// As large, far from the coast: little is delivered of the largest polygon that there is.
inline constexpr Window siberia{90, 95, 60, 65};

} // namespace bench

#endif
