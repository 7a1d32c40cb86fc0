// SPDX-License-Identifier: MIT
//
// netCDF classic headers in the making, whole or in pieces, and one that has something of everything.
#ifndef LINDRA_TESTS_NETCDF_BUILDER_HPP
#define LINDRA_TESTS_NETCDF_BUILDER_HPP

#include "big_endian.hpp"

#include "lindra/lindra.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace lindra::test {

namespace nc {

constexpr int byte_code = 1, char_code = 2, short_code = 3, int_code = 4, float_code = 5, double_code = 6;
constexpr int dimension_tag = 10, variable_tag = 11, attribute_tag = 12;

inline std::string magic(int version = 1) {
    return std::string("CDF") + static_cast<char>(version);
}

inline std::string absent() {
    return be32(0) + be32(0);
}

inline std::string padded(std::string bytes, char padding = '\0') {
    while (bytes.size() % 4)
        bytes += padding;
    return bytes;
}

inline std::string name(const std::string &text) {
    return be32(static_cast<int64_t>(text.size())) + padded(text);
}

// Absent when it has no elements.
inline std::string list(int tag, const std::vector<std::string> &elements) {
    if (elements.empty()) return absent();
    std::string bytes = be32(tag) + be32(static_cast<int64_t>(elements.size()));
    for (const std::string &element : elements)
        bytes += element;
    return bytes;
}

inline std::string dimension(const std::string &its_name, int32_t length) {
    return name(its_name) + be32(length);
}

// values are the elements without their padding.
inline std::string attribute(const std::string &its_name, int code, int32_t n, const std::string &values) {
    return name(its_name) + be32(code) + be32(n) + padded(values);
}

inline std::string text_attribute(const std::string &its_name, const std::string &text) {
    return attribute(its_name, char_code, static_cast<int32_t>(text.size()), text);
}

} // namespace nc

struct RawVariable {
    std::string name;
    std::vector<int32_t> ids = {};
    std::vector<std::string> attrs = {};
    int type = nc::int_code;
    int32_t vsize = 4;
    int32_t begin = 100;

    std::string bytes() const {
        std::string all = nc::name(name) + be32(static_cast<int64_t>(ids.size()));
        for (int32_t id : ids)
            all += be32(id);
        return all + nc::list(nc::attribute_tag, attrs) + be32(type) + be32(vsize) + be32(begin);
    }
};

struct RawHeader {
    int32_t numrecs = 0;
    std::vector<std::string> dims = {};
    std::vector<std::string> attrs = {};
    std::vector<RawVariable> vars = {};

    std::string bytes() const {
        std::vector<std::string> variables;
        for (const RawVariable &var : vars)
            variables.push_back(var.bytes());
        return nc::magic() + be32(numrecs) + nc::list(nc::dimension_tag, dims) +
               nc::list(nc::attribute_tag, attrs) + nc::list(nc::variable_tag, variables);
    }
};

inline RawHeader rich_header() {
    RawHeader header;
    header.numrecs = 3;
    header.dims = {nc::dimension("time", 0), nc::dimension("longitude", 4), nc::dimension("", 1)};
    header.attrs = {nc::text_attribute("title", "abc"),
                    nc::attribute("shorts", nc::short_code, 3, be16(1) + be16(-2) + be16(32767)),
                    nc::attribute("doubles", nc::double_code, 1, be_double(-0.5))};
    header.vars = {{"x", {1}, {nc::attribute("range", nc::float_code, 2, be_float(-180) + be_float(180))}},
                   {"flags", {0, 1, 2}, {nc::attribute("bits", nc::byte_code, 2, "\x0a\xff")}, 1, 4, 200},
                   {"scalar", {}, {nc::attribute("four", nc::int_code, 1, be32(-4))}, 6, 8, 300}};
    return header;
}

inline std::string listing(NetcdfHeader *hdr) {
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    netcdf_print_header(hdr, stream);
    fclose(stream);
    std::string all(text, size);
    free(text);
    return all;
}

} // namespace lindra::test

#endif
