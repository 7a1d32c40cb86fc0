// SPDX-License-Identifier: MIT
//
// The header's records follow each other without gaps, so that the place of each is the sum of the sizes
// before it.

#include "dump/netcdf_facts.hpp"

#include <cstdint>
#include <cstring>

namespace lindra::tools {

namespace {

constexpr int64_t word = 4;
constexpr int64_t list_head = 2 * word;
constexpr int64_t magic_and_records = 2 * word;

enum Type { type_byte = 1, type_char, type_short, type_int, type_float, type_double };

int64_t padded(int64_t size) {
    return (size + word - 1) / word * word;
}

int64_t element_size(int type) {
    constexpr int64_t sizes[] = {0, 1, 1, 2, 4, 4, 8};
    return type >= type_byte && type <= type_double ? sizes[type] : 0;
}

template <class T>
T element(const NetcdfValues &values, int index) {
    T value;
    memcpy(&value, static_cast<const char *>(values.values) + static_cast<size_t>(index) * sizeof(T),
           sizeof value);
    return value;
}

Json element_fact(const NetcdfValues &values, int index) {
    switch (values.type) {
    case type_byte:
        return element<uint8_t>(values, index);
    case type_short:
        return element<int16_t>(values, index);
    case type_int:
        return element<int32_t>(values, index);
    case type_float:
        return json_number(static_cast<double>(element<float>(values, index)));
    default:
        return json_number(element<double>(values, index));
    }
}

Json values_fact(const NetcdfValues &values) {
    if (values.type == type_char)
        return std::string(static_cast<const char *>(values.values), static_cast<size_t>(values.n));
    Json all = Json::array();
    for (int i = 0; i < values.n; i++)
        all.push_back(element_fact(values, i));
    return all;
}

// Lays out the facts in the order of the file and keeps the place of the next record.
class Layout {
  public:
    explicit Layout(const unsigned char *base) : base_(base) {}

    Json dimensions(const NetcdfHeader &header) {
        Json all = Json::array();
        place_ += list_head;
        for (int i = 0; i < header.dims_n; i++) {
            const NetcdfDim &dim = header.dims[i];
            all.push_back({{"name", dim.name}, {"length", dim.value}, {"offset", place_}});
            place_ += name_size() + word;
        }
        return all;
    }

    Json attributes(const NetcdfAttr *attrs, int count) {
        Json all = Json::array();
        place_ += list_head;
        for (int i = 0; i < count; i++) {
            const NetcdfValues &values = attrs[i].values;
            all.push_back({{"name", attrs[i].name},
                           {"type", netcdf_type2str(values.type)},
                           {"count", values.n},
                           {"values", values_fact(values)},
                           {"offset", place_}});
            place_ += name_size() + 2 * word + padded(values.n * element_size(values.type));
        }
        return all;
    }

    Json variables(const NetcdfHeader &header) {
        Json all = Json::array();
        place_ += list_head;
        for (int i = 0; i < header.vars_n; i++)
            all.push_back(variable(header, header.vars[i]));
        return all;
    }

  private:
    // Of the name at the current place; taken from the file, because a name may hold a zero byte.
    int64_t name_size() const {
        int32_t length = 0;
        N2H4(&length, base_ + place_, 1);
        return word + padded(length);
    }

    Json variable(const NetcdfHeader &header, const NetcdfVar &var) {
        const int64_t offset = place_;
        Json ids = Json::array();
        for (int i = 0; i < var.dims_n; i++)
            ids.push_back(var.dims[i] - header.dims);
        place_ += name_size() + word + word * var.dims_n;
        Json attrs = attributes(var.attrs, var.attrs_n);
        place_ += 3 * word;
        return {{"name", var.name},
                {"type", netcdf_type2str(var.type)},
                {"vsize", var.vsize},
                {"begin", var.begin},
                {"fixed", var.fixed != 0},
                {"dimensions", std::move(ids)},
                {"attributes", std::move(attrs)},
                {"offset", offset}};
    }

    const unsigned char *base_;
    int64_t place_ = magic_and_records;
};

} // namespace

Json netcdf_facts(const NetcdfHeader &header) {
    Layout layout(header.base);
    // A null value that becomes an object when memory lacks cannot be destroyed.
    Json facts = Json::object();
    facts["format"] = "netCDF classic";
    facts["records"] = header.numrecs;
    facts["dimensions"] = layout.dimensions(header);
    facts["attributes"] = layout.attributes(header.attrs, header.attrs_n);
    facts["variables"] = layout.variables(header);
    return facts;
}

} // namespace lindra::tools
