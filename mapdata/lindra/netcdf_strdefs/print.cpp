// SPDX-License-Identifier: MIT
//
// The listing of a netCDF classic header: one line a field, every dimension, attribute and variable in the
// order of the file, every value of an attribute. The listing is compared by eye and by machine, so that each
// blank in it counts: the signs "=" of a group stand in one column.
//
// A header whose decoding failed half-way is printed as far as it was filled.

#include "lindra.h"

#include "netcdf_strdefs/types.hpp"

#include <cstddef>
#include <cstdio>
#include <cstring>

using namespace lindra::netcdf;

namespace {

// Deliberate: each of the two text functions has one buffer of this size a thread, and what is longer is cut.
constexpr size_t text_size = 32;
constexpr size_t prefix_size = 512;

const char *type_name(int code) {
    switch (code) {
    case NC_BYTE:
        return "byte";
    case NC_CHAR:
        return "char";
    case NC_SHORT:
        return "short";
    case NC_INT:
        return "int";
    case NC_FLOAT:
        return "float";
    case NC_DOUBLE:
        return "double";
    case NC_DIMENSION:
        return "dimension";
    case NC_VARIABLE:
        return "variable";
    case NC_ATTRIBUTE:
        return "attribute";
    default:
        return nullptr;
    }
}

void write_type(char *text, size_t size, int code) {
    if (const char *name = type_name(code))
        snprintf(text, size, "%s", name);
    else
        snprintf(text, size, "UNKNOWNTYPE(%d)", code);
}

template <class T>
T element(const void *block, int index) {
    T value;
    memcpy(&value, static_cast<const unsigned char *>(block) + index * static_cast<ptrdiff_t>(sizeof value),
           sizeof value);
    return value;
}

// Values of an unknown type are counted without their block; those of a known type that failed to be read
// have none.
int32_t printed_count(const NetcdfValues *values) {
    return element_size(values->type) && !values->values ? 0 : values->n;
}

// What a failed decoding did not reach has no name.
const char *shown(const char *name) {
    return name ? name : "(null)";
}

void print_attr(const char *prefix, NetcdfAttr *attr, FILE *stream) {
    fprintf(stream, "%sname  =  %s\n", prefix, shown(attr->name));
    netcdf_print_vals(&attr->values, prefix, stream);
}

void print_var_dims(int i, const NetcdfVar &var, FILE *stream) {
    for (int j = 0; var.dims && j < var.dims_n; j++) {
        const NetcdfDim missing = {};
        const NetcdfDim &dim = var.dims[j] ? *var.dims[j] : missing;
        fprintf(stream, "vars[%2.2d].dims[%2.2d].name   =  %s (%d)\n", i, j, shown(dim.name), dim.value);
    }
}

void print_var(int i, const NetcdfVar &var, FILE *stream) {
    fprintf(stream, "vars[%2.2d].name   =  %s\n", i, shown(var.name));
    fprintf(stream, "vars[%2.2d].type   =  %s\n", i, netcdf_type2str(var.type));
    fprintf(stream, "vars[%2.2d].vsize  =  %d\n", i, var.vsize);
    fprintf(stream, "vars[%2.2d].begin  =  %d\n", i, var.begin);
    fprintf(stream, "vars[%2.2d].fixed  =  %d\n", i, var.fixed);
    fprintf(stream, "vars[%2.2d].dims_n =  %d\n", i, var.dims_n);
    print_var_dims(i, var, stream);
    // Deliberate: no blank stands before this "=", because the name fills the column.
    fprintf(stream, "vars[%2.2d].attrs_n=  %d\n", i, var.attrs_n);
    for (int j = 0; j < var.attrs_n; j++) {
        char prefix[prefix_size];
        snprintf(prefix, sizeof prefix, "vars[%2.2d].attrs[%2.2d].", i, j);
        print_attr(prefix, &var.attrs[j], stream);
    }
}

} // namespace

int netcdf_print_header(NetcdfHeader *hdr, FILE *stream) {
    fprintf(stream, "numrecs  =  %d\n", hdr->numrecs);
    fprintf(stream, "dims_n   =  %d\n", hdr->dims_n);
    for (int i = 0; i < hdr->dims_n; i++) {
        fprintf(stream, "dims[%2.2d].name   =  %s\n", i, shown(hdr->dims[i].name));
        fprintf(stream, "dims[%2.2d].value  =  %d\n", i, hdr->dims[i].value);
    }
    fprintf(stream, "attrs_n  =  %d\n", hdr->attrs_n);
    for (int i = 0; i < hdr->attrs_n; i++) {
        char prefix[prefix_size];
        snprintf(prefix, sizeof prefix, "attrs[%2.2d].", i);
        print_attr(prefix, &hdr->attrs[i], stream);
    }
    fprintf(stream, "vars_n   =  %d\n", hdr->vars_n);
    for (int i = 0; i < hdr->vars_n; i++)
        print_var(i, hdr->vars[i], stream);
    return 0;
}

int netcdf_print_vals(NetcdfValues *values, const char *prefix, FILE *stream) {
    fprintf(stream, "%svalues.type  =  %s\n", prefix, netcdf_type2str(values->type));
    fprintf(stream, "%svalues.n     =  %d\n", prefix, values->n);
    const int32_t count = printed_count(values);
    if (values->type == NC_CHAR) {
        fprintf(stream, "%svalues.values[..]  =  ", prefix);
        for (int32_t i = 0; i < count; i++)
            fputs(netcdf_value2str(values->type, i, values->values), stream);
        fputs("\n", stream);
        return 0;
    }
    for (int32_t i = 0; i < count; i++)
        fprintf(stream, "%svalues.values[%2.2d]  =  %s\n", prefix, i,
                netcdf_value2str(values->type, i, values->values));
    return 0;
}

char *netcdf_type2str(int code) {
    thread_local char text[text_size];
    write_type(text, sizeof text, code);
    return text;
}

char *netcdf_value2str(int code, int index, void *block) {
    thread_local char text[text_size];
    switch (code) {
    case NC_BYTE:
        snprintf(text, sizeof text, "0x%2.2X", element<unsigned char>(block, index));
        break;
    case NC_CHAR:
        snprintf(text, sizeof text, "%c", element<signed char>(block, index));
        break;
    case NC_SHORT:
        snprintf(text, sizeof text, "%d", element<int16_t>(block, index));
        break;
    case NC_INT:
        snprintf(text, sizeof text, "%d", element<int32_t>(block, index));
        break;
    case NC_FLOAT:
        snprintf(text, sizeof text, "%f", static_cast<double>(element<float>(block, index)));
        break;
    case NC_DOUBLE:
        snprintf(text, sizeof text, "%f", element<double>(block, index));
        break;
    default:
        write_type(text, sizeof text, code);
    }
    return text;
}
