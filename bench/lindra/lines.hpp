// SPDX-License-Identifier: MIT
//
// What a program does that reads borders or rivers by the C face.
#ifndef BENCH_LINDRA_LINES_HPP
#define BENCH_LINDRA_LINES_HPP

#include "../windows.hpp"
#include "../works.hpp"

#include "lindra/lindra.h"

#include <cstdlib>
#include <stdexcept>

namespace bench {

class Lines {
  public:
    Lines() {
        if (gmtmap_open(&map_) < 0) throw std::runtime_error("gmtmap_open fails");
    }
    ~Lines() {
        lindra_free_gmtmap(map_);
        free(lon_);
        free(lat_);
    }
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;

    Delivered select(const char *list, const char *resolution, const Window &window) {
        const int count =
            gmtmap_select(map_, list, resolution, window.west, window.east, window.south, window.north);
        if (count < 0) throw std::runtime_error("gmtmap_select fails");
        return {static_cast<double>(count), 0};
    }

    // The points of all that were selected.
    Delivered read() {
        Delivered sum;
        char type[4];
        int n, level, result;
        while ((result = gmtmap_nextseg(map_, &n, &capacity_, &lon_, &lat_, type, &level)) == 1) {
            sum.records++;
            sum.points += n;
        }
        if (result < 0) throw std::runtime_error("gmtmap_nextseg fails");
        return sum;
    }

    const GmtMap &map() const { return *map_; }

  private:
    GmtMap *map_ = nullptr;
    float *lon_ = nullptr, *lat_ = nullptr;
    int capacity_ = 0;
};

} // namespace bench

#endif
