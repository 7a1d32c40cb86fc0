// SPDX-License-Identifier: MIT
//
// The even-odd test. Most edges lie wholly beside the ray; they are told many at a time, and only the others
// are looked at one by one.

#include "lindra.h"

#include <algorithm>
#include <cmath>

namespace {

// Whether the ray to the north from px, py crosses the edge. Single precision, but for what involves 180 and
// 360.
bool ray_crosses(float x1, float y1, float x2, float y2, float px, float py, float second_lon) {
    if (x1 - 180.0 > x2) x2 = static_cast<float>(x2 + 360.0);
    if (x2 > x1 + 180.0) x2 = static_cast<float>(x2 - 360.0);
    if (py > y1 && py > y2) return false;

    // The part of the edge north of the point runs from a to b. An end at the point's latitude counts as
    // north.
    float a = x1;
    float b = x2;
    bool falls_eastward = false;
    if (y1 >= py && y2 >= py) {
        // The whole edge.
    } else if (y2 >= py) {
        a = x1 + (py - y1) * (x2 - x1) / (y2 - y1);
    } else {
        b = x2 + (py - y2) * (x1 - x2) / (y1 - y2);
        falls_eastward = b >= x1;
    }

    const float lo = std::min(a, b);
    const float hi = std::max(a, b);
    float x = px;
    if (px > hi + 180.0) x = static_cast<float>(px - 360.0);
    // Deliberate: for an edge that falls eastward the longitude of the polygon's second vertex stands in for
    // lo.
    if ((falls_eastward ? second_lon : lo) - 180.0 > x) x = static_cast<float>(x + 360.0);
    return x >= lo && hi > x;
}

constexpr int edges_at_a_time = 64;

// Longitudes and latitudes so far from zero leave no room for rounding.
constexpr float far_longitude = 1000;
constexpr float far_latitude = 1e6F;

// Whether none of the edges between count + 1 vertices crosses the ray: each lies south of the point, or
// between the longitudes that are the point's, a turn more and a turn less, a degree away from them at least.
// Without branches, so that the compiler does several at a time.
bool all_beside(int count, const float *lon, const float *lat, float px, float py) {
    int others = 0;
    for (int i = 0; i < count; i++) {
        const float a = lon[i] - px;
        const float b = lon[i + 1] - px;
        const float lo = a < b ? a : b;
        const float hi = a < b ? b : a;
        const int east = static_cast<int>(lo > 1) & static_cast<int>(hi < 359);
        const int west = static_cast<int>(lo > -359) & static_cast<int>(hi < -1);
        const int beside = (east | west) & static_cast<int>(hi - lo < 179) &
                           static_cast<int>(std::fabs(lat[i]) < far_latitude) &
                           static_cast<int>(std::fabs(lat[i + 1]) < far_latitude);
        const int south = static_cast<int>(py > lat[i]) & static_cast<int>(py > lat[i + 1]);
        others |= (beside | south) ^ 1;
    }
    return others == 0;
}

bool is_near(float px, float py) {
    return std::fabs(px) < far_longitude && std::fabs(py) < far_latitude;
}

} // namespace

int gshhsmap_inside_eo(int n, float *lon, float *lat, float px, float py) {
    if (n <= 0) return 0;
    const float second_lon = lon[n > 1 ? 1 : 0];
    const bool near = is_near(px, py);
    bool odd = false;
    for (int first = 0, count; first < n - 1; first += count) {
        count = std::min(edges_at_a_time, n - 1 - first);
        if (near && all_beside(count, lon + first, lat + first, px, py)) continue;
        for (int i = first; i < first + count; i++)
            odd ^= ray_crosses(lon[i], lat[i], lon[i + 1], lat[i + 1], px, py, second_lon);
    }
    odd ^= ray_crosses(lon[n - 1], lat[n - 1], lon[0], lat[0], px, py, second_lon);
    return odd;
}
