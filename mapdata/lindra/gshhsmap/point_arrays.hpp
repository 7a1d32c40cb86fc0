// SPDX-License-Identifier: MIT
//
// The caller's two arrays, grown as points are appended.
#ifndef LINDRA_GSHHSMAP_POINT_ARRAYS_HPP
#define LINDRA_GSHHSMAP_POINT_ARRAYS_HPP

#include "fail.hpp"
#include "points.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace lindra::gshhs {

class PointArrays {
  public:
    PointArrays(float **lon, float **lat, int *nalloc, int polygon_points)
        : lon_(lon), lat_(lat), nalloc_(nalloc), reported_(static_cast<long>(polygon_points) * 4) {}

    int count() const { return count_; }

    int make_room(int added) {
        const int64_t need = static_cast<int64_t>(count_) + added;
        if (!*lon_ || !*lat_) return allocate(need);
        return need > *nalloc_ ? grow(need) : 0;
    }

    // For points behind the first, in the steps in which they would make it one by one: a failure leaves the
    // arrays and the capacity as far as they got.
    int make_room_for_run(uint32_t added) {
        while (int64_t{count_} + added > *nalloc_)
            if (grow(int64_t{*nalloc_} + 1) < 0) return -1;
        return 0;
    }

    // These two where there is room.
    void append(Point point) {
        (*lon_)[count_] = static_cast<float>(point.lon);
        (*lat_)[count_] = static_cast<float>(point.lat);
        count_++;
    }

    void append(const unsigned char *points, uint32_t count, Placing placing) {
        paths().front().deliver(points, count, placing, *lon_ + count_, *lat_ + count_);
        count_ += static_cast<int>(count);
    }

  private:
    static constexpr int first_points = 100;

    static int64_t doubled(int64_t size, int64_t need) {
        while (need > size)
            size *= 2;
        return size;
    }

    // Deliberate: the messages name gshhs_nextseg and give four bytes for each point of the polygon, not the
    // size asked for.
    int allocate(int64_t need) {
        const int64_t size = doubled(first_points, need);
        // Deliberate: after a failure here the pointer not yet replaced still names freed storage.
        free(*lon_);
        free(*lat_);
        *lon_ = static_cast<float *>(malloc(static_cast<size_t>(size) * sizeof(float)));
        if (!*lon_) return fail(1, "gshhs_nextseg: malloc(lon,%ld) error.\n", reported_);
        *lat_ = static_cast<float *>(malloc(static_cast<size_t>(size) * sizeof(float)));
        if (!*lat_) return fail(1, "gshhs_nextseg: malloc(lat,%ld) error.\n", reported_);
        *nalloc_ = static_cast<int>(size);
        return 0;
    }

    // Deliberate: a pointer whose growth failed becomes null and its old storage is not freed.
    int grow(int64_t need) {
        const int64_t size = doubled(std::max(*nalloc_, 1), need);
        *lon_ = static_cast<float *>(realloc(*lon_, static_cast<size_t>(size) * sizeof(float)));
        if (!*lon_) return fail(1, "gshhs_nextseg: realloc(lon,%ld) error.\n", reported_);
        *lat_ = static_cast<float *>(realloc(*lat_, static_cast<size_t>(size) * sizeof(float)));
        if (!*lat_) return fail(1, "gshhs_nextseg: realloc(lat,%ld) error.\n", reported_);
        *nalloc_ = static_cast<int>(size);
        return 0;
    }

    float **lon_;
    float **lat_;
    int *nalloc_;
    long reported_;
    int count_ = 0;
};

} // namespace lindra::gshhs

#endif
