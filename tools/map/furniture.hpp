// SPDX-License-Identifier: MIT
//
// What stands round the map on the page: labels of the graticule, title, scale bar.
#ifndef LINDRA_TOOLS_FURNITURE_HPP
#define LINDRA_TOOLS_FURNITURE_HPP

#include "map/canvas.hpp"
#include "map/chart.hpp"
#include "map/graticule.hpp"
#include "map/page.hpp"
#include "map/style.hpp"

#include <optional>
#include <string>
#include <vector>

namespace lindra::tools {

// A text on the page.
struct Inscription {
    std::string text;
    double size;
    PlaneBox box;
    bool on_map;

    // Of the text in the given size whose box has its middle there.
    static Inscription centred(const std::string &text, double size, PlanePoint middle);
};

struct ScaleBar {
    PlaneBox left_half, right_half;
};

// Texts do not overlap each other and do not leave the page: what would is left out.
struct Furniture {
    std::vector<Inscription> inscriptions;
    std::optional<ScaleBar> scale_bar;
};

struct Layout {
    Page page;
    Graticule graticule;
    Furniture furniture;
};

// The page with everything in its place. On a page that is too small for texts there are none.
Layout lay_out(const Chart &chart, const std::optional<PageSize> &size, const Style &style,
               const std::string &title);

void draw(Canvas &canvas, const Furniture &furniture, const Style &style);

} // namespace lindra::tools

#endif
