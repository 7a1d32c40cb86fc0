// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PICTURE_HPP
#define LINDRA_TOOLS_PICTURE_HPP

#include "map/map_shape.hpp"

#include <string>
#include <vector>

namespace lindra::tools {

// The options of a map as a user gives them. Empty ones follow from the others.
struct PictureOptions {
    std::string output = "world.png";
    std::string window;
    std::string resolution = "auto";
    std::string layers = "coast,land,lakes,islands,ponds,borders:national,rivers:1-2";
    std::string projection = "plate-carree";
    std::string centre;
    std::string size;
    std::string style = "atlas";
    std::string title;
};

// Draws the map into its file: the layers, with the shapes over them. Without a window it shows the shapes,
// or without shapes all that the projection shows well. Says on standard error what was drawn. Throws
// UsageError and DataError.
void draw_picture(const PictureOptions &options, const std::vector<MapShape> &shapes);

} // namespace lindra::tools

#endif
