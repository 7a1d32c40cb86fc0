// SPDX-License-Identifier: MIT
//
// The dump subcommand: a file is recognised by its first bytes, never by its name, and printed.

#include "subcommands.hpp"

#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "dump/dbase.hpp"
#include "dump/dds.hpp"
#include "dump/netcdf.hpp"
#include "dump/shapefile.hpp"
#include "dump/siblings.hpp"

#include <memory>
#include <string>

namespace lindra::tools {

namespace {

constexpr const char *description = "Print what a file holds: netCDF, shapefile, dBase table or texture.";

constexpr const char *footer =
    R"(The format is recognised by what the file holds, whatever its name:
  netCDF classic    the header: dimensions, variables, all attributes
  shapefile (.shp)  the header and every record, long lists cut short
  dBase table       the header, the fields and the text of every record
  DDS texture       the header, and the first pixels of DXT1 images

FILE may be a shapefile without its ending: then what is there of its .shp,
.shx, .dbf, .prj and .cpg is told, a line each.

A netCDF-4 file, or one with 64-bit offsets, is answered with the command that
converts it. What can be read of a damaged shapefile, table or texture is
printed before the error.

JSON Schemas tell the layouts of --json for a file of each format:
  share/lindra/schemas/dump-{netcdf,shapefile,dbase,dds}.schema.json
beside the installed command, docs/schemas in its source.

Exit status: 0; 1 when the file is missing, damaged or of no known format;
2 for wrong arguments.

Examples:
  lindra dump binned_river_c.cdf
  lindra dump --json binned_river_c.cdf | jq '.variables[].name'
  lindra dump --json roads.shp | jq '.records[] | {number, bbox}'
  lindra dump roads)";

struct DumpOptions {
    std::string path;
    bool json = false;
};

void dump_file(const InputFile &file, bool json) {
    if (is_netcdf(file)) return dump_netcdf(file, json);
    if (is_shapefile(file)) refuse_index(file);
    if (is_shapefile(file)) return dump_shapefile(file, json);
    if (is_dds(file)) return dump_dds(file, json);
    if (is_dbase(file)) return dump_dbase(file, json);
    refuse_later_netcdf(file);
    if (file.size() == 0) throw DataError(file.path() + " is empty; make or copy it anew");
    throw DataError(file.path() + " is of no format that lindra can print; it prints netCDF classic files, "
                                  "shapefiles (.shp), dBase tables (.dbf) and DDS textures");
}

void dump(const DumpOptions &options) {
    const Siblings siblings(options.path);
    if (siblings.found())
        siblings.print(options.json);
    else
        dump_file(InputFile(options.path), options.json);
}

} // namespace

void add_dump(CommandLine &program) {
    const auto options = std::make_shared<DumpOptions>();
    const Subcommand command = program.add("dump", description);
    command.add("FILE", options->path, "", "The file to print").required();
    command.add_flag("--json", options->json, "Print the same facts as JSON, with byte offsets");
    command.footer(footer);
    command.action([options] { dump(*options); });
}

} // namespace lindra::tools
