// SPDX-License-Identifier: MIT

#include "common/captured_log.hpp"

#include "lindra/lindra.h"

#include <cerrno>
#include <new>

namespace lindra::tools {

std::string replaced(std::string text, char what, std::string_view by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, 1, by);
    return text;
}

CapturedLog::CapturedLog() {
    errno = 0;
    lindra_set_log_handler(
        [](void *self, int, const char *message) { static_cast<CapturedLog *>(self)->add(message); }, this);
}

CapturedLog::~CapturedLog() {
    lindra_set_log_handler(nullptr, nullptr);
}

void CapturedLog::add(const char *message) {
    has_lacked_memory_ = has_lacked_memory_ || errno == ENOMEM;
    text_ += message;
}

std::string CapturedLog::one_line() const {
    if (has_lacked_memory_) throw std::bad_alloc();
    return replaced(text_.substr(0, text_.find_last_not_of(".\n") + 1), '\n', " ");
}

} // namespace lindra::tools
