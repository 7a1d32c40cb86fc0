// SPDX-License-Identifier: MIT
//
// What the maps show, judged by their pixels: known places, random places against the file's own points, the
// page against formulas, and the joints where maps of the world like to tear.

#include "map/drawing.hpp"

#include "lindra/lindra.h"

#include "picture.hpp"
#include "plain_gshhs.hpp"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace {

using namespace lindra::test;
using lindra::tools::Coastline;
using lindra::tools::FileType;
using lindra::tools::PlanePoint;

constexpr double radians = std::numbers::pi / 180;

// The crude file is a part of the source tree: it is always there.
Coastline &crude() {
    static Coastline coastline('c');
    return coastline;
}

// --- The file, read plainly ------------------------------------------------------------------------------

// Degrees on the ground, roughly, but no more than most: the shores are near, or it does not matter.
double ground_distance(Point place, const Ring &ring, double most) {
    const double width = std::cos(place.lat * radians);
    const auto flat = [&](Point p) { return Point{std::remainder(p.lon - place.lon, 360) * width, p.lat}; };
    const auto beyond = [&](size_t i) {
        const auto [south, north] = std::minmax(ring[i].lat, ring[i + 1].lat);
        return south > place.lat + most || north < place.lat - most;
    };
    double least = most;
    for (size_t i = 0; i + 1 < ring.size(); i++) {
        if (beyond(i)) continue;
        const Point a = flat(ring[i]);
        const Point b = flat(ring[i + 1]);
        if (std::fabs(a.lon - b.lon) < 180 * width) least = std::fmin(least, distance({0, place.lat}, a, b));
    }
    return least;
}

constexpr int ice_front = 5;
class Oracle {
  public:
    Oracle() : polygons_(read_polygons(path())) {
        std::erase_if(polygons_, [](const PlainPolygon &polygon) { return polygon.level == ice_front; });
    }

    Pixel surface(Point place) const {
        constexpr Pixel by_level[] = {sea, land, lake, island, pond, sea, land};
        Pixel result = sea;
        for (const PlainPolygon &polygon : polygons_)
            if (holds(polygon, place)) result = by_level[polygon.level];
        return result;
    }

    // Degrees to the next shore, but no more than most.
    double clearance(Point place, double most) const {
        double least = most;
        for (const PlainPolygon &polygon : polygons_)
            least = ground_distance(place, polygon.points, least);
        return least;
    }

  private:
    static std::string path() {
        const std::unique_ptr<char, decltype(&free)> found(datafile(nullptr, "maps/lindra/gshhs_c.b"), free);
        return found ? found.get() : "";
    }

    static bool holds(const PlainPolygon &polygon, Point place) {
        const Ring area = polygon.area();
        return contains(area, {place.lon - 360, place.lat}) || contains(area, place) ||
               contains(area, {place.lon + 360, place.lat});
    }

    std::vector<PlainPolygon> polygons_;
};

const Oracle &oracle() {
    static const Oracle made;
    return made;
}

// --- Known places ----------------------------------------------------------------------------------------

struct Place {
    const char *name;
    Point at;
    Pixel surface;
};

constexpr Place places[] = {
    {"Antarctica, Queen Maud Land", {0, -78}, land},
    {"Antarctica, Wilkes Land", {115, -72}, land},
    {"Antarctica, Marie Byrd Land", {-120, -79}, land},
    {"Antarctica, East Antarctica", {90, -82}, land},
    {"Chukotka, west of 180", {178, 67.3}, land},
    {"Chukotka, east of 180", {-178.5, 67.3}, land},
    {"London", {-0.12, 51.5}, land},
    {"England", {-0.8, 52.1}, land},
    {"Kolyma", {155, 66}, land},
    {"Lapland", {24, 68}, land},
    {"Greenland Sea", {-5, 76}, sea},
    {"Baffin Bay", {-65, 74}, sea},
    {"Algeria, on the prime meridian", {0, 30}, land},
    {"Mali, on the prime meridian", {0.5, 17.5}, land},
    {"Sahara", {20, 25}, land},
    {"South Africa", {22.9, -28.2}, land},
    {"Madagascar", {46.5, -20}, land},
    {"Germany", {10, 51}, land},
    {"Finland", {26, 66.5}, land},
    {"Iceland", {-18.5, 65}, land},
    {"West Siberia", {90, 60}, land},
    {"Greenland", {-40, 72}, land},
    {"Baffin Island", {-71, 69}, land},
    {"Alaska", {-152, 67}, land},
    {"Yakutia", {125, 67}, land},
    {"Taymyr", {93.1, 71.5}, land},
    {"Arabia", {46, 23}, land},
    {"India", {78, 20}, land},
    {"China", {105, 32}, land},
    {"Honshu", {138, 36}, land},
    {"Borneo", {114, 1}, land},
    {"Australia", {134, -25}, land},
    {"New Zealand", {175.8, -39.6}, land},
    {"United States", {-100, 40}, land},
    {"Brazil", {-55, -10}, land},
    {"Caspian Sea", {51, 42}, lake},
    {"Lake Superior", {-87.5, 47.7}, lake},
    {"Lake Michigan", {-87, 43.5}, lake},
    {"Lake Victoria", {33, -0.9}, lake},
    {"Lake Ladoga", {31.5, 60.9}, lake},
    {"Aral Sea", {60, 45}, lake},
    {"North Pole", {0, 89.5}, sea},
    {"Arctic Ocean", {178, 80}, sea},
    {"Barents Sea", {40, 74}, sea},
    {"Norwegian Sea", {0, 68}, sea},
    {"Beaufort Sea", {-140, 73}, sea},
    {"Chukchi Sea", {-170, 70}, sea},
    {"East Siberian Sea", {160, 73}, sea},
    {"Laptev Sea", {125, 76}, sea},
    {"Davis Strait", {-58, 66}, sea},
    {"North Atlantic", {-40, 35}, sea},
    {"South Atlantic", {-15, -30}, sea},
    {"Gulf of Guinea, at 0, 0", {0, 0}, sea},
    {"Southern Ocean", {0, -60}, sea},
    {"Indian Ocean", {80, -20}, sea},
    {"North Pacific", {-160, 35}, sea},
    {"Pacific, east of 180", {-178, 0}, sea},
    {"South Pacific", {-120, -40}, sea},
    {"Mediterranean", {18, 35}, sea},
    {"Black Sea", {34, 43}, sea},
    {"Hudson Bay", {-86, 60}, sea},
    {"Red Sea", {38, 20}, sea},
    {"Bay of Bengal", {89, 14}, sea},
    {"Tasman Sea", {160, -38}, sea},
    {"Bering Sea, west of 180", {178, 58}, sea},
    {"Weddell Sea", {-45, -72}, sea},
};

// How many pixels a degree on the ground takes in the direction in which it takes fewest; 0 at the edge of
// the map. The smaller singular value of the derivative.
double pixels_per_degree(const Map &map, Point place) {
    constexpr double way = 0.5;
    const double lon = way / std::cos(place.lat * radians);
    const auto at = [&](double east, double north) {
        return map.drawing().pixel({place.lon + east, place.lat + north});
    };
    const auto west = at(-lon, 0), east = at(lon, 0), south = at(0, -way), north = at(0, way);
    if (!west || !east || !south || !north) return 0;
    const double a = east->x - west->x, b = north->x - south->x;
    const double c = east->y - west->y, d = north->y - south->y;
    if (std::hypot(a, c) > 100) return 0; // they are at opposite ends of the map
    const double sum = a * a + b * b + c * c + d * d;
    const double determinant = a * d - b * c;
    return std::sqrt(std::fmax(0, sum - std::sqrt(sum * sum - 4 * determinant * determinant)) / 2) /
           (2 * way);
}

constexpr double clear_pixels = 1.8; // a pixel's diagonal and half the width of a stroke

// Whether the map shows the place and no bit of a shore can lie in its pixel.
bool is_clear(const Map &map, Point place) {
    return oracle().clearance(place, 1) * pixels_per_degree(map, place) >= clear_pixels;
}

// Counts the places that the map shows.
int expect_places(const Map &map) {
    int seen = 0;
    for (const Place &place : places) {
        if (!is_clear(map, place.at)) continue;
        seen++;
        const Pixel pixel = map.at(place.at).value();
        EXPECT_EQ(pixel, place.surface) << place.name << " is " << name_of(pixel);
    }
    return seen;
}

class EveryProjection : public testing::TestWithParam<const char *> {};

TEST_P(EveryProjection, known_places_are_land_lake_or_sea) {
    const Map map({.projection = GetParam()}, crude());
    EXPECT_GE(expect_places(map), 20);
}

// Texts may lie over a place or two.
TEST_P(EveryProjection, finished_map_shows_the_same_places) {
    const Map map({.projection = GetParam(), .style = ",graticule=none"}, crude());
    int shown = 0, right = 0;
    for (const Place &place : places)
        if (is_clear(map, place.at)) {
            shown++;
            right += map.at(place.at) == place.surface;
        }
    EXPECT_GE(shown, 20);
    EXPECT_GE(right, shown - 3);
}

INSTANTIATE_TEST_SUITE_P(Draw, EveryProjection,
                         testing::Values("plate-carree", "equirectangular", "mercator", "robinson",
                                         "orthographic", "lambert-azimuthal", "azimuthal-equidistant",
                                         "polar-stereographic"),
                         [](const auto &test) {
                             std::string name = test.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(Draw, known_places_from_every_side_of_a_globe) {
    for (const Point centre :
         {Point{0, 90}, Point{0, -90}, Point{90, 0}, Point{180, 0}, Point{-90, 10}, Point{30, -45}})
        for (const char *projection : {"orthographic", "lambert-azimuthal", "azimuthal-equidistant"}) {
            SCOPED_TRACE(testing::Message() << projection << " from " << centre.lon << "/" << centre.lat);
            EXPECT_GE(expect_places(Map({.projection = projection, .centre = centre}, crude())), 10);
        }
}

TEST(Draw, both_polar_maps_show_their_hemisphere) {
    for (const Window window : {Window{-180, 180, 0, 90}, Window{-180, 180, -90, 0}, Window{0, 360, -90, 20}})
        EXPECT_GE(expect_places(Map({.projection = "polar-stereographic", .window = window}, crude())), 10);
}

TEST(Draw, london_lies_on_land_and_the_thames_estuary_in_the_sea) {
    for (const char *projection :
         {"plate-carree", "mercator", "robinson", "orthographic", "lambert-azimuthal"}) {
        const Map map({.projection = projection, .window = Window{-6, 4, 48, 56}}, crude());
        EXPECT_EQ(map.at({-0.12, 51.5}), land) << projection;
        EXPECT_EQ(map.at({1.8, 51.6}), sea) << projection;
    }
}

TEST(Draw, island_in_a_lake_and_its_own_colour) {
    const Map map({.window = Window{-84, -81, 45, 47}}, crude());
    EXPECT_EQ(map.at({-82.2, 45.75}), island) << "Manitoulin Island";
    EXPECT_EQ(map.at({-82.2, 45.2}), lake) << "Lake Huron";
    EXPECT_EQ(map.at({-81.2, 46.7}), land) << "Ontario";
}

// --- The page, by formulas -------------------------------------------------------------------------------

TEST(Draw, plate_carree_lies_where_the_formula_says) {
    const Map map({.window = Window{-180, 180, -90, 90}, .size = {720, 0}}, crude());
    ASSERT_EQ(map.picture().width(), 720);
    ASSERT_EQ(map.picture().height(), 360);
    for (const Place &place : places) {
        const PlanePoint at = {(place.at.lon + 180) * 2, (90 - place.at.lat) * 2};
        EXPECT_EQ(map.picture().at(at), place.surface) << place.name;
    }
}

TEST(Draw, mercator_lies_where_the_formula_says) {
    const Map map({.projection = "mercator"}, crude());
    const double scale = 1200 / (2 * std::numbers::pi);
    const auto height = [&](double lat) { return scale * std::asinh(std::tan(lat * radians)); };
    ASSERT_EQ(map.picture().height(), std::ceil(2 * height(85)));
    for (const Place &place : places) {
        if (std::fabs(place.at.lat) > 85) continue;
        const PlanePoint at = {(place.at.lon + 180) * radians * scale, height(85) - height(place.at.lat)};
        EXPECT_EQ(map.picture().at(at), place.surface) << place.name;
    }
}

TEST(Draw, orthographic_lies_where_the_formula_says) {
    const Point centre = {25, -10};
    const Map map({.projection = "orthographic", .centre = centre, .size = {1000, 1000}}, crude());
    int seen = 0;
    for (const Place &place : places) {
        if (!is_clear(map, place.at)) continue;
        const double lon = (place.at.lon - centre.lon) * radians;
        const double lat = place.at.lat * radians;
        const double sine = std::sin(centre.lat * radians);
        const double cosine = std::cos(centre.lat * radians);
        if (sine * std::sin(lat) + cosine * std::cos(lat) * std::cos(lon) < 0) continue;
        const double x = std::cos(lat) * std::sin(lon);
        const double y = cosine * std::sin(lat) - sine * std::cos(lat) * std::cos(lon);
        EXPECT_EQ(map.picture().at({500 + 500 * x, 500 - 500 * y}), place.surface) << place.name;
        seen++;
    }
    EXPECT_GE(seen, 20);
}

TEST(Draw, outside_the_map_the_page_has_its_background) {
    const Map globe({.projection = "orthographic", .size = {400, 400}}, crude());
    for (const PlanePoint corner :
         {PlanePoint{2, 2}, PlanePoint{397, 2}, PlanePoint{2, 397}, PlanePoint{397, 397}})
        EXPECT_EQ(globe.picture().at(corner), 0xffffffu);
}

// --- Random places against the file ----------------------------------------------------------------------

constexpr double clearance = 0.8; // degrees from the next shore

struct Probe {
    Point at;
    Pixel surface;
};

// Spread evenly over the Earth; always the same ones.
const std::vector<Probe> &probes() {
    static const std::vector<Probe> made = [] {
        std::mt19937 random(20);
        std::uniform_real_distribution<double> share(-1, 1);
        std::vector<Probe> result;
        for (int i = 0; i < 6000; i++) {
            const Point place = {180 * share(random), std::asin(share(random)) / radians};
            if (oracle().clearance(place, clearance) >= clearance)
                result.push_back({place, oracle().surface(place)});
        }
        return result;
    }();
    return made;
}

// Counts the places that were compared.
int expect_probes(const Map &map) {
    int compared = 0;
    for (const Probe &probe : probes()) {
        if (clearance * pixels_per_degree(map, probe.at) < clear_pixels) continue;
        const Pixel pixel = map.at(probe.at).value();
        EXPECT_EQ(pixel, probe.surface) << probe.at.lon << "/" << probe.at.lat << " is " << name_of(pixel);
        compared++;
    }
    return compared;
}

struct View {
    const char *name;
    Wanted wanted;
    int fewest; // places to be compared
};

void PrintTo(const View &view, std::ostream *out) {
    *out << view.wanted.projection;
}

class EveryView : public testing::TestWithParam<View> {};

TEST_P(EveryView, places_away_from_coasts_are_what_the_file_says) {
    EXPECT_GE(expect_probes(Map(GetParam().wanted, crude())), GetParam().fewest);
}

INSTANTIATE_TEST_SUITE_P(
    Draw, EveryView,
    testing::Values(
        View{"plate_carree", {}, 3000}, View{"plate_carree_0_360", {.window = Window{0, 360, -90, 90}}, 3000},
        View{"plate_carree_west_of_180", {.window = Window{-195, -15, -80, 80}}, 1000},
        View{"plate_carree_pacific", {.window = Window{120, 300, -60, 65}}, 1000},
        View{"plate_carree_from_300", {.window = Window{300, 660, -90, 90}}, 3000},
        View{"equirectangular", {.projection = "equirectangular", .window = Window{-30, 60, 20, 75}}, 200},
        View{"mercator", {.projection = "mercator"}, 3000},
        View{"mercator_from_100", {.projection = "mercator", .window = Window{100, 460, -85, 85}}, 3000},
        View{"robinson", {.projection = "robinson"}, 3000},
        View{"robinson_from_30", {.projection = "robinson", .window = Window{30, 390, -90, 90}}, 3000},
        View{"orthographic", {.projection = "orthographic"}, 1500},
        View{"orthographic_pacific", {.projection = "orthographic", .centre = Point{-170, -15}}, 1500},
        View{"orthographic_south", {.projection = "orthographic", .centre = Point{0, -90}}, 1500},
        View{"orthographic_sector",
             {.projection = "orthographic", .window = Window{-100, 100, -90, 60}, .centre = Point{0, 0}},
             1000},
        View{"lambert", {.projection = "lambert-azimuthal"}, 2000},
        View{"lambert_antipode_on_land",
             {.projection = "lambert-azimuthal", .centre = Point{-160, -20}},
             2000},
        View{
            "lambert_antarctica_outside", {.projection = "lambert-azimuthal", .centre = Point{20, 90}}, 2000},
        View{"lambert_old_world",
             {.projection = "lambert-azimuthal", .window = Window{-60, 200, -40, 80}},
             1000},
        View{"equidistant", {.projection = "azimuthal-equidistant"}, 2000},
        View{"equidistant_antipode_in_siberia",
             {.projection = "azimuthal-equidistant", .centre = Point{-80, -62}},
             2000},
        View{"arctic", {.projection = "polar-stereographic"}, 200},
        View{"arctic_far", {.projection = "polar-stereographic", .window = Window{-180, 180, -30, 90}}, 2000},
        View{"antarctic", {.projection = "polar-stereographic", .window = Window{-180, 180, -90, -50}}, 200},
        View{"antarctic_sector",
             {.projection = "polar-stereographic", .window = Window{100, 250, -90, -50}},
             100}),
    [](const auto &test) { return test.param.name; });

// --- Where maps tear -------------------------------------------------------------------------------------

TEST(Draw, antarctica_has_no_seam_where_its_shore_begins) {
    for (const double west : {-180.0, 0.0, 77.0, -360.0}) {
        const Map map({.window = Window{west, west + 360, -90, 90}, .size = {1440, 0}}, crude());
        for (int x = 0; x < 1440; x++)
            for (const int y : {708, 712, 719})
                ASSERT_EQ(map.picture().at(x, y), land) << "from " << west << " at " << x << ", " << y;
    }
}

TEST(Draw, land_has_no_seam_at_the_antimeridian_nor_at_greenwich) {
    const Map chukotka({.window = Window{170, 190, 60, 75}, .size = {400, 0}}, crude());
    for (int x = 170; x < 230; x++)
        EXPECT_EQ(chukotka.at({179 + (x - 170) / 30.0, 67.2}), land);
    const Map sahara({.window = Window{350, 370, 15, 30}, .size = {400, 0}}, crude());
    for (int x = 0; x < 400; x++)
        EXPECT_EQ(sahara.picture().at(x, 100), land) << x;
}

TEST(Draw, globe_has_no_seam_at_the_ends_of_the_window) {
    for (const Window window :
         {Window{-180, 180, -90, 90}, Window{10, 370, -90, 90}, Window{-350, 10, -90, 90}}) {
        const Map map({.projection = "lambert-azimuthal", .window = window, .centre = Point{10, 20}},
                      crude());
        for (double lat = 10; lat < 30; lat += 0.05)
            EXPECT_EQ(map.at({10, lat}), land) << lat;
    }
}

TEST(Draw, no_coast_is_stroked_along_the_window_or_a_pole) {
    const Wanted red = {.window = Window{-180, 180, -90, 90},
                        .size = {720, 0},
                        .style = std::string(bare) + ",coast=#ff0000,coast-width=4"};
    const Map world(red, crude());
    for (int x = 0; x < 720; x++)
        EXPECT_EQ(world.picture().at(x, 359), land) << x;
    Wanted part = red;
    part.window = Window{15, 25, 15, 25};
    const Map sahara(part, crude());
    for (int i = 0; i < 720; i++)
        for (const PlanePoint at : {PlanePoint{i + 0.5, 0}, PlanePoint{i + 0.5, 719}, PlanePoint{0, i + 0.5},
                                    PlanePoint{719, i + 0.5}})
            EXPECT_EQ(sahara.picture().at(at), land);
}

// --- Files -----------------------------------------------------------------------------------------------

// Every element is closed in order, and there is one outermost element. Enough for files without comments and
// text that holds angle brackets.
bool is_well_formed(const std::string &xml) {
    std::vector<std::string> open;
    int roots = 0;
    for (size_t at = 0; (at = xml.find('<', at)) != std::string::npos;) {
        const size_t end = xml.find('>', at);
        if (end == std::string::npos) return false;
        const std::string tag = xml.substr(at + 1, end - at - 1);
        const std::string name = tag.substr(tag[0] == '/', tag.find_first_of(" \n/", 1) - (tag[0] == '/'));
        at = end;
        if (tag[0] == '?') continue;
        if (tag[0] == '/') {
            if (open.empty() || open.back() != name) return false;
            open.pop_back();
            continue;
        }
        roots += open.empty();
        if (tag.back() != '/') open.push_back(name);
    }
    return open.empty() && roots == 1;
}

size_t count(const std::string &text, const std::string &part) {
    size_t found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++)
        found++;
    return found;
}

TEST(Draw, svg_is_well_formed_and_has_the_size) {
    for (const char *projection : {"plate-carree", "orthographic"}) {
        const Map map({.projection = projection, .size = {640, 480}, .style = ""}, crude());
        const std::string svg = map.drawing().paint(FileType::svg);
        EXPECT_TRUE(is_well_formed(svg));
        EXPECT_NE(svg.find("width=\"640px\" height=\"480px\" viewBox=\"0 0 640 480\""), std::string::npos);
        EXPECT_GT(count(svg, "<path"), 500u);
        EXPECT_LT(count(svg, "<clipPath"), 10u) << "the outline of the map belongs there once";
    }
}

TEST(Draw, pdf_has_one_page_of_the_size_at_96_pixels_to_the_inch) {
    const Map map({.size = {640, 480}, .style = ""}, crude());
    const std::string pdf = map.drawing().paint(FileType::pdf);
    EXPECT_TRUE(pdf.starts_with("%PDF-1."));
    EXPECT_NE(pdf.find("%%EOF", pdf.size() - 10), std::string::npos);
    EXPECT_EQ(count(pdf, "/MediaBox [ 0 0 480 360 ]"), 1u);
    const size_t start = pdf.rfind("startxref");
    ASSERT_NE(start, std::string::npos);
    EXPECT_EQ(pdf.compare(std::stoul(pdf.substr(start + 9)), 4, "xref"), 0);
}

TEST(Draw, page_has_the_size_asked_for) {
    for (const auto &[width, height] : {std::pair{1, 1}, {30, 40}, {333, 777}, {1500, 20}}) {
        const Map map({.size = {width, height}, .style = ""}, crude());
        EXPECT_EQ(map.picture().width(), width);
        EXPECT_EQ(map.picture().height(), height);
    }
}

} // namespace
