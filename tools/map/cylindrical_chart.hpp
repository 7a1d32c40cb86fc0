// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CYLINDRICAL_CHART_HPP
#define LINDRA_TOOLS_CYLINDRICAL_CHART_HPP

#include "map/chart.hpp"

namespace lindra::tools {

// Maps whose plane is the longitude-latitude plane, stretched: everything is clipped there, each polygon at
// each of its copies 360 degrees apart, and projected afterwards. The window's middle meridian is the map's.
class CylindricalChart : public Chart {
  public:
    using Chart::Chart;

    PlaneLines area(const Polygon &polygon) const override;
    PlaneLines shore(const Polygon &polygon) const override;
    PlaneLines course(const Line &line) const override;
    PlaneLines line(const Line &line) const override;
    PlaneLines region() const override;
    PlaneLines border() const override;
    std::optional<PlanePoint> place(Point place) const override;

  private:
    PlaneLines bent(const std::vector<Line> &lines) const;
    PlaneLine bent(const Line &line) const;
};

} // namespace lindra::tools

#endif
