// SPDX-License-Identifier: MIT

#include "dump/netcdf.hpp"

#include "common/captured_log.hpp"
#include "common/damage.hpp"
#include "common/data_output.hpp"
#include "common/errors.hpp"
#include "common/netcdf_header.hpp"
#include "common/standard_output.hpp"
#include "dump/netcdf_facts.hpp"

#include "lindra/lindra.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace lindra::tools {

namespace {

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

} // namespace

bool is_netcdf(const InputFile &file) {
    return file.has_at(0, {"CDF\1", 4});
}

void dump_netcdf(const InputFile &file, bool json) {
    unsigned char *cursor = file.data();
    NetcdfHeader *decoded = nullptr;
    const CapturedLog log;
    const int status = netcdf_unstuff_header(&cursor, &decoded);
    const OwnedHeader header(decoded);
    if (status < 0) throw damage(file, cursor, log);
    if (!json) return print_to_standard_output([&] { netcdf_print_header(header.get(), stdout); });
    DataOutput out("");
    out.write(json_text(netcdf_facts(*header), 2) + "\n");
    out.finish();
}

void refuse_later_netcdf(const InputFile &file) {
    if (file.has_at(0, {"CDF\2", 4})) refuse(file, "a netCDF file with 64-bit offsets");
    if (file.has_at(0, {"CDF\5", 4})) refuse(file, "a netCDF file with 64-bit data");
    if (is_hdf5(file)) refuse(file, "an HDF5 file, as netCDF-4 files are");
}

} // namespace lindra::tools
