// SPDX-License-Identifier: MIT
//
// dBase tables of level 5 in the making.
#ifndef LINDRA_TESTS_DBASE_BUILDER_HPP
#define LINDRA_TESTS_DBASE_BUILDER_HPP

#include "little_endian.hpp"

#include "lindra/lindra.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lindra::test {

struct RawField {
    std::string name;
    char type = 'C';
    int length = 4;
    int decimals = 0;
    char padding = '\0';

    std::string bytes() const {
        std::string all = name;
        all.resize(11, padding);
        all += type + le32(0x01020304) + static_cast<char>(length) + static_cast<char>(decimals);
        return all + le16(0x0506) + '\x07' + std::string(10, '\x08') + '\x01';
    }
};

// records: the texts of the fields, without the flag.
struct RawTable {
    std::vector<RawField> fields = {};
    std::vector<std::string> records = {};
    std::string end_mark = "\x1a";
    int version = 3;
    bool padded = false; // by a byte behind the terminator, which makes the header's size even

    int header_size() const { return static_cast<int>(32 * fields.size() + 33 + padded); }

    int record_size() const {
        int size = 1;
        for (const RawField &field : fields)
            size += field.length;
        return size;
    }

    std::string header() const { return header(static_cast<int32_t>(records.size()), record_size()); }

    std::string header(int32_t numrecs, int numbytesrec) const {
        std::string all = {static_cast<char>(version), 124, 2, 29};
        all += le32(numrecs) + le16(header_size()) + le16(numbytesrec);
        all += le16(0) + std::string("\x01\x02", 2) + le32(3) + le32(4) + le32(-5);
        return all + "\x01\x57" + le16(0xffff);
    }

    std::string descriptors() const {
        std::string all;
        for (const RawField &field : fields)
            all += field.bytes();
        return all + '\r' + std::string(padded, '\0');
    }

    std::string slots() const {
        std::string all;
        for (const std::string &record : records)
            all += ' ' + record;
        return all + end_mark;
    }

    std::string bytes() const { return header() + descriptors() + slots(); }
};

// Three fields, two records.
inline RawTable cities() {
    return {{{"NAME", 'C', 10}, {"PEOPLE", 'N', 8}, {"KIND", 'C', 1}},
            {"Cologne    1073096c", "Bonn        331885t"}};
}

} // namespace lindra::test

#endif
