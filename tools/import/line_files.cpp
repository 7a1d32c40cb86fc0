// SPDX-License-Identifier: MIT
//
// Debian ships the binned borders and rivers as netCDF-4 files, which are HDF5 inside; the library reads the
// classic form. libnetcdf copies one into the other in memory, so that nothing is written before it is known
// to be right.

#include "import/line_files.hpp"

#include "common/captured_log.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "common/memory.hpp"
#include "common/output_file.hpp"
#include "common/presence.hpp"
#include "import/classic_file.hpp"
#include "import/netcdf_file.hpp"
#include "import/trial.hpp"
#include "import/unchanged.hpp"
#include "map/globe_selection.hpp"

#include "lindra/lindra.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <netcdf.h>
#include <string>
#include <vector>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

// To the library's selection: of all levels.
constexpr const char *every_border = "p:-1";

class Copy {
  public:
    // to: where the copy goes; temporary: its name until then.
    Copy(fs::path from, fs::path to, const fs::path &temporary) : from_(std::move(from)), to_(std::move(to)) {
        require(nc_open(from_.c_str(), NC_NOWRITE, &in_));
        require_written(nc_create(temporary.c_str(), NC_CLOBBER, &out_));
        // Every value is written; only the padding between variables is not, and stays zero.
        int before = 0;
        require(nc_set_fill(out_, NC_NOFILL, &before));
    }
    ~Copy() {
        if (in_ >= 0) nc_close(in_);
        if (out_ >= 0) nc_abort(out_);
    }
    Copy(const Copy &) = delete;
    Copy &operator=(const Copy &) = delete;

    // Everything is defined before the first value is written: a later definition would move what is there.
    void run() {
        int dimensions = 0, variables = 0, attributes = 0;
        require(nc_inq(in_, &dimensions, &variables, &attributes, nullptr));
        for (int i = 0; i < dimensions; i++)
            copy_dimension(i);
        for (int i = 0; i < variables; i++)
            define_variable(i);
        copy_attributes(NC_GLOBAL, attributes);
        require_written(nc_enddef(out_));
        for (int i = 0; i < variables; i++)
            copy_values(i);
        const int closed = nc_close(out_);
        out_ = -1;
        require_written(closed);
    }

  private:
    static constexpr size_t widest_value = 8;
    static constexpr size_t most_values = size_t{1}
                                          << 28; // the offsets of the classic form are signed 32-bit

    void copy_dimension(int index) const {
        char name[NC_MAX_NAME + 1];
        size_t length = 0;
        int made = 0;
        require(nc_inq_dim(in_, index, name, &length));
        require(nc_def_dim(out_, name, length, &made));
    }

    void define_variable(int index) const {
        char name[NC_MAX_NAME + 1];
        nc_type type = NC_NAT;
        int dimensions = 0, ids[NC_MAX_VAR_DIMS], attributes = 0, made = 0;
        require(nc_inq_var(in_, index, name, &type, &dimensions, ids, &attributes));
        require(nc_def_var(out_, name, type, dimensions, ids, &made));
        copy_attributes(index, attributes);
    }

    void copy_attributes(int variable, int count) const {
        for (int i = 0; i < count; i++) {
            char name[NC_MAX_NAME + 1];
            require(nc_inq_attname(in_, variable, i, name));
            require(nc_copy_att(in_, variable, name, out_, variable));
        }
    }

    // The most values of a type that the file can hold.
    size_t most_values_of(nc_type type) const {
        size_t size = 0;
        require(nc_inq_type(in_, type, nullptr, &size));
        return std::min<size_t>(most_values, fs::file_size(from_) * greatest_expansion / size);
    }

    size_t value_count(int index) const {
        int dimensions = 0, ids[NC_MAX_VAR_DIMS];
        nc_type type = NC_NAT;
        require(nc_inq_var(in_, index, nullptr, &type, &dimensions, ids, nullptr));
        const size_t most = most_values_of(type);
        size_t count = 1;
        for (int i = 0; i < dimensions; i++) {
            size_t length = 0;
            require(nc_inq_dimlen(in_, ids[i], &length));
            if (length > most / count)
                throw DataError(from_.string() + " claims more values than a file of " +
                                std::to_string(fs::file_size(from_)) + " bytes can hold");
            count *= std::max<size_t>(length, 1);
        }
        return count;
    }

    void copy_values(int index) const {
        std::vector<char> values(value_count(index) * widest_value);
        require(nc_get_var(in_, index, values.data()));
        require_written(nc_put_var(out_, index, values.data()));
    }

    void require(int status) const {
        if (works(status)) return;
        throw DataError(from_.string() + " cannot be copied: " + nc_strerror(status) +
                        "; reinstall the package that it comes from");
    }

    // Of the errors of the system, which are positive, it is the copy that has them here. The others are
    // what libnetcdf says of the file.
    void require_written(int status) const {
        if (status <= 0) return require(status);
        require_memory(status);
        throw DataError(to_.string() + " cannot be written: " + std::strerror(status));
    }

    fs::path from_;
    fs::path to_;
    int in_ = -1;
    int out_ = -1;
};

int count_segments(const NetcdfHeader *header) {
    const auto *variable = static_cast<NetcdfVar *>(getarr(header->vars_array, "N_points_for_a_segment"));
    return variable->dims[0]->value;
}

void bind(GmtMapFile &file, const InputFile &copy, const fs::path &from) {
    snprintf(file.name, sizeof file.name, "%s", "the file");
    unsigned char *cursor = copy.data();
    const CapturedLog log;
    if (netcdf_unstuff_header(&cursor, &file.hdr) < 0 || gmtmap_process_border_hdr(&file) < 0)
        throw DataError(from.string() + " is no binned line file: " + log.one_line());
}

// Returns the number of segments that the library finds in the file, once it has selected all that it would
// ever deliver. The file stands where the library has the crude borders, whatever it is.
int read_back(const fs::path &path, const fs::path &from) {
    const InputFile copy(path.string());
    const OwnedMap map = open_map();
    GmtMapFile &file = map->files[0];
    bind(file, copy, from);
    if (const auto complaint = select_globe(map.get(), every_border, 'c'))
        throw DataError(from.string() + " is damaged: " + *complaint +
                        "; reinstall the package that it comes from");
    return count_segments(file.hdr);
}

void import_line_file(const ImportOptions &options, const fs::path &from, const std::string &name) {
    const fs::path to = place_for(options, name);
    OutputFile file(to);
    int segments = 0;
    while_unchanged(from, [&] {
        require_whole(from);
        try_reading(from, [&] { Copy(from, to, file.temporary()).run(); });
        segments = read_back(file.temporary(), from);
    });
    file.commit();
    if (!options.quiet)
        print_line(to.string() + ": " + std::to_string(segments) + " segments, " +
                   std::to_string(fs::file_size(to)) + " bytes");
}

} // namespace

size_t import_line_files(const ImportOptions &options) {
    size_t count = 0;
    for (const char letter : import_order)
        for (const char *kind : {"border", "river"}) {
            const std::string stem = std::string("binned_") + kind + "_" + letter;
            const fs::path from = options.from / (stem + ".nc");
            if (!is_there(from)) continue;
            import_line_file(options, from, stem + ".cdf");
            count++;
        }
    return count;
}

} // namespace lindra::tools
