// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PRESENCE_HPP
#define LINDRA_TOOLS_PRESENCE_HPP

#include "common/errors.hpp"
#include "common/shown.hpp"

#include <filesystem>

namespace lindra::tools {

// Whether there is anything at path. A file that the system fails to look up may be there: that is a
// DataError, so that nothing is made without it unawares. One that may not be looked up is none for us.
inline bool is_there(const std::filesystem::path &path) {
    std::error_code reason;
    const auto type = std::filesystem::status(path, reason).type();
    if (type != std::filesystem::file_type::none || reason == std::errc::permission_denied)
        return type != std::filesystem::file_type::not_found && type != std::filesystem::file_type::none;
    throw DataError(shown(path.string()) + " cannot be looked up: " + reason.message());
}

} // namespace lindra::tools

#endif
