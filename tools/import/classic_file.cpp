// SPDX-License-Identifier: MIT
//
// "The NetCDF Classic Format Specification" (Unidata, 2011). The header is decoded by the library, which
// takes no memory that the file does not account for.

#include "import/classic_file.hpp"

#include "common/captured_log.hpp"
#include "common/damage.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"
#include "common/netcdf_header.hpp"
#include "common/shown.hpp"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <unistd.h>

namespace lindra::tools {

namespace {

constexpr const char *advice = "; reinstall the package that it comes from";

OwnedHeader decode(const InputFile &file) {
    unsigned char *cursor = file.data();
    NetcdfHeader *decoded = nullptr;
    const CapturedLog log;
    const int status = netcdf_unstuff_header(&cursor, &decoded);
    OwnedHeader header(decoded);
    if (status < 0) throw damage(file, cursor, log, advice);
    return header;
}

// 0 for what is no type of the classic form.
int64_t value_size(int type) {
    constexpr int64_t sizes[] = {0, 1, 1, 2, 4, 4, 8};
    return type >= 0 && type < static_cast<int>(std::size(sizes)) ? sizes[type] : 0;
}

[[noreturn]] void fail(const InputFile &file, const NetcdfVar &variable, const std::string &what) {
    throw DataError(file.path() + " is damaged: variable " + shown(variable.name) + " " + what + advice);
}

// Whether the values end in the file; its last bytes may be missing where they only pad.
bool lies_in(const InputFile &file, const NetcdfVar &variable) {
    const auto end = static_cast<int64_t>(file.size());
    if (variable.begin < 0 || variable.begin > end) return false;
    const int64_t left = end - variable.begin;
    int64_t size = value_size(variable.type);
    for (int i = 0; i < variable.dims_n; i++) {
        const int64_t length = variable.dims[i]->value;
        if (length < 0 || length > left / size) return false;
        size *= length;
    }
    return size <= left;
}

void check(const InputFile &file, const NetcdfVar &variable) {
    if (value_size(variable.type) == 0)
        fail(file, variable, "is of type " + std::to_string(variable.type) + ", which there is not");
    // Where its values lie is for the number of records to say; no file of the packages has one.
    if (!variable.fixed) fail(file, variable, "is a record variable");
    if (!lies_in(file, variable))
        fail(file, variable,
             "begins at byte " + std::to_string(variable.begin) +
                 " and does not end in the file, which has " + std::to_string(file.size()) + " bytes");
}

} // namespace

void require_whole(const std::filesystem::path &path) {
    if (access(path.c_str(), R_OK) != 0)
        throw DataError(path.string() + " cannot be read: " + std::strerror(errno));
    const InputFile file(path.string());
    if (!file.has_at(0, "CDF")) return;
    if (file.has_at(0, "CDF\2") || file.has_at(0, "CDF\5"))
        throw DataError(path.string() + " is a netCDF file with 64-bit " +
                        (file.has_at(0, "CDF\2") ? "offsets" : "data") + ", which is not imported" + advice);
    const OwnedHeader header = decode(file);
    for (int i = 0; i < header->vars_n; i++)
        check(file, header->vars[i]);
}

} // namespace lindra::tools
