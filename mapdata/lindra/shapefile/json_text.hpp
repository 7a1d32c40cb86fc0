// SPDX-License-Identifier: MIT
#ifndef LINDRA_SHAPEFILE_JSON_TEXT_HPP
#define LINDRA_SHAPEFILE_JSON_TEXT_HPP

#include "attribute_value.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace lindra::detail {

// JSON (RFC 8259, 2017). Numbers are the shortest that read back as the same. Reals that are not finite,
// which JSON has no numbers for, are null: they are looked for before, but a file may be overwritten
// meanwhile.

template <class Number>
void append_number(std::string &out, Number number) {
    if constexpr (std::is_floating_point_v<Number>)
        if (!std::isfinite(number)) {
            out += "null";
            return;
        }
    char room[32];
    out.append(room, std::to_chars(room, room + sizeof room, number).ptr);
}

inline void append_escaped(std::string &out, char c) {
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr std::string_view plain = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    if (const size_t i = plain.find(c); i != plain.npos) {
        out += '\\';
        out += letters[i];
    } else if (static_cast<unsigned char>(c) < 0x20) {
        out += "\\u00";
        out += digits[static_cast<unsigned char>(c) >> 4];
        out += digits[c & 15];
    } else {
        out += c;
    }
}

// text: UTF-8.
inline void append_text(std::string &out, std::string_view text) {
    out += '"';
    for (const char c : text)
        append_escaped(out, c);
    out += '"';
}

inline void append_padded(std::string &out, int number, size_t digits) {
    const std::string text = std::to_string(number);
    out.append(digits - std::min(digits, text.size()), '0');
    out += text;
}

inline void append_date(std::string &out, std::chrono::year_month_day day) {
    out += '"';
    append_padded(out, static_cast<int>(day.year()), 4);
    out += '-';
    append_padded(out, static_cast<int>(static_cast<unsigned>(day.month())), 2);
    out += '-';
    append_padded(out, static_cast<int>(static_cast<unsigned>(day.day())), 2);
    out += '"';
}

inline void append_value(std::string &out, const attribute_value &of) {
    const auto append = [&out](const auto &content) {
        using Content = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, no_value>)
            out += "null";
        else if constexpr (std::is_same_v<Content, bool>)
            out += content ? "true" : "false";
        else if constexpr (std::is_same_v<Content, std::string>)
            append_text(out, content);
        else if constexpr (std::is_same_v<Content, std::chrono::year_month_day>)
            append_date(out, content);
        else
            append_number(out, content);
    };
    std::visit(append, of);
}

} // namespace lindra::detail

#endif
