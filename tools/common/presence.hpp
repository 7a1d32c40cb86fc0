// SPDX-License-Identifier: MIT
#ifndef LINDRA_TOOLS_PRESENCE_HPP
#define LINDRA_TOOLS_PRESENCE_HPP

#include "common/errors.hpp"
#include "common/memory.hpp"

#include "lindra/face/lookup.hpp"

#include <filesystem>
#include <string>
#include <system_error>

namespace lindra::tools {

inline DataError cannot_be_looked_up(const std::filesystem::path &path, std::error_code reason) {
    require_memory(reason.value());
    return DataError(path.string() + " cannot be looked up: " + reason.message());
}

// Whether there is anything at path. Where that cannot be found out something may be there: that is a
// DataError, so that nothing is made without it unawares.
inline bool is_there(const std::filesystem::path &path) {
    std::error_code reason;
    const std::filesystem::file_status status = detail::look_up(path, reason);
    if (!std::filesystem::status_known(status)) throw cannot_be_looked_up(path, reason);
    return std::filesystem::exists(status);
}

} // namespace lindra::tools

#endif
