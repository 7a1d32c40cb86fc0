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
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    elog_log(flag, "%s", text);
    return -1;
}

} // namespace lindra
