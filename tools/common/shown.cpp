// SPDX-License-Identifier: MIT
//
// UTF-8 as "The Unicode Standard" (version 15.0, 2022, table 3-7) has it: a terminal that takes longer forms
// of a character than its own must not find a control character in one.

#include "common/shown.hpp"

#include <string_view>

namespace lindra::tools {

namespace {

unsigned char byte(std::string_view text, size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// How long the character is that begins with the byte; 1 where none of several does.
size_t told_size(unsigned char lead) {
    if (lead < 0xc2 || lead > 0xf4) return 1;
    return lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
}

bool is_longer_than_needed(std::string_view character) {
    const unsigned char lead = byte(character, 0);
    return (lead == 0xe0 && byte(character, 1) < 0xa0) || (lead == 0xf0 && byte(character, 1) < 0x90);
}

// The first character; a byte that begins none stands for itself.
std::string_view first_character(std::string_view text) {
    const size_t size = told_size(byte(text, 0));
    if (size > text.size()) return text.substr(0, 1);
    for (size_t i = 1; i < size; i++)
        if ((byte(text, i) & 0xc0) != 0x80) return text.substr(0, 1);
    return text.substr(0, is_longer_than_needed(text) ? 1 : size);
}

// U+0080 to U+009F steer a terminal too, as these bytes alone do where each byte is a character.
bool is_steering(std::string_view character) {
    if (character.size() == 1) return is_control(byte(character, 0)) || (byte(character, 0) & 0xe0) == 0x80;
    return byte(character, 0) == 0xc2 && byte(character, 1) < 0xa0;
}

} // namespace

std::string shown(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        const std::string_view character = first_character(text);
        line += is_steering(character) ? "?" : character;
        text.remove_prefix(character.size());
    }
    return line;
}

} // namespace lindra::tools
