// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_CAIRO_OUTPUT_HPP
#define LINDRA_TOOLS_CAIRO_OUTPUT_HPP

#include <cairo.h>
#include <new>
#include <string>

namespace lindra::tools {

// Where Cairo writes a picture to (cairo_write_func_t): file is a std::string, which grows. An exception must
// not go through Cairo, which would be left in the middle of its page.
inline cairo_status_t write_to_string(void *file, const unsigned char *data, unsigned size) noexcept {
    try {
        static_cast<std::string *>(file)->append(reinterpret_cast<const char *>(data), size);
    } catch (const std::bad_alloc &) {
        return CAIRO_STATUS_NO_MEMORY;
    }
    return CAIRO_STATUS_SUCCESS;
}

} // namespace lindra::tools

#endif
