// SPDX-License-Identifier: MIT

#include "fail.hpp"

#include "support.h"

#include <cstdarg>
#include <cstdio>

namespace lindra {

int fail(int flag, const char *format, ...) {
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    // A name of the file can be of any length; the complaint stays one line.
    if (length >= static_cast<int>(sizeof text)) text[sizeof text - 2] = '\n';
    elog_log(flag, "%s", text);
    return -1;
}

} // namespace lindra
