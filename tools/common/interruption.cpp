// SPDX-License-Identifier: MIT

#include "common/interruption.hpp"

#include <csignal>

namespace lindra::tools {

namespace {

volatile std::sig_atomic_t asked = 0; // the signal's number

constexpr int requests[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void remember_request(int number) {
    asked = number;
}

// What is ignored (nohup, a job in the background) stays ignored.
void handle_requests(void (*handler)(int)) {
    for (const int number : requests)
        if (std::signal(number, handler) == SIG_IGN) std::signal(number, SIG_IGN);
}

} // namespace

Interruption::Interruption() {
    asked = 0;
    handle_requests(remember_request);
}

Interruption::~Interruption() {
    handle_requests(SIG_DFL);
}

bool Interruption::is_asked() {
    return asked != 0;
}

void Interruption::end_if_asked() {
    if (!asked) return;
    handle_requests(SIG_DFL);
    std::raise(asked);
}

} // namespace lindra::tools
