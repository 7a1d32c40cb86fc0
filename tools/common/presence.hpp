// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PRESENCE_HPP
#define LINDRA_TOOLS_PRESENCE_HPP

#include "common/errors.hpp"
#include "common/shown.hpp"

#include <filesystem>

namespace lindra::tools {

// Whether there is anything at path. What may not be looked up, and a link that leads round, is nothing. A
// file that the system fails to look up may be there: that is a DataError, so that nothing is made without it
// unawares.
inline bool is_there(const std::filesystem::path &path) {
    namespace fs = std::filesystem;
    std::error_code reason;
    const fs::file_status status = fs::status(path, reason);
    if (fs::status_known(status)) return fs::exists(status);
    if (reason == std::errc::permission_denied || reason == std::errc::too_many_symbolic_link_levels ||
        reason == std::errc::filename_too_long)
        return false;
    throw DataError(shown(path.string()) + " cannot be looked up: " + reason.message());
}

} // namespace lindra::tools

#endif
