// SPDX-License-Identifier: MIT
//
// The log: one formatted line per complaint, to the host's handler or to standard error. The text is
// formatted on the stack, because complaints are made when memory has run out.

#include "support.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

constexpr size_t text_size = 8192;

struct Sink {
    lindra_log_handler handler = nullptr;
    void *context = nullptr;
};

std::mutex sink_lock;
Sink sink;

Sink current_sink() {
    const std::lock_guard<std::mutex> guard(sink_lock);
    return sink;
}

void record(int flag, const char *format, va_list arguments) {
    char text[text_size];
    vsnprintf(text, sizeof text, format, arguments);
    const Sink to = current_sink();
    if (to.handler)
        to.handler(to.context, flag, text);
    else
        fputs(text, stderr);
}

} // namespace

void elog_log(int flag, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    record(flag, format, arguments);
    va_end(arguments);
}

void elog_die(int flag, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    record(flag, format, arguments);
    va_end(arguments);
    exit(1);
}

void lindra_set_log_handler(lindra_log_handler handler, void *context) {
    const std::lock_guard<std::mutex> guard(sink_lock);
    sink = {handler, context};
}
