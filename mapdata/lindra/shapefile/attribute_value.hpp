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

// Without the white space that strtrim drops, and zeros.
inline std::string_view trimmed(std::string_view text) {
    using namespace std::string_view_literals;
    constexpr std::string_view padding = " \t\n\v\f\r\0"sv;
    const size_t begin = text.find_first_not_of(padding);
    if (begin == text.npos) return {};
    return text.substr(begin, text.find_last_not_of(padding) + 1 - begin);
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
    std::string with_point(text);
    if (const size_t comma = with_point.find(','); comma != with_point.npos) with_point[comma] = '.';
    const auto number = whole_number<double>(with_point);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

inline std::string_view without_plus(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    return text;
}

// The parsers return nothing for a text that has no meaning.

inline std::optional<attribute_value> parse_real(std::string_view field) {
    const std::string_view text = trimmed(field);
    if (is_null_number(text)) return no_value();
    const auto number = real_number(without_plus(text));
    return number ? std::optional<attribute_value>(*number) : std::nullopt;
}

inline std::optional<attribute_value> parse_number(std::string_view field) {
    const std::string_view text = trimmed(field);
    if (const auto number = whole_number<int64_t>(without_plus(text))) return *number;
    return parse_real(field);
}

inline std::optional<attribute_value> parse_date(std::string_view field) {
    const std::string_view text = trimmed(field);
    if (text.find_first_not_of("0*") == text.npos) return no_value();
    const auto digits = text.size() == 8 ? whole_number<unsigned>(text) : std::nullopt;
    if (!digits) return std::nullopt;
    const std::chrono::year_month_day day(std::chrono::year(static_cast<int>(*digits / 10000)),
                                          std::chrono::month(*digits / 100 % 100),
                                          std::chrono::day(*digits % 100));
    return day.ok() ? std::optional<attribute_value>(day) : std::nullopt;
}

inline std::optional<attribute_value> parse_logical(std::string_view field) {
    const std::string_view text = trimmed(field);
    if (text.empty() || text == "?" || text == "*") return no_value();
    if (text.find_first_not_of("TtYy") == text.npos) return attribute_value(true);
    if (text.find_first_not_of("FfNn") == text.npos) return attribute_value(false);
    return std::nullopt;
}

} // namespace detail

} // namespace lindra

#endif
