// SPDX-License-Identifier: MIT
//
// The import subcommand: map data as Debian ships it, made into the files that the library reads.

#include "subcommands.hpp"

#include "common/errors.hpp"
#include "import/coastlines.hpp"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace lindra::tools {

namespace {

constexpr const char *description = "Make coastline files of the GSHHG data that Debian ships.\n"
                                    "\n"
                                    "Reads every binned_GSHHS_{c,l,i,h,f}.nc in DIR (crude, low, "
                                    "intermediate, high and full resolution), joins the\n"
                                    "polygons that are cut at the borders of bins there, and writes them as "
                                    "DATADIR/maps/lindra/gshhs_{c,l,i,h,f}.b.\n"
                                    "One line for each file goes to standard output.";

constexpr const char *footer =
    "The files come from these Debian packages, which put them into /usr/share/gmt-gshhg:\n"
    "  gmt-gshhg-low   crude, low and intermediate\n"
    "  gmt-gshhg-high  high\n"
    "  gmt-gshhg-full  full\n"
    "Import all resolutions together where you can: the reduced files take each polygon's box and its "
    "ancestor from\n"
    "the full one. Without it they get their own boxes and no ancestors, which drawing does not need.\n"
    "\n"
    "Other lindra commands find the files in the default DATADIR; for another one set LINDRA_DATA=DATADIR.\n"
    "A file is put in place only when it is complete. Exit status: 0; 1 when data is missing, damaged or "
    "cannot be\n"
    "written; 2 for wrong arguments.\n"
    "\n"
    "Example:\n"
    "  sudo apt install gmt-gshhg-low && lindra import /usr/share/gmt-gshhg";

// The same directory in which the library looks for the user's own data files first.
std::filesystem::path user_data_directory() {
    const char *data_home = std::getenv("XDG_DATA_HOME");
    if (data_home && *data_home == '/') return data_home;
    const char *home = std::getenv("HOME");
    if (home && *home) return std::filesystem::path(home) / ".local/share";
    throw UsageError("neither XDG_DATA_HOME nor HOME is set; say with --output where the files shall go");
}

} // namespace

void add_import(CLI::App &program) {
    CLI::App *command = program.add_subcommand("import", description);
    const auto options = std::make_shared<ImportOptions>();
    command->add_option("DIR", options->from, "The directory with the binned_GSHHS_*.nc files")->required();
    command
        ->add_option("-o,--output", options->to,
                     "The data directory to write below (default: $XDG_DATA_HOME, else ~/.local/share)")
        ->type_name("DATADIR");
    command->add_flag("-q,--quiet", options->quiet, "Print nothing but errors");
    command->footer(footer);
    command->callback([options] {
        if (options->to.empty()) options->to = user_data_directory();
        import_coastlines(*options);
    });
}

} // namespace lindra::tools
