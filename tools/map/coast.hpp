// SPDX-License-Identifier: MIT
//
// The coastline as whole polygons, whatever window is asked for.
//
// The library's own selection leaves out polygons near the ends of its frame and replaces points outside the
// window by points on its border. Here every polygon is selected from the globe and delivered whole. What
// meets a window is judged by the polygons' boxes; clipping is done afterwards by clip.hpp, exactly.
#ifndef LINDRA_TOOLS_COAST_HPP
#define LINDRA_TOOLS_COAST_HPP

#include "map/copies.hpp"
#include "map/geometry.hpp"

#include <functional>
#include <memory>
#include <string>

namespace lindra::tools {

struct Polygon {
    int id;
    int level;  // 1 land, 2 lake, 3 island in a lake, 4 pond
    Ring shore; // whole; round a pole its first and last point are 360 degrees of longitude apart
    int pole;   // -1 when it runs round the south pole, 1 round the north pole, else 0

    // The area on the longitude-latitude plane: the shore, and for a polygon round a pole the way along that
    // pole.
    Ring area() const;
};

class Coastline {
  public:
    // resolution: 'c', 'l', 'i', 'h' or 'f'. Throws DataError when the file is missing (naming the
    // directories searched and the command that gets it), unreadable or damaged.
    explicit Coastline(char resolution);
    ~Coastline();

    // Calls visit once for each polygon of levels 1 to 4 that meets the window in one of its copies 360
    // degrees apart, in file order. The polygon is valid during the call only. Its longitudes may be any
    // multiple of 360 away from the window: see copies.
    void visit(const Window &window, const std::function<void(const Polygon &)> &visit);

  private:
    struct Source;
    std::unique_ptr<Source> source_;
};

} // namespace lindra::tools

#endif
