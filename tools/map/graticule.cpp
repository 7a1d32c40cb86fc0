// SPDX-License-Identifier: MIT

#include "map/graticule.hpp"

#include "map/densify.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

namespace lindra::tools {

namespace {

constexpr double tiny = 1e-9;

// The multiples of the step from first to last, both included.
std::vector<double> multiples(double first, double last, double step) {
    std::vector<double> result;
    for (double i = std::ceil(first / step - tiny); i <= std::floor(last / step + tiny); i++)
        result.push_back(i * step);
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

class Maker {
  public:
    Maker(const Chart &chart, double columns, double rows)
        : chart_(chart), window_(chart.window()),
          lon_step_(nice_step((window_.east - window_.west) / columns)),
          lat_step_(nice_step((window_.north - window_.south) / rows)) {}

    Graticule make() {
        for (const double lon : multiples(window_.west, window_.east, lon_step_))
            add_meridian(lon);
        for (const double lat : multiples(window_.south, window_.north, lat_step_))
            add_parallel(lat);
        return std::move(graticule_);
    }

  private:
    bool is_closed() const { return chart_.is_azimuthal() && chart_.goes_round(); }

    void add_meridian(double lon) {
        if (is_closed() && is_near(lon, window_.west + 360)) return;
        const std::string text = longitude_label(lon, lon_step_);
        if (!chart_.is_azimuthal())
            add_label(text, {lon, window_.south}, {0, 1});
        else if (!add_end_label(text, {lon, window_.south}, {lon, window_.north}) &&
                 !add_end_label(text, {lon, window_.north}, {lon, window_.south}))
            add_inner_label(text, {lon, label_latitude()});
        const bool on_border = is_near(lon, window_.west) || is_near(lon, window_.east);
        if (is_closed() || !on_border) add_line(short_of_poles(lon));
    }

    void add_parallel(double lat) {
        const bool pole = std::fabs(lat) > 90 - tiny;
        const Line line = {{window_.west, lat}, {window_.east, lat}};
        const std::string text = latitude_label(lat, lat_step_);
        if (!chart_.is_azimuthal())
            add_label(text, line.front(), {-1, 0});
        else if (!pole && !is_closed() && !add_end_label(text, line.front(), line.back()))
            add_limb_label(text, line);
        else if (!pole && is_closed() && !add_limb_label(text, line))
            add_inner_label(text, {label_longitude(), lat});
        if (!is_near(lat, window_.south) && !is_near(lat, window_.north)) add_line(line);
    }

    void add_line(const Line &line) {
        for (PlaneLine &piece : chart_.line(line))
            graticule_.lines.push_back(std::move(piece));
    }

    // Where meridians meet in a point, only every fourth right angle reaches it.
    Line short_of_poles(double lon) const {
        const bool whole = !chart_.is_azimuthal() || is_near(std::remainder(lon, 90), 0);
        const double highest = whole ? 90 : 90 - std::min(lat_step_, 10.0);
        return {{lon, std::max(window_.south, -highest)}, {lon, std::min(window_.north, highest)}};
    }

    void add_label(const std::string &text, Point at, PlanePoint outward) {
        if (const std::optional<PlanePoint> seen = chart_.place(at))
            graticule_.labels.push_back({text, *seen, outward});
    }

    // At the end of a line on the window's border, beyond it.
    bool add_end_label(const std::string &text, Point end, Point other) {
        const std::optional<PlanePoint> seen = chart_.place(end);
        if (!seen || std::fabs(end.lat) > 90 - tiny) return false;
        const std::optional<PlanePoint> before = chart_.place(between(end, other, 0.01));
        if (!before) return false;
        graticule_.labels.push_back({text, *seen, unit_vector(seen->x - before->x, before->y - seen->y)});
        return true;
    }

    // Where a parallel comes into sight, outside the disc.
    bool add_limb_label(const std::string &text, const Line &parallel) {
        for (const PlaneLine &piece : chart_.line(parallel)) {
            const PlanePoint start = piece.front();
            if (std::hypot(start.x, start.y) < 0.9999 * limb_radius()) continue;
            graticule_.labels.push_back({text, start, unit_vector(start.x, -start.y)});
            return true;
        }
        return false;
    }

    void add_inner_label(const std::string &text, Point at) {
        constexpr double readable = 0.8; // nearer to the rim the lines run together
        if (distance_between(chart_.centre(), at) < readable * chart_.kind().rim) add_label(text, at, {0, 0});
    }

    double limb_radius() const {
        double radius = 0;
        for (const PlaneLine &line : chart_.border())
            for (const PlanePoint &point : line)
                radius = std::max(radius, std::hypot(point.x, point.y));
        return radius;
    }

    // Along which lines the labels in the map stand: those through the centre, but not through a pole.
    double label_latitude() const {
        const double lat = chart_.centre().lat;
        return std::fabs(lat) > 60 ? 0 : lat_step_ * std::round(lat / lat_step_);
    }
    double label_longitude() const { return lon_step_ * std::round(chart_.centre().lon / lon_step_); }

    const Chart &chart_;
    const Window window_;
    const double lon_step_, lat_step_;
    Graticule graticule_;
};

} // namespace

Graticule make_graticule(const Chart &chart, double columns, double rows) {
    return Maker(chart, columns, rows).make();
}

double nice_step(double least) {
    double best = 90;
    for (const double step : {45, 30, 15, 10, 5, 2, 1})
        if (step >= least - tiny) best = step;
    for (double unit = 0.1; unit > 1e-9; unit /= 10)
        for (const double step : {5 * unit, 2 * unit, unit}) {
            if (step < least * (1 - tiny)) return best;
            best = step;
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
