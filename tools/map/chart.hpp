// SPDX-License-Identifier: MIT
//
// A window on the Earth laid out flat: what of a polygon or a line is seen in it, on the projection plane.
#ifndef LINDRA_TOOLS_CHART_HPP
#define LINDRA_TOOLS_CHART_HPP

#include "map/coast.hpp"
#include "map/geometry.hpp"
#include "map/plane.hpp"
#include "map/projection.hpp"

#include <memory>
#include <optional>

namespace lindra::tools {

class Chart {
  public:
    Chart(const ProjectionKind &kind, const Window &window, Point centre);
    virtual ~Chart() = default;
    Chart(const Chart &) = delete;
    Chart &operator=(const Chart &) = delete;

    // The part of the polygon's area round the region: rings to be filled together by the even-odd rule. A
    // little more than the region is covered, so that nothing shows along its edge once the region is
    // clipped.
    virtual PlaneLines area(const Polygon &polygon) const = 0;

    // The pieces of the polygon's outline round the region.
    virtual PlaneLines shore(const Polygon &polygon) const = 0;

    // The pieces of a line, given at any multiple of 360 degrees, round the region.
    virtual PlaneLines course(const Line &line) const = 0;

    // The pieces of a line, given in the window's longitudes, that lie in the window.
    virtual PlaneLines line(const Line &line) const = 0;

    // What the map covers: rings by the even-odd rule. Empty when nothing of the window is seen.
    virtual PlaneLines region() const = 0;

    // The lines that bound the region, and more that lies outside it.
    virtual PlaneLines border() const = 0;

    // How far from the projection's centre, on the plane, the disc ends that an azimuthal projection shows;
    // infinite when the map does not reach so far.
    virtual double rim() const;

    // Where a place lies; nothing outside the region.
    virtual std::optional<PlanePoint> place(Point place) const = 0;

    const ProjectionKind &kind() const { return projection_.kind(); }
    bool is_azimuthal() const { return kind().family == Family::azimuthal; }
    Point centre() const { return projection_.centre(); }

    // What is shown: in the user's longitudes.
    const Window &window() const { return window_; }
    bool goes_round() const { return window_.east - window_.west >= 360; }

    // The window with a margin: polygons outside it cannot be seen.
    const Window &surroundings() const { return surroundings_; }

  protected:
    // The longest edge, in degrees, that is drawn straight.
    double step() const { return step_; }

    // The place moved by whole turns into the window; nothing outside it.
    std::optional<Point> in_window(Point place) const;

    const Projection &projection() const { return projection_; }

  private:
    Projection projection_;
    Window window_;
    Window surroundings_;
    double step_;
};

// The chart of a window, or of the part of it that the projection reaches. centre: of an azimuthal
// projection; when not given, the window's middle, or the pole in a window right round it. Throws UsageError
// when the projection shows nothing of the window, or for a centre that the projection does not take.
std::unique_ptr<Chart> make_chart(const ProjectionKind &kind, const Window &window,
                                  const std::optional<Point> &centre);

// The window shown when none is asked for.
Window default_window(const ProjectionKind &kind, const std::optional<Point> &centre);

} // namespace lindra::tools

#endif
