// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_DAMAGE_HPP
#define LINDRA_TOOLS_DAMAGE_HPP

#include "common/captured_log.hpp"
#include "common/errors.hpp"
#include "common/input_file.hpp"

#include <string>

namespace lindra::tools {

// What to throw when the library's reader stopped at cursor and said why; advice: what the user can do.
// Throws std::bad_alloc where memory lacked: what was read then is no part of the file to be shown.
inline DataError damage(const InputFile &file, const unsigned char *cursor, const CapturedLog &log,
                        const std::string &advice = "") {
    return DataError(file.path() + " is damaged at byte " + std::to_string(cursor - file.data()) + ": " +
                     log.one_line() + advice);
}

} // namespace lindra::tools

#endif
