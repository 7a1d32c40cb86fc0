// SPDX-License-Identifier: MIT
//
// Clipping at the four borders of a window, one after the other.
//
// An area is cut at one border as follows. The ring falls into the runs of its points on the inner side, each
// with the two points where its ends cross the border. Along the border the area begins at every odd crossing
// and ends at every even one, whatever the ring looks like: so the crossings are sorted along the border and
// joined first to second, third to fourth and so on, and the runs with these joints make up the new rings. A
// joint may turn the way in which a run is walked; that happens only where the ring crosses itself.
//
// A point on the border itself counts as outer for areas: the border is in truth moved inwards by less than
// any distance, so that a ring that only touches it from outside leaves nothing behind, and every crossing is
// one between two sides. Crossings at the same place are sorted by where they lie on that moved border. For
// lines such a point counts as inner, since a line along the border lies in the window.

#include "map/clip.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace lindra::tools {

namespace {

bool same(Point a, Point b) {
    return a.lon == b.lon && a.lat == b.lat;
}

void append(std::vector<Point> &to, Point point) {
    if (to.empty() || !same(to.back(), point)) to.push_back(point);
}

// One border of the window: the coordinate that it holds at a value, the coordinate that runs along it, and
// the sign of the way inwards.
struct Border {
    double Point::*across;
    double Point::*along;
    double at;
    double inwards;

    double depth(Point point) const { return inwards * (point.*across - at); }

    // Where the edge between a point of depth 0 or more and one of depth 0 or less meets the border.
    Point crossing(Point inner, Point outer) const {
        const double inner_depth = depth(inner);
        Point result = {};
        result.*across = at;
        result.*along = std::lerp(inner.*along, outer.*along, inner_depth / (inner_depth - depth(outer)));
        return result;
    }
};

std::array<Border, 4> borders(const Window &window) {
    return {{{&Point::lon, &Point::lat, window.west, 1},
             {&Point::lon, &Point::lat, window.east, -1},
             {&Point::lat, &Point::lon, window.south, 1},
             {&Point::lat, &Point::lon, window.north, -1}}};
}

// --- Areas ------------------------------------------------------------------------------------------------

// The points of the ring from index first to before end, counted on round the ring, all inner.
struct Run {
    size_t first, end;
};

// Where a run crosses the border. Ends 2k and 2k + 1 are the beginning and the end of run k.
struct End {
    Point point;
    double along;
    double drift; // along the border for each unit of depth
};

class AreaCut {
  public:
    AreaCut(const Ring &ring, const Border &border) : ring_(ring), border_(border) {
        find_runs();
        for (const Run &run : runs_) {
            add_end(at(run.first), at(run.first - 1));
            add_end(at(run.end - 1), at(run.end));
        }
        sort_ends();
    }

    void append_rings(std::vector<Ring> &to) {
        std::vector<bool> walked(runs_.size());
        for (size_t run = 0; run < runs_.size(); run++)
            if (!walked[run]) append_ring(to, 2 * run, walked);
    }

  private:
    // index: less than twice the size of the ring.
    Point at(size_t index) const { return ring_[index < ring_.size() ? index : index - ring_.size()]; }
    bool is_inner(size_t index) const { return border_.depth(at(index)) > 0; }

    // At least one point is not inner: the search begins there, so that no run is found in two parts.
    void find_runs() {
        size_t start = 0;
        while (start < ring_.size() && is_inner(start))
            start++;
        const size_t stop = start + ring_.size();
        for (size_t i = start; i < stop; i++) {
            if (!is_inner(i)) continue;
            const size_t first = i;
            while (is_inner(i))
                i++;
            runs_.push_back({first, i});
        }
    }

    void add_end(Point inner, Point outer) {
        const Point point = border_.crossing(inner, outer);
        const double along = point.*border_.along;
        ends_.push_back({point, along, (inner.*border_.along - along) / border_.depth(inner)});
    }

    void sort_ends() {
        order_.resize(ends_.size());
        for (size_t i = 0; i < order_.size(); i++)
            order_[i] = i;
        std::sort(order_.begin(), order_.end(), [&](size_t a, size_t b) {
            return std::pair(ends_[a].along, ends_[a].drift) < std::pair(ends_[b].along, ends_[b].drift);
        });
        rank_.resize(order_.size());
        for (size_t i = 0; i < order_.size(); i++)
            rank_[order_[i]] = i;
    }

    // The end that the area reaches along the border from this one.
    size_t partner(size_t end) const { return order_[rank_[end] ^ 1]; }

    void append_ring(std::vector<Ring> &to, size_t start, std::vector<bool> &walked) {
        Ring ring;
        size_t end = start;
        do {
            append_run(ring, end);
            walked[end / 2] = true;
            end = partner(end ^ 1);
        } while (end != start);
        while (ring.size() > 1 && same(ring.front(), ring.back()))
            ring.pop_back();
        if (ring.size() > 2) to.push_back(std::move(ring));
    }

    // The run that begins or ends at the given end, from there to its other end.
    void append_run(Ring &ring, size_t end) const {
        const auto [first, stop] = runs_[end / 2];
        append(ring, ends_[end].point);
        if (end % 2 == 0)
            for (size_t i = first; i < stop; i++)
                append(ring, at(i));
        else
            for (size_t i = stop; i-- > first;)
                append(ring, at(i));
        append(ring, ends_[end ^ 1].point);
    }

    const Ring &ring_;
    const Border &border_;
    std::vector<Run> runs_;
    std::vector<End> ends_;
    std::vector<size_t> order_; // of the ends along the border
    std::vector<size_t> rank_;  // of each end in that order
};

void cut_area(Ring &&ring, const Border &border, std::vector<Ring> &to) {
    const auto outer = [&](Point point) { return border.depth(point) < 0; };
    const auto inner = [&](Point point) { return border.depth(point) > 0; };
    if (std::none_of(ring.begin(), ring.end(), outer) && std::any_of(ring.begin(), ring.end(), inner))
        to.push_back(std::move(ring));
    else
        AreaCut(ring, border).append_rings(to);
}

// --- Lines ------------------------------------------------------------------------------------------------

void finish(Line &piece, std::vector<Line> &to) {
    if (piece.size() > 1) to.push_back(std::move(piece));
    piece.clear();
}

void cut_line(const Line &line, const Border &border, std::vector<Line> &to) {
    Line piece;
    bool was_inner = false;
    for (size_t i = 0; i < line.size(); i++) {
        const bool inner = border.depth(line[i]) >= 0;
        if (i > 0 && inner && !was_inner) append(piece, border.crossing(line[i], line[i - 1]));
        if (i > 0 && !inner && was_inner) append(piece, border.crossing(line[i - 1], line[i]));
        if (inner)
            append(piece, line[i]);
        else
            finish(piece, to);
        was_inner = inner;
    }
    finish(piece, to);
}

} // namespace

std::vector<Ring> clip_area(const Ring &ring, const Window &window) {
    if (ring.size() < 3) return {};
    std::vector<Ring> rings(1, ring);
    for (const Border &border : borders(window)) {
        std::vector<Ring> kept;
        for (Ring &part : rings)
            cut_area(std::move(part), border, kept);
        rings = std::move(kept);
    }
    return rings;
}

std::vector<Line> clip_line(const Line &line, const Window &window) {
    std::vector<Line> pieces(1, line);
    for (const Border &border : borders(window)) {
        std::vector<Line> kept;
        for (const Line &piece : pieces)
            cut_line(piece, border, kept);
        pieces = std::move(kept);
    }
    return pieces;
}

std::vector<Line> clip_outline(const Ring &ring, const Window &window) {
    if (ring.empty()) return {};
    Line closed = ring;
    closed.push_back(ring.front());
    std::vector<Line> pieces = clip_line(closed, window);

    // A piece that runs through the ring's first point was found in two parts, the last and the first.
    if (pieces.size() > 1 && same(pieces.front().front(), ring.front()) &&
        same(pieces.back().back(), ring.front())) {
        Line &last = pieces.back();
        last.insert(last.end(), pieces.front().begin() + 1, pieces.front().end());
        pieces.front() = std::move(last);
        pieces.pop_back();
    }
    return pieces;
}

} // namespace lindra::tools
