// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHOWN_HPP
#define LINDRA_TOOLS_SHOWN_HPP

#include <algorithm>
#include <string>

namespace lindra::tools {

// What would end a line or steer a terminal.
inline bool is_control(unsigned char letter) {
    return letter < ' ' || letter == 0x7f;
}

// A text that came from elsewhere, such as a file's name, fit to stand in a line.
inline std::string shown(std::string text) {
    std::ranges::replace_if(text, is_control, '?');
    return text;
}

} // namespace lindra::tools

#endif
