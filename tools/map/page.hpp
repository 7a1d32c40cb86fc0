// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PAGE_HPP
#define LINDRA_TOOLS_PAGE_HPP

#include "map/plane.hpp"

#include <string>

namespace lindra::tools {

// Pixels; 0 for a side that follows from the other and the shape of the map.
struct PageSize {
    int width, height;
};

// "1200x800", "1200x", "x800" or "1200". Throws UsageError for anything else and for sides outside 1 to
// 20000.
PageSize parse_size(const std::string &text);

// Whole pixels between the map and the edges of the page.
struct Margins {
    int left, top, right, bottom;
};

// The page and the place of the map on it: as large as fits between the margins, in its own proportions.
class Page {
  public:
    // region: the box of the map on the plane, metres. Throws UsageError when a side that follows would be
    // outside 1 to 20000.
    Page(const PlaneBox &region, const PageSize &size, const Margins &margins);

    int width() const { return width_; }
    int height() const { return height_; }
    PlaneBox box() const { return {0, 0, static_cast<double>(width_), static_cast<double>(height_)}; }
    const PlaneBox &map() const { return map_; }
    double pixels_per_metre() const { return scale_; }

    // From the plane to the page.
    PlanePoint at(PlanePoint point) const;
    PlaneLines at(const PlaneLines &lines) const;

    // By how much widths and sizes grow on this page.
    double unit() const;

  private:
    PlaneBox region_;
    int width_, height_;
    double scale_;
    PlaneBox map_;
};

// The page when no size is asked for: its longer side is 1200.
Page usual_page(const PlaneBox &region, const Margins &margins);

} // namespace lindra::tools

#endif
