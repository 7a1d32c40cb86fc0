// SPDX-License-Identifier: MIT
//
// libgmt in the same process: the module coast by its API ("The Generic Mapping Tools: C/C++ API", GMT 6),
// whose dump comes back as a data set in memory, without a text between; and the functions that the module
// stands on.
#ifndef BENCH_PEERS_LIBGMT_HPP
#define BENCH_PEERS_LIBGMT_HPP

#include "../windows.hpp"
#include "../works.hpp"
#include "libgmt_bins.h"

#include <gmt.h>
#include <stdexcept>
#include <string>

namespace bench {

class Gmt {
  public:
    Gmt() : session_(GMT_Create_Session("bench", 2, GMT_SESSION_NOEXIT, nullptr)) {
        if (!session_) throw std::runtime_error("GMT_Create_Session fails");
    }
    ~Gmt() { GMT_Destroy_Session(session_); }
    Gmt(const Gmt &) = delete;
    Gmt &operator=(const Gmt &) = delete;

    // The lines of full resolution that what ("-W", "-Ia",
    // ...) names.
    Delivered dump(const std::string &what, const Window &window) {
        char name[GMT_VF_LEN] = "";
        if (GMT_Open_VirtualFile(session_, GMT_IS_DATASET, GMT_IS_LINE,
                                 static_cast<unsigned>(GMT_OUT) | GMT_IS_REFERENCE, nullptr, name) != 0)
            throw std::runtime_error("GMT_Open_VirtualFile fails");
        const std::string options = "-M -Df -R" + window.text() + " " + what + " ->" + name;
        if (GMT_Call_Module(session_, "coast", GMT_MODULE_CMD, const_cast<char *>(options.c_str())) != 0)
            throw std::runtime_error("coast " + options + " fails");
        return take(name);
    }

    // Of full resolution, bin by bin.
    Delivered read_coast(const Window &window) { return read_bins(gmt_bins_coast, window); }
    Delivered read_rivers(const Window &window) { return read_bins(gmt_bins_rivers, window); }

  private:
    Delivered read_bins(int (*read)(void *, double[4], GmtBinsSum *), const Window &window) {
        double wesn[] = {window.west, window.east, window.south, window.north};
        GmtBinsSum sum{};
        if (read(session_, wesn, &sum) != 0) throw std::runtime_error("libgmt cannot read its files");
        return {sum.lines, sum.points};
    }

    Delivered take(const char *name) {
        void *result = GMT_Read_VirtualFile(session_, name);
        if (!result) throw std::runtime_error("GMT_Read_VirtualFile fails");
        const Delivered sum = count(*static_cast<const GMT_DATASET *>(result));
        GMT_Close_VirtualFile(session_, name);
        GMT_Destroy_Data(session_, &result);
        return sum;
    }

    // The set's own count of records is that of its last line.
    static Delivered count(const GMT_DATASET &lines) {
        Delivered sum{static_cast<double>(lines.n_segments), 0};
        for (uint64_t i = 0; i < lines.n_tables; i++)
            for (uint64_t j = 0; j < lines.table[i]->n_segments; j++)
                sum.points += static_cast<double>(lines.table[i]->segment[j]->n_rows);
        return sum;
    }

    void *session_;
};

} // namespace bench

#endif
