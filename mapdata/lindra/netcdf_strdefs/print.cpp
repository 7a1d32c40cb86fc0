// SPDX-License-Identifier: MIT
//
// The listing of a netCDF classic header: one line a field, every dimension, attribute and variable in the
// order of the file, every value of an attribute. The listing is compared by eye and by machine, so that each
// blank in it counts: the signs "=" of a group stand in one column.
//
// A header whose decoding failed half-way is printed as far as it was filled.

#include "lindra.h"

#include "netcdf_strdefs/listing.hpp"
#include "netcdf_strdefs/types.hpp"

#include <cstddef>
#include <cstdio>
#include <cstring>

using namespace lindra::netcdf;

namespace {

// Deliberate: each of the two text functions has one buffer of this size a thread, and what is longer is cut.
constexpr size_t text_size = 32;
constexpr size_t prefix_size = 64;

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

const char *type_text(int code) {
    const char *name = type_name(code);
    return name ? name : netcdf_type2str(code);
}

void print_text(Listing &out, const NetcdfValues &values, int32_t count) {
    for (int32_t i = 0; i < count; i++)
        if (const char letter = element<char>(values.values, i)) out << letter;
}

void print_values(Listing &out, const char *prefix, const NetcdfValues &values) {
    out << prefix << "values.type  =  " << type_text(values.type) << '\n';
    out << prefix << "values.n     =  " << values.n << '\n';
    const int32_t count = printed_count(&values);
    if (values.type == NC_CHAR) {
        out << prefix << "values.values[..]  =  ";
        print_text(out, values, count);
        out << '\n';
        return;
    }
    for (int32_t i = 0; i < count; i++)
        out << prefix << "values.values[" << TwoDigits{i}
            << "]  =  " << netcdf_value2str(values.type, i, values.values) << '\n';
}

void print_attr(Listing &out, const char *prefix, const NetcdfAttr &attr) {
    out << prefix << "name  =  " << shown(attr.name) << '\n';
    print_values(out, prefix, attr.values);
}

void print_var_dims(Listing &out, int i, const NetcdfVar &var) {
    for (int j = 0; var.dims && j < var.dims_n; j++) {
        const NetcdfDim missing = {};
        const NetcdfDim &dim = var.dims[j] ? *var.dims[j] : missing;
        out << "vars[" << TwoDigits{i} << "].dims[" << TwoDigits{j} << "].name   =  " << shown(dim.name)
            << " (" << dim.value << ")\n";
    }
}

void print_var(Listing &out, int i, const NetcdfVar &var) {
    const auto field = [&]() -> Listing & { return out << "vars[" << TwoDigits{i} << "]."; };
    field() << "name   =  " << shown(var.name) << '\n';
    field() << "type   =  " << type_text(var.type) << '\n';
    field() << "vsize  =  " << var.vsize << '\n';
    field() << "begin  =  " << var.begin << '\n';
    field() << "fixed  =  " << var.fixed << '\n';
    field() << "dims_n =  " << var.dims_n << '\n';
    print_var_dims(out, i, var);
    // Deliberate: no blank stands before this "=", because the name fills the column.
    field() << "attrs_n=  " << var.attrs_n << '\n';
    for (int j = 0; j < var.attrs_n; j++) {
        char prefix[prefix_size];
        snprintf(prefix, sizeof prefix, "vars[%2.2d].attrs[%2.2d].", i, j);
        print_attr(out, prefix, var.attrs[j]);
    }
}

} // namespace

int netcdf_print_header(NetcdfHeader *hdr, FILE *stream) {
    Listing out(stream);
    out << "numrecs  =  " << hdr->numrecs << '\n';
    out << "dims_n   =  " << hdr->dims_n << '\n';
    for (int i = 0; i < hdr->dims_n; i++) {
        out << "dims[" << TwoDigits{i} << "].name   =  " << shown(hdr->dims[i].name) << '\n';
        out << "dims[" << TwoDigits{i} << "].value  =  " << hdr->dims[i].value << '\n';
    }
    out << "attrs_n  =  " << hdr->attrs_n << '\n';
    for (int i = 0; i < hdr->attrs_n; i++) {
        char prefix[prefix_size];
        snprintf(prefix, sizeof prefix, "attrs[%2.2d].", i);
        print_attr(out, prefix, hdr->attrs[i]);
    }
    out << "vars_n   =  " << hdr->vars_n << '\n';
    for (int i = 0; i < hdr->vars_n; i++)
        print_var(out, i, hdr->vars[i]);
    return 0;
}

int netcdf_print_vals(NetcdfValues *values, const char *prefix, FILE *stream) {
    Listing out(stream);
    print_values(out, shown(prefix), *values);
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
