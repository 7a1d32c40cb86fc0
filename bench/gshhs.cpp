// SPDX-License-Identifier: MIT
//
// Coastlines: gshhsmap against libgmt, which dumps the same coast from its own files, and OGR, which is given
// it as a shapefile with an index.

#include "limits/polygons.hpp"
#include "lindra/coast.hpp"
#include "peers/libgmt.hpp"
#include "peers/ogr.hpp"
#include "works.hpp"

#include <memory>

namespace bench {
namespace {

std::string coast_file() {
    return data_file("gshhg/maps/lindra/gshhs_f.b");
}

// Antarctica by its grounding line, as gshhsmap has it; -A0 leaves no lake out.
constexpr const char *gmt_coast = "-W -A0/0/4+ag";

Delivered read_by_ogr(const Window &window) {
    OgrFile file(data_file("coast.shp"));
    file.filter(window);
    return file.read_points();
}

// The first selection, of which nothing is warm but the pages of the file, and all that it selects.
Delivered select_and_read_all() {
    Coast coast;
    coast.select("full", globe);
    return coast.read();
}

void add_globe() {
    const auto gmt = std::make_shared<Gmt>();
    const auto file = std::make_shared<FreshMapping>(coast_file());
    const auto convert = has_avx2() ? convert_points_avx2 : convert_points;
    // Libgmt has a point more at each edge of a bin; the file has the polygons of level 5 besides.
    add_work("gshhs/globe",
             {{"lindra", select_and_read_all},
              {"libgmt", [gmt] { return gmt->read_coast(globe); }, {0, 0.98}},
              {"libgmt_coast", [gmt] { return gmt->dump(gmt_coast, globe); }, {0, 0.98}},
              // Some boxes lie beyond the frame of 360 degrees that the selection is made in.
              {"ogr",
               [] {
                   return read_by_ogr({-360, 360, -90, 90});
               }},
              {"limit_avx2", [=] { return convert_polygons(file->bytes(), convert); }, {0.9, 0.95}},
              {"limit", [=] { return convert_polygons(file->bytes(), convert_points); }, {0.9, 0.95}}});
}

// A handle that has read the file before. Libgmt dumps whole bins, OGR whole polygons: the continent, too.
// share: of lindra's points that libgmt delivers, whose lines have no corners of the window.
void add_window(const std::string &name, const Window &window, double share) {
    const auto gmt = std::make_shared<Gmt>();
    const auto coast = std::make_shared<Coast>();
    const auto select_and_read = [=] {
        coast->select("full", window);
        return coast->read();
    };
    add_work("gshhs/" + name, {{"lindra", select_and_read},
                               {"libgmt", [=] { return gmt->read_coast(window); }, {0, share}},
                               {"libgmt_coast", [=] { return gmt->dump(gmt_coast, window); }, {0, share}},
                               {"ogr", [=] { return read_by_ogr(window); }, {0.999, 0}}});
    add_work("gshhs/" + name + "_select", {{"lindra", [=] { return coast->select("full", window); }}});
}

void add_first_select() {
    const auto mapped = std::make_shared<FreshMapping>(coast_file());
    add_work("gshhs/first_select",
             {{"lindra", [] { return Coast().select("full", globe); }},
              {"limit", [] { return walk_headers(FreshMapping(coast_file()).bytes()); }, {0.9, 0}},
              {"limit_mapped", [mapped] { return walk_headers(mapped->bytes()); }, {0.9, 0}}});
}

} // namespace

void add_works() {
    add_globe();
    add_window("window", fjords, 0.98);
    add_window("inland", siberia, 0.8);
    add_first_select();
}

} // namespace bench
