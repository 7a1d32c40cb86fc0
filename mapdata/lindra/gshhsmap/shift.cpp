// SPDX-License-Identifier: MIT

#include "shift.hpp"

#include <cmath>
#include <optional>

namespace lindra::gshhs {

namespace {

// Longitudes between these come to be less than half a turn apart from a difference without rounding.
constexpr double least_exact = 180;
constexpr double most_exact = 720;

struct Range {
    double from, to;
};

Range longitudes_of(const Stretch &stretch) {
    return {turned(stretch.box.west * degrees, stretch.turns),
            turned(stretch.box.east * degrees, stretch.turns)};
}

// The shift that every point of the range would give, where they all give the same: none, or one turn down
// that needs no rounding.
std::optional<double> shift_of_all(const GshhsMap *gs, Range range) {
    const Range in_frame = {framed(range.from, gs->lonref), framed(range.to, gs->lonref)};
    if (in_frame.from == range.from && in_frame.to == range.to) return 0;
    const bool is_turn_down = in_frame.from == range.from - 360 && in_frame.to == range.to - 360;
    if (is_turn_down && range.from >= least_exact && range.to <= most_exact) return -360;
    return {};
}

class Search {
  public:
    explicit Search(const GshhsMap *gs) : gs_(gs), centre_(180 + gs->lonref) {}

    void look_at(double lon) {
        const double in_frame = framed(lon, gs_->lonref);
        const double distance = std::fabs(in_frame - centre_);
        if (!(nearest_ > distance)) return;
        nearest_ = distance;
        shift_ = in_frame - lon;
    }

    // Whether no point of the range can be nearer than the one found.
    bool is_beyond(Range range) const {
        const Range in_frame = {framed(range.from, gs_->lonref), framed(range.to, gs_->lonref)};
        // The ends are as many turns away only when nothing between them is at an end of the frame.
        if (!(std::fabs((in_frame.to - in_frame.from) - (range.to - range.from)) < 1)) return false;
        if (in_frame.from <= centre_ && centre_ <= in_frame.to) return false;
        return std::min(std::fabs(in_frame.from - centre_), std::fabs(in_frame.to - centre_)) >= nearest_;
    }

    double shift() const { return shift_; }

  private:
    const GshhsMap *gs_;
    double centre_;
    double nearest_ = 1e20;
    double shift_ = 0;
};

// The shift that all points would give, where they all give the same.
class CommonShift {
  public:
    explicit CommonShift(const GshhsMap *gs) : gs_(gs) {}

    // Negative where they do not.
    int look_at(Range range) {
        const std::optional<double> here = shift_of_all(gs_, range);
        if (!here || (shift_ && *shift_ != *here)) return -1;
        shift_ = here;
        return 1;
    }

    std::optional<double> shift() const { return shift_; }

  private:
    const GshhsMap *gs_;
    std::optional<double> shift_;
};

std::optional<double> common_shift(const GshhsMap *gs, const Outline &outline) {
    CommonShift common(gs);
    Points points(outline.points);
    const int result = outline.visit(
        [&](const Stretch &stretch) {
            if (!stretch.level) return 0;
            points.pass(stretch);
            return common.look_at(longitudes_of(stretch));
        },
        [&](const Stretch &stretch) {
            return points.each(stretch, [&](Point point) { return common.look_at({point.lon, point.lon}); });
        });
    return result < 0 ? std::nullopt : common.shift();
}

} // namespace

double shift_to_window(const GshhsMap *gs, const Outline &outline) {
    if (const std::optional<double> common = common_shift(gs, outline)) return *common;
    Search search(gs);
    Points points(outline.points);
    outline.visit(
        [&](const Stretch &stretch) {
            if (!stretch.level || !search.is_beyond(longitudes_of(stretch))) return 0;
            points.pass(stretch);
            return 1;
        },
        [&](const Stretch &stretch) {
            return points.each(stretch, [&](Point point) {
                search.look_at(point.lon);
                return 0;
            });
        });
    return search.shift();
}

} // namespace lindra::gshhs
