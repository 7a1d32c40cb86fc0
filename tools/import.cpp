// SPDX-License-Identifier: MIT
//
// The import subcommand: map data as Debian ships it, made into the files that the library reads.

#include "subcommands.hpp"

#include "common/errors.hpp"
#include "import/coastlines.hpp"
#include "import/line_files.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace lindra::tools {

namespace {

namespace fs = std::filesystem;

constexpr const char *description = "Make the map data of the GSHHG packages that Debian ships readable.";

constexpr const char *footer =
    R"(Reads what is in DIR of these files, each in crude, low, intermediate, high and
full resolution, and writes below DATADIR/maps/lindra:
  binned_GSHHS_{c,l,i,h,f}.nc   gshhs_{c,l,i,h,f}.b            coastlines
  binned_border_{c,l,i,h,f}.nc  binned_border_{c,l,i,h,f}.cdf  borders
  binned_river_{c,l,i,h,f}.nc   binned_river_{c,l,i,h,f}.cdf   rivers
Coastlines, which the packages cut into bins, are joined again. One line for
each file goes to standard output. The files may be netCDF-4, as Debian has
them, or netCDF classic, but not with 64-bit offsets or 64-bit data.

The files come from these Debian packages, which put them into
/usr/share/gmt-gshhg:
  gmt-gshhg-low   crude, low and intermediate
  gmt-gshhg-high  high
  gmt-gshhg-full  full
Import all resolutions together where you can: the reduced coastlines take each
polygon's box and its ancestor from the full one. Without it they get their own
boxes and no ancestors, which drawing does not need.

Other lindra commands find the files in the default DATADIR; for another one set
LINDRA_DATA=DATADIR. A file is put in place only when it is complete.

Exit status: 0; 1 when data is missing, damaged or cannot be written; 2 for
wrong arguments.

Example:
  sudo apt install gmt-gshhg-low && lindra import /usr/share/gmt-gshhg)";

constexpr const char *how_to_get =
    "install the Debian packages gmt-gshhg-low, gmt-gshhg-high and gmt-gshhg-full, which put them into "
    "/usr/share/gmt-gshhg, or name the directory that has them";

// The same directory in which the library looks for the user's own data files first.
fs::path user_data_directory() {
    const char *data_home = std::getenv("XDG_DATA_HOME");
    if (data_home && *data_home == '/') return data_home;
    const char *home = std::getenv("HOME");
    if (home && *home) return fs::path(home) / ".local/share";
    throw UsageError("neither XDG_DATA_HOME nor HOME is set; say with --output where the files shall go");
}

void require_directory(const fs::path &directory) {
    std::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (!fs::status_known(status))
        throw DataError("the directory " + directory.string() + " cannot be read: " + error.message());
    if (!fs::exists(status))
        throw DataError("there is no directory " + directory.string() + "; for the binned_*.nc files " +
                        how_to_get);
    if (!fs::is_directory(status))
        throw DataError(directory.string() +
                        " is not a directory; name the one that holds the binned_*.nc files");
    if (access(directory.c_str(), R_OK | X_OK) != 0)
        throw DataError("the directory " + directory.string() + " cannot be read: " + std::strerror(errno));
}

// Removes the directories on a way that were made meanwhile and into which nothing has come.
class MadeDirectories {
  public:
    explicit MadeDirectories(fs::path way) {
        std::error_code unknown;
        for (; !way.empty() && !fs::exists(way, unknown) && !unknown; way = way.parent_path())
            missing_.push_back(way);
    }
    // Innermost first; one that holds something stays, and so do those around it.
    ~MadeDirectories() {
        for (const fs::path &each : missing_)
            rmdir(each.c_str());
    }
    MadeDirectories(const MadeDirectories &) = delete;
    MadeDirectories &operator=(const MadeDirectories &) = delete;

  private:
    std::vector<fs::path> missing_;
};

} // namespace

void import_all(const ImportOptions &options) {
    require_directory(options.from);
    const MadeDirectories made(map_directory(options));
    if (import_coastlines(options) + import_line_files(options) == 0)
        throw DataError(options.from.string() + " has none of binned_{GSHHS,border,river}_{c,l,i,h,f}.nc; " +
                        how_to_get);
}

void add_import(CommandLine &program) {
    const auto options = std::make_shared<ImportOptions>();
    const Subcommand command = program.add("import", description);
    command.add("DIR", options->from, "", "The directory with the binned_*.nc files").required();
    command.add("-o,--output", options->to, "DATADIR",
                "The data directory to write below. Without it,\n$XDG_DATA_HOME, else ~/.local/share");
    command.add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
    command.footer(footer);
    command.action([options] {
        if (options->to.empty()) options->to = user_data_directory();
        import_all(*options);
    });
}

} // namespace lindra::tools
