// SPDX-License-Identifier: MIT
//
// Rivers of full resolution: gmtmap against libgmt, which dumps the same rivers from its own files.

#include "lindra/lines.hpp"
#include "files.hpp"
#include "limits/conversion.hpp"
#include "peers/libgmt.hpp"
#include "works.hpp"

#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace bench {
namespace {

constexpr const char *all_rivers = "r:1023";

Delivered read_rivers(const Window &window) {
    Lines lines;
    lines.select(all_rivers, "full", window);
    return lines.read();
}

// The points of all that a handle has selected, each line into the same two arrays.
class Conversion {
  public:
    Conversion() { lines_.select(all_rivers, "full", globe); }

    Delivered run() {
        const GmtMap &map = lines_.map();
        Delivered sum{static_cast<double>(map.nsegs), 0};
        for (int i = 0; i < map.nsegs; i++) {
            const GmtSeg &segment = map.segs[i];
            convert_offsets(segment.rlon, segment.npts, segment.west, segment.file->dlon, lon_.data());
            convert_offsets(segment.rlat, segment.npts, segment.south, segment.file->dlat, lat_.data());
            benchmark::ClobberMemory();
            sum.points += segment.npts;
        }
        return sum;
    }

  private:
    Lines lines_;
    std::vector<float> lon_ = std::vector<float>(UINT16_MAX), lat_ = std::vector<float>(UINT16_MAX);
};

// A new handle opens the files each time, as libgmt does; a warm one has them. gmt dumps rivers of level 0 as
// well, which no mask names.
void add_window(const std::string &name, const Window &window, const std::vector<Doer> &more = {}) {
    const auto gmt = std::make_shared<Gmt>();
    const auto warm = std::make_shared<Lines>();
    const auto read_warm = [=] {
        warm->select(all_rivers, "full", window);
        return warm->read();
    };
    std::vector<Doer> doers = {{"lindra", [=] { return read_rivers(window); }},
                               {"lindra_warm", read_warm},
                               {"libgmt", [=] { return gmt->read_rivers(window); }},
                               {"libgmt_coast", [=] { return gmt->dump("-Ia", window); }, {0.95, 0.95}}};
    doers.insert(doers.end(), more.begin(), more.end());
    add_work("lines/" + name, doers);
}

} // namespace

void add_works() {
    const auto conversion = std::make_shared<Conversion>();
    add_window("globe", globe, {{"limit", [=] { return conversion->run(); }}});
    add_window("europe", europe);
    add_window("window", fjords);
}

} // namespace bench
