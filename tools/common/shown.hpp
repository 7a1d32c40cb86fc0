// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHOWN_HPP
#define LINDRA_TOOLS_SHOWN_HPP

#include <string>
#include <string_view>

namespace lindra::tools {

// What would end a line or steer a terminal, of the characters of ASCII.
inline bool is_control(unsigned char letter) {
    return letter < ' ' || letter == 0x7f;
}

// A text that came from elsewhere, such as a file's name, fit to stand in a line: question marks in the place
// of control characters, those beyond ASCII too. What else there is stays, whether or not it is UTF-8.
std::string shown(std::string_view text);

} // namespace lindra::tools

#endif
