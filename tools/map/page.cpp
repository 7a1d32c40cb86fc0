// SPDX-License-Identifier: MIT

#include "map/page.hpp"

#include "common/errors.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace lindra::tools {

namespace {

constexpr int longest_side = 20000;
constexpr int usual_side = 1200;

[[noreturn]] void refuse_size(const std::string &text) {
    throw UsageError("the size '" + text + "' is not WxH, W, Wx or xH with sides from 1 to " +
                     std::to_string(longest_side) + " pixels, such as 1200x800 or 1200x");
}

int parse_side(const std::string &side, const std::string &text) {
    if (side.empty()) return 0;
    int value = 0;
    const char *end = side.data() + side.size();
    const auto [stop, error] = std::from_chars(side.data(), end, value);
    if (error != std::errc() || stop != end || value < 1 || value > longest_side) refuse_size(text);
    return value;
}

// The side that follows from the other, of which the margins leave room for the map.
int following_side(int other, int other_margins, double ratio, int margins) {
    const double side = std::ceil(std::max(other - other_margins, 1) * ratio + margins - 1e-9);
    if (side <= longest_side) return std::max(static_cast<int>(side), 1);
    throw UsageError("a map of this window would be more than " + std::to_string(longest_side) +
                     " pixels long; give both sides, --size WxH, or another window");
}

} // namespace

PageSize parse_size(const std::string &text) {
    const size_t cross = std::min(text.find('x'), text.size());
    const std::string after = cross < text.size() ? text.substr(cross + 1) : "";
    const PageSize size = {parse_side(text.substr(0, cross), text), parse_side(after, text)};
    if (size.width == 0 && size.height == 0) refuse_size(text);
    return size;
}

Page usual_page(const PlaneBox &region, const Margins &margins) {
    const bool wide = region.width() >= region.height();
    const Page page(region, wide ? PageSize{usual_side, 0} : PageSize{0, usual_side}, margins);
    if (std::max(page.width(), page.height()) <= usual_side) return page;
    return Page(region, wide ? PageSize{0, usual_side} : PageSize{usual_side, 0}, margins);
}

Page::Page(const PlaneBox &region, const PageSize &size, const Margins &margins)
    : region_(region), width_(size.width), height_(size.height) {
    const int across = margins.left + margins.right;
    const int down = margins.top + margins.bottom;
    if (height_ == 0) height_ = following_side(width_, across, region.height() / region.width(), down);
    if (width_ == 0) width_ = following_side(height_, down, region.width() / region.height(), across);
    const double room_across = std::max(width_ - across, 1);
    const double room_down = std::max(height_ - down, 1);
    const double scale_across = room_across / region.width();
    const double scale_down = room_down / region.height();

    // The side that was asked for is filled to the pixel; on the other the map has up to a pixel too much
    // room.
    const bool width_counts = size.height == 0 || (size.width != 0 && scale_across <= scale_down);
    scale_ = width_counts ? scale_across : scale_down;
    const double left = margins.left + std::max(0.0, (room_across - scale_ * region.width()) / 2);
    const double top = margins.top + std::max(0.0, (room_down - scale_ * region.height()) / 2);
    map_ = {left, top, left + scale_ * region.width(), top + scale_ * region.height()};
}

PlanePoint Page::at(PlanePoint point) const {
    return {map_.left + (point.x - region_.left) * scale_, map_.top + (region_.bottom - point.y) * scale_};
}

PlaneLines Page::at(const PlaneLines &lines) const {
    PlaneLines result = lines;
    for (PlaneLine &line : result)
        for (PlanePoint &point : line)
            point = at(point);
    return result;
}

double Page::unit() const {
    return std::clamp(std::max(width_, height_) / static_cast<double>(usual_side), 0.7, 20.0);
}

} // namespace lindra::tools
