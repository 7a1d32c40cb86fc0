// SPDX-License-Identifier: MIT
//
// What a program does that reads coastlines by the C face.
#ifndef BENCH_LINDRA_COAST_HPP
#define BENCH_LINDRA_COAST_HPP

#include "../windows.hpp"
#include "../works.hpp"

#include "lindra/lindra.h"

#include <cstdlib>
#include <stdexcept>

namespace bench {

class Coast {
  public:
    Coast() {
        if (gshhsmap_open(&map_) < 0) throw std::runtime_error("gshhsmap_open fails");
    }
    ~Coast() {
        lindra_free_gshhsmap(map_);
        free(lon_);
        free(lat_);
    }
    Coast(const Coast &) = delete;
    Coast &operator=(const Coast &) = delete;

    // All polygons that reach into the window.
    Delivered select(const char *resolution, const Window &window) {
        const int count =
            gshhsmap_select(map_, "f:0", resolution, window.west, window.east, window.south, window.north,
                            (window.west + window.east) / 2, (window.south + window.north) / 2);
        if (count < 0) throw std::runtime_error("gshhsmap_select fails");
        return {static_cast<double>(count), 0};
    }

    // The points of all that were selected.
    Delivered read() {
        Delivered sum;
        char type[4];
        int n, level, inside, result;
        while ((result = gshhsmap_nextseg(map_, &n, &capacity_, &lon_, &lat_, type, &level, &inside)) == 1) {
            sum.records++;
            sum.points += n;
        }
        if (result < 0) throw std::runtime_error("gshhsmap_nextseg fails");
        return sum;
    }

  private:
    GshhsMap *map_ = nullptr;
    float *lon_ = nullptr, *lat_ = nullptr;
    int capacity_ = 0;
};

} // namespace bench

#endif
