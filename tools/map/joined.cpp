// SPDX-License-Identifier: MIT

#include "map/joined.hpp"

#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

namespace lindra::tools {

namespace {

constexpr size_t no_end = std::numeric_limits<size_t>::max();

// Ends 2k and 2k + 1 are the beginning and the end of piece k.
class Joints {
  public:
    explicit Joints(const std::vector<Line> &pieces) : partners_(2 * pieces.size(), no_end) {
        std::vector<End> ends;
        for (size_t k = 0; k < pieces.size(); k++) {
            ends.push_back({pieces[k].front(), 2 * k});
            ends.push_back({pieces[k].back(), 2 * k + 1});
        }
        std::sort(ends.begin(), ends.end(), is_before);
        for (auto first = ends.begin(); first != ends.end();) {
            const auto last = std::find_if(first, ends.end(), [&](const End &end) { return end != *first; });
            if (last - first == 2) join(first[0].index, first[1].index);
            first = last;
        }
    }

    // The end that this one is joined to, or no_end.
    size_t partner(size_t end) const { return partners_[end]; }

  private:
    struct End {
        Point place;
        size_t index;

        bool operator!=(const End &other) const {
            return place.lon != other.place.lon || place.lat != other.place.lat;
        }
    };

    static bool is_before(const End &a, const End &b) {
        return std::tie(a.place.lon, a.place.lat, a.index) < std::tie(b.place.lon, b.place.lat, b.index);
    }

    void join(size_t a, size_t b) {
        partners_[a] = b;
        partners_[b] = a;
    }

    std::vector<size_t> partners_;
};

// Where the line through a piece begins; for one that closes, at the piece itself.
size_t first_end(const Joints &joints, size_t piece) {
    const size_t start = 2 * piece;
    size_t end = start;
    while (joints.partner(end) != no_end) {
        end = joints.partner(end) ^ 1;
        if (end == start) break;
    }
    return end;
}

// The piece from the given end on. The first point is there already unless the line is empty.
void append_from(Line &line, Line &&piece, size_t end) {
    if (end % 2 != 0) std::reverse(piece.begin(), piece.end());
    if (line.empty())
        line = std::move(piece);
    else
        line.insert(line.end(), piece.begin() + 1, piece.end());
}

} // namespace

std::vector<Line> joined(std::vector<Line> pieces) {
    const Joints joints(pieces);
    std::vector<bool> taken(pieces.size());
    std::vector<Line> lines;
    for (size_t piece = 0; piece < pieces.size(); piece++) {
        if (taken[piece]) continue;
        Line line;
        for (size_t end = first_end(joints, piece); end != no_end && !taken[end / 2];
             end = joints.partner(end ^ 1)) {
            taken[end / 2] = true;
            append_from(line, std::move(pieces[end / 2]), end);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

} // namespace lindra::tools
