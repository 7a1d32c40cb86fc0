// SPDX-License-Identifier: MIT

#include "map/globe_selection.hpp"

#include "common/captured_log.hpp"

#include <cstddef>
#include <cstdint>
#include <new>

namespace lindra::tools {

namespace {

// The library takes a negative number of segments for none; on a map they would be missing without a word.
std::optional<std::string> complaint_of_bins(const GmtMapFile &file) {
    for (int bin = 0; bin < file.nbins; bin++) {
        int16_t count = 0;
        N2H2(&count, file.bin_nsegs + 2 * static_cast<ptrdiff_t>(bin), 1);
        if (count < 0) return "bin " + std::to_string(bin) + " has " + std::to_string(count) + " segments";
    }
    return std::nullopt;
}

} // namespace

OwnedMap open_map() {
    GmtMap *map = nullptr;
    const CapturedLog log; // no more than that memory is exhausted
    if (gmtmap_open(&map) < 0) throw std::bad_alloc();
    return OwnedMap(map);
}

std::optional<std::string> select_globe(GmtMap *map, const std::string &list, char resolution) {
    const char name[] = {resolution, '\0'};
    const CapturedLog log;
    if (gmtmap_select(map, list.c_str(), name, 0, 360, -90, 90) < 0) return log.one_line();
    return complaint_of_bins(*map->select[0].file);
}

} // namespace lindra::tools
