// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_ENDLESS_TREE_HPP
#define LINDRA_TESTS_ENDLESS_TREE_HPP

#include "big_endian.hpp"

#include <cstdint>
#include <string>

namespace lindra::test {

// An inner page of a table, all of whose pointers lead to one page ("Database File Format", sqlite.org).
inline std::string inner_page(size_t page_size, size_t child) {
    constexpr size_t head = 12, pointer = 2, cell = 5;
    const size_t cells = (page_size - head) / (pointer + cell);
    const size_t first = page_size - cells * cell;
    const std::string to_child = be32(static_cast<int64_t>(child));
    std::string page("\5\0\0", 3);
    page += be16(static_cast<int>(cells)) + be16(static_cast<int>(first)) + '\0' + to_child;
    for (size_t i = 0; i < cells; i++)
        page += be16(static_cast<int>(first + i * cell));
    page.resize(first);
    for (size_t i = 0; i < cells; i++)
        page += to_child + '\1';
    return page;
}

// Puts a chain of inner pages between the root of a table of a SQLite file, which is a leaf, and what stands
// in it: a few pages then hold more rows than anybody can read, and their numbers begin again and again.
inline void make_endless(std::string &file, size_t root, size_t depth) {
    const auto byte = [&](size_t at) { return static_cast<size_t>(static_cast<unsigned char>(file[at])); };
    const size_t page_size = byte(16) << 8 | byte(17);
    const size_t pages = file.size() / page_size;
    const std::string leaf = file.substr((root - 1) * page_size, page_size);
    for (size_t i = 1; i <= depth; i++)
        file += inner_page(page_size, pages + i + 1);
    file += leaf;
    file.replace((root - 1) * page_size, page_size, inner_page(page_size, pages + 1));
    file.replace(28, 4, be32(static_cast<int64_t>(pages + depth + 1)));
}

} // namespace lindra::test

#endif
