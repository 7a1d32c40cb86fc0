// SPDX-License-Identifier: MIT

#include "map/copies.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace lindra::tools {

namespace {

// The fewest and the most whole turns by which a range of longitudes is to be shifted to meet another.
Turns turns(double west, double east, const Window &window) {
    return {static_cast<int>(std::ceil((window.west - east) / 360)),
            static_cast<int>(std::floor((window.east - west) / 360))};
}

class Copier {
  public:
    Copier(const Line &line, Turns turns, const Window &window)
        : line_(line), window_(window), turns_(turns),
          copies_(static_cast<size_t>(std::max(turns.last - turns.first + 1, 0))), untaken_(copies_.size()) {}

    void take_in_every_turn(size_t index) {
        for (int turn = turns_.first; turn <= turns_.last; turn++)
            take(index, turn);
    }

    // The point, in the turns in which the edge reaches the longitudes of the window.
    void take(size_t index, Point from, Point to) {
        const double west = std::min(from.lon, to.lon), east = std::max(from.lon, to.lon);
        const Turns near = turns(west, east, window_);
        // The quotients are rounded, and so are the sums.
        const int first = std::max(near.first - 1, turns_.first), last = std::min(near.last + 1, turns_.last);
        for (int turn = first; turn <= last; turn++)
            if (west + 360.0 * turn <= window_.east && east + 360.0 * turn >= window_.west) take(index, turn);
    }

    void take_edges() {
        for (size_t i = 1; i < line_.size(); i++) {
            take(i - 1, line_[i - 1], line_[i]);
            take(i, line_[i - 1], line_[i]);
        }
    }

    std::vector<Line> finish() { return std::move(copies_); }

  private:
    // Points come in their order, each once.
    void take(size_t index, int turn) {
        const auto copy = static_cast<size_t>(turn - turns_.first);
        if (index < untaken_[copy]) return;
        copies_[copy].push_back({line_[index].lon + 360.0 * turn, line_[index].lat});
        untaken_[copy] = index + 1;
    }

    const Line &line_;
    const Window &window_;
    Turns turns_;
    std::vector<Line> copies_;
    std::vector<size_t> untaken_; // the first point behind those that a copy has
};

} // namespace

bool meets(const Window &box, const Window &window) {
    if (box.north < window.south || box.south > window.north) return false;
    const auto [first, last] = turns(box.west, box.east, window);
    return first <= last;
}

Turns turns_to(const Line &line, const Window &window) {
    constexpr Turns none = {0, -1};
    if (line.empty()) return none;
    const auto [west, east] =
        std::minmax_element(line.begin(), line.end(), [](Point a, Point b) { return a.lon < b.lon; });
    const auto [south, north] =
        std::minmax_element(line.begin(), line.end(), [](Point a, Point b) { return a.lat < b.lat; });
    if (north->lat < window.south || south->lat > window.north) return none;
    return turns(west->lon, east->lon, window);
}

std::vector<Line> copies(const Line &line, Turns turns, const Window &window) {
    Copier copier(line, turns, window);
    copier.take_in_every_turn(0);
    copier.take_edges();
    copier.take_in_every_turn(line.size() - 1);
    return copier.finish();
}

// The first point is taken for the edge that ends there before those behind it, so that it stays the first.
std::vector<Ring> ring_copies(const Ring &ring, Turns turns, const Window &window) {
    Copier copier(ring, turns, window);
    copier.take(0, ring.back(), ring.front());
    copier.take_edges();
    copier.take(ring.size() - 1, ring.back(), ring.front());
    return copier.finish();
}

Line shifted(const Line &line, double longitude) {
    Line result = line;
    for (Point &point : result)
        point.lon += longitude;
    return result;
}

} // namespace lindra::tools
