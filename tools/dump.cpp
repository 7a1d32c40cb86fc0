// SPDX-License-Identifier: MIT
//
// The dump subcommand: a file is recognised by its first bytes, never by its name, and printed.

#include "subcommands.hpp"

#include "common/captured_log.hpp"
#include "common/data_output.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "dump/netcdf_facts.hpp"

#include "lindra/lindra.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>

namespace lindra::tools {

namespace {

constexpr const char *description =
    "Print what a file holds.\n"
    "\n"
    "The format is recognised by the file's first bytes, whatever its name. So far:\n"
    "netCDF classic headers (dimensions, attributes and variables, every value).";

constexpr const char *footer =
    "A netCDF-4 file, or one with 64-bit offsets, is answered with the command that converts it.\n"
    "A JSON Schema tells the layout of --json: share/lindra/schemas/dump-netcdf.schema.json beside the\n"
    "installed command, docs/schemas in its source.\n"
    "Exit status: 0; 1 when the file is missing, damaged or of no known format; 2 for wrong arguments.\n"
    "\n"
    "Examples:\n"
    "  lindra dump binned_river_c.cdf\n"
    "  lindra dump --json binned_river_c.cdf | jq '.variables[].name'";

struct DumpOptions {
    std::string path;
    bool json = false;
};

struct HeaderRelease {
    void operator()(NetcdfHeader *header) const {
        netcdf_clear_header(header);
        free(header);
    }
};

std::string as_json(const nlohmann::ordered_json &facts) {
    // Names and texts of a file need not be UTF-8; what is not is replaced.
    return facts.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

// What the library's printer writes.
std::string as_listing(NetcdfHeader *header) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    if (!stream) throw std::bad_alloc();
    netcdf_print_header(header, stream);
    const bool written = fclose(stream) == 0;
    const std::unique_ptr<char, decltype(&free)> owned(text, free);
    if (!written) throw std::bad_alloc();
    return {text, size};
}

void dump_netcdf(const InputFile &file, bool json) {
    unsigned char *cursor = file.data();
    NetcdfHeader *decoded = nullptr;
    const CapturedLog log;
    const int status = netcdf_unstuff_header(&cursor, &decoded);
    const std::unique_ptr<NetcdfHeader, HeaderRelease> header(decoded);
    if (status < 0)
        throw DataError(file.path() + " is damaged at byte " + std::to_string(cursor - file.data()) + ": " +
                        log.one_line());
    DataOutput out("");
    out.write(json ? as_json(netcdf_facts(*header)) : as_listing(header.get()));
    out.finish();
}

// An HDF5 file may begin behind a block of the user's own, of 512 bytes or that doubled any number of times
// ("HDF5 File Format Specification Version 3.0", The HDF Group, 2018, section II.A).
bool is_hdf5(const InputFile &file) {
    constexpr std::string_view signature = "\x89HDF\r\n\x1a\n";
    constexpr size_t least_block = 512;
    if (file.has_at(0, signature)) return true;
    for (size_t block = least_block; block < file.size(); block *= 2)
        if (file.has_at(block, signature)) return true;
    return false;
}

// The path as a word of a shell's command line, which no program takes for an option.
std::string shell_word(const std::string &path) {
    constexpr const char *plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+=:,./@%";
    std::string word = (path.starts_with('-') ? "./" : "") + path;
    if (word.find_first_not_of(plain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char letter : word)
        quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    return quoted + "'";
}

[[noreturn]] void refuse(const InputFile &file, const char *what) {
    throw DataError(file.path() + " is " + what + "; convert it with `nccopy -k classic " +
                    shell_word(file.path()) + " OUT` (package netcdf-bin)");
}

void dump(const DumpOptions &options) {
    const InputFile file(options.path);
    if (file.has_at(0, {"CDF\1", 4}))
        dump_netcdf(file, options.json);
    else if (file.has_at(0, {"CDF\2", 4}))
        refuse(file, "a netCDF file with 64-bit offsets");
    else if (file.has_at(0, {"CDF\5", 4}))
        refuse(file, "a netCDF file with 64-bit data");
    else if (is_hdf5(file))
        refuse(file, "an HDF5 file, as netCDF-4 files are");
    else
        throw DataError(options.path +
                        (file.size() == 0 ? " is empty" : " is of no format that lindra can print"));
}

} // namespace

void add_dump(CLI::App &program) {
    CLI::App *command = program.add_subcommand("dump", description);
    const auto options = std::make_shared<DumpOptions>();
    command->add_option("FILE", options->path, "The file to print")->required();
    command->add_flag("--json", options->json, "Print the same facts as JSON, with byte offsets");
    command->footer(footer);
    command->callback([options] { dump(*options); });
}

} // namespace lindra::tools
