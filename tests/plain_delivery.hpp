// SPDX-License-Identifier: MIT
//
// The delivery of a coastline polygon and its even-odd test a second time, without haste.
#ifndef LINDRA_TESTS_PLAIN_DELIVERY_HPP
#define LINDRA_TESTS_PLAIN_DELIVERY_HPP

#include "lindra/lindra.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace lindra::test {

// The delivery of one polygon once more, one step after the other, over plain vectors.
struct PlainDelivery {
    double west, east, south, north, lonref;
    std::vector<double> lon, lat; // as stored, degrees
    std::vector<float> out_lon, out_lat;

    static double continuous(double x, double previous) {
        while (x > previous + 180)
            x -= 360;
        while (x < previous - 180)
            x += 360;
        return x;
    }

    double shift() const {
        const double centre = 180 + lonref;
        double best = 1e20, result = 0, previous = 0;
        for (size_t i = 0; i < lon.size(); i++) {
            const double x = i == 0 ? lon[i] : continuous(lon[i], previous);
            previous = x;
            double t = x;
            while (lonref > t)
                t += 360;
            while (t > lonref + 360)
                t -= 360;
            if (best > std::fabs(t - centre)) {
                best = std::fabs(t - centre);
                result = t - x;
            }
        }
        return result;
    }

    int region(double x, double y) const {
        int row = 1, column = 1;
        if (south > y)
            row = 0;
        else if (y > north)
            row = 2;
        double folded = x;
        if (folded < 0) folded += 360;
        if (west > folded)
            column = 0;
        else if (x > east)
            column = 2;
        return 3 * row + column;
    }

    void append(double x, double y) {
        out_lon.push_back(static_cast<float>(x));
        out_lat.push_back(static_cast<float>(y));
    }

    void deliver() {
        const double by = shift();
        double previous_raw = -1, previous_x = -1, previous_y = -1;
        int previous_region = -1;
        for (size_t i = 0; i < lon.size(); i++) {
            const double raw = i == 0 ? lon[i] : continuous(lon[i], previous_raw);
            previous_raw = raw;
            double x = raw + by, y = lat[i];
            const int here = region(x, y);
            bool current = true, previous = false;
            if (i > 0 && here == 4 && previous_region != 4) previous = true;
            if (i > 0 && here != 4) {
                if (previous_region == 4) {
                    previous_x = x;
                    previous_y = y;
                    previous = true;
                }
                if (here == previous_region) {
                    current = false;
                } else {
                    if (here == 0 || here == 3 || here == 6) x = west;
                    if (here == 2 || here == 5 || here == 8) x = east;
                    if (here <= 2) y = south;
                    if (here >= 6) y = north;
                }
            }
            if (previous) append(previous_x, previous_y);
            if (current) append(x, y);
            previous_region = here;
            previous_x = x;
            previous_y = y;
        }
    }
};

inline int32_t word(const unsigned char *from) {
    return static_cast<int32_t>(static_cast<uint32_t>(from[0]) << 24 | static_cast<uint32_t>(from[1]) << 16 |
                                static_cast<uint32_t>(from[2]) << 8 | from[3]);
}

inline PlainDelivery plain_delivery(const GshhsMap *gs, const GshhsSeg &seg) {
    PlainDelivery delivery = {gs->west, gs->east, gs->south, gs->north, gs->lonref, {}, {}, {}, {}};
    for (int i = 0; i < seg.hdr.n; i++) {
        delivery.lon.push_back(word(seg.pts + 8 * i) * 1e-6);
        delivery.lat.push_back(word(seg.pts + 8 * i + 4) * 1e-6);
    }
    delivery.deliver();
    return delivery;
}

inline bool same_bits(const std::vector<float> &a, const std::vector<float> &b) {
    return a.size() == b.size() && (a.empty() || memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

// The even-odd rule once more, as it is written down: every comparison that involves 180 or 360 in double,
// the rest in float.
inline int plain_inside(const std::vector<float> &lon, const std::vector<float> &lat, float px, float py) {
    const size_t n = lon.size();
    int crossings = 0;
    for (size_t i = 0; i < n; i++) {
        const size_t j = i == n - 1 ? 0 : i + 1;
        const float x1 = lon[i], y1 = lat[i], y2 = lat[j];
        float x2 = lon[j];
        if (static_cast<double>(x1) - 180 > static_cast<double>(x2))
            x2 = static_cast<float>(static_cast<double>(x2) + 360);
        if (static_cast<double>(x2) > static_cast<double>(x1) + 180)
            x2 = static_cast<float>(static_cast<double>(x2) - 360);
        if (py > y1 && py > y2) continue;
        float start, end, crossing = 0;
        const bool whole = y1 >= py && y2 >= py;
        const bool rises = !whole && y2 >= py;
        if (whole) {
            start = x1;
            end = x2;
        } else if (rises) {
            crossing = x1 + (py - y1) * (x2 - x1) / (y2 - y1);
            start = crossing;
            end = x2;
        } else {
            crossing = x2 + (py - y2) * (x1 - x2) / (y1 - y2);
            start = x1;
            end = crossing;
        }
        const float low = start < end ? start : end;
        const float high = start < end ? end : start;
        double x = static_cast<double>(px);
        if (x > static_cast<double>(high) + 180) x = static_cast<double>(static_cast<float>(x - 360));
        const float western = !whole && !rises && crossing >= x1 ? lon[1] : low;
        if (static_cast<double>(western) - 180 > x) x = static_cast<double>(static_cast<float>(x + 360));
        const auto single = static_cast<float>(x);
        if (single >= low && high > single) crossings++;
    }
    return crossings % 2;
}

} // namespace lindra::test

#endif
