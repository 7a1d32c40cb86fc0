// SPDX-License-Identifier: MIT

#include "map/chart.hpp"

#include "common/errors.hpp"
#include "map/azimuthal_chart.hpp"
#include "map/cylindrical_chart.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace lindra::tools {

namespace {

constexpr double margin_share = 0.02;

// On a page of a few thousand pixels the bend of a meridian or parallel between two points this far apart is
// less than half a pixel.
double step_of(const Window &window) {
    const double span = std::max(window.east - window.west, window.north - window.south);
    return std::clamp(span / 100, 1e-4, 1.0);
}

Window widened(const Window &window) {
    const double lon = margin_share * (window.east - window.west);
    const double lat = margin_share * (window.north - window.south);
    return {window.west - lon, window.east + lon, std::max(window.south - lat, -90.0),
            std::min(window.north + lat, 90.0)};
}

double middle_latitude(const Window &window) {
    return (window.south + window.north) / 2;
}

double pole_nearer(double latitude) {
    return latitude < 0 ? -90 : 90;
}

// The whole globe is shown from a little north of the equator, where more of the land is. A window round one
// pole is shown from above that pole.
double natural_latitude(const Window &window) {
    if (window.east - window.west < 360) return middle_latitude(window);
    const bool holds_south = window.south <= -90;
    const bool holds_north = window.north >= 90;
    if (holds_south && holds_north) return 20;
    if (holds_south || holds_north) return holds_north ? 90 : -90;
    return middle_latitude(window);
}

Point centre_of(const ProjectionKind &kind, const Window &window, const std::optional<Point> &centre) {
    if (centre) return *centre;
    const double lon = (window.west + window.east) / 2;
    if (kind.family == Family::cylindrical) return {lon, middle_latitude(window)};
    if (kind.polar) return {lon, pole_nearer(middle_latitude(window))};
    return {lon, natural_latitude(window)};
}

void check_centre(const ProjectionKind &kind, const std::optional<Point> &centre) {
    if (!centre) return;
    if (kind.family == Family::cylindrical)
        throw UsageError(std::string(kind.name) +
                         " is always centred on the middle of the window; leave --center out and "
                         "choose the --window");
    if (kind.polar && std::fabs(centre->lat) != 90)
        throw UsageError(
            "polar-stereographic is centred on a pole: the latitude of --center must be 90 or -90");
}

// On less than a metre of ground the coordinates of the plane run out of digits.
void check_span(const Window &window) {
    if (std::min(window.east - window.west, window.north - window.south) < 1e-5)
        throw UsageError("the window is less than 0.00001 degrees wide or high; choose a larger one");
}

Window cut(const ProjectionKind &kind, const Window &window, double south, double north) {
    const Window part = {window.west, window.east, std::max(window.south, south),
                         std::min(window.north, north)};
    if (part.south < part.north) return part;
    throw UsageError("nothing of the window lies in the " + std::string(kind.name) +
                     " projection, which ends at latitude " +
                     std::to_string(static_cast<int>(window.north <= south ? south : north)));
}

Window reachable(const ProjectionKind &kind, const Window &window, const std::optional<Point> &centre) {
    if (!kind.polar) return cut(kind, window, -kind.highest, kind.highest);
    const bool north = centre_of(kind, window, centre).lat > 0;
    return north ? cut(kind, window, -kind.highest, 90) : cut(kind, window, -90, kind.highest);
}

} // namespace

Chart::Chart(const ProjectionKind &kind, const Window &window, Point centre)
    : projection_(kind, centre), window_(window), surroundings_(widened(window)), step_(step_of(window)) {}

double Chart::rim() const {
    return std::numeric_limits<double>::infinity();
}

std::optional<Point> Chart::in_window(Point place) const {
    const bool inside = window_.west <= place.lon && place.lon <= window_.east;
    const double lon = inside ? place.lon : place.lon + 360 * std::ceil((window_.west - place.lon) / 360);
    if (lon > window_.east || place.lat < window_.south || place.lat > window_.north) return std::nullopt;
    return Point{lon, place.lat};
}

Window default_window(const ProjectionKind &kind, const std::optional<Point> &centre) {
    if (!kind.polar) return {-180, 180, -kind.highest, kind.highest};
    if (centre && centre->lat < 0) return {-180, 180, -90, -60};
    return {-180, 180, 60, 90};
}

std::unique_ptr<Chart> make_chart(const ProjectionKind &kind, const Window &window,
                                  const std::optional<Point> &centre) {
    check_centre(kind, centre);
    check_span(window);
    const Window shown = reachable(kind, window, centre);
    const Point middle = centre_of(kind, shown, centre);
    std::unique_ptr<Chart> chart;
    if (kind.family == Family::cylindrical)
        chart = std::make_unique<CylindricalChart>(kind, shown, middle);
    else
        chart = std::make_unique<AzimuthalChart>(kind, shown, middle);
    const PlaneBox box = box_of(chart->region());
    if (!(box.width() > 0 && box.height() > 0))
        throw UsageError("nothing of the window is seen in the " + std::string(kind.name) +
                         " projection from that --center; choose another centre or window");
    return chart;
}

} // namespace lindra::tools
