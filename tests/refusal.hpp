// SPDX-License-Identifier: MIT
#ifndef LINDRA_TESTS_REFUSAL_HPP
#define LINDRA_TESTS_REFUSAL_HPP

#include "common/errors.hpp"

#include <string>

namespace lindra::test {

// What the call says of wrong usage; nothing when it has no complaint.
template <class Call>
std::string refusal(Call call) {
    try {
        call();
    } catch (const tools::UsageError &error) {
        return error.what();
    }
    return "";
}

} // namespace lindra::test

#endif
