// SPDX-License-Identifier: MIT

#include "map/map_shape.hpp"

#include <algorithm>

namespace lindra::tools {

namespace {

constexpr double margin = 0.05;         // of the longer side
constexpr double least_margin = 0.01;   // degrees
constexpr double margin_of_place = 1.0; // degrees, round shapes that are all in one place
constexpr double least_longitude = -360;
constexpr double largest_longitude = 720;

Window box_of(const std::vector<MapShape> &shapes) {
    Window box = {beyond_everything, -beyond_everything, beyond_everything, -beyond_everything};
    for (const MapShape &shape : shapes)
        for (const Line &part : shape.parts)
            for (const Point &point : part)
                box = {std::min(box.west, point.lon), std::max(box.east, point.lon),
                       std::min(box.south, point.lat), std::max(box.north, point.lat)};
    return box;
}

double room_round(const Window &box) {
    const double side = std::max(box.east - box.west, box.north - box.south);
    return side > 0 ? std::max(margin * side, least_margin) : margin_of_place;
}

} // namespace

std::optional<Window> window_round(const std::vector<MapShape> &shapes) {
    const Window box = box_of(shapes);
    if (box.west > box.east) return std::nullopt;
    const double room = room_round(box);
    const double south = std::max(box.south - room, -90.0);
    const double north = std::min(box.north + room, 90.0);
    const double width = box.east - box.west + 2 * room;
    if (width < 360)
        return Window{std::max(box.west - room, least_longitude),
                      std::min(box.east + room, largest_longitude), south, north};
    const double west = box.west < -180 || box.east > 180 ? std::min(box.west, 360.0) : -180;
    return Window{west, west + 360, south, north};
}

} // namespace lindra::tools
