// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_CLASSIC_FILE_MAKER_HPP
#define LINDRA_TESTS_CLASSIC_FILE_MAKER_HPP

#include "big_endian.hpp"
#include "binned_file_maker.hpp"
#include "gmt_builder.hpp"
#include "netcdf_builder.hpp"

#include <map>
#include <string>

namespace lindra::test {

// The bytes of a netCDF classic file with these variables, each of one dimension of its own.
inline std::string classic_file(const Variables &variables) {
    RawHeader header;
    std::map<std::string, std::string> data;
    const auto add = [&](const std::string &name, const auto &values, int type, auto encode) {
        header.dims.push_back(nc::dimension("d" + name, static_cast<int32_t>(values.size())));
        header.vars.push_back({name,
                               {static_cast<int32_t>(header.vars.size())},
                               {},
                               type,
                               static_cast<int32_t>(values.size())});
        for (const auto value : values)
            data[name] += encode(value);
    };
    for (const auto &[name, values] : variables) {
        if (const auto *ints = std::get_if<std::vector<int32_t>>(&values))
            add(name, *ints, nc::int_code, [](int32_t value) { return be32(value); });
        if (const auto *shorts = std::get_if<std::vector<int16_t>>(&values))
            add(name, *shorts, nc::short_code, [](int16_t value) { return be16(value); });
        if (const auto *bytes = std::get_if<std::vector<int8_t>>(&values))
            add(name, *bytes, nc::byte_code,
                [](int8_t value) { return std::string(1, static_cast<char>(value)); });
        if (const auto *doubles = std::get_if<std::vector<double>>(&values))
            add(name, *doubles, nc::double_code, [](double value) { return be_double(value); });
    }
    return BinnedFile::join(header, data);
}

} // namespace lindra::test

#endif
