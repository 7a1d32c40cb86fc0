// SPDX-License-Identifier: MIT
//
// netCDF classic headers: "The NetCDF Classic Format Specification" (Unidata, 2011), version 1.
//
// A header is the magic "CDF" 1, the record count and three lists: dimensions, global attributes, variables.
// Every list is a tag and a count, or two zero words when it is absent; every number is a big-endian 32-bit
// word, every name a length and its bytes. Names and the values of the 1- and 2-byte types are padded to a
// multiple of four bytes, so that each word stands at such an offset. A variable names its dimensions by
// their place in the dimension list, has an attribute list of its own, and ends with the offset of its data,
// which are left to the caller.
//
// Counts are stored before the elements are read and arrays are zeroed first, so that a header whose decoding
// failed half-way can be printed and cleared like any other. Nothing is freed on a failure path.
//
// In a known extent every count is held against the bytes that are left, and every element has a smallest
// size in the file: what is allocated is proportional to the file, whatever it claims. In a trusted stream a
// count or length below zero is an allocation that failed.

#include "lindra.h"

#include "allocate.hpp"
#include "fail.hpp"
#include "netcdf_strdefs/types.hpp"
#include "stream.hpp"
#include "support.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

using lindra::allocate;
using lindra::fail;
using lindra::Stream;
using namespace lindra::netcdf;

namespace {

constexpr unsigned char magic[] = {'C', 'D', 'F', 1};

// The least that an element of each list takes in the file: every name empty, every inner list absent.
constexpr int alignment = 4;
constexpr size_t word_size = 4;
constexpr size_t smallest_dimension = 2 * word_size;
constexpr size_t smallest_attribute = 3 * word_size;
constexpr size_t smallest_variable = 7 * word_size;

// A size below zero stays as it is.
int64_t padded(int64_t size) {
    const int64_t rest = size % alignment;
    return rest > 0 ? size - rest + alignment : size;
}

// The size of a text with its closing zero byte. A size below zero stays as it is.
int64_t closed(int64_t size) {
    return size < 0 ? size : size + 1;
}

// As allocate does, of count elements.
template <class T>
T *allocate_zeroed(int32_t count) {
    if (count < 0) return nullptr;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a variable's dimensions are pointers to aggregates.
    return static_cast<T *>(calloc(static_cast<size_t>(std::max(count, 1)), sizeof(T)));
}

// --- Names and values -------------------------------------------------------------------------------------

int unstuff_string(Stream &stream, char *&out) {
    int32_t length;
    if (!stream.be(length))
        return fail(0, "netcdf_unstuff_string: length of a name is cut, %zu bytes left.\n", stream.left());
    if (stream.lacks(padded(length), 1))
        return fail(0, "netcdf_unstuff_string: name has %d bytes, %zu bytes left.\n", length, stream.left());

    auto *text = static_cast<char *>(allocate(closed(length)));
    if (!text) return fail(1, "netcdf_unstuff_string: malloc() error.\n");
    const auto size = static_cast<size_t>(length);
    memcpy(text, stream.bytes(static_cast<size_t>(padded(length))), size);
    text[size] = '\0';
    out = text;
    return 0;
}

void convert_elements(void *to, const unsigned char *from, int32_t n, int width) {
    switch (width) {
    case 2:
        return N2H2(to, from, n);
    case 4:
        return N2H4(to, from, n);
    case 8:
        return N2H8(to, from, n);
    default:
        memcpy(to, from, static_cast<size_t>(n));
    }
}

int unstuff_values(Stream &stream, NetcdfValues *values) {
    if (!values) return fail(0, "netcdf_unstuff_values: values == NULL.\n");
    free(values->values);
    values->values = nullptr;

    const int width = element_size(values->type);
    if (!width) return fail(0, "netcdf_unstuff_values: Unrecognized values type = %d.\n", values->type);
    const int64_t size = int64_t{values->n} * width;
    if (stream.lacks(padded(size), 1))
        return fail(0, "netcdf_unstuff_values: list has %d values of %d bytes, %zu bytes left.\n", values->n,
                    width, stream.left());

    const bool is_text = values->type == NC_CHAR;
    void *block = allocate(is_text ? closed(size) : size);
    // Deliberate: the message leaves out the zero byte asked for behind a text, and its 32-bit number wraps.
    if (!block)
        return fail(1, "netcdf_unstuff_values: malloc(values->values,%d) error.\n", static_cast<int>(size));
    convert_elements(block, stream.bytes(static_cast<size_t>(padded(size))), values->n, width);
    if (is_text) static_cast<char *>(block)[size] = '\0';
    values->values = block;
    return 0;
}

// --- Lists ------------------------------------------------------------------------------------------------

enum class ListHead { present, absent, neither, other_tag, cut };

// Deliberate: a wrong tag is judged before its count is read, a zero one after.
ListHead read_list_head(Stream &stream, int32_t wanted, int32_t &count) {
    int32_t tag;
    if (!stream.be(tag)) return ListHead::cut;
    if (tag != ABSENT && tag != wanted) return ListHead::other_tag;
    if (!stream.be(count)) return ListHead::cut;
    if (tag == wanted) return ListHead::present;
    return count == 0 ? ListHead::absent : ListHead::neither;
}

int fail_cut_attrs(const Stream &stream) {
    return fail(0, "netcdf_unstuff_attrs: attribute list is cut, %zu bytes left.\n", stream.left());
}

int unstuff_attr(Stream &stream, NetcdfAttr &attr) {
    if (unstuff_string(stream, attr.name) < 0)
        return fail(1, "netcdf_unstuff_attrs: netcdf_unstuff_string(attrs->name) error.\n");
    if (!stream.be(attr.values.type) || !stream.be(attr.values.n)) return fail_cut_attrs(stream);
    if (unstuff_values(stream, &attr.values) < 0)
        return fail(1, "netcdf_unstuff_attrs: netcdf_unstuff_values(attrs->values) error.\n");
    return 0;
}

int unstuff_attrs(Stream &stream, int *attrs_n, NetcdfAttr **attrs) {
    int32_t count;
    switch (read_list_head(stream, NC_ATTRIBUTE, count)) {
    case ListHead::cut:
        return fail_cut_attrs(stream);
    case ListHead::neither:
        return fail(0, "netcdf_unstuff_attrs: file error: expecting NC_ATTRIBUTE or ABSENT.\n");
    case ListHead::other_tag:
        return fail(0, "netcdf_unstuff_attrs: file error: expecting NC_ATTRIBUTE.\n");
    case ListHead::absent:
        // Deliberate: an absent list stores nothing, not even its count of zero.
        return 0;
    case ListHead::present:
        break;
    }
    if (stream.lacks(count, smallest_attribute))
        return fail(0, "netcdf_unstuff_attrs: list has %d attributes, %zu bytes left.\n", count,
                    stream.left());

    auto *list = allocate_zeroed<NetcdfAttr>(count);
    if (!list) return fail(1, "netcdf_unstuff_attrs: malloc(attrs) error.\n");
    *attrs = list;
    *attrs_n = count;
    for (int32_t i = 0; i < count; i++)
        if (unstuff_attr(stream, list[i]) < 0) return -1;
    return 0;
}

// --- Header -----------------------------------------------------------------------------------------------

int fail_cut_header(const Stream &stream) {
    return fail(0, "netcdf_unstuff_header: header is cut, %zu bytes left.\n", stream.left());
}

int unstuff_magic(Stream &stream) {
    const unsigned char *found = stream.bytes(sizeof magic);
    if (!found) return fail_cut_header(stream);
    // Deliberate: all four bytes are consumed before the first is judged.
    if (memcmp(found, magic, sizeof magic) != 0)
        return fail(0, "netcdf_unstuff_header: Wrong magic number.\n");
    return 0;
}

int unstuff_dim(Stream &stream, NetcdfDim &dim) {
    if (unstuff_string(stream, dim.name) < 0)
        return fail(1, "netcdf_unstuff_header: netcdf_unstuff_string(hdr->dims->name) error.\n");
    return stream.be(dim.value) ? 0 : fail_cut_header(stream);
}

int unstuff_dims(Stream &stream, NetcdfHeader &hdr) {
    int32_t count;
    switch (read_list_head(stream, NC_DIMENSION, count)) {
    case ListHead::cut:
        return fail_cut_header(stream);
    case ListHead::neither:
        return fail(0, "netcdf_unstuff_header: file error: expecting NC_DIMENSION or ABSENT.\n");
    case ListHead::other_tag:
        return fail(0, "netcdf_unstuff_header: file error: expecting NC_DIMENSION.\n");
    case ListHead::absent:
        return 0;
    case ListHead::present:
        break;
    }
    if (stream.lacks(count, smallest_dimension))
        return fail(0, "netcdf_unstuff_header: list has %d dimensions, %zu bytes left.\n", count,
                    stream.left());

    hdr.dims = allocate_zeroed<NetcdfDim>(count);
    if (!hdr.dims) return fail(1, "netcdf_unstuff_header: malloc(hdr->dims) error.\n");
    hdr.dims_n = count;
    for (int32_t i = 0; i < count; i++)
        if (unstuff_dim(stream, hdr.dims[i]) < 0) return -1;
    return 0;
}

int resolve_dim(int32_t id, int32_t position, const NetcdfHeader &hdr, NetcdfVar &var) {
    if (id < 0)
        return fail(0, "netcdf_unstuff_header: hdr->vars[%s].idim[%d]=%d error - cannot be less than 0.\n",
                    var.name, position, id);
    // Deliberate: the message names the count of dimensions, though the largest id is one less.
    if (id >= hdr.dims_n)
        return fail(0,
                    "netcdf_unstuff_header: hdr->vars[%s].idim[%d]=%d error - cannot be greater than %d.\n",
                    var.name, position, id, hdr.dims_n);
    var.dims[position] = &hdr.dims[id];
    if (hdr.dims[id].value == 0) var.fixed = 0;
    return 0;
}

int unstuff_var_dims(Stream &stream, const NetcdfHeader &hdr, NetcdfVar &var) {
    int32_t count;
    if (!stream.be(count)) return fail_cut_header(stream);
    if (stream.lacks(count, word_size))
        return fail(0, "netcdf_unstuff_header: hdr->vars[%s] has %d dimensions, %zu bytes left.\n", var.name,
                    count, stream.left());

    var.dims_n = count;
    var.dims = allocate_zeroed<NetcdfDim *>(count);
    if (!var.dims) return fail(1, "netcdf_unstuff_header: malloc(hdr->vars[%s].dims) error.\n", var.name);
    var.fixed = 1;
    for (int32_t i = 0; i < count; i++) {
        int32_t id;
        if (!stream.be(id)) return fail_cut_header(stream);
        if (resolve_dim(id, i, hdr, var) < 0) return -1;
    }
    return 0;
}

int unstuff_var(Stream &stream, NetcdfHeader &hdr, NetcdfVar &var) {
    if (unstuff_string(stream, var.name) < 0)
        return fail(1, "netcdf_unstuff_header: netcdf_unstuff_string(hdr->vars->name) error.\n");
    // Deliberate: the variable can be found by its name before the rest of it is read, and also after that
    // fails.
    if (setarr(hdr.vars_array, var.name, &var) < 0)
        return fail(1, "netcdf_unstuff_header: setarr(hdr->vars_array,%s) error.\n", var.name);
    if (unstuff_var_dims(stream, hdr, var) < 0) return -1;
    // Deliberate: this failure of a nested call, like that of the global attributes, bears the flag of bad
    // input.
    if (unstuff_attrs(stream, &var.attrs_n, &var.attrs) < 0)
        return fail(0, "netcdf_unstuff_header: netcdf_unstuff_attrs() error for hdr->vars[%s].\n", var.name);
    // Deliberate: the type is stored unchecked; only an attribute's type must be known.
    if (!stream.be(var.type) || !stream.be(var.vsize) || !stream.be(var.begin))
        return fail_cut_header(stream);
    return 0;
}

int unstuff_vars(Stream &stream, NetcdfHeader &hdr) {
    int32_t count;
    switch (read_list_head(stream, NC_VARIABLE, count)) {
    case ListHead::cut:
        return fail_cut_header(stream);
    case ListHead::neither:
        return fail(0, "netcdf_unstuff_header: file error: expecting NC_VARIABLE or ABSENT.\n");
    case ListHead::other_tag:
        return fail(0, "netcdf_unstuff_header: file error: expecting NC_VARIABLE.\n");
    case ListHead::absent:
        return 0;
    case ListHead::present:
        break;
    }
    if (stream.lacks(count, smallest_variable))
        return fail(0, "netcdf_unstuff_header: list has %d variables, %zu bytes left.\n", count,
                    stream.left());

    hdr.vars = allocate_zeroed<NetcdfVar>(count);
    if (!hdr.vars) return fail(1, "netcdf_unstuff_header: malloc(hdr->vars) error.\n");
    hdr.vars_n = count;
    hdr.vars_array = newarr(nullptr);
    // Deliberate: the flag is that of bad input, though an allocation failed.
    if (!hdr.vars_array) return fail(0, "netcdf_unstuff_header: newarr(hdr->vars_array) error.\n");
    for (int32_t i = 0; i < count; i++)
        if (unstuff_var(stream, hdr, hdr.vars[i]) < 0) return -1;
    return 0;
}

// --- Clearing ---------------------------------------------------------------------------------------------

void free_attrs(NetcdfAttr *attrs, int32_t attrs_n) {
    if (!attrs) return;
    for (int32_t i = 0; i < attrs_n; i++) {
        free(attrs[i].name);
        free(attrs[i].values.values);
    }
    free(attrs);
}

void clear_dims(NetcdfHeader *hdr) {
    if (!hdr->dims) return;
    for (int32_t i = 0; i < hdr->dims_n; i++)
        free(hdr->dims[i].name);
    free(hdr->dims);
    hdr->dims = nullptr;
    hdr->dims_n = 0;
}

void clear_attrs(NetcdfHeader *hdr) {
    if (!hdr->attrs) return;
    free_attrs(hdr->attrs, hdr->attrs_n);
    hdr->attrs = nullptr;
    hdr->attrs_n = 0;
}

void clear_vars(NetcdfHeader *hdr) {
    if (!hdr->vars) return;
    for (int32_t i = 0; i < hdr->vars_n; i++) {
        free(hdr->vars[i].name);
        free(hdr->vars[i].dims);
        free_attrs(hdr->vars[i].attrs, hdr->vars[i].attrs_n);
    }
    free(hdr->vars);
    hdr->vars = nullptr;
    hdr->vars_n = 0;
}

} // namespace

// --- Entry points -----------------------------------------------------------------------------------------

int netcdf_unstuff_header(unsigned char **stream, NetcdfHeader **hdr) {
    unsigned char *base = *stream;
    Stream cursor(stream);
    if (unstuff_magic(cursor) < 0) return -1;
    if (!*hdr) *hdr = static_cast<NetcdfHeader *>(calloc(1, sizeof(NetcdfHeader)));
    if (!*hdr) return fail(1, "netcdf_unstuff_header: malloc(hdr) error.\n");
    netcdf_clear_header(*hdr);
    (*hdr)->base = base;
    if (!cursor.be((*hdr)->numrecs)) return fail_cut_header(cursor);

    if (unstuff_dims(cursor, **hdr) < 0) return -1;
    if (unstuff_attrs(cursor, &(*hdr)->attrs_n, &(*hdr)->attrs) < 0)
        return fail(0, "netcdf_unstuff_header: netcdf_unstuff_attrs() error.\n");
    return unstuff_vars(cursor, **hdr);
}

int netcdf_unstuff_attrs(unsigned char **stream, int *attrs_n, NetcdfAttr **attrs) {
    Stream cursor(stream);
    return unstuff_attrs(cursor, attrs_n, attrs);
}

int netcdf_unstuff_values(unsigned char **stream, NetcdfValues *values) {
    Stream cursor(stream);
    return unstuff_values(cursor, values);
}

char *netcdf_unstuff_string(unsigned char **stream) {
    Stream cursor(stream);
    char *name = nullptr;
    return unstuff_string(cursor, name) < 0 ? nullptr : name;
}

int netcdf_clear_header(NetcdfHeader *hdr) {
    if (!hdr) return 0;
    clear_dims(hdr);
    clear_attrs(hdr);
    clear_vars(hdr);
    freearr(hdr->vars_array, nullptr);
    hdr->vars_array = nullptr;
    return 0;
}
