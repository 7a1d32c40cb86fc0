// SPDX-License-Identifier: MIT
//
// What is known of a polygon's points before they are read: boxes over stretches of them. A stretch whose
// points all lie in one region of a window is delivered, or passed over, as a whole.
//
// Longitudes are stored in 0..360, but for polygons round a pole, and jump by 360 where a polygon crosses
// Greenwich. A stretch without such jumps is level: each of its continuous longitudes is the stored one, as
// many turns away as every other.
#ifndef LINDRA_GSHHSMAP_OUTLINE_HPP
#define LINDRA_GSHHSMAP_OUTLINE_HPP

#include "lindra.h"
#include "points.hpp"
#include "turns.hpp"

#include <algorithm>
#include <span>
#include <vector>

namespace lindra::gshhs {

struct Stretch {
    uint32_t first, count;
    Box box;
    int8_t turns; // of a level stretch
    bool level;

    Stretch beginning(uint32_t points) const { return {first, points, box, turns, level}; }
    Stretch behind(uint32_t points) const { return {first + points, count - points, box, turns, level}; }
};

// Stretches that follow each other, each with the finer ones that it is made of, where there are any.
struct Outline {
    const unsigned char *points;
    std::span<const Stretch> coarse;
    std::span<const Stretch> fine;
    size_t fine_of_each; // but of the last coarse one, which may have fewer

    // Lets whole take each stretch; where it returns 0, its parts; and where it returns 0 for one without
    // parts, lets each take that. Ends with the first negative number, which it returns.
    template <class Whole, class Each>
    int visit(Whole whole, Each each) const {
        for (size_t i = 0; i < coarse.size(); i++) {
            int result = whole(coarse[i]);
            if (result == 0) result = fine.empty() ? each(coarse[i]) : visit_all(parts_of(i), whole, each);
            if (result < 0) return result;
        }
        return 0;
    }

  private:
    std::span<const Stretch> parts_of(size_t i) const {
        const size_t from = i * fine_of_each;
        return fine.subspan(from, std::min(fine_of_each, fine.size() - from));
    }

    template <class Whole, class Each>
    static int visit_all(std::span<const Stretch> parts, Whole whole, Each each) {
        for (const Stretch &part : parts) {
            int result = whole(part);
            if (result == 0) result = each(part);
            if (result < 0) return result;
        }
        return 0;
    }
};

// Reads the continuous points of stretches that it is given one after the other, none left out.
class Points {
  public:
    explicit Points(const unsigned char *points) : points_(points) {}

    const unsigned char *at(uint32_t point) const { return points_ + point * point_size; }

    // Gives each point to take, until it returns a negative number, which is returned.
    template <class Take>
    int each(const Stretch &stretch, Take take) {
        for (uint32_t i = stretch.first; i < stretch.first + stretch.count; i++) {
            const double stored = stored_longitude(at(i));
            previous_ = stretch.level ? turned(stored, stretch.turns)
                        : i           ? continued(stored, previous_)
                                      : stored;
            if (const int result = take(Point{previous_, stored_latitude(at(i))}); result < 0) return result;
        }
        return 0;
    }

    // Passes over a level stretch and returns its last point.
    Point pass(const Stretch &stretch) {
        const unsigned char *last = at(stretch.first + stretch.count - 1);
        previous_ = turned(stored_longitude(last), stretch.turns);
        return {previous_, stored_latitude(last)};
    }

  private:
    const unsigned char *points_;
    double previous_ = 0;
};

// One stretch over all points of a polygon, which has some.
Stretch whole_stretch(const GshhsSeg &seg);

// Polygons of so many points are worth it.
inline constexpr int points_worth_stretches = 1024;

// The stretches of a polygon, made once.
class Stretches {
  public:
    // Throws std::bad_alloc.
    explicit Stretches(const GshhsSeg &seg);

    Outline outline() const { return {points_, coarse_, fine_, fine_of_each}; }
    int count() const { return count_; } // of the points

  private:
    static constexpr size_t fine_of_each = 64;

    const unsigned char *points_;
    int count_;
    std::vector<Stretch> fine_, coarse_;
};

} // namespace lindra::gshhs

#endif
