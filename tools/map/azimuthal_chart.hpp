// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_AZIMUTHAL_CHART_HPP
#define LINDRA_TOOLS_AZIMUTHAL_CHART_HPP

#include "map/chart.hpp"
#include "map/disc.hpp"

namespace lindra::tools {

// Maps seen from above a centre: everything is cut at a disc round it. A window that does not go right round
// the Earth is clipped on the longitude-latitude plane before; one that does has no sides, and cutting it
// open would show a seam.
class AzimuthalChart : public Chart {
  public:
    AzimuthalChart(const ProjectionKind &kind, const Window &window, Point centre);

    PlaneLines area(const Polygon &polygon) const override;
    PlaneLines shore(const Polygon &polygon) const override;
    PlaneLines course(const Line &line) const override;
    PlaneLines line(const Line &line) const override;
    PlaneLines region() const override;
    PlaneLines border() const override;
    double rim() const override;
    std::optional<PlanePoint> place(Point place) const override;

  private:
    bool has_sides() const;
    bool reaches_rim() const { return radius_ >= kind().rim; }
    Point opposite_of_window() const;
    PlaneLines seen(const std::vector<Line> &lines) const;
    PlaneLines projected(const std::vector<Line> &lines) const;

    double radius_; // of the disc, degrees
    Disc disc_;
};

} // namespace lindra::tools

#endif
