// SPDX-License-Identifier: MIT
//
// What the text of a field means, by the field's type. A table has no nulls of its own: writers leave the
// field blank, fill it with asterisks, or write a date of zeros.
#ifndef LINDRA_SHAPEFILE_ATTRIBUTE_VALUE_HPP
#define LINDRA_SHAPEFILE_ATTRIBUTE_VALUE_HPP

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace lindra {

using no_value = std::monostate;

// attribute_value: of a field of type
//   C        text in UTF-8 without the blanks behind it; no value when it is blank
//   N        integer, or real where it has decimals, an exponent or more digits than 64 bits hold
//   F        real
//   D        date
//   L        logical
//   others   text, as the field has it
using attribute_value =
    std::variant<no_value, std::string, int64_t, double, std::chrono::year_month_day, bool>;

namespace detail {

inline std::string_view without_padding(std::string_view text) {
    using namespace std::string_view_literals;
    const size_t end = text.find_last_not_of(" \0"sv);
    return text.substr(0, end == text.npos ? 0 : end + 1);
}

// White space that strtrim drops, and zeros.
inline bool is_padding(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r') || c == '\0';
}

inline std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_padding(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_padding(text.back()))
        text.remove_suffix(1);
    return text;
}

// Nothing, or nothing but asterisks: a number that was wider than its field.
inline bool is_null_number(std::string_view text) {
    return text.find_first_not_of('*') == text.npos;
}

template <class Number>
std::optional<Number> whole_number(std::string_view text) {
    Number number{};
    const auto [end, reason] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (reason != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// A decimal comma is read as a point.
inline std::optional<double> real_number(std::string_view text) {
    std::string with_point;
    if (const size_t comma = text.find(','); comma != text.npos) {
        with_point = text;
        with_point[comma] = '.';
        text = with_point;
    }
    const auto number = whole_number<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

inline std::string_view without_plus(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    return text;
}

// The parsers return false for a text that has no meaning, and leave the value, which is none, as it is.

inline bool parse_real(std::string_view field, attribute_value &value) {
    const std::string_view text = trimmed(field);
    if (is_null_number(text)) return true;
    const auto number = real_number(without_plus(text));
    if (number) value = *number;
    return number.has_value();
}

inline bool parse_number(std::string_view field, attribute_value &value) {
    const auto number = whole_number<int64_t>(without_plus(trimmed(field)));
    if (!number) return parse_real(field, value);
    value = *number;
    return true;
}

inline bool parse_date(std::string_view field, attribute_value &value) {
    const std::string_view text = trimmed(field);
    if (text.find_first_not_of("0*") == text.npos) return true;
    const auto digits = text.size() == 8 ? whole_number<unsigned>(text) : std::nullopt;
    if (!digits) return false;
    const std::chrono::year_month_day day(std::chrono::year(static_cast<int>(*digits / 10000)),
                                          std::chrono::month(*digits / 100 % 100),
                                          std::chrono::day(*digits % 100));
    if (day.ok()) value = day;
    return day.ok();
}

inline bool parse_logical(std::string_view field, attribute_value &value) {
    const std::string_view text = trimmed(field);
    if (text.empty() || text == "?" || text == "*") return true;
    const bool is_true = text.find_first_not_of("TtYy") == text.npos;
    const bool is_false = text.find_first_not_of("FfNn") == text.npos;
    if (is_true || is_false) value = is_true;
    return is_true || is_false;
}

} // namespace detail

} // namespace lindra

#endif
