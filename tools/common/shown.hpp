// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_SHOWN_HPP
#define LINDRA_TOOLS_SHOWN_HPP

#include <algorithm>
#include <string>

namespace lindra::tools {

// A text that came from elsewhere, such as a file's name, fit to stand in a line: without what would end the
// line or steer a terminal.
inline std::string shown(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    return text;
}

} // namespace lindra::tools

#endif
