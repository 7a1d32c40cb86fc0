// SPDX-License-Identifier: MIT
#ifndef LINDRA_FACE_LOOKUP_HPP
#define LINDRA_FACE_LOOKUP_HPP

#include <filesystem>
#include <system_error>

namespace lindra::detail {

// What is at path, links followed. Nothing is (file_type::not_found) where it or a directory on the way is
// not there, and where links lead round. Any other failure leaves open what is there, if only for others to
// see: the status is not known (std::filesystem::status_known), and reason says why.
inline std::filesystem::file_status look_up(const std::filesystem::path &path, std::error_code &reason) {
    const std::filesystem::file_status status = std::filesystem::status(path, reason);
    const bool leads_round = reason == std::errc::too_many_symbolic_link_levels;
    return leads_round ? std::filesystem::file_status(std::filesystem::file_type::not_found) : status;
}

// Whether it is known that nothing is there.
inline bool is_absent(const std::filesystem::path &path) {
    std::error_code reason;
    return look_up(path, reason).type() == std::filesystem::file_type::not_found;
}

} // namespace lindra::detail

#endif
