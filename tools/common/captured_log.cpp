// SPDX-License-Identifier: MIT

#include "common/captured_log.hpp"

#include "lindra/lindra.h"

namespace lindra::tools {

std::string replaced(std::string text, char what, std::string_view by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, 1, by);
    return text;
}

CapturedLog::CapturedLog() {
    lindra_set_log_handler(
        [](void *text, int, const char *message) { *static_cast<std::string *>(text) += message; }, &text_);
}

CapturedLog::~CapturedLog() {
    lindra_set_log_handler(nullptr, nullptr);
}

std::string CapturedLog::one_line() const {
    return replaced(text_.substr(0, text_.find_last_not_of(".\n") + 1), '\n', " ");
}

} // namespace lindra::tools
