// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_COUNTED_HPP
#define LINDRA_TOOLS_COUNTED_HPP

#include <string>

namespace lindra::tools {

// "1 shape", "2 shapes": for words whose plural ends so.
template <class Number>
std::string counted(Number n, const std::string &what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

} // namespace lindra::tools

#endif
