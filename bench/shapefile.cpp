// SPDX-License-Identifier: MIT
//
// Whole shapefiles, polygons and points: all records kept in memory, and every coordinate looked at once.
// Against shapelib and OGR.

#include "limits/memory.hpp"
#include "lindra/shapes.hpp"
#include "peers/ogr.hpp"
#include "peers/shapelib.hpp"
#include "works.hpp"

#include <malloc.h>
#include <memory>
#include <optional>

namespace bench {
namespace {

// Whoever comes next is to get fresh memory from the system, as one who begins does.
template <class Kept>
void give_up(std::optional<Kept> &kept) {
    kept.reset();
    malloc_trim(0);
}

Doer kept_by_lindra(const std::string &path) {
    const auto kept = std::make_shared<std::optional<KeptRecords>>();
    return {"lindra",
            [=] { return kept->emplace(path).size(); },
            {},
            [=] { return kept->emplace(path).count(); },
            [=] { give_up(*kept); }};
}

// Of shapelib and OGR, which read alike.
template <class File>
Doer kept_by(const std::string &name, const std::string &path) {
    const auto kept = std::make_shared<std::optional<File>>();
    const auto count = [=] {
        Delivered sum = kept->emplace(path).keep_all();
        sum.points = (*kept)->kept_points();
        return sum;
    };
    return {name, [=] { return kept->emplace(path).keep_all(); }, {}, count, [=] { give_up(*kept); }};
}

// The file stays mapped, too, until all is given up.
Doer copied(const std::string &path) {
    const auto file = std::make_shared<std::optional<FreshMapping>>();
    const auto copy = std::make_shared<unsigned char *>(nullptr);
    const auto run = [=] {
        *copy = copy_to_fresh_heap(file->emplace(path).bytes());
        return Delivered{1, static_cast<double>((*file)->bytes().size())};
    };
    const auto release = [=] {
        free(*copy);
        give_up(*file);
    };
    return {"limit", run, not_compared, {}, release};
}

Delivered sum_file(const std::string &path) {
    const FreshMapping file(path);
    sum_bytes(file.bytes());
    return {1, static_cast<double>(file.bytes().size())};
}

void add_file(const std::string &what) {
    const std::string path = data_file(what + ".shp");
    add_work("shapefile/" + what + "_kept", {kept_by_lindra(path), kept_by<ShapelibFile>("shapelib", path),
                                             kept_by<OgrFile>("ogr", path), copied(path)});
    add_work("shapefile/" + what + "_viewed",
             {{"lindra", [=] { return look_at_points(path); }},
              {"shapelib", [=] { return ShapelibFile(path).look_at_points(); }},
              {"ogr", [=] { return OgrFile(path).read_points(); }},
              {"limit", [=] { return sum_file(path); }, not_compared}});
}

} // namespace

void add_works() {
    add_file("polygons");
    add_file("points");
}

} // namespace bench
