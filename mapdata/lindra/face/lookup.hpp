// SPDX-License-Identifier: MIT
#ifndef LINDRA_FACE_LOOKUP_HPP
#define LINDRA_FACE_LOOKUP_HPP

#include <filesystem>
#include <system_error>

namespace lindra::detail {

// Whether a look that failed for that reason tells that nothing is there: that it or a directory on the way
// is not, or that links lead round.
inline bool tells_of_absence(const std::error_code &reason) {
    return reason == std::errc::no_such_file_or_directory || reason == std::errc::not_a_directory ||
           reason == std::errc::too_many_symbolic_link_levels;
}

// What is at path, links followed: file_type::not_found where nothing is. Any other failure leaves open what
// is there, if only for others to see: the status is not known (std::filesystem::status_known), and reason
// says why. Without such a failure reason is clear.
inline std::filesystem::file_status look_up(const std::filesystem::path &path, std::error_code &reason) {
    const std::filesystem::file_status status = std::filesystem::status(path, reason);
    if (!reason) return status;
    // Of a file whose size has too many digits the standard library says that its type is unknown, which
    // counts as a known status.
    if (!tells_of_absence(reason)) return std::filesystem::file_status(std::filesystem::file_type::none);
    reason.clear();
    return std::filesystem::file_status(std::filesystem::file_type::not_found);
}

// Whether it is known that nothing is there.
inline bool is_absent(const std::filesystem::path &path) {
    std::error_code reason;
    return look_up(path, reason).type() == std::filesystem::file_type::not_found;
}

} // namespace lindra::detail

#endif
