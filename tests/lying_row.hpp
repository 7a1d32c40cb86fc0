// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_LYING_ROW_HPP
#define LINDRA_TESTS_LYING_ROW_HPP

#include "big_endian.hpp"

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace lindra::test {

// Pages of a SQLite file ("Database File Format", sqlite.org) with a single row that claims 4 GiB. Its first
// 39 bytes are there, the most that may be of so long a row on pages of 512 bytes; they end within the types
// of its columns, so that whatever is asked of the row, its further pages are followed for it.

constexpr size_t lying_page_size = 512;
constexpr uint32_t lying_length = 39 + 508 * 8454659U;

enum class LyingPage : char { inner_of_index = 2, leaf_of_index = 10, leaf_of_table = 13 };

inline std::string lying_row(LyingPage kind) {
    std::string length;
    for (int shift = 28; shift >= 0; shift -= 7)
        length += static_cast<char>((lying_length >> shift & 0x7f) | (shift ? 0x80 : 0));
    const std::string before = kind == LyingPage::inner_of_index ? be32(2) : "";
    const std::string number = kind == LyingPage::leaf_of_table ? "\1" : "";
    return before + length + number + "\x81\x7f" + std::string(37, '\1') + be32(2);
}

// In the file's first page a header of 100 bytes stands before it.
inline std::string lying_page(LyingPage kind, size_t header_size = 0) {
    const std::string row = lying_row(kind);
    const std::string place = be16(static_cast<int>(lying_page_size - row.size()));
    std::string page = static_cast<char>(kind) + be16(0) + be16(1) + place + '\0';
    if (kind == LyingPage::inner_of_index) page += be32(2);
    page += place;
    page.resize(lying_page_size - header_size - row.size());
    return page + row;
}

// Puts it in the place of the page of that number.
inline void make_lying(std::string &file, size_t number, LyingPage kind) {
    const size_t header_size = number == 1 ? 100 : 0;
    file.replace((number - 1) * lying_page_size + header_size, lying_page_size - header_size,
                 lying_page(kind, header_size));
}

// A write-ahead log that puts the page in the place of the one of that number, in a file of so many pages.
inline std::string log_of(const std::string &page, int64_t number, int64_t pages) {
    uint32_t sums[2] = {};
    const auto summed = [&](const std::string &bytes) {
        const auto word = [&](size_t at) {
            uint32_t value = 0;
            for (size_t i = at; i < at + 4; i++)
                value = value << 8 | static_cast<unsigned char>(bytes[i]);
            return value;
        };
        for (size_t at = 0; at < bytes.size(); at += 8) {
            sums[0] += word(at) + sums[1];
            sums[1] += word(at + 4) + sums[0];
        }
        return be32(sums[0]) + be32(sums[1]);
    };
    const std::string salt = be32(1) + be32(2);
    const std::string header =
        be32(0x377f0683) + be32(3007000) + be32(static_cast<int64_t>(page.size())) + be32(0) + salt;
    const std::string sums_of_header = summed(header);
    const std::string frame = be32(number) + be32(pages);
    summed(frame);
    return header + sums_of_header + frame + salt + summed(page) + page;
}

// The most that SQLite holds of the heap meanwhile, beyond what it held before.
template <class Action>
int64_t held_by_sqlite(Action action) {
    const int64_t before = sqlite3_memory_used();
    sqlite3_memory_highwater(1);
    action();
    return sqlite3_memory_highwater(0) - before;
}

} // namespace lindra::test

#endif
