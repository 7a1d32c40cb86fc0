// SPDX-License-Identifier: MIT
//
// The part of the sphere within a distance of a centre, as an azimuthal projection shows it.
//
// An area is cut at the rim as follows. Seen from the centre, a closed line is one on the plane, and what
// lies outside the disc can be pushed out to the rim, each point in its direction, without changing what the
// line encloses within. On the plane the line encloses a bounded part; on the sphere that may be the part
// which is not meant. It is when the point opposite the centre, which lies outside every line on the plane,
// lies in the area: then the whole rim is added to the rings, and the even-odd rule turns inside into
// outside.
#ifndef LINDRA_TOOLS_DISC_HPP
#define LINDRA_TOOLS_DISC_HPP

#include "map/geometry.hpp"

#include <array>

namespace lindra::tools {

class Disc {
  public:
    // radius: degrees, below 180. step: lines are made of edges no longer than this, degrees.
    Disc(Point centre, double radius, double step);

    bool holds(Point place) const;

    // The part of an area that lies in the disc: closed lines, to be filled together by the even-odd rule.
    // rings: closed lines that bound the area on the sphere. reference: a place off the rings;
    // reference_inside: whether it lies in the area.
    std::vector<Line> area(const std::vector<Line> &rings, Point reference, bool reference_inside) const;

    // The pieces of an open line that lie in the disc.
    std::vector<Line> pieces(const Line &line) const;

    // The rim, closed.
    Line rim() const;

  private:
    // A place with its position in space: the first axis east and the second north of the centre, the third
    // through it.
    struct Sight {
        Point place;
        double east, north, up;
    };
    class AreaCut;

    Sight sight(Point place) const;
    std::vector<Sight> sights(const Line &line) const;
    bool is_inside(const Sight &sight) const { return sight.up > rim_up_; }
    Sight crossing(const Sight &inside, const Sight &outside) const;
    Point rim_point(double azimuth) const;
    void append_edge(Line &line, const Sight &from, const Sight &to) const;

    Point centre_;
    double sine_, cosine_; // of the centre's latitude
    double radius_;        // radians
    double rim_up_;
    double step_;
};

} // namespace lindra::tools

#endif
