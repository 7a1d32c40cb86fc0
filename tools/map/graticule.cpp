// SPDX-License-Identifier: MIT

#include "map/graticule.hpp"

#include "map/densify.hpp"
#include "map/scale.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>

namespace lindra::tools {

namespace {

constexpr double tiny = 1e-9;
constexpr double polar_latitude = 60; // of a centre from which a pole is well in sight

// The multiples of the step from first to last, both included.
std::vector<double> multiples(double first, double last, double step) {
    std::vector<double> result;
    const auto start = static_cast<long>(std::ceil(first / step - tiny));
    const auto end = static_cast<long>(std::floor(last / step + tiny));
    for (long i = start; i <= end; i++)
        result.push_back(std::clamp(static_cast<double>(i) * step, first, last));
    return result;
}

std::string degrees_text(double value, double step, const char *side) {
    int decimals = 0;
    for (double digit = step; decimals < 9 && std::fabs(digit - std::round(digit)) > 1e-6; digit *= 10)
        decimals++;
    char text[40];
    snprintf(text, sizeof text, "%.*f\u00b0%s", decimals, std::fabs(value), side);
    return text;
}

PlanePoint unit_vector(double x, double y) {
    const double length = std::hypot(x, y);
    return length > 0 ? PlanePoint{x / length, y / length} : PlanePoint{0, 1};
}

bool is_near(double a, double b) {
    return std::fabs(a - b) < tiny;
}

// Degrees between lines that are to be about so many metres of the plane apart.
struct Steps {
    double lon, lat;
};

bool is_closed(const Chart &chart) {
    return chart.is_azimuthal() && chart.goes_round();
}

// Where meridians run together, they are counted along the edge of the map, and are twelve at most.
Steps choose_steps(const Chart &chart, double metres) {
    const Point place = typical_place(chart);
    const Scale scale = scale_at(chart, place).value_or(Scale{1, 1});
    if (is_closed(chart)) {
        const double edge = std::numbers::pi * box_of(chart.region()).width();
        return {nice_step(std::max(360 * 2 * metres / edge, 30.0)),
                nice_step(1.3 * metres / (scale.north * metres_per_degree))};
    }
    const double east = scale.east * metres_per_degree * std::cos(place.lat * radians);
    return {nice_step(metres / east), nice_step(metres / (scale.north * metres_per_degree))};
}

class Maker {
  public:
    Maker(const Chart &chart, double metres)
        : chart_(chart), window_(chart.window()), closed_(is_closed(chart)),
          steps_(choose_steps(chart, metres)) {}

    Graticule make() {
        for (const double lon : multiples(window_.west, window_.east, steps_.lon))
            add_meridian(lon);
        for (const double lat : multiples(window_.south, window_.north, steps_.lat))
            add_parallel(lat);
        return std::move(graticule_);
    }

  private:
    void add_meridian(double lon) {
        if (closed_ && is_near(lon, window_.west + 360)) return;
        const Point south = {lon, window_.south};
        const Point north = {lon, window_.north};
        const std::string text = longitude_label(lon, steps_.lon);
        if (!chart_.is_azimuthal())
            add_label(text, south, {0, 1});
        else if (!add_end_label(text, south, north) && !add_end_label(text, north, south) &&
                 !add_polar_label(text, south, north))
            add_inner_label(text, {lon, label_latitude()});
        const bool on_border = is_near(lon, window_.west) || is_near(lon, window_.east);
        if (closed_ || !on_border) add_line(short_of_poles(lon));
    }

    void add_parallel(double lat) {
        const Line line = {{window_.west, lat}, {window_.east, lat}};
        const std::string text = latitude_label(lat, steps_.lat);
        const bool on_border = is_near(lat, window_.south) || is_near(lat, window_.north);
        if (!chart_.is_azimuthal())
            add_label(text, line.front(), border_normal(line.front(), line.back()));
        else if (closed_ && !on_border && !add_rim_label(text, line))
            add_inner_label(text, {label_longitude(), lat});
        else if (!closed_ && !add_end_label(text, line.front(), line.back()))
            add_rim_label(text, line);
        if (!on_border) add_line(line);
    }

    void add_line(const Line &line) {
        for (PlaneLine &piece : chart_.line(line))
            graticule_.lines.push_back(std::move(piece));
    }

    // Where meridians meet in a point, only every fourth right angle reaches it.
    Line short_of_poles(double lon) const {
        const bool whole = !chart_.is_azimuthal() || is_near(std::remainder(lon, 90), 0);
        const double highest = whole ? 90 : 90 - std::min(steps_.lat, 10.0);
        return {{lon, std::max(window_.south, -highest)}, {lon, std::min(window_.north, highest)}};
    }

    void add_label(const std::string &text, Point at, PlanePoint outward) {
        if (const std::optional<PlanePoint> seen = chart_.place(at))
            graticule_.labels.push_back({text, *seen, outward});
    }

    // At the end of a line on the window's border, beyond it.
    bool add_end_label(const std::string &text, Point end, Point other) {
        if (std::fabs(end.lat) > 90 - tiny || !chart_.place(end)) return false;
        add_label(text, end, border_normal(end, other));
        return true;
    }

    // Seen from above a pole or nearly so, meridians run straight to the rim.
    bool add_polar_label(const std::string &text, Point south, Point north) {
        const double lat = chart_.centre().lat;
        return std::fabs(lat) > polar_latitude &&
               add_rim_label(text, lat > 0 ? Line{south, north} : Line{north, south});
    }

    // Where a line comes into sight, outside the disc.
    bool add_rim_label(const std::string &text, const Line &line) {
        for (const PlaneLine &piece : chart_.line(line)) {
            const PlanePoint start = piece.front();
            if (std::hypot(start.x, start.y) < 0.9999 * chart_.rim()) continue;
            graticule_.labels.push_back({text, start, unit_vector(start.x, -start.y)});
            return true;
        }
        return false;
    }

    void add_inner_label(const std::string &text, Point at) {
        constexpr double readable = 0.8; // nearer to the rim the lines run together
        const bool is_pole = std::fabs(at.lat) > 90 - tiny;
        if (!is_pole && distance_between(chart_.centre(), at) < readable * chart_.kind().rim)
            add_label(text, at, {0, 0});
    }

    // At right angles to the border, on which the line from there to the other point ends.
    PlanePoint border_normal(Point end, Point other) const {
        const PlanePoint line = way(between(end, other, 0.01), end);
        const bool is_parallel = end.lat == other.lat;
        const double lon = is_parallel ? 0 : (window_.east - window_.west) / 100;
        const double lat = is_parallel ? (window_.north - window_.south) / 100 : 0;
        const PlanePoint border =
            way({std::max(end.lon - lon, window_.west), std::max(end.lat - lat, window_.south)},
                {std::min(end.lon + lon, window_.east), std::min(end.lat + lat, window_.north)});
        if (border.x == 0 && border.y == 0) return unit_vector(line.x, line.y);
        const double side = border.x * line.y - border.y * line.x < 0 ? -1 : 1;
        return unit_vector(-side * border.y, side * border.x);
    }

    // From one point to the other as seen on the page; 0, 0 when one of them is not seen.
    PlanePoint way(Point from, Point to) const {
        const std::optional<PlanePoint> a = chart_.place(from);
        const std::optional<PlanePoint> b = chart_.place(to);
        return a && b ? PlanePoint{b->x - a->x, a->y - b->y} : PlanePoint{0, 0};
    }

    // Labels in the map stand on their lines half-way between two crossings, near the centre.
    double label_latitude() const {
        return steps_.lat * (std::floor(chart_.centre().lat / steps_.lat) + 0.5);
    }
    double label_longitude() const {
        return steps_.lon * (std::floor(chart_.centre().lon / steps_.lon + tiny) + 0.5);
    }

    const Chart &chart_;
    const Window window_;
    const bool closed_;
    const Steps steps_;
    Graticule graticule_;
};

} // namespace

Graticule make_graticule(const Chart &chart, double metres) {
    return Maker(chart, metres).make();
}

double nice_step(double least) {
    double best = 90;
    for (const double step : {45, 30, 15, 10, 5, 2, 1})
        if (step >= least - tiny) best = step;
    double unit = 1;
    for (int decimals = 1; decimals < 9; decimals++) {
        unit /= 10;
        for (const double step : {5 * unit, 2 * unit, unit}) {
            if (step < least * (1 - tiny)) return best;
            best = step;
        }
    }
    return best;
}

std::string longitude_label(double longitude, double step) {
    const double lon = std::remainder(longitude, 360);
    const bool sided = std::fabs(lon) > tiny && std::fabs(lon) < 180 - tiny;
    return degrees_text(lon, step, !sided ? "" : lon < 0 ? "W" : "E");
}

std::string latitude_label(double latitude, double step) {
    const bool sided = std::fabs(latitude) > tiny;
    return degrees_text(latitude, step, !sided ? "" : latitude < 0 ? "S" : "N");
}

} // namespace lindra::tools
